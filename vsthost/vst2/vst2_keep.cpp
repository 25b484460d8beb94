// The state of a VST 2 effect: its own chunk, or program number and parameters.

#include "vsthost/exit_codes.h"
#include "vsthost/process_shell.h"
#include "vsthost/report.h"
#include "vsthost/vst2/vst2_effect.h"
#include "vsthost/vst2/vst2_state.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace vsthost::v2 {

namespace {

constexpr intptr_t largest_chunk = 256 * 1024 * 1024;

// The unique id as its maker wrote it: four characters, or the number in hexadecimal where they are none.
std::string id_text(int32_t id)
{
    std::string text;
    for (int shift = 24; shift >= 0; shift -= 8)
        text += static_cast<char>(static_cast<uint32_t>(id) >> shift & 0xFF);
    if (std::ranges::all_of(text, [](char c) { return c >= ' ' && c <= '~'; }))
        return text;
    char number[16];
    std::snprintf(number, sizeof number, "0x%08X", static_cast<unsigned>(id));
    return number;
}

} // namespace

std::vector<uint8_t> vst2_effect::state()
{
    const watched_call watched("giving its state");
    const auto program = static_cast<int32_t>(call(effect_get_program));
    if ((effect_->flags & flag_program_chunks) != 0) {
        void* chunk = nullptr;
        const intptr_t size = call(effect_get_chunk, 0, 0, &chunk);
        if (chunk != nullptr && size > 0 && size <= largest_chunk)
            return write_vst2_chunk(effect_->unique_id, effect_->version, effect_->num_programs, program,
                                    {static_cast<const uint8_t*>(chunk), static_cast<size_t>(size)});
    }
    std::vector<float> values;
    for (uint32_t i = 0; i < parameter_count(); ++i)
        values.push_back(value(i));
    return write_vst2_parameters(effect_->unique_id, program, values);
}

std::vector<class_info> vst2_effect::classes() const
{
    if (sub_effects_.empty())
        return {{name_, vendor_, id_text(effect_->unique_id)}};
    std::vector<class_info> result;
    for (const sub_effect& each : sub_effects_)
        result.push_back({each.name, vendor_, id_text(each.id)});
    return result;
}

std::vector<bus_info> vst2_effect::buses() const
{
    // The format has no buses; what is no main input is told apart by set-up.
    const channel_layout all = own_layout().in;
    std::vector<bus_info> result{{"Input", true, true, own_.in}};
    if (all.channels > own_.in.channels)
        result.push_back({"Side chain", true, false, {all.channels - own_.in.channels, 0}});
    result.push_back({"Output", false, true, own_.out});
    std::erase_if(result, [](const bus_info& bus) { return bus.layout.channels == 0; });
    return result;
}

bool vst2_effect::apply(std::span<const uint8_t> image)
{
    const auto refuse = [](const std::string& why) {
        report("the effect's state cannot be used: " + why + "; it starts with its defaults");
        return false;
    };
    const vst2_state_result read = read_vst2_state(image);
    if (!read.state)
        return refuse(std::string(read.problem));
    const vst2_state& kept = *read.state;
    if (kept.unique_id != effect_->unique_id && !choose_sub_effect(kept.unique_id))
        return refuse("it belongs to another effect (" + id_text(kept.unique_id) + ", not " +
                      id_text(effect_->unique_id) + ")");
    const watched_call watched("taking its state");
    if (kept.is_chunk) {
        if ((effect_->flags & flag_program_chunks) == 0)
            return refuse("the effect does not take chunks");
        std::vector<uint8_t> copy(kept.chunk.begin(), kept.chunk.end()); // modules write into it
        call(effect_set_chunk, kept.whole_bank ? 0 : 1, static_cast<intptr_t>(copy.size()), copy.data());
        return true;
    }
    if (kept.program && *kept.program >= 0 && *kept.program < effect_->num_programs) {
        call(effect_begin_set_program);
        call(effect_set_program, 0, *kept.program);
        call(effect_end_set_program);
    }
    for (uint32_t i = 0; i < std::min<size_t>(kept.parameters.size(), parameter_count()); ++i)
        if (std::isfinite(kept.parameters[i]))
            set_value(i, kept.parameters[i]);
    return true;
}

void vst2_effect::set_state(std::span<const uint8_t> image)
{
    if (image.empty()) {
        // The defaults of a shell are its first effect's.
        if (!sub_effects_.empty() && shell_id_ != sub_effects_.front().id)
            choose_sub_effect(sub_effects_.front().id);
        else if (has_state_)
            rebuild();
        return;
    }
    if (apply(image)) {
        has_state_ = true;
    } else if (has_state_) {
        rebuild();
    }
}

} // namespace vsthost::v2
