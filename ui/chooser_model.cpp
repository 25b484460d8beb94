#include "ui/chooser_model.h"

#include "sdk/exceptions.h"
#include "ui/channel_layout.h"

#include <algorithm>

namespace {

constexpr const char* text_searching = "Searching for VST effects, please wait...";
constexpr const char* text_none = "No VST effects found.";
constexpr const char* text_editor = "A configuration window for your VST effect should appear on screen.";

} // namespace

std::vector<std::string> chooser_model::channel_choices()
{
    std::vector<std::string> texts;
    for (const uint32_t mask : offeredOutputChannelMasks)
        texts.push_back(channelMaskText(mask));
    return texts;
}

std::vector<std::string> chooser_model::format_choices()
{
    return {"32-bit floating-point", "64-bit floating-point"};
}

const vstConfig_t* chooser_model::selected() const noexcept
{
    return selected_ < effects_.size() ? &effects_[selected_] : nullptr;
}

vstConfig_t* chooser_model::chosen() noexcept
{
    return selected_ < effects_.size() ? &effects_[selected_] : nullptr;
}

void chooser_model::open(const dsp_preset& preset)
{
    try {
        vstConfigFromPreset(preset, current_);
    } catch (const exception_io&) {
        // The user repairs it by choosing an effect.
    }
    show_effects({});
    apply_selection();
    begin_scan();
}

void chooser_model::begin_scan()
{
    if (closed_)
        return;
    if (const vstConfig_t* effect = chosen())
        current_ = *effect;
    view_.status = text_searching;
    view_.effects_enabled = false;
    view_.effects.clear();
    view_.effect = -1;
    if (!actions_.begin_scan())
        scan_ended({});
}

void chooser_model::scan_ended(std::vector<vstConfig_t> found)
{
    if (closed_)
        return;
    // What the user did meanwhile counts, not what was there when the scan began.
    if (const vstConfig_t* effect = chosen())
        current_ = *effect;
    show_effects(std::move(found));
}

void chooser_model::show_effects(std::vector<vstConfig_t> found)
{
    if (found.empty() && current_.path.empty()) {
        view_.status = text_none;
        return;
    }
    effects_ = std::move(found);
    selected_ = SIZE_MAX;
    if (!current_.path.empty()) {
        const auto same = std::ranges::find_if(
            effects_, [this](const vstConfig_t& effect) { return sameEffect(effect, current_); });
        selected_ = static_cast<size_t>(same - effects_.begin());
        if (same == effects_.end()) {
            effects_.push_back(current_); // no longer on the disk, still the user's choice
        } else {
            same->state = current_.state;
            same->flags = current_.flags;
            same->outputChannelMask = current_.outputChannelMask;
        }
    }
    current_ = {};
    view_.effects_enabled = true;
    view_.effects.clear();
    for (const vstConfig_t& effect : effects_)
        view_.effects.push_back(displayName(effect));
    view_.effect = selected() ? static_cast<int>(selected_) : -1;
    view_.status = actions_.is_run_active() ? std::optional<std::string>(text_editor) : std::nullopt;
}

void chooser_model::apply_selection()
{
    // First, and by itself: the old run's last state may still belong to the effect that is chosen now.
    actions_.stop_run();
    if (closed_)
        return;
    const vstConfig_t* effect = selected();
    if (!effect) {
        view_.status.reset();
        view_.channels = 0;
        view_.channels_enabled = false;
        view_.presets_enabled = false;
        return;
    }
    actions_.start_run(*effect);
    view_.status = text_editor;
    const auto& masks = offeredOutputChannelMasks;
    const auto mask = std::ranges::find(masks, effect->outputChannelMask);
    view_.channels = mask == masks.end() ? 0 : static_cast<int>(mask - masks.begin());
    view_.channels_enabled = true;
    view_.format = effect->flags & vstFlagFloat64 ? 1 : 0;
    view_.presets_enabled = effect->vstVersion == 3;
}

void chooser_model::push()
{
    dsp_preset_impl preset;
    if (const vstConfig_t* effect = selected())
        vstConfigToPreset(*effect, preset);
    else
        clearPreset(preset);
    actions_.push(preset);
}

void chooser_model::choose_effect(int index)
{
    const auto wanted = static_cast<size_t>(index);
    if (closed_ || index < 0 || wanted >= effects_.size() || wanted == selected_)
        return;
    view_.effect = index;
    selected_ = wanted;
    apply_selection();
    if (!closed_)
        push();
}

void chooser_model::choose_channels(int index)
{
    view_.channels = index;
    vstConfig_t* const effect = chosen();
    if (closed_ || !effect || index < 0 || static_cast<size_t>(index) >= offeredOutputChannelMasks.size())
        return;
    const uint32_t mask = offeredOutputChannelMasks[static_cast<size_t>(index)];
    if (mask == effect->outputChannelMask)
        return;
    effect->outputChannelMask = mask;
    push();
}

void chooser_model::choose_format(int index)
{
    view_.format = index;
    vstConfig_t* const effect = chosen();
    if (closed_ || !effect)
        return;
    if (index >= 1)
        effect->flags |= vstFlagFloat64;
    else
        effect->flags &= ~vstFlagFloat64;
    push();
}

void chooser_model::load_state(const std::string& path, std::vector<uint8_t> state)
{
    const auto still_chosen = [&]() -> vstConfig_t* {
        vstConfig_t* const effect = closed_ ? nullptr : chosen();
        return effect && effect->path == path ? effect : nullptr;
    };
    if (!still_chosen())
        return;
    actions_.stop_run(); // its last state is pushed before the new one replaces it
    if (vstConfig_t* const effect = still_chosen()) {
        effect->state = std::move(state);
        actions_.start_run(*effect);
        push();
    }
}

void chooser_model::state_read(const vstConfig_t& effect)
{
    vstConfig_t* const mine = chosen();
    if (!mine || !sameEffect(*mine, effect) || mine->state == effect.state)
        return;
    mine->state = effect.state;
    push();
}

void chooser_model::run_ended()
{
    view_.status.reset();
}

void chooser_model::close()
{
    closed_ = true;
    actions_.stop_run();
}
