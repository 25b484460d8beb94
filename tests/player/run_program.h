#pragma once
// Runs a program as a process of its own, with its output in files: a process that it leaves behind must not
// keep a pipe open.

#include "support/shipped.h"
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

// A module of the tests, of this bitness.
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
