// The state files of the repository, against what the modules themselves save.

#include "effects/plugin_driver.h"

#include <doctest/doctest.h>

#include <cstring>
#include <filesystem>
#include <fstream>

namespace {

bytes read_file(const std::wstring& path)
{
    std::ifstream file(std::filesystem::path(path), std::ios::binary);
    REQUIRE(file);
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    const auto* const first = reinterpret_cast<const std::byte*>(text.data());
    return {first, first + text.size()};
}

void append(bytes& to, const void* from, std::size_t size)
{
    const auto* const first = static_cast<const std::byte*>(from);
    to.insert(to.end(), first, first + size);
}

template <class Number>
void append(bytes& to, Number value)
{
    append(to, &value, sizeof(value));
}

bytes part(const bytes& whole, std::size_t offset, std::size_t size)
{
    REQUIRE(offset + size <= whole.size());
    return {whole.begin() + static_cast<std::ptrdiff_t>(offset),
            whole.begin() + static_cast<std::ptrdiff_t>(offset + size)};
}

void check_unity(plugin_driver& plugin)
{
    const std::vector<std::vector<double>> input(2, std::vector<double>(16, 0.1));
    plugin.start(44100, 16, true);
    CHECK(plugin.run(input, 16) == input);
    plugin.stop();
}

} // namespace

TEST_CASE("gain-unity.vstpreset is the preset image of a gain of one")
{
    const bytes file = read_file(state_path(L"gain-unity.vstpreset"));
    const auto plugin = open_plugin(effect_path(L"qvxGain.vst3"));
    CHECK(plugin->parameter(0) == 0.25);
    plugin->load(part(file, 48, file.size() - 48 - 28)); // between the header and the list of one chunk
    CHECK(plugin->parameter(0) == 0.5);
    check_unity(*plugin);

    const bytes state = plugin->save();
    bytes image;
    append(image, "VST3", 4);
    append(image, int32_t{1});
    append(image, plugin->class_id_hex().data(), 32);
    append(image, static_cast<int64_t>(48 + state.size()));
    append(image, state.data(), state.size());
    append(image, "List", 4);
    append(image, int32_t{1});
    append(image, "Comp", 4);
    append(image, int64_t{48});
    append(image, static_cast<int64_t>(state.size()));
    CHECK(file == image);
}

TEST_CASE("gain-unity.fxp is the program file of a gain of one")
{
    const bytes file = read_file(state_path(L"gain-unity.fxp"));
    const auto plugin = open_plugin(effect_path(L"qvxGain.dll"));
    REQUIRE(file.size() == 60);
    bytes value = part(file, 56, 4); // one big-endian float after the header
    std::reverse(value.begin(), value.end());
    plugin->load(value);
    CHECK(plugin->save() == value);
    check_unity(*plugin);

    std::string head(reinterpret_cast<const char*>(file.data()), 56);
    CHECK(head.substr(0, 4) == "CcnK");
    CHECK(head.substr(4, 4) == std::string("\0\0\0\x34", 4));
    CHECK(head.substr(8, 4) == "FxCk");
    CHECK(head.substr(16, 4) == "qvxG");
    CHECK(plugin->unique_id() == 0x71767847);
    CHECK(head.substr(24, 4) == std::string("\0\0\0\x01", 4));
}
