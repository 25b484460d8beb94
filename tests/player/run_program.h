#pragma once
// Runs a program as a process of its own, with its output in files: a process that it leaves behind must not
// keep a pipe open.

#include "support/temp_folder.h"
#include "win/handle.h"

#include <string>
#include <vector>

using strings = std::vector<std::string>;

struct program_result {
    unsigned exit_code = 0;
    std::string out;
    std::string err;

    std::string last_line() const; // of standard error, without its end
};

// Starts the program; its standard streams go to the files "out" and "err" of the folder. No argument may
// have a quote in it.
win::kernel_handle start_program(const std::string& program, const strings& arguments,
                                 const temp_folder& folder);
// Runs it to its end, at most 50 seconds (1000 in a long run); then it is ended and this throws.
program_result run_program(const std::string& program, const strings& arguments);

// A shipped file for this architecture, an effect of either ("qvxEcho.vst3" for "x64" or "x86"), and a module
// of the tests. The environment's QVX_DIST says where; they throw without it.
std::string shipped(const std::string& file);
std::string effect(const std::string& file, const std::string& arch);
std::string test_module(const std::string& file);

strings with(strings arguments, const strings& more);

// The shipped player with a store of its own.
struct player_fixture {
    program_result run(const strings& arguments) const
    {
        return run_program(shipped("qvxplayer.exe"),
                           with({"--config", folder.path("config.json")}, arguments));
    }
    temp_folder folder;
};
