#pragma once
// The player's side of a small conversation with a worker.

#include "worker/protocol.h"
#include "worker/winPipeServerLite.h"

#include <cstring>
#include <string>
#include <vector>

inline void send_command(Nv::winPipeServerLite& pipe, Nv::command code, const void* payload, uint32_t bytes)
{
    std::vector<uint8_t> all(sizeof(Nv::commandHeader) + bytes);
    const Nv::commandHeader header = {code, bytes};
    std::memcpy(all.data(), &header, sizeof(header));
    std::memcpy(all.data() + sizeof(header), payload, bytes);
    pipe.write(all.data(), all.size());
}

inline Nv::streamFormat agree_on(Nv::winPipeServerLite& pipe, const Nv::streamFormat& format)
{
    send_command(pipe, Nv::cmdSetFormat, &format, sizeof(format));
    Nv::streamFormat reply = {};
    pipe.readExact(&reply, sizeof(reply));
    return reply;
}

// Sends the samples and reads as many back; the latency is dropped.
inline std::vector<double> process(Nv::winPipeServerLite& pipe, const std::vector<double>& samples)
{
    const size_t bytes = samples.size() * sizeof(double);
    send_command(pipe, Nv::cmdProcess, samples.data(), static_cast<uint32_t>(bytes));
    std::vector<double> result(samples.size());
    pipe.readExact(result.data(), bytes);
    pipe.readWord();
    return result;
}
