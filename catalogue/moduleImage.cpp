#include "catalogue/moduleImage.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <exception>
#include <functional>
#include <queue>
#include <string_view>
#include <vector>

namespace {

// A header check or a read failed; never leaves this file.
class dllinfo_error : public std::exception {
public:
    explicit dllinfo_error(module_refusal refusal) noexcept
        : refusal_(refusal)
    {
    }
    const char* what() const noexcept override { return "DLL info error"; }
    module_refusal refusal() const noexcept { return refusal_; }

private:
    module_refusal refusal_;
};

// Offsets and sizes of the PE format.
constexpr size_t dos_header_size = 64;
constexpr size_t dos_lfanew = 60;
constexpr size_t signature_and_file_header_size = 24;
constexpr size_t optional_header_limit = 240; // PE32+ with all 16 data directories
constexpr size_t section_size = 40;
constexpr size_t export_directory_size = 40;
constexpr uint16_t magic_pe32 = 0x10B;
constexpr uint16_t magic_pe32_plus = 0x20B;
constexpr uint16_t file_is_dll = 0x2000;
constexpr size_t name_limit = 255;
constexpr uint32_t name_count_limit = 65536; // export ordinals have 16 bits

template <class Word>
Word word_at(const uint8_t* bytes, size_t offset) noexcept
{
    Word value;
    std::memcpy(&value, bytes + offset, sizeof(value));
    return value;
}

// How many bytes were delivered: fewer than asked for near the end of the image.
size_t read_some(module_image_reader& image, uint64_t offset, void* buffer, size_t byte_count)
{
    size_t delivered = 0;
    if (!image.read_at(offset, buffer, byte_count, delivered))
        throw dllinfo_error(module_refusal::unreadable);
    return delivered;
}

void read_header(module_image_reader& image, uint64_t offset, void* buffer, size_t byte_count)
{
    if (read_some(image, offset, buffer, byte_count) != byte_count)
        throw dllinfo_error(module_refusal::not_a_module);
}

// True when the image has that many bytes from `offset` on; asked before memory is taken for them.
bool holds(const module_image_reader& image, uint64_t offset, uint64_t byte_count) noexcept
{
    return offset <= image.get_size() && byte_count <= image.get_size() - offset;
}

// Relative virtual address to file offset. Sections may overlap, then the first of the table holds; the table
// is turned into disjoint ranges first, since an image with 65,535 sections and as many names would otherwise
// take seconds.
class section_map {
public:
    explicit section_map(const std::vector<uint8_t>& table)
    {
        struct section {
            uint64_t begin, end, raw;
        };
        std::vector<section> sections;
        std::vector<uint64_t> bounds;
        for (size_t at = 0; at + section_size <= table.size(); at += section_size) {
            const uint64_t begin = word_at<uint32_t>(table.data(), at + 12);
            const uint64_t end = begin + word_at<uint32_t>(table.data(), at + 8);
            sections.push_back({begin, end, word_at<uint32_t>(table.data(), at + 20)});
            bounds.push_back(begin);
            bounds.push_back(end);
        }
        std::sort(bounds.begin(), bounds.end());
        bounds.erase(std::unique(bounds.begin(), bounds.end()), bounds.end());

        std::vector<size_t> by_begin(sections.size());
        for (size_t i = 0; i < by_begin.size(); ++i)
            by_begin[i] = i;
        std::sort(by_begin.begin(), by_begin.end(),
                  [&](size_t a, size_t b) { return sections[a].begin < sections[b].begin; });

        // From bound to bound: the open section with the lowest index rules until the next bound.
        std::priority_queue<size_t, std::vector<size_t>, std::greater<>> open;
        size_t next = 0;
        for (size_t i = 0; i + 1 < bounds.size(); ++i) {
            for (; next < by_begin.size() && sections[by_begin[next]].begin <= bounds[i]; ++next)
                open.push(by_begin[next]);
            while (!open.empty() && sections[open.top()].end <= bounds[i])
                open.pop();
            if (open.empty())
                continue;
            const section& ruling = sections[open.top()];
            ranges_.push_back({bounds[i], bounds[i + 1], ruling.raw + (bounds[i] - ruling.begin)});
        }
    }

    // An address outside every section is taken as a file offset.
    uint64_t file_offset(uint32_t address) const noexcept
    {
        const auto after = std::upper_bound(ranges_.begin(), ranges_.end(), uint64_t{address},
                                            [](uint64_t a, const range& r) { return a < r.begin; });
        if (after == ranges_.begin() || address >= std::prev(after)->end)
            return address;
        return std::prev(after)->offset + (address - std::prev(after)->begin);
    }

private:
    struct range {
        uint64_t begin, end, offset; // 64 bits: address plus size may pass 32
    };
    std::vector<range> ranges_; // disjoint, ascending
};

struct image_headers {
    uint16_t machine;
    uint32_t export_directory; // relative virtual address
    section_map sections;
};

uint32_t export_directory_address(module_image_reader& image, uint64_t optional_header, uint16_t magic,
                                  size_t optional_header_size)
{
    const size_t taken = std::min(optional_header_size, optional_header_limit);
    const bool plus = magic == magic_pe32_plus;
    const size_t directories = plus ? 112 : 96;
    if (taken < directories + 8)
        throw dllinfo_error(module_refusal::not_a_module);
    std::array<uint8_t, optional_header_limit> bytes{};
    read_header(image, optional_header, bytes.data(), taken);
    if (word_at<uint32_t>(bytes.data(), directories - 4) == 0)
        throw dllinfo_error(module_refusal::not_a_module);
    return word_at<uint32_t>(bytes.data(), directories);
}

image_headers read_headers(module_image_reader& image)
{
    std::array<uint8_t, dos_header_size> dos;
    read_header(image, 0, dos.data(), dos.size());
    if (dos[0] != 'M' || dos[1] != 'Z')
        throw dllinfo_error(module_refusal::not_a_module);
    const uint64_t start = word_at<uint32_t>(dos.data(), dos_lfanew);

    std::array<uint8_t, signature_and_file_header_size + 2> head;
    read_header(image, start, head.data(), head.size());
    const auto magic = word_at<uint16_t>(head.data(), 24);
    if (std::memcmp(head.data(), "PE\0\0", 4) != 0 || (magic != magic_pe32 && magic != magic_pe32_plus))
        throw dllinfo_error(module_refusal::not_a_module);
    if (!(word_at<uint16_t>(head.data(), 22) & file_is_dll))
        throw dllinfo_error(module_refusal::executable);

    const size_t optional_header_size = word_at<uint16_t>(head.data(), 20);
    const uint64_t optional_header = start + signature_and_file_header_size;
    const uint32_t exports = export_directory_address(image, optional_header, magic, optional_header_size);

    // After the whole optional header, also where only its first part was of interest.
    const uint64_t table_offset = optional_header + optional_header_size;
    const size_t table_size = word_at<uint16_t>(head.data(), 6) * section_size;
    if (table_size != 0 && !holds(image, table_offset, table_size))
        throw dllinfo_error(module_refusal::not_a_module);
    std::vector<uint8_t> table(table_size);
    if (table_size != 0)
        read_header(image, table_offset, table.data(), table.size());
    return {word_at<uint16_t>(head.data(), 4), exports, section_map(table)};
}

const char* arch_of(uint16_t machine) noexcept
{
    switch (machine) {
    case 0x014C:
        return "x86";
    case 0x8664:
        return "x64";
    case 0xAA64:
        return "ARM64";
    default:
        return nullptr;
    }
}

struct entry_points {
    bool vst2 = false;
    bool vst3 = false;
};

// Broken export data is no error: what was found up to there counts, also when this throws. Stops once
// nothing more could change the answer.
void read_entry_points(module_image_reader& image, const image_headers& headers, bool prefer_vst2,
                       entry_points& found)
{
    std::array<uint8_t, export_directory_size> directory;
    if (read_some(image, headers.sections.file_offset(headers.export_directory), directory.data(),
                  directory.size()) != directory.size())
        return;
    const auto name_count = word_at<uint32_t>(directory.data(), 24);
    const uint64_t table_offset = headers.sections.file_offset(word_at<uint32_t>(directory.data(), 32));
    // A table that does not lie in the file as a whole yields no name at all.
    if (!holds(image, table_offset, uint64_t{name_count} * 4))
        return;
    std::vector<uint32_t> addresses(std::min(name_count, name_count_limit));
    if (read_some(image, table_offset, addresses.data(), addresses.size() * 4) != addresses.size() * 4)
        return;

    for (const uint32_t address : addresses) {
        std::array<char, name_limit + 1> name{};
        read_some(image, headers.sections.file_offset(address), name.data(), name_limit);
        const std::string_view text(name.data());
        if (text == "GetPluginFactory")
            found.vst3 = true;
        else if (text == "main" || text == "VSTPluginMain")
            found.vst2 = true;
        if (prefer_vst2 ? found.vst2 : found.vst3)
            return;
    }
}

} // namespace

module_report examineModuleImage(module_image_reader& image, int32_t preferredVersion)
{
    module_report report;
    try {
        const image_headers headers = read_headers(image);
        const char* arch = arch_of(headers.machine);
        if (!arch)
            throw dllinfo_error(module_refusal::unknown_machine);
        report.arch = arch;
        const bool prefer_vst2 = preferredVersion == 2;
        entry_points found;
        module_refusal none_found = module_refusal::no_entry_point;
        try {
            read_entry_points(image, headers, prefer_vst2, found);
        } catch (const dllinfo_error& error) {
            none_found = error.refusal();
        }
        if (!found.vst2 && !found.vst3)
            throw dllinfo_error(none_found);
        report.vstVersion = found.vst2 && (prefer_vst2 || !found.vst3) ? 2 : 3;
    } catch (const dllinfo_error& error) {
        report.refusal = error.refusal();
    }
    return report;
}

const char* refusalText(module_refusal refusal) noexcept
{
    switch (refusal) {
    case module_refusal::none:
        return "is a plug-in module";
    case module_refusal::missing:
        return "does not exist";
    case module_refusal::folder:
        return "is a folder, not a plug-in module";
    case module_refusal::unreadable:
        return "cannot be read";
    case module_refusal::not_a_module:
        return "is not a Windows module (DLL)";
    case module_refusal::executable:
        return "is a program, not a plug-in module";
    case module_refusal::unknown_machine:
        return "is made for a processor that is not supported";
    case module_refusal::no_entry_point:
        return "is not a VST plug-in: it exports no plug-in entry point";
    }
    return "is not a plug-in module";
}
