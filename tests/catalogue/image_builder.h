#pragma once
// Builds module images byte by byte, with every field open to being set wrong, and a reader over bytes in
// memory.

#include "catalogue/moduleImage.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

struct image_section {
    uint32_t address, virtual_size, raw;
};

struct image_builder {
    uint16_t machine = 0x8664;
    uint16_t magic = 0x20B;
    uint16_t characteristics = 0x2022;
    uint32_t lfanew = 0x80;
    size_t optional_size = 240;
    uint32_t directory_count = 16;
    uint32_t export_address = 0x1000; // where the header says the export directory is
    std::vector<image_section> sections = {{0x1000, 0x100000, 0}}; // raw 0: see exports_at
    std::vector<std::string> names = {"VSTPluginMain"};
    // File offset of the export directory; 0 puts it behind the section table, and lets sections with raw 0
    // begin there.
    uint32_t exports_at = 0;
    // What the export directory claims.
    bool claim_count = false;
    uint32_t claimed_count = 0;

    // Set by build(): file offsets.
    size_t section_table = 0;
    size_t names_table = 0;
    size_t first_name = 0;

    static image_builder pe32()
    {
        image_builder b;
        b.machine = 0x014C;
        b.magic = 0x10B;
        b.optional_size = 224;
        return b;
    }

    std::vector<uint8_t> build()
    {
        bytes_.clear();
        put(0, uint16_t{0x5A4D});
        put(60, lfanew);
        put(lfanew, uint32_t{0x4550});
        put(lfanew + 4, machine);
        put(lfanew + 6, static_cast<uint16_t>(sections.size()));
        put(lfanew + 20, static_cast<uint16_t>(optional_size));
        put(lfanew + 22, characteristics);
        const size_t optional = lfanew + 24;
        section_table = optional + optional_size;
        put(optional, magic);
        const size_t directories = magic == 0x20B ? 112 : 96;
        if (optional_size >= directories)
            put(optional + directories - 4, directory_count);
        if (optional_size >= directories + 4)
            put(optional + directories, export_address);
        const size_t table_end = section_table + sections.size() * 40;
        const auto exports = exports_at ? exports_at : static_cast<uint32_t>((table_end + 15) / 16 * 16);
        for (size_t i = 0; i < sections.size(); ++i) {
            put(section_table + i * 40 + 8, sections[i].virtual_size);
            put(section_table + i * 40 + 12, sections[i].address);
            put(section_table + i * 40 + 16, uint32_t{0x400000}); // raw size: does not count for addresses
            put(section_table + i * 40 + 20, sections[i].raw ? sections[i].raw : exports);
        }
        put_exports(exports);
        return bytes_;
    }

private:
    void put_exports(uint32_t exports)
    {
        // Addresses inside the exports are relative to where the header says the directory is.
        const auto address_of = [&](size_t offset) {
            return static_cast<uint32_t>(export_address + (offset - exports));
        };
        names_table = exports + 40;
        put(exports + 24, claim_count ? claimed_count : static_cast<uint32_t>(names.size()));
        put(exports + 32, address_of(names_table));
        size_t at = first_name = names_table + names.size() * 4;
        bytes_.resize(std::max(bytes_.size(), first_name));
        for (size_t i = 0; i < names.size(); ++i) {
            put(names_table + i * 4, address_of(at));
            bytes_.insert(bytes_.end(), names[i].begin(), names[i].end());
            bytes_.push_back(0);
            at += names[i].size() + 1;
        }
    }

    template <class Word>
    void put(size_t offset, Word value)
    {
        if (bytes_.size() < offset + sizeof(value))
            bytes_.resize(offset + sizeof(value));
        std::memcpy(bytes_.data() + offset, &value, sizeof(value));
    }

    std::vector<uint8_t> bytes_;
};

class memory_image final : public module_image_reader {
public:
    explicit memory_image(std::vector<uint8_t> bytes)
        : bytes_(std::move(bytes))
    {
    }
    bool read_at(uint64_t offset, void* buffer, size_t byte_count, size_t& delivered) noexcept override
    {
        if (++reads > works_for)
            return false;
        const uint64_t left = offset < bytes_.size() ? bytes_.size() - offset : 0;
        delivered = static_cast<size_t>(std::min<uint64_t>(byte_count, left));
        if (delivered)
            std::memcpy(buffer, bytes_.data() + static_cast<size_t>(offset), delivered);
        return true;
    }
    uint64_t get_size() const noexcept override { return bytes_.size(); }

    size_t reads = 0;
    size_t works_for = SIZE_MAX; // reads; then the medium fails

private:
    std::vector<uint8_t> bytes_;
};
