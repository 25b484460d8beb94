#include "catalogue/image_builder.h"

#include <doctest/doctest.h>

#include <chrono>
#include <functional>
#include <random>

namespace {

module_report examine(std::vector<uint8_t> bytes, int32_t preferred = 2)
{
    memory_image image(std::move(bytes));
    return examineModuleImage(image, preferred);
}

using tweak = std::function<void(image_builder&)>;

} // namespace

TEST_CASE("module images: machines and layouts")
{
    struct {
        uint16_t machine;
        const char* arch;
    } const machines[] = {
        {0x014C, "x86"}, {0x8664, "x64"}, {0xAA64, "ARM64"}, {0x01C4, nullptr}, {0, nullptr}};
    for (const auto& row : machines) {
        for (image_builder b : {image_builder(), image_builder::pe32()}) {
            b.machine = row.machine;
            const module_report report = examine(b.build());
            CAPTURE(row.machine);
            CHECK(report.refusal == (row.arch ? module_refusal::none : module_refusal::unknown_machine));
            CHECK(report.arch == (row.arch ? row.arch : ""));
            CHECK(report.vstVersion == (row.arch ? 2 : 0));
        }
    }
}

TEST_CASE("module images: entry points and the preferred version")
{
    struct {
        std::vector<std::string> names;
        int32_t when_2, when_3;
    } const rows[] = {
        {{"VSTPluginMain"}, 2, 2},
        {{"main"}, 2, 2},
        {{"GetPluginFactory"}, 3, 3},
        {{"GetPluginFactory", "VSTPluginMain"}, 2, 3},
        {{"main", "GetPluginFactory"}, 2, 3},
        {{"getpluginfactory", "Main", "VSTPluginMain2", "VSTPluginMai", ""}, 0, 0},
        {{}, 0, 0},
        {{std::string(300, 'A'), "main"}, 2, 2},
    };
    for (const auto& row : rows) {
        image_builder b;
        b.names = row.names;
        CHECK(examine(b.build(), 2).vstVersion == row.when_2);
        CHECK(examine(b.build(), 3).vstVersion == row.when_3);
        CHECK(examine(b.build(), 0).vstVersion == row.when_3); // all but 2 count as 3
        CHECK((examine(b.build()).refusal == module_refusal::no_entry_point) == (row.when_2 == 0));
    }
}

TEST_CASE("module images: headers that are refused, and why")
{
    using enum module_refusal;
    struct {
        const char* what;
        tweak change;
        module_refusal expected;
    } const rows[] = {
        {"magic of a ROM image", [](image_builder& b) { b.magic = 0x107; }, not_a_module},
        {"a program", [](image_builder& b) { b.characteristics = 0x0022; }, executable},
        {"no directories", [](image_builder& b) { b.directory_count = 0; }, not_a_module},
        {"one directory", [](image_builder& b) { b.directory_count = 1; }, none},
        {"absurd directory count", [](image_builder& b) { b.directory_count = 0xFFFFFFFF; }, none},
        {"no sections, addresses are offsets",
         [](image_builder& b) {
             b.sections.clear();
             b.export_address = b.exports_at = 0x400;
         },
         none},
        {"count of names wraps to 0",
         [](image_builder& b) { b.claim_count = true, b.claimed_count = 1u << 30; }, no_entry_point},
        {"count of names past 4 GB", [](image_builder& b) { b.claim_count = true, b.claimed_count = ~0u; },
         no_entry_point},
    };
    for (const auto& row : rows) {
        image_builder b;
        row.change(b);
        CAPTURE(row.what);
        CHECK(examine(b.build()).refusal == row.expected);
    }

    // Single bytes that must be right.
    for (const size_t at : {0u, 1u, 0x80u, 0x81u, 0x82u, 0x83u}) {
        auto bytes = image_builder().build();
        bytes[at] ^= 0x20;
        CHECK(examine(bytes).refusal == not_a_module);
    }
    auto far_header = image_builder().build();
    const uint32_t lfanew = 0xFFFFFFF0;
    std::memcpy(far_header.data() + 60, &lfanew, 4);
    CHECK(examine(far_header).refusal == not_a_module);
}

TEST_CASE("module images: sizes of the optional header")
{
    for (const bool plus : {false, true}) {
        for (const size_t size : {0u, 1u, 2u, 103u, 104u, 119u, 120u, 239u, 240u, 241u, 260u, 65535u}) {
            image_builder b = plus ? image_builder() : image_builder::pe32();
            b.optional_size = size;
            CAPTURE(plus);
            CAPTURE(size);
            // The section table follows the real size; were it sought at 240, no name would be found.
            CHECK((examine(b.build()).refusal == module_refusal::none) == (size >= (plus ? 120u : 104u)));
        }
    }
}

TEST_CASE("module images: addresses to offsets")
{
    struct {
        const char* what;
        std::vector<image_section> sections;
        uint32_t address, at;
    } const rows[] = {
        {"virtual size 0 contains nothing", {{0x1000, 0, 0x5000}}, 0x1000, 0x1000},
        {"outside every section", {{0x1000, 0x100, 0x5000}}, 0x9000, 0x9000},
        {"end passes 32 bits", {{0xFFFFF000, 0x2000, 0x5000}}, 0xFFFFF800, 0x5800},
    };
    for (const auto& row : rows) {
        image_builder b;
        b.sections = row.sections;
        b.export_address = row.address;
        b.exports_at = row.at;
        CAPTURE(row.what);
        CHECK(examine(b.build()).refusal == module_refusal::none);
    }

    // Against the plain rule: the first section that contains the address.
    std::mt19937 random(7);
    const auto pick = [&](uint32_t limit) { return static_cast<uint32_t>(random() % limit); };
    for (int round = 0; round < 500; ++round) {
        image_builder b;
        b.sections.clear();
        for (uint32_t i = 0, count = pick(8); i < count; ++i)
            b.sections.push_back({pick(16) * 0x400, pick(8) * 0x400, 0x1000 + pick(32) * 0x400});
        b.export_address = 0x1000 + pick(16) * 0x400;
        b.exports_at = b.export_address;
        for (const image_section& s : b.sections) {
            if (s.address <= b.export_address && b.export_address - s.address < s.virtual_size) {
                b.exports_at = b.export_address - s.address + s.raw;
                break;
            }
        }
        REQUIRE(examine(b.build()).refusal == module_refusal::none);
    }
}

TEST_CASE("module images: cut anywhere")
{
    image_builder b;
    b.names = {"Another", "VSTPluginMain"};
    const auto whole = b.build();
    for (size_t size = 0; size <= whole.size(); ++size) {
        const bool names_complete = size >= whole.size() - 1; // the last byte is the name's terminator
        const auto report = examine({whole.begin(), whole.begin() + static_cast<ptrdiff_t>(size)});
        REQUIRE((report.refusal == module_refusal::none) == names_complete);
    }

    // A table that is short by one entry at the end of the file yields no name, not even the complete ones.
    image_builder table_last;
    table_last.sections.clear();
    table_last.export_address = table_last.exports_at = 0x400;
    auto bytes = table_last.build();
    const std::string name = "VSTPluginMain";
    const uint32_t name_at = 0x40; // between the DOS header and the PE header
    std::memcpy(bytes.data() + name_at, name.c_str(), name.size() + 1);
    bytes.resize(table_last.names_table + 4);
    std::memcpy(bytes.data() + table_last.names_table, &name_at, 4);
    CHECK(examine(bytes).refusal == module_refusal::none);
    const uint32_t two = 2;
    std::memcpy(bytes.data() + 0x400 + 24, &two, 4);
    CHECK(examine(bytes).refusal == module_refusal::no_entry_point);
}

TEST_CASE("module images: a medium that fails is no broken module; names that came before it count")
{
    image_builder b;
    b.names = {"VSTPluginMain", "GetPluginFactory"};
    for (size_t reads = 0; reads <= 8; ++reads) { // four of headers, two of tables, two of names
        CAPTURE(reads);
        memory_image image(b.build());
        image.works_for = reads;
        const module_report report = examineModuleImage(image, 3);
        CHECK(report.refusal == (reads < 7 ? module_refusal::unreadable : module_refusal::none));
        CHECK(report.vstVersion == (reads < 7 ? 0 : reads == 7 ? 2 : 3));
    }
}

TEST_CASE("module images: absurd counts cost bounded time")
{
    image_builder b;
    b.names.assign(65536, "x");
    b.names[65535] = "main";
    CHECK(examine(b.build()).refusal == module_refusal::none);
    b.names.insert(b.names.begin(), "y"); // the entry point is now one past what ordinals can count
    CHECK(examine(b.build()).refusal == module_refusal::no_entry_point);

    b.names.pop_back();
    b.sections.clear();
    for (uint32_t i = 0; i < 65535; ++i)
        b.sections.push_back({0x10000000 + i, 0x10000000, 1});
    b.export_address = b.exports_at = 0x400000;
    const auto bytes = b.build();
    const auto began = std::chrono::steady_clock::now();
    CHECK(examine(bytes).refusal == module_refusal::no_entry_point);
    CHECK(std::chrono::steady_clock::now() - began < std::chrono::seconds(5));
}
