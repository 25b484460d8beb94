#pragma once
// What tests with the misbehaving modules share: which builds there are, and the state that the modules keep.

#include "support/test_options.h"
#include "vsthost/vst2/vst2_state.h"
#include "vsthost/vst3/vstpreset.h"
#include "vsthost/worker_driver.h"

#include <doctest/doctest.h>

#include <cstdio>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

namespace module_cases {

using namespace worker_driver;

inline constexpr Nv::streamFormat stereo{44100, 2, 0x3, 2, 0x3};

struct kind {
    std::string arch;
    int version;
};

inline void for_each_kind(const std::function<void(const kind&)>& body)
{
    for (const std::string& arch : arches())
        for (const int version : {2, 3}) {
            CAPTURE(arch);
            CAPTURE(version);
            body({arch, version});
        }
}

// The short form pairs each format with one bitness.
inline void for_some_kinds(const std::function<void(const kind&)>& body)
{
    if (test_options::long_run() || arches().size() < 2)
        return for_each_kind(body);
    body({"x64", 3});
    body({"x86", 2});
}

inline launch module(const kind& which, const std::string& name)
{
    launch how;
    how.arch = which.arch;
    how.vst_version = which.version;
    how.vst = dist() + "\\..\\" + which.arch + "\\tests\\bin\\modules\\" + name +
              (which.version == 2 ? ".dll" : ".vst3");
    return how;
}

inline Nv::streamFormat open_stream(worker& with, const Nv::streamFormat& wanted,
                                    const std::vector<uint8_t>& state = {})
{
    with.set_state(state);
    return with.set_format(wanted);
}

inline std::vector<double> ramp(size_t count)
{
    std::vector<double> samples(count);
    for (size_t i = 0; i < count; ++i)
        samples[i] = static_cast<double>(i % 1000 + 1) / 1024;
    return samples;
}

inline std::vector<double> times(double factor, std::vector<double> samples)
{
    for (double& sample : samples)
        sample *= factor;
    return samples;
}

// Ends the conversation and returns what was said.
inline std::string said_by(worker& with)
{
    with.break_pipe();
    CHECK(with.wait() == 0);
    return with.errors();
}

inline worker probe(const kind& which, const std::string& name,
                    const std::map<std::string, std::string>& environment = {})
{
    return worker(which.arch,
                  {"probe", "--vst", module(which, name).vst, "--vst-version", std::to_string(which.version)},
                  environment);
}

inline constexpr uint32_t access_violation = 0xC0000005;

inline uint32_t hash(const std::string& text)
{
    uint32_t value = 2166136261u;
    for (const char c : text)
        value = (value ^ static_cast<unsigned char>(c)) * 16777619u;
    return value;
}

// What the modules keep: the value of "Level", then the filling of the large one.
inline std::vector<uint8_t> level_state(const kind& which, const std::string& name, double level,
                                        size_t size = 12, uint32_t number = 0)
{
    std::vector<uint8_t> content(size < 12 ? 12 : size);
    for (size_t i = 12; i < size; ++i)
        content[i] = static_cast<uint8_t>((i * 2654435761u) >> 13 & 0xFF);
    const uint32_t one = 1;
    std::memcpy(content.data(), &one, sizeof one);
    std::memcpy(content.data() + sizeof one, &level, sizeof level);
    content.resize(size);
    if (which.version == 2)
        return vsthost::write_vst2_chunk(static_cast<int32_t>(hash(name)), 1000, 1, 0, content);
    char id[33];
    std::snprintf(id, sizeof id, "7176787465737400%08X%08X",
                  static_cast<unsigned>(hash(number == 0 ? name : "many")), static_cast<unsigned>(number));
    return vsthost::write_vstpreset({*vsthost::class_id_from_text(id), content, std::nullopt});
}

} // namespace module_cases
