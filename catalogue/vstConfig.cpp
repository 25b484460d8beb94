#include "catalogue/vstConfig.h"

#include "sdk/exceptions.h"
#include "sdk/stream.h"

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <cstring>
#include <limits>

static_assert(std::endian::native == std::endian::little,
              "preset bytes are little-endian, as they lie in memory");

namespace {

constexpr guid_t header_v1 = {0x4ce72136, 0xa427, 0x454b, {0xbd, 0x82, 0x54, 0xef, 0x98, 0x35, 0x9b, 0xf1}};
constexpr guid_t header_v2 = {0xb3a84042, 0x0aa7, 0x4b34, {0xab, 0x42, 0x7f, 0x5f, 0xe2, 0x69, 0x4f, 0x16}};
constexpr guid_t header_v3 = {0x880c1c2a, 0x4545, 0x475d, {0x8a, 0x88, 0x3b, 0xce, 0x82, 0xb2, 0x36, 0x08}};

// 0 is the layout from before there were headers.
int layout_version(const stream_reader_memblock_ref& blob)
{
    if (blob.get_remaining() < sizeof(guid_t))
        return 0;
    guid_t header;
    std::memcpy(&header, blob.get_position(), sizeof(header));
    if (header == header_v1)
        return 1;
    if (header == header_v2)
        return 2;
    return header == header_v3 ? 3 : 0;
}

// Memory never blocks, so these read at the position instead of through calls that want an abort token.
std::string read_text(stream_reader_memblock_ref& blob)
{
    const auto* first = blob.get_position();
    const auto* last = first + blob.get_remaining();
    const auto* end = std::find(first, last, uint8_t{0});
    if (end == last)
        throw exception_io_data_truncation();
    std::string text(first, end);
    blob.skip(text.size() + 1);
    return text;
}

template <class Word>
Word read_word(stream_reader_memblock_ref& blob)
{
    Word value;
    if (blob.get_remaining() < sizeof(value))
        throw exception_io_data_truncation();
    std::memcpy(&value, blob.get_position(), sizeof(value));
    blob.skip(sizeof(value));
    return value;
}

// atoi without its undefined overflow.
int32_t decimal_value(const std::string& text)
{
    const long value = std::strtol(text.c_str(), nullptr, 10);
    return static_cast<int32_t>(
        std::clamp<long>(value, std::numeric_limits<int32_t>::min(), std::numeric_limits<int32_t>::max()));
}

void require_known_version(int32_t vst_version)
{
    if (vst_version != 2 && vst_version != 3)
        throw exception_io_data();
}

void read_legacy(stream_reader_memblock_ref& blob, vstConfig_t& config)
{
    config.name = read_text(blob);
    config.path = read_text(blob);
    config.vstVersion = decimal_value(read_text(blob));
    config.arch = read_text(blob);
    require_known_version(config.vstVersion);
    if (config.arch == "1")
        config.arch = "x86";
    else if (config.arch == "2")
        config.arch = "x64";
}

void read_versioned(stream_reader_memblock_ref& blob, int version, vstConfig_t& config)
{
    blob.skip(sizeof(guid_t));
    config.name = read_text(blob);
    config.path = read_text(blob);
    config.arch = read_text(blob);
    config.vstVersion = read_word<int32_t>(blob);
    config.flags = read_word<uint32_t>(blob);
    require_known_version(config.vstVersion);
    if (version >= 2)
        config.outputChannelMask = read_word<uint32_t>(blob);
    if (version == 3)
        read_word<uint32_t>(blob); // reserved
}

void append(std::vector<uint8_t>& out, const void* bytes, size_t byte_count)
{
    const auto* first = static_cast<const uint8_t*>(bytes);
    out.insert(out.end(), first, first + byte_count);
}

} // namespace

vstConfig_t vstConfigFromPreset(const dsp_preset& preset)
{
    if (!(preset.get_owner() == vstPresetOwner))
        throw exception_io_data();
    vstConfig_t config;
    stream_reader_memblock_ref blob(preset.get_data(), preset.get_data_size());
    if (blob.get_remaining() == 0)
        return config;
    if (const int version = layout_version(blob))
        read_versioned(blob, version, config);
    else
        read_legacy(blob, config);
    config.state.assign(blob.get_position(), blob.get_position() + blob.get_remaining());
    return config;
}

void vstConfigFromPreset(const dsp_preset& preset, vstConfig_t& out)
{
    out = vstConfigFromPreset(preset);
}

void vstConfigToPreset(const vstConfig_t& config, dsp_preset& out)
{
    std::vector<uint8_t> blob;
    append(blob, &header_v2, sizeof(header_v2));
    // Name first: the order in the bytes is not the order in the record.
    for (const std::string* text : {&config.name, &config.path, &config.arch})
        append(blob, text->c_str(), std::strlen(text->c_str()) + 1);
    append(blob, &config.vstVersion, sizeof(config.vstVersion));
    append(blob, &config.flags, sizeof(config.flags));
    append(blob, &config.outputChannelMask, sizeof(config.outputChannelMask));
    append(blob, config.state.data(), config.state.size());
    out.set_data(blob.data(), blob.size());
    out.set_owner(vstPresetOwner);
}

void clearPreset(dsp_preset& out)
{
    out.set_data(nullptr, 0);
    out.set_owner(vstPresetOwner);
}

std::string displayName(const vstConfig_t& config)
{
    const char* word = config.arch == "x86" ? "32-bit" : config.arch == "x64" ? "64-bit" : "???";
    return config.name + " (VST v" + std::to_string(config.vstVersion) + ", " + word + ")";
}

bool sameEffect(const vstConfig_t& a, const vstConfig_t& b) noexcept
{
    return a.path == b.path;
}
