#pragma once
// The process's environment variables.

#include <string>

// True when the variable is there, also with an empty value; otherwise `out` stays as it was. UTF-8. Any
// thread.
bool uGetEnvironmentVariable(const char* name, std::string& out);
