#pragma once
// The outermost frames of our code.

#include "vsthost/exit_codes.h"
#include "vsthost/process_shell.h"
#include "vsthost/report.h"

#include <exception>
#include <new>
#include <string>

namespace vsthost {

// For work that nothing above can catch from: a window procedure, a thread. What it throws ends the process
// with a line and a code.
template <class Work>
auto or_end_process(Work&& work) noexcept
{
    try {
        return work();
    } catch (const fatal_error& error) {
        end_process(error);
    } catch (const std::bad_alloc&) {
        report_out_of_memory();
        end_process(exit_code::out_of_memory);
    } catch (const std::exception& error) {
        end_process(fatal_error(exit_code::internal, "internal error: " + std::string(error.what())));
    }
}

// A thread's work; its return ends the process as well.
template <class Work>
[[noreturn]] void run_to_the_end(Work&& work)
{
    or_end_process(work);
    end_process(exit_code::ok);
}

} // namespace vsthost
