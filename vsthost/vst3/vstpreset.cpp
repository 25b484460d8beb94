#include "vsthost/vst3/vstpreset.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr size_t header_size = 4 + 4 + 32 + 8;
constexpr size_t entry_size = 4 + 8 + 8;
constexpr int32_t most_entries = 128;
// Where the digits of the text take their bytes from: the first three fields are little-endian words.
constexpr size_t text_order[16] = {3, 2, 1, 0, 5, 4, 7, 6, 8, 9, 10, 11, 12, 13, 14, 15};

template <class T>
T load(std::span<const uint8_t> image, size_t offset)
{
    T value;
    std::memcpy(&value, image.data() + offset, sizeof value);
    return value;
}

bool is_tag(std::span<const uint8_t> image, size_t offset, std::string_view tag)
{
    return std::memcmp(image.data() + offset, tag.data(), tag.size()) == 0;
}

template <class T>
void store(std::vector<uint8_t>& image, T value)
{
    const auto* const bytes = reinterpret_cast<const uint8_t*>(&value);
    image.insert(image.end(), bytes, bytes + sizeof value);
}

void store_text(std::vector<uint8_t>& image, std::string_view text)
{
    image.insert(image.end(), text.begin(), text.end());
}

int digit_value(char digit)
{
    if (digit >= '0' && digit <= '9')
        return digit - '0';
    if (digit >= 'A' && digit <= 'F')
        return digit - 'A' + 10;
    if (digit >= 'a' && digit <= 'f')
        return digit - 'a' + 10;
    return -1;
}

vsthost::preset_result broken(std::string_view problem)
{
    return {std::nullopt, problem};
}

} // namespace

std::string vsthost::class_id_text(const class_id& id)
{
    constexpr char digits[] = "0123456789ABCDEF";
    std::string text;
    for (const size_t from : text_order) {
        text += digits[id[from] >> 4];
        text += digits[id[from] & 15];
    }
    return text;
}

std::optional<vsthost::class_id> vsthost::class_id_from_text(std::string_view digits)
{
    if (digits.size() != 32)
        return std::nullopt;
    class_id id{};
    for (size_t i = 0; i < id.size(); ++i) {
        const int high = digit_value(digits[2 * i]);
        const int low = digit_value(digits[2 * i + 1]);
        if (high < 0 || low < 0)
            return std::nullopt;
        id[text_order[i]] = static_cast<uint8_t>(high * 16 + low);
    }
    return id;
}

vsthost::preset_result vsthost::read_vstpreset(std::span<const uint8_t> image)
{
    if (image.size() < header_size || !is_tag(image, 0, "VST3"))
        return broken("it is not a VST 3 preset");
    if (load<int32_t>(image, 4) != 1)
        return broken("it has an unknown preset version");
    char digits[32];
    std::memcpy(digits, image.data() + 8, sizeof digits);
    const auto id = class_id_from_text({digits, sizeof digits});
    if (!id)
        return broken("its class id is not readable");

    const auto list = load<int64_t>(image, 40);
    if (list < static_cast<int64_t>(header_size) || static_cast<uint64_t>(list) > image.size() ||
        image.size() - static_cast<size_t>(list) < 8)
        return broken("it is truncated");
    const auto list_offset = static_cast<size_t>(list);
    if (!is_tag(image, list_offset, "List"))
        return broken("its chunk list is missing");
    const auto count = load<int32_t>(image, list_offset + 4);
    if (count < 0 || count > most_entries)
        return broken("its chunk list is corrupt");
    if ((image.size() - list_offset - 8) / entry_size < static_cast<size_t>(count))
        return broken("its chunk list is truncated");

    vst_preset preset;
    preset.id = *id;
    bool has_component = false;
    for (size_t i = 0; i < static_cast<size_t>(count); ++i) {
        const size_t entry = list_offset + 8 + i * entry_size;
        const auto offset = load<int64_t>(image, entry + 4);
        const auto size = load<int64_t>(image, entry + 12);
        const auto total = static_cast<int64_t>(image.size());
        if (offset < 0 || size < 0 || offset > total || size > total - offset)
            return broken("a chunk of it is truncated");
        const auto chunk = image.subspan(static_cast<size_t>(offset), static_cast<size_t>(size));
        if (is_tag(image, entry, "Comp")) {
            preset.component = chunk;
            has_component = true;
        } else if (is_tag(image, entry, "Cont")) {
            preset.controller = chunk;
        }
    }
    if (!has_component)
        return broken("it holds no effect state");
    return {preset, {}};
}

std::vector<uint8_t> vsthost::write_vstpreset(const vst_preset& preset)
{
    std::vector<uint8_t> image;
    const size_t controller_size = preset.controller ? preset.controller->size() : 0;
    image.reserve(header_size + preset.component.size() + controller_size + 8 + 2 * entry_size);
    store_text(image, "VST3");
    store(image, int32_t{1});
    store_text(image, class_id_text(preset.id));
    store(image, static_cast<int64_t>(header_size + preset.component.size() + controller_size));
    image.insert(image.end(), preset.component.begin(), preset.component.end());
    if (preset.controller)
        image.insert(image.end(), preset.controller->begin(), preset.controller->end());
    store_text(image, "List");
    store(image, int32_t{preset.controller ? 2 : 1});
    store_text(image, "Comp");
    store(image, static_cast<int64_t>(header_size));
    store(image, static_cast<int64_t>(preset.component.size()));
    if (preset.controller) {
        store_text(image, "Cont");
        store(image, static_cast<int64_t>(header_size + preset.component.size()));
        store(image, static_cast<int64_t>(controller_size));
    }
    return image;
}
