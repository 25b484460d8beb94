#pragma once
// How long work takes, and how it fails.

#include <chrono>
#include <exception>
#include <string>

inline double seconds_since(std::chrono::steady_clock::time_point began)
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - began).count();
}

double seconds_of(auto&& work)
{
    const auto began = std::chrono::steady_clock::now();
    work();
    return seconds_since(began);
}

// The text of what `work` throws; "none" when it does not.
std::string failure_of(auto&& work)
{
    try {
        work();
    } catch (const std::exception& failure) {
        return failure.what();
    }
    return "none";
}
