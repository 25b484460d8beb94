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
    std::string before; // the fault
    std::string hook;   // in front of each statement of it
    std::string after;
    const char* hang_act; // what the player does about a hang, a second later
    std::vector<std::string> short_answer, garbage_answer;
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
const char* const left_open = "1 handles";  // the player's last moments are nobody's to delete it in
const char* const no_data_file = "1 files"; // the state's: whoever would delete it is gone

// What is not answered is seen when the next format is.
const std::vector<expectation> before_format = {{ends, broken},
                                                {hang, {aborted}, 1000},
                                                {garbage, {unusable}},
                                                {late, {""}, 1000},
                                                {abort_ | down, {aborted}}};

const std::vector<step> steps = {
    {"connect",
     "",
     "",
     "connect\nserve",
     "look",
     {},
     {},
     {{ends | hang, {"timeout"}, connect_ms}, {late, {""}, 1000}, {abort_ | down, {aborted}}},
     {{cut | garbage, no_answer}}},
    {"state",
     "connect\n",
     "on 2 1 ",
     "serve",
     "stop",
     {},
     {"reply-garbage 20"},
     before_format,
     {{cut, no_answer}}},
    {"format",
     "connect\n",
     "on 3 1 ",
     "serve",
     "stop",
     {"reply-garbage 10", "close-pipe"},
     {"no-reply", "reply-garbage 20"},
     {{ends | cut, {broken[0]}},
      {hang, {aborted}, 1000},
      {garbage, {unusable}},
      {late, {""}, 1000},
      {abort_ | down, {aborted}}}},
    {"process",
     "connect\n",
     "on 1 2 ",
     "serve\nhang",
     "stop",
     {"reply-garbage 17", "close-pipe"},
     {"no-reply", "reply-garbage 68"},
     {{ends, {"VST worker terminated: $"}},
      {hang, {aborted}, 1000},
      {cut, {"VST error"}, 1000},
      {garbage, {""}}, // sound like any other
      {late, {""}, 1000},
      {abort_ | down, {aborted}}}},
    {"drain",
     "connect\ntail 64 7\n",
     "on 4 1 ",
     "serve",
     "stop",
     {"reply-garbage 10", "close-pipe"},
     {"no-reply", "reply-words 0xFFFFFFFF", "reply-garbage 100"},
     {{ends | cut | garbage, {"invalid input"}},
      {hang, {aborted}, 1000},
      {late, {""}, 1000},
      {abort_ | down, {aborted}}}},
    {"reset",
     "connect\n",
     "on 5 1 ",
     "serve",
     "stop",
     {},
     {"reply-garbage 20"},
     before_format,
     {{cut, no_answer}}},

    {"configure start",
     "",
     "",
     "connect\nread 1",
     "look",
     {},
     {},
     {{ends | hang, {no_window}, connect_ms},
      {late, {"stopped"}, open_ms},
      {abort_ | down, {"stopped"}},
      {lost, {""}, 0, no_data_file}},
     {{cut | garbage, no_answer}}},
    // The worker's answer is the file with the state.
    {"configure poll",
     "connect\n",
     "",
     "read 1",
     "stop",
     {state_file + "s"},
     {state_file + "\"\\xff\\x00\\x01!\""},
     {{ends, {"finished"}},
      {hang, {"stopped"}, 2000},
      {cut, {"state of 1 bytes, stopped"}},
      {garbage, {"state of 4 bytes, stopped"}},
      {late, {"state of 4 bytes, stopped"}, 1000},
      {abort_ | down, {"stopped"}},
      {lost, {""}, 0, no_data_file}}},
    {"live feed",
     deaf,
     "on 1 2 ",
     "serve",
     "stop",
     {},
     {"reply-garbage 1000"},
     {{ends, {"finished"}},
      {hang, {"stopped"}, 2000},
      {garbage | late, {"stopped"}, open_ms},
      {abort_ | down, {"stopped"}},
      {lost, {""}, 0, no_data_file}},
     {{cut, nothing_read}}},
    // The pipe's end asks a worker to save and go; it has a second.
    {"configure end",
     "connect\n" + here + "\n",
     "on-broken-pipe ",
     "read 1",
     "look",
     {state_file + "s"},
     {state_file + "\"\\xff\\x00\\x01!\""},
     {{ends | down, {"stopped"}},
      {hang, {"stopped"}, 1000},
      {cut, {"state of 1 bytes, stopped"}},
      {garbage, {"state of 4 bytes, stopped"}},
      {late, {"stopped"}, 500},
      {lost, {""}, 0, no_data_file}},
     {{abort_, "the step is the player giving up"}}},

    {"visualisation start",
     "",
     "",
     "connect\nexit 0",
     "look",
     {},
     {},
     {{ends, {"gone"}, connect_ms},
      {hang, {"gone"}, connect_ms + 1000},
      {late, {"gone"}, 1000},
      {down, {"left as it is"}, 0, left_open}},
     {{cut | garbage, no_answer}, {abort_, "only its window's end and the player's end it"}}},
    {"visualisation feed",
     deaf,
     "on 1 2 ",
     "on 1 3 exit 0\nserve",
     "kill",
     {},
     {"reply-garbage 1000"},
     {{ends | garbage, {"gone"}}, {hang | late, {"gone"}, 1000}, {down, {"left as it is"}, 0, left_open}},
     {{cut, nothing_read}, {abort_, "only its window's end and the player's end it"}}},
    {"visualisation end",
     deaf + "on 1 2 close-pipe\nserve\n",
     "",
     "exit 0",
     "look",
     {},
     {},
     {{ends, {"gone"}}, {hang | late, {"gone"}, 1000}, {down, {"left as it is"}, 0, left_open}},
     {{cut | garbage, nothing_read}, {abort_, "only its window's end and the player's end it"}}},

    // What the worker prints: a line and a half before the fault, the rest of it afterwards.
    {"relay",
     "connect\non 1 2 write-stderr \"one\\ntw\"\n",
     "on 1 2 ",
     "on 1 2 write-stderr \"o\\n\"\nserve",
     "stop",
     {"close-stderr"},
     {"write-stderr \"\\xff\\xfe\\n\""},
     {{ends | cut, {"VST: one"}},
      {down, {"VST: one", ""}}, // it does not wait for what is on its way
      {hang, {"VST: one"}, 1000},
      {garbage, {"VST: one / VST: tw\xff\xfe / VST: o"}},
      {late, {"VST: one / VST: two"}, 1000}},
     {{abort_, "only the player's end and the worker's end it"}}},
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
