#pragma once
// The .vstpreset file format, which is also the form of a VST 3 effect's state on the pipe. Pure;
// little-endian.
//
//   "VST3", int32 version 1, 32 hexadecimal digits of the class id, int64 offset of the list; data;
//   at the offset "List", int32 count, then for each entry a 4-character id, int64 offset, int64 size.
//
// Read are "Comp" (the component's state) and "Cont" (the controller's own); other chunks are skipped.

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vsthost {

using class_id = std::array<uint8_t, 16>; // as it lies in memory on Windows

struct vst_preset {
    class_id id{};
    std::span<const uint8_t> component;
    std::optional<std::span<const uint8_t>> controller;
};

struct preset_result {
    std::optional<vst_preset> preset; // views into the image
    std::string_view problem;         // for people, when there is no preset
};

preset_result read_vstpreset(std::span<const uint8_t> image);
std::vector<uint8_t> write_vstpreset(const vst_preset& preset);

// 32 upper-case digits in GUID order: a 32-bit word, two 16-bit words, then eight bytes.
std::string class_id_text(const class_id& id);
std::optional<class_id> class_id_from_text(std::string_view digits);

} // namespace vsthost
