#pragma once
// Runs a program as a process of its own, with its output in files: a process that it leaves behind must not
// keep a pipe open.

#include "support/temp_folder.h"
#include "win/handle.h"

#include <string>
#include <vector>

struct program_result {
    unsigned exit_code = 0;
    std::string out;
    std::string err;

    // The last line of standard error, without its end.
    std::string last_line() const;
};

// The command line that a program takes apart into these arguments.
std::wstring join_arguments(const std::vector<std::string>& arguments);

// Starts the program; its standard streams go to the two files.
win::kernel_handle start_program(const std::string& program, const std::vector<std::string>& arguments,
                                 const std::string& out_file, const std::string& err_file);

// Runs it to its end, at most 50 seconds (1000 in a long run); then it is ended and this throws.
program_result run_program(const std::string& program, const std::vector<std::string>& arguments);

// The folder of shipped files for this architecture, from the environment. Throws when it is not set.
std::string dist_folder();
// The folder of this test program.
std::string tests_folder();
