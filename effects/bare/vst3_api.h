#pragma once
// The VST 3 interface headers, and results as the signed values that calls return.

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

#include <travesty/audio_processor.h>
#include <travesty/component.h>
#include <travesty/edit_controller.h>
#include <travesty/factory.h>
#include <travesty/message.h>

namespace bare::vst3 {

inline constexpr v3_result ok = 0;
inline constexpr v3_result no = 1;
inline constexpr auto no_interface = static_cast<v3_result>(0x80004002u);
inline constexpr auto not_implemented = static_cast<v3_result>(0x80004001u);
inline constexpr auto invalid_argument = static_cast<v3_result>(0x80070057u);
inline constexpr auto internal_error = static_cast<v3_result>(0x80004005u);

// An interface of an object: what a pointer to it points to. The table comes first, as its users expect.
template <class Table, class Owner>
struct face {
    const Table* table;
    Owner* owner;
};

// Fills a slot of Table with a function that calls f, a lambda without captures, with the owner of the face.
// (Such a lambda does not convert to a __stdcall pointer by itself.)
template <class Table, class Owner>
struct bind {
    template <class Function, class Result, class... Arguments>
    struct thunk {
        static Result V3_API call(void* self, Arguments... arguments)
        {
            return Function{}(*static_cast<face<Table, Owner>*>(self)->owner, arguments...);
        }
    };
    template <class Function, class Result, class... Arguments>
    static void to(Result(V3_API*& slot)(void*, Arguments...), Function)
    {
        slot = thunk<Function, Result, Arguments...>::call;
    }
};

// ASCII into a fixed UTF-16 field, cut to fit.
template <std::size_t size>
void copy_text(int16_t (&to)[size], std::string_view text)
{
    std::size_t i = 0;
    for (; i < size - 1 && i < text.size(); ++i)
        to[i] = static_cast<unsigned char>(text[i]);
    to[i] = 0;
}

// The class id as bytes: in GUID order on Windows.
inline void copy_class_id(v3_tuid& to, const std::array<uint32_t, 4>& id)
{
    const v3_tuid bytes = V3_ID(id[0], id[1], id[2], id[3]);
    std::memcpy(to, bytes, sizeof(bytes));
}

// The class of the separate controller of a component class.
constexpr std::array<uint32_t, 4> controller_id(std::array<uint32_t, 4> component_id)
{
    component_id[3] ^= 0x436F6E74;
    return component_id;
}

} // namespace bare::vst3
