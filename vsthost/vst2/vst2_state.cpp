#include "vsthost/vst2/vst2_state.h"

#include <bit>
#include <cstring>

namespace {

constexpr uint32_t tag(const char (&text)[5])
{
    uint32_t value = 0;
    for (int i = 0; i < 4; ++i)
        value = value << 8 | static_cast<uint8_t>(text[i]);
    return value;
}

// The most parameters that are believed; more than any effect has.
constexpr uint32_t most_parameters = 1u << 20;
constexpr size_t bank_header = 4 * 8 + 128;   // up to the chunk's size
constexpr size_t program_header = 4 * 7 + 28; // up to the chunk's size or the parameters
constexpr size_t list_header = 4 * 5;

uint32_t load_big(std::span<const uint8_t> image, size_t offset)
{
    return uint32_t{image[offset]} << 24 | uint32_t{image[offset + 1]} << 16 |
           uint32_t{image[offset + 2]} << 8 | image[offset + 3];
}

uint32_t load_little(std::span<const uint8_t> image, size_t offset)
{
    uint32_t value;
    std::memcpy(&value, image.data() + offset, sizeof value);
    return value;
}

int32_t as_signed(uint32_t value)
{
    return std::bit_cast<int32_t>(value);
}

void store_big(std::vector<uint8_t>& image, uint32_t value)
{
    for (int shift = 24; shift >= 0; shift -= 8)
        image.push_back(static_cast<uint8_t>(value >> shift));
}

void store_little(std::vector<uint8_t>& image, uint32_t value)
{
    for (int shift = 0; shift < 32; shift += 8)
        image.push_back(static_cast<uint8_t>(value >> shift));
}

vsthost::vst2_state_result broken(std::string_view problem)
{
    return {std::nullopt, problem};
}

vsthost::vst2_state_result read_chunk(std::span<const uint8_t> image, vsthost::vst2_state state,
                                      size_t header)
{
    if (image.size() < header + 4)
        return broken("it is truncated");
    const uint32_t size = load_big(image, header);
    if (size > image.size() - header - 4)
        return broken("it is truncated");
    state.is_chunk = true;
    state.chunk = image.subspan(header + 4, size);
    return {std::move(state), {}};
}

vsthost::vst2_state_result read_floats(std::span<const uint8_t> image, vsthost::vst2_state state,
                                       size_t header, uint32_t count,
                                       uint32_t (*load)(std::span<const uint8_t>, size_t))
{
    if (count > most_parameters || image.size() < header || (image.size() - header) / 4 < count)
        return broken("it is truncated");
    state.parameters.resize(count);
    for (size_t i = 0; i < count; ++i)
        state.parameters[i] = std::bit_cast<float>(load(image, header + i * 4));
    return {std::move(state), {}};
}

} // namespace

vsthost::vst2_state_result vsthost::read_vst2_state(std::span<const uint8_t> image)
{
    vst2_state state;
    if (image.size() >= list_header && load_big(image, 0) == tag("QVXP")) {
        if (load_little(image, 4) != 1)
            return broken("it has an unknown version");
        state.unique_id = as_signed(load_little(image, 8));
        state.program = as_signed(load_little(image, 12));
        return read_floats(image, std::move(state), list_header, load_little(image, 16), load_little);
    }
    if (image.size() < 4 * 7 || load_big(image, 0) != tag("CcnK"))
        return broken("it is not the state of a VST 2 effect");
    const uint32_t kind = load_big(image, 8);
    const uint32_t version = load_big(image, 12);
    state.unique_id = as_signed(load_big(image, 16));
    if (kind == tag("FBCh")) {
        if (version >= 2 && image.size() >= 4 * 8)
            state.program = as_signed(load_big(image, 28));
        return read_chunk(image, std::move(state), bank_header - 4);
    }
    if (kind == tag("FPCh")) {
        state.whole_bank = false;
        return read_chunk(image, std::move(state), program_header);
    }
    if (kind == tag("FxCk"))
        return read_floats(image, std::move(state), program_header, load_big(image, 24), load_big);
    return broken("it is a kind of VST 2 preset that is not supported");
}

std::vector<uint8_t> vsthost::write_vst2_chunk(int32_t unique_id, int32_t effect_version,
                                               int32_t program_count, int32_t program,
                                               std::span<const uint8_t> chunk)
{
    const auto size = static_cast<uint32_t>(chunk.size());
    std::vector<uint8_t> image;
    image.reserve(bank_header + size);
    store_big(image, tag("CcnK"));
    store_big(image, static_cast<uint32_t>(bank_header) - 8 + size); // of what follows this word
    store_big(image, tag("FBCh"));
    store_big(image, 2);
    store_big(image, std::bit_cast<uint32_t>(unique_id));
    store_big(image, std::bit_cast<uint32_t>(effect_version));
    store_big(image, std::bit_cast<uint32_t>(program_count));
    store_big(image, std::bit_cast<uint32_t>(program));
    image.resize(bank_header - 4);
    store_big(image, size);
    image.insert(image.end(), chunk.begin(), chunk.end());
    return image;
}

std::vector<uint8_t> vsthost::write_vst2_parameters(int32_t unique_id, int32_t program,
                                                    std::span<const float> parameters)
{
    std::vector<uint8_t> image;
    image.reserve(list_header + parameters.size() * 4);
    store_big(image, tag("QVXP"));
    store_little(image, 1);
    store_little(image, std::bit_cast<uint32_t>(unique_id));
    store_little(image, std::bit_cast<uint32_t>(program));
    store_little(image, static_cast<uint32_t>(parameters.size()));
    for (const float value : parameters)
        store_little(image, std::bit_cast<uint32_t>(value));
    return image;
}
