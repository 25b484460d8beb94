#include "fault_matrix.h"

#include <algorithm>

const char* const fault_names[fault_count] = {"worker killed",   "worker exits with 0", "worker exits with 1",
                                              "worker crashes",  "worker hangs",        "answers short",
                                              "answers garbage", "answers late",        "the player gives up",
                                              "the player ends", "the player is killed"};

namespace {

using faults = unsigned; // a bit for each
constexpr faults only(fault kind)
{
    return 1u << kind;
}
constexpr faults ends =
    only(worker_killed) | only(worker_exits_0) | only(worker_exits_1) | only(worker_crashes);
constexpr faults hang = only(worker_hangs), cut = only(answers_short), garbage = only(answers_garbage),
                 late = only(answers_late), abort_ = only(player_aborts), down = only(player_shuts_down),
                 lost = only(player_killed);

struct expectation {
    faults when;
    std::vector<std::string> seen; // "$" is the exit code
    int after_ms = 0;
    const char* left = "";
};
struct absence {
    faults when;
    const char* why;
};
struct step {
    const char* name;
    std::string before = "connect\n"; // the fault
    std::string hook;                 // in front of each statement of it
    std::string after = "serve";
    const char* hang_act = "stop"; // what the player does about a hang, a second later
    std::vector<std::string> short_answer = {}, garbage_answer = {};
    std::vector<expectation> expected;
    std::vector<absence> absent = {};
};

const std::string here = "signal-event {event:here}";
const std::string state_file = "write-file $--data ";
const std::string deaf = "connect\non 1 * no-reply\non 3 * no-reply\n"; // a worker that only listens
const std::string aborted = "User abort";
// A worker that goes while commands without an answer follow each other breaks the write of the next one or
// the read of the next answer.
const std::vector<std::string> broken = {"Could not negotiate VST audio format", "file access error"};
const std::string unusable = "Invalid reply when setting audio format";
const std::string no_window = "VST: no configuration window: timeout";
constexpr int open_ms = 1800; // an editor that stays open, until the user closes it
const char* const no_answer = "this step has no answer";
const char* const nothing_read = "nothing of the worker is read in this conversation";
const char* const window_only = "only its window's end and the player's end it";
const char* const left_open = "1 handles";  // the player's last moments are nobody's to delete it in
const char* const no_data_file = "1 files"; // the state's: whoever would delete it is gone

// What is not answered is seen when the next format is.
const std::vector<expectation> before_format = {{ends, broken},
                                                {hang, {aborted}, 1000},
                                                {garbage, {unusable}},
                                                {late, {""}, 1000},
                                                {abort_ | down, {aborted}}};

const std::vector<step> steps = {
    {.name = "connect",
     .before = "",
     .after = "connect\nserve",
     .hang_act = "look",
     .expected = {{ends | hang, {"timeout"}, connect_ms}, {late, {""}, 1000}, {abort_ | down, {aborted}}},
     .absent = {{cut | garbage, no_answer}}},
    {.name = "state",
     .hook = "on 2 1 ",
     .garbage_answer = {"reply-garbage 20"},
     .expected = before_format,
     .absent = {{cut, no_answer}}},
    {.name = "format",
     .hook = "on 3 1 ",
     .short_answer = {"reply-garbage 10", "close-pipe"},
     .garbage_answer = {"no-reply", "reply-garbage 20"},
     .expected = {{ends | cut, {broken[0]}},
                  {hang, {aborted}, 1000},
                  {garbage, {unusable}},
                  {late, {""}, 1000},
                  {abort_ | down, {aborted}}}},
    {.name = "process",
     .hook = "on 1 2 ",
     .after = "serve\nhang",
     .short_answer = {"reply-garbage 17", "close-pipe"},
     .garbage_answer = {"no-reply", "reply-garbage 68"},
     .expected = {{ends, {"VST worker terminated: $"}},
                  {hang, {aborted}, 1000},
                  {cut, {"VST error"}, 1000},
                  {garbage, {""}}, // sound like any other
                  {late, {""}, 1000},
                  {abort_ | down, {aborted}}}},
    {.name = "drain",
     .before = "connect\ntail 64 7\n",
     .hook = "on 4 1 ",
     .short_answer = {"reply-garbage 10", "close-pipe"},
     .garbage_answer = {"no-reply", "reply-words 0xFFFFFFFF", "reply-garbage 100"},
     .expected = {{ends | cut | garbage, {"invalid input"}},
                  {hang, {aborted}, 1000},
                  {late, {""}, 1000},
                  {abort_ | down, {aborted}}}},
    {.name = "reset",
     .hook = "on 5 1 ",
     .garbage_answer = {"reply-garbage 20"},
     .expected = before_format,
     .absent = {{cut, no_answer}}},

    {.name = "configure start",
     .before = "",
     .after = "connect\nread 1",
     .hang_act = "look",
     .expected = {{ends | hang, {no_window}, connect_ms},
                  {late, {"stopped"}, open_ms},
                  {abort_ | down, {"stopped"}},
                  {lost, {""}, 0, no_data_file}},
     .absent = {{cut | garbage, no_answer}}},
    // The worker's answer is the file with the state.
    {.name = "configure poll",
     .after = "read 1",
     .short_answer = {state_file + "s"},
     .garbage_answer = {state_file + "\"\\xff\\x00\\x01!\""},
     .expected = {{ends, {"finished"}},
                  {hang, {"stopped"}, 2000},
                  {cut, {"state of 1 bytes, stopped"}},
                  {garbage, {"state of 4 bytes, stopped"}},
                  {late, {"state of 4 bytes, stopped"}, 1000},
                  {abort_ | down, {"stopped"}},
                  {lost, {""}, 0, no_data_file}}},
    {.name = "live feed",
     .before = deaf,
     .hook = "on 1 2 ",
     .garbage_answer = {"reply-garbage 1000"},
     .expected = {{ends, {"finished"}},
                  {hang, {"stopped"}, 2000},
                  {garbage | late, {"stopped"}, open_ms},
                  {abort_ | down, {"stopped"}},
                  {lost, {""}, 0, no_data_file}},
     .absent = {{cut, nothing_read}}},
    // The pipe's end asks a worker to save and go; it has a second.
    {.name = "configure end",
     .before = "connect\n" + here + "\n",
     .hook = "on-broken-pipe ",
     .after = "read 1",
     .hang_act = "look",
     .short_answer = {state_file + "s"},
     .garbage_answer = {state_file + "\"\\xff\\x00\\x01!\""},
     .expected = {{ends | down, {"stopped"}},
                  {hang, {"stopped"}, 1000},
                  {cut, {"state of 1 bytes, stopped"}},
                  {garbage, {"state of 4 bytes, stopped"}},
                  {late, {"stopped"}, 500},
                  {lost, {""}, 0, no_data_file}},
     .absent = {{abort_, "the step is the player giving up"}}},

    {.name = "visualisation start",
     .before = "",
     .after = "connect\nexit 0",
     .hang_act = "look",
     .expected = {{ends, {"gone"}, connect_ms},
                  {hang, {"gone"}, connect_ms + 1000},
                  {late, {"gone"}, 1000},
                  {down, {"left as it is"}, 0, left_open}},
     .absent = {{cut | garbage, no_answer}, {abort_, window_only}}},
    {.name = "visualisation feed",
     .before = deaf,
     .hook = "on 1 2 ",
     .after = "on 1 3 exit 0\nserve",
     .hang_act = "kill",
     .garbage_answer = {"reply-garbage 1000"},
     .expected = {{ends | garbage, {"gone"}},
                  {hang | late, {"gone"}, 1000},
                  {down, {"left as it is"}, 0, left_open}},
     .absent = {{cut, nothing_read}, {abort_, window_only}}},
    {.name = "visualisation end",
     .before = deaf + "on 1 2 close-pipe\nserve\n",
     .after = "exit 0",
     .hang_act = "look",
     .expected = {{ends, {"gone"}}, {hang | late, {"gone"}, 1000}, {down, {"left as it is"}, 0, left_open}},
     .absent = {{cut | garbage, nothing_read}, {abort_, window_only}}},

    // What the worker prints: a line and a half before the fault, the rest of it afterwards.
    {.name = "relay",
     .before = "connect\non 1 2 write-stderr \"one\\ntw\"\n",
     .hook = "on 1 2 ",
     .after = "on 1 2 write-stderr \"o\\n\"\nserve",
     .short_answer = {"close-stderr"},
     .garbage_answer = {"write-stderr \"\\xff\\xfe\\n\""},
     .expected = {{ends | cut, {"VST: one"}},
                  {down, {"VST: one", ""}}, // it does not wait for what is on its way
                  {hang, {"VST: one"}, 1000},
                  {garbage, {"VST: one / VST: tw\xff\xfe / VST: o"}},
                  {late, {"VST: one / VST: two"}, 1000}},
     .absent = {{abort_, "only the player's end and the worker's end it"}}},
};

std::vector<std::string> statements(const step& where, fault kind)
{
    switch (kind) {
    case worker_killed:
    case worker_hangs:
        return {"hang"};
    case worker_exits_0:
        return {"exit 0"};
    case worker_exits_1:
        return {"exit 1"};
    case worker_crashes:
        return {"crash"};
    case answers_short:
        return where.short_answer;
    case answers_garbage:
        return where.garbage_answer;
    case answers_late:
        if (!where.hook.starts_with("on-broken"))
            return where.name == std::string("configure poll")
                       ? std::vector<std::string>{"sleep 1000", state_file + "late"}
                       : std::vector<std::string>{"sleep 1000"};
        [[fallthrough]];
    default: // it goes on a little later, if it is let
        return {"sleep 500"};
    }
}

cell make_cell(const step& where, fault kind)
{
    cell made;
    made.step = where.name;
    made.kind = kind;
    const std::string name = where.name;
    const bool signalled = where.before.find(here) != std::string::npos;
    made.script = where.before + (signalled ? "" : where.hook + here + "\n");
    for (const std::string& statement : statements(where, kind))
        made.script += where.hook + statement + "\n";
    made.script += where.after;

    const bool editor = name.starts_with("configure") || name == "live feed";
    if (kind == worker_killed) {
        made.act = "kill";
        made.delay_ms = signalled ? 200 : 0; // the pipe's end follows the signal
    } else if (kind == worker_hangs) {
        made.act = where.hang_act;
        made.delay_ms = 1000;
    } else if (kind == player_aborts) {
        made.act = "stop";
    } else if (kind == player_shuts_down) {
        made.act = "shut-down";
    } else if (editor && kind >= answers_short && kind <= answers_late && !signalled) {
        made.act = "stop"; // it stays open: the user closes it
        made.delay_ms = open_ms;
    }

    for (const absence& each : where.absent) {
        if (each.when & only(kind))
            made.why_not = each.why;
    }
    if (kind == player_killed)
        made.seen = {""}; // by nobody
    static const char* const codes[] = {"0x2A", "0x0", "0x1", "0xC0000005"};
    for (const expectation& each : where.expected) {
        if (!(each.when & only(kind)))
            continue;
        made.seen = each.seen;
        for (std::string& text : made.seen) {
            if (const size_t at = text.find('$'); at != std::string::npos)
                text.replace(at, 1, codes[kind]);
        }
        made.after_ms = each.after_ms;
        made.left = each.left;
    }
    return made;
}

} // namespace

std::vector<cell> all_cells()
{
    std::vector<cell> cells;
    for (const step& each : steps) {
        for (unsigned kind = 0; kind < fault_count; ++kind)
            cells.push_back(make_cell(each, static_cast<fault>(kind)));
    }
    return cells;
}
