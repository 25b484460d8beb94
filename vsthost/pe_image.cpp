#include "vsthost/pe_image.h"

#include <cstdio>
#include <cstring>

namespace {

constexpr size_t most_imports = 256;
constexpr size_t longest_name = 260;
constexpr size_t section_size = 40;
constexpr size_t import_size = 20;

template <class T>
std::optional<T> load(std::span<const uint8_t> file, size_t offset)
{
    if (offset > file.size() || file.size() - offset < sizeof(T))
        return std::nullopt;
    T value;
    std::memcpy(&value, file.data() + offset, sizeof value);
    return value;
}

// Offset of the "PE" signature.
std::optional<size_t> pe_offset(std::span<const uint8_t> file)
{
    if (load<uint16_t>(file, 0) != 0x5A4D)
        return std::nullopt;
    const auto offset = load<uint32_t>(file, 0x3C);
    if (!offset || load<uint32_t>(file, *offset) != 0x00004550u)
        return std::nullopt;
    return *offset;
}

struct sections {
    std::span<const uint8_t> file;
    size_t table = 0;
    size_t count = 0;

    // File offset of a relative virtual address.
    std::optional<size_t> find(uint32_t address) const
    {
        for (size_t i = 0; i < count; ++i) {
            const size_t header = table + i * section_size;
            const auto start = load<uint32_t>(file, header + 12);
            const auto size = load<uint32_t>(file, header + 16);
            const auto offset = load<uint32_t>(file, header + 20);
            if (!start || !size || !offset)
                return std::nullopt;
            if (address >= *start && address - *start < *size)
                return size_t{*offset} + (address - *start);
        }
        return std::nullopt;
    }
};

} // namespace

std::optional<uint16_t> vsthost::pe_machine(std::span<const uint8_t> file)
{
    const auto pe = pe_offset(file);
    return pe ? load<uint16_t>(file, *pe + 4) : std::nullopt;
}

std::string vsthost::machine_name(uint16_t machine)
{
    switch (machine) {
    case machine_x64:
        return "64-bit (x64)";
    case machine_x86:
        return "32-bit (x86)";
    case machine_arm64:
        return "ARM64";
    default: {
        char text[32];
        std::snprintf(text, sizeof text, "machine type 0x%X", static_cast<unsigned>(machine));
        return text;
    }
    }
}

std::vector<std::string> vsthost::pe_imports(std::span<const uint8_t> file)
{
    std::vector<std::string> names;
    const auto pe = pe_offset(file);
    if (!pe)
        return names;
    const auto section_count = load<uint16_t>(file, *pe + 6);
    const auto optional_size = load<uint16_t>(file, *pe + 20);
    const size_t optional_header = *pe + 24;
    const auto magic = load<uint16_t>(file, optional_header);
    if (!section_count || !optional_size || !magic)
        return names;
    // The import table is the second data directory; the directories lie behind the fields that differ in
    // width.
    const auto imports = load<uint32_t>(file, optional_header + (*magic == 0x20B ? 120 : 104));
    const sections all{file, optional_header + *optional_size, *section_count};
    const auto table = imports && *imports != 0 ? all.find(*imports) : std::nullopt;
    if (!table)
        return names;
    for (size_t i = 0; i < most_imports; ++i) {
        const auto name = load<uint32_t>(file, *table + i * import_size + 12);
        if (!name || *name == 0)
            break;
        const auto offset = all.find(*name);
        if (!offset || *offset >= file.size())
            continue;
        const auto* const text = reinterpret_cast<const char*>(file.data() + *offset);
        const size_t room = file.size() - *offset < longest_name ? file.size() - *offset : longest_name;
        const size_t length = strnlen(text, room);
        if (length != 0 && length < room)
            names.emplace_back(text, length);
    }
    return names;
}
