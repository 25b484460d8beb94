#pragma once
// The exceptions that player and component throw into each other. They cross the module boundary by type, so
// both modules must use the same shared C++ runtime library; every class is complete in this header.

#include <cstdint>
#include <cstdio>
#include <stdexcept>
#include <string>

// The user or the player gave the operation up.
struct exception_aborted : std::exception {
    const char* what() const noexcept override { return "User abort"; }
};

// Base of every failure of reading or writing data.
struct exception_io : std::exception {
    const char* what() const noexcept override { return "I/O error"; }
};

// The file, folder or other object does not exist.
struct exception_io_not_found : exception_io {
    const char* what() const noexcept override { return "Object not found"; }
};

// The object exists but may not be accessed.
struct exception_io_denied : exception_io {
    const char* what() const noexcept override { return "Access denied"; }
};

// The bytes are not what the format demands.
struct exception_io_data : exception_io {
    const char* what() const noexcept override { return "Unsupported format or corrupted file"; }
};

// The bytes end too early. Deliberately the same text as its base.
struct exception_io_data_truncation : exception_io_data {};

// A size or count does not fit the type that has to hold it.
struct exception_overflow : std::exception {
    const char* what() const noexcept override { return "Overflow"; }
};

// A failed Win32 call. The text is "Win32 error " and the code in decimal.
class exception_win32 : public std::exception {
public:
    explicit exception_win32(uint32_t code) noexcept
        : code_(code)
    {
        std::snprintf(text_, sizeof(text_), "Win32 error %u", static_cast<unsigned>(code));
    }
    const char* what() const noexcept override { return text_; }
    uint32_t code() const noexcept { return code_; }

private:
    uint32_t code_;
    char text_[32];
};

// The player's promise to a component was broken (a service that must exist exactly once does not, a call on
// the wrong thread). An exception rather than the end of the process: whoever started the operation reports
// it.
class exception_host_bug_check : public std::logic_error {
public:
    explicit exception_host_bug_check(const std::string& text)
        : std::logic_error(text)
    {
    }
};
