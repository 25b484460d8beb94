#pragma once
// What the worker link throws. Each class has one fixed text, which is the whole message a user may see.

#include <stdexcept>

namespace Nv {

// The peer ended the stream too early, or sent what the conversation does not allow.
struct invalid_input : std::runtime_error {
    invalid_input()
        : std::runtime_error("invalid input")
    {
    }
};

// The current thread's aborter fired. Becomes the player's exception_aborted where a call of the player's
// ends.
struct user_abort : std::runtime_error {
    user_abort()
        : std::runtime_error("user abort")
    {
    }
};

// An operating-system call failed that only fails through a fault of ours or in a system without resources.
struct bug_check : std::runtime_error {
    bug_check()
        : std::runtime_error("bug check")
    {
    }
};

struct network_error : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// A stream's own time limit ran out.
struct network_error_timeout : network_error {
    network_error_timeout()
        : network_error("network timeout")
    {
    }
};

struct file_access_error : std::runtime_error {
    file_access_error()
        : file_access_error("file access error")
    {
    }

protected:
    explicit file_access_error(const char* text)
        : std::runtime_error(text)
    {
    }
};

struct file_not_found : file_access_error {
    file_not_found()
        : file_access_error("file not found")
    {
    }
};

struct file_already_exists : file_access_error {
    file_already_exists()
        : file_access_error("file already exists")
    {
    }
};

struct directory_not_empty : file_access_error {
    directory_not_empty()
        : file_access_error("directory not empty")
    {
    }
};

} // namespace Nv
