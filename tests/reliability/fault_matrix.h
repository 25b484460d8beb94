#pragma once
// The table of faults: every step of every conversation with a worker, every fault that may come in it, and
// what is then to be seen. The worker's script of a cell is made of both.

#include <string>
#include <vector>

enum fault : unsigned {
    worker_killed,
    worker_exits_0,
    worker_exits_1,
    worker_crashes,
    worker_hangs,
    answers_short,
    answers_garbage,
    answers_late,
    player_aborts,
    player_shuts_down,
    player_killed,
    fault_count,
};
extern const char* const fault_names[fault_count];

constexpr int connect_ms = 10000; // what a worker has to open its pipe

struct cell {
    const char* step = nullptr;
    fault kind = worker_killed;
    std::string script;
    const char* act = "look"; // the player's, see programs/player_in_trouble.cpp
    int delay_ms = 0;

    std::vector<std::string> seen; // by the user, any of these; empty: there is no such cell
    int after_ms = 0;              // not before it
    const char* left = "";
    const char* why_not = nullptr; // there is no such cell
};

std::vector<cell> all_cells(); // step by step, the faults in their order
