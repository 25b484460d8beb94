#include "catalogue/vstConfig.h"
#include "sdk/dsp_preset_impl.h"
#include "sdk/exceptions.h"

#include <doctest/doctest.h>

#include <cstring>
#include <string>
#include <typeinfo>
#include <vector>

using namespace std::string_literals;

namespace {

const std::string header_1 = "\x36\x21\xE7\x4C\x27\xA4\x4B\x45\xBD\x82\x54\xEF\x98\x35\x9B\xF1"s;
const std::string header_2 = "\x42\x40\xA8\xB3\xA7\x0A\x34\x4B\xAB\x42\x7F\x5F\xE2\x69\x4F\x16"s;
const std::string header_3 = "\x2A\x1C\x0C\x88\x45\x45\x5D\x47\x8A\x88\x3B\xCE\x82\xB2\x36\x08"s;
const std::string texts = "Echo\0C:\\e.vst3"s + '\0' + "x64\0"s;
const std::string version_and_flags = "\x03\0\0\0\x06\0\0\x80"s;
const std::string mask = "\x0F\x06\0\0"s;
const std::string state = "\0\xFF\0st"s;

// Texts with the byte that ends each.
std::string in_turn(std::initializer_list<const char*> parts)
{
    std::string bytes;
    for (const char* const part : parts)
        bytes += part + "\0"s;
    return bytes;
}

dsp_preset_impl preset_of(const std::string& bytes)
{
    dsp_preset_impl preset;
    preset.set_owner(vstPresetOwner);
    preset.set_data(bytes.data(), bytes.size());
    return preset;
}

std::string bytes_of(const dsp_preset& preset)
{
    return {static_cast<const char*>(preset.get_data()), preset.get_data_size()};
}

vstConfig_t echo()
{
    vstConfig_t config{"C:\\e.vst3", "Echo", "x64", 3};
    config.flags = 0x80000006;
    config.outputChannelMask = 0x60F;
    config.state.assign(state.begin(), state.end());
    return config;
}

// "" when the bytes are accepted, else which exception they raise.
std::string outcome(const dsp_preset& preset)
{
    try {
        vstConfigFromPreset(preset);
        return "";
    } catch (const exception_io_data_truncation& e) {
        CHECK(std::strcmp(e.what(), "Unsupported format or corrupted file") == 0);
        return "truncated";
    } catch (const exception_io_data& e) {
        CHECK(std::strcmp(e.what(), "Unsupported format or corrupted file") == 0);
        return "data";
    }
}

} // namespace

TEST_CASE("preset bytes: the writer's golden bytes and owner")
{
    dsp_preset_impl preset;
    vstConfigToPreset(echo(), preset);
    CHECK(bytes_of(preset) == header_2 + texts + version_and_flags + mask + state);
    const guid_t owner = preset.get_owner();
    CHECK(std::memcmp(&owner, "\xA5\x4C\x7F\x93\x0E\x6F\x59\x4D\xBA\x9C\x63\x48\xDD\x1F\xA9\xE0", 16) == 0);

    clearPreset(preset);
    CHECK(preset.get_data_size() == 0);
    CHECK(vstConfigFromPreset(preset) == vstConfig_t());
    // The empty record as bytes is no preset: version 0 cannot be read back.
    vstConfigToPreset(vstConfig_t(), preset);
    CHECK(outcome(preset) == "data");
}

TEST_CASE("preset bytes: every layout is read")
{
    vstConfig_t expected = echo();
    const auto read = [](const std::string& bytes) { return vstConfigFromPreset(preset_of(bytes)); };

    CHECK(read(header_2 + texts + version_and_flags + mask + state) == expected);
    const vstConfig_t from_3 = read(header_3 + texts + version_and_flags + mask + "\1\2\3\4" + state);
    CHECK(from_3 == expected);
    dsp_preset_impl rewritten;
    vstConfigToPreset(from_3, rewritten);
    CHECK(bytes_of(rewritten) == header_2 + texts + version_and_flags + mask + state);

    expected.outputChannelMask = 0;
    CHECK(read(header_1 + texts + version_and_flags + state) == expected);

    expected.flags = 0;
    CHECK(read(in_turn({"Echo", "C:\\e.vst3", "3", "x64"}) + state) == expected);

    struct {
        std::string bytes;
        int32_t version;
        const char* arch;
    } const legacy[] = {
        {in_turn({"n", "p", "2", "1"}), 2, "x86"},
        {in_turn({"n", "p", "3", "2"}), 3, "x64"},
        {in_turn({"n", "p", "2", "12"}), 2, "12"},
        {in_turn({"", "", " +3rest", ""}), 3, ""},
    };
    for (const auto& row : legacy) {
        const vstConfig_t config = read(row.bytes);
        CHECK(config.vstVersion == row.version);
        CHECK(config.arch == row.arch);
        CHECK(config.state.empty());
    }
}

TEST_CASE("preset bytes: what is refused, and as what")
{
    const std::string version_4 = "\x04\0\0\0"s;
    struct {
        std::string bytes;
        const char* expected;
    } const rows[] = {
        {header_2, "truncated"},
        {header_2 + "Ech", "truncated"},
        {header_2 + texts.substr(0, texts.size() - 1), "truncated"},
        {header_2 + texts + "\3\0\0"s, "truncated"},
        {header_2 + texts + version_and_flags + "\0\0\0"s, "truncated"},
        {header_3 + texts + version_and_flags + mask + "\0\0\0"s, "truncated"},
        {header_1 + texts + version_and_flags, ""},
        {header_2 + texts + version_4 + "\0\0\0\0"s + mask, "data"},
        // The version is judged after the flags and before the mask.
        {header_2 + texts + version_4 + "\0\0\0"s, "truncated"},
        {header_2 + texts + version_4 + "\0\0\0\0"s + "\0\0\0"s, "data"},
        {header_2 + texts + "\xFD\xFF\xFF\xFF\0\0\0\0"s + mask, "data"},
        // One to 15 bytes are the legacy layout, and so is a header with a wrong byte.
        {"N", "truncated"},
        {header_2.substr(0, 15), "truncated"},
        {in_turn({"n", "p", "4", "1"}), "data"},
        {in_turn({"n", "p", "4"}) + "1", "truncated"}, // the legacy version is judged after the architecture
        {in_turn({"n", "p", "x", "x64"}), "data"},
        {in_turn({"n", "p", "4294967299", "x64"}), "data"},
        {in_turn({"n", "p", "99999999999999999999999", "x64"}), "data"},
    };
    for (const auto& row : rows) {
        CAPTURE(row.bytes);
        CHECK(outcome(preset_of(row.bytes)) == row.expected);
    }

    dsp_preset_impl foreign;
    CHECK(outcome(foreign) == "data"); // the owner counts even for no bytes at all
    vstConfigToPreset(echo(), foreign);
    guid_t owner = vstPresetOwner;
    owner.data4[7] ^= 1;
    foreign.set_owner(owner);
    CHECK(outcome(foreign) == "data");
}

TEST_CASE("preset bytes: an existing record is replaced as a whole or not at all")
{
    vstConfig_t config = echo();
    CHECK_THROWS_AS(vstConfigFromPreset(preset_of(header_2 + "Other\0"s), config),
                    exception_io_data_truncation);
    CHECK(config == echo());
    vstConfigFromPreset(preset_of(header_1 + texts + version_and_flags), config);
    CHECK(config.state.empty());
    CHECK(config.outputChannelMask == 0);
    vstConfigFromPreset(preset_of(""), config);
    CHECK(config == vstConfig_t());
}

TEST_CASE("records: display name and identity")
{
    vstConfig_t a = echo();
    CHECK(displayName(a) == "Echo (VST v3, 64-bit)");
    a.arch = "x86";
    a.vstVersion = 2;
    CHECK(displayName(a) == "Echo (VST v2, 32-bit)");
    a.arch = "X64";
    CHECK(displayName(a) == "Echo (VST v2, "
                            "???"
                            ")");

    CHECK(sameEffect(a, echo()));
    a.path = "c:\\e.vst3";
    CHECK_FALSE(sameEffect(a, echo()));
}
