#pragma once
// How long work takes.

#include <chrono>

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
