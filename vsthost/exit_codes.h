#pragma once
// How a worker program ends. The table for people is in README.md; a crash ends with the exception's own code
// (0xC0000005 and the like) instead of one of these.

#include <stdexcept>
#include <string>

namespace vsthost {

enum class exit_code : unsigned {
    ok = 0,                  // also: the player closed the pipe
    usage = 2,               // unknown, missing or malformed option
    pipe_open = 10,          // the pipe named on the command line cannot be opened, or is not there any more
    protocol = 11,           // the player sent something that is no command
    module_missing = 12,     // no such file
    module_unusable = 13,    // a file, but not an effect module of the version asked for
    machine_type = 14,       // built for another machine type than this program
    dependency_missing = 15, // a library that the module needs is not there
    no_effect = 16,          // a module without an audio effect in it
    effect_failed = 17,      // the effect refused to be created or set up
    effect_hangs = 18,       // a call into the effect did not return in time
    exit_stuck = 19,         // the module kept the program from ending
    out_of_memory = 20,
    internal = 21,
    state_file = 22, // a file named on the command line cannot be read or written
};

// Ends the program: `what()` is the line for standard error.
class fatal_error : public std::runtime_error {
public:
    fatal_error(exit_code code, const std::string& text)
        : std::runtime_error(text)
        , code_(code)
    {
    }
    exit_code code() const noexcept { return code_; }

private:
    exit_code code_;
};

} // namespace vsthost
