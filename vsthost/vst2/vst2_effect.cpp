// Life, set-up and processing; see vst2_callback.cpp for what the effect asks and vst2_keep.cpp for its
// state.

#include "vsthost/vst2/vst2_effect.h"

#include "vsthost/exit_codes.h"
#include "vsthost/process_shell.h"
#include "vsthost/report.h"
#include "win/utf.h"

#include <windows.h>

#include <algorithm>
#include <bit>
#include <cstring>

namespace vsthost::v2 {

namespace {

constexpr int32_t most_channels = 256;
constexpr size_t most_sub_effects = 1024;
constexpr int category_shell = 10;
constexpr int category_call = 35;
constexpr int32_t endless_tail_seconds = 30;

std::string to_system_code_page(const std::string& utf8)
{
    const std::wstring wide = win::to_utf16(utf8);
    char bytes[1024];
    const int length = WideCharToMultiByte(CP_ACP, 0, wide.data(), static_cast<int>(wide.size()), bytes,
                                           sizeof bytes, nullptr, nullptr);
    return {bytes, static_cast<size_t>(std::max(length, 0))};
}

// Speakers of a channel mask in its order, as the format numbers them.
void fill(speaker_arrangement& into, channel_layout layout)
{
    into.type = to_arrangement_type(layout);
    into.channels = static_cast<int32_t>(layout.channels);
    uint32_t rest = layout.mask != 0 && std::popcount(layout.mask) == static_cast<int>(layout.channels)
                        ? layout.mask
                        : default_mask(layout.channels);
    for (uint32_t i = 0; i < std::min<uint32_t>(layout.channels, VST_MAX_CHANNELS); ++i) {
        const int speaker = layout.channels == 1 || rest == 0 ? 0 : std::countr_zero(rest) + 1;
        into.speakers[i].type = static_cast<VST_SPEAKER_TYPE>(speaker);
        rest &= rest - 1;
    }
}

} // namespace

vst2_effect::vst2_effect(const std::string& path, const effect_options& options)
    : module_(path, 2)
    , options_(options)
    , folder_(to_system_code_page(module_.folder()))
    , gui_thread_(GetCurrentThreadId())
{
    try {
        open();
    } catch (...) {
        close(); // or what it started runs on while its code goes
        throw;
    }
}

vst2_effect::~vst2_effect()
{
    close();
}

intptr_t vst2_effect::call(effect_call opcode, int32_t index, intptr_t value, void* pointer,
                           float option) const
{
    const saved_float_state saved;
    return effect_->control(effect_, static_cast<VST_EFFECT_OPCODE>(opcode), index, value, pointer, option);
}

std::string vst2_effect::text(effect_call opcode, int32_t index) const
{
    char buffer[text_size + 1] = {};
    call(opcode, index, 0, buffer);
    // Whatever code page the effect meant, what leaves here is valid UTF-8.
    return win::to_utf8(win::to_utf16({buffer, strnlen(buffer, text_size)}));
}

void vst2_effect::open()
{
    auto entry = module_.function<entry_function>("VSTPluginMain");
    if (entry == nullptr)
        entry = module_.function<entry_function>("main");
    if (entry == nullptr)
        throw fatal_error(exit_code::module_unusable, "\"" + module_.path() +
                                                          "\" is not a VST 2 module: it has neither "
                                                          "VSTPluginMain nor main");
    const watched_call watched("being created", call_kind::load);
    const auto enter = [&] {
        const saved_float_state saved;
        effect_ = entry(callback_for(this));
        if (effect_ == nullptr || effect_->magic_number != magic || effect_->control == nullptr) {
            effect_ = nullptr;
            throw fatal_error(exit_code::no_effect, "\"" + module_.path() + "\" holds no VST 2 effect");
        }
        call(effect_set_sample_rate, 0, 0, nullptr, static_cast<float>(rate_));
        call(effect_set_block_size, 0, static_cast<intptr_t>(announced_block_size));
        call(effect_open);
    };
    enter();
    if (shell_id_ == 0 && call(static_cast<effect_call>(category_call)) == category_shell) {
        list_sub_effects();
        call(effect_close);
        shell_id_ = sub_effects_.front().id;
        enter();
    }
    call(effect_set_sample_rate, 0, 0, nullptr, static_cast<float>(rate_));
    call(effect_set_block_size, 0, static_cast<intptr_t>(announced_block_size));
    if (effect_->num_inputs < 0 || effect_->num_inputs > most_channels || effect_->num_outputs < 0 ||
        effect_->num_outputs > most_channels)
        throw fatal_error(exit_code::no_effect,
                          "\"" + module_.path() + "\" has an impossible number of channels");
    const auto inside = std::ranges::find(sub_effects_, shell_id_, &sub_effect::id);
    name_ = inside != sub_effects_.end() ? inside->name : std::string();
    if (name_.empty())
        name_ = text(effect_get_name);
    if (name_.empty())
        name_ = text(effect_get_product);
    if (name_.empty())
        name_ = module_.path().substr(module_.path().find_last_of("\\/") + 1);
    vendor_ = text(effect_get_vendor);
    defaults_.clear();
    for (uint32_t i = 0; i < parameter_count(); ++i)
        defaults_.push_back(value(i));
    has_state_ = false;
    agreed_layout_.reset();
}

void vst2_effect::list_sub_effects()
{
    // A shell answers one after the other until it has no more; some then begin again.
    while (sub_effects_.size() < most_sub_effects) {
        char name[text_size + 1] = {};
        const auto id = static_cast<int32_t>(call(effect_shell_next, 0, 0, name));
        if (id == 0 || std::ranges::find(sub_effects_, id, &sub_effect::id) != sub_effects_.end())
            break;
        sub_effects_.push_back({id, win::to_utf8(win::to_utf16({name, strnlen(name, text_size)}))});
    }
    if (sub_effects_.empty())
        throw fatal_error(exit_code::no_effect,
                          "\"" + module_.path() + "\" is a VST 2 shell without an effect in it");
}

bool vst2_effect::choose_sub_effect(int32_t id)
{
    if (id == shell_id_)
        return true;
    if (std::ranges::find(sub_effects_, id, &sub_effect::id) == sub_effects_.end())
        return false;
    shell_id_ = id;
    rebuild();
    return true;
}

void vst2_effect::close() noexcept
{
    if (effect_ == nullptr)
        return;
    const watched_call watched("being ended");
    stop();
    call(effect_close); // frees the effect
    effect_ = nullptr;
}

void vst2_effect::rebuild()
{
    close();
    open();
    if (request_) {
        const request again = *request_;
        prepare(again.rate, again.wanted);
    }
}

effect_info vst2_effect::info() const
{
    return {name_, vendor_, "VST 2", is_double_, module_.path()};
}

bus_pair vst2_effect::own_layout() const
{
    const channel_layout in{static_cast<uint32_t>(std::clamp(effect_->num_inputs, 0, most_channels)), 0};
    const channel_layout out{static_cast<uint32_t>(std::clamp(effect_->num_outputs, 0, most_channels)), 0};
    if (agreed_layout_ && agreed_layout_->in.channels == in.channels &&
        agreed_layout_->out.channels == out.channels)
        return *agreed_layout_;
    return {{in.channels, default_mask(in.channels)}, {out.channels, default_mask(out.channels)}};
}

bool vst2_effect::offer_layout(const bus_pair& pair)
{
    if (pair.in.channels > VST_MAX_CHANNELS || pair.out.channels > VST_MAX_CHANNELS)
        return false;
    speaker_arrangement in{};
    speaker_arrangement out{};
    fill(in, pair.in);
    fill(out, pair.out);
    const bool taken = call(effect_set_speaker_arrangement, 0, reinterpret_cast<intptr_t>(&in), &out) != 0;
    agreed_layout_.reset();
    if (taken)
        agreed_layout_ = pair;
    return taken;
}

void vst2_effect::negotiate_layout(const bus_pair& wanted)
{
    // Most effects have fixed channels and no speaker arrangements at all.
    const bus_pair fixed = own_layout();
    if (fixed.in.channels == 0 || fixed.out.channels == 0)
        return; // no audio effect; some would agree to anything
    if (offer_layout(wanted) && fit(wanted, own_layout()) == 3)
        return;
    if (fit(wanted, fixed) == 3 && fit(wanted, own_layout()) == 3)
        return;
    std::optional<bus_pair> best;
    int best_fit = fit(wanted, own_layout());
    for (const bus_pair& candidate : arrangement_ladder(wanted, fixed)) {
        if (!offer_layout(candidate))
            continue;
        const int fits = fit(wanted, own_layout());
        if (fits == 3)
            return;
        if (fits > best_fit) {
            best_fit = fits;
            best = candidate;
        }
    }
    offer_layout(best ? *best : fixed);
}

bus_pair vst2_effect::prepare(uint32_t rate, const bus_pair& wanted)
{
    if (running_ && request_ && request_->rate == rate && request_->wanted == wanted)
        return own_;
    const watched_call watched("being set up");
    stop();
    request_ = request{rate, wanted};
    rate_ = rate;
    call(effect_set_sample_rate, 0, 0, nullptr, static_cast<float>(rate));
    call(effect_set_block_size, 0, static_cast<intptr_t>(announced_block_size));
    is_double_ =
        options_.float64 && (effect_->flags & flag_can_double) != 0 && effect_->process_double != nullptr;
    if ((effect_->flags & flag_can_double) != 0)
        call(effect_set_precision, 0, is_double_ ? 1 : 0);
    negotiate_layout(wanted);
    start();
    return own_;
}

void vst2_effect::start()
{
    const bus_pair all = own_layout();
    own_ = request_ ? without_side_chain(request_->wanted, all) : all;
    io_.allocate(is_double_, own_.in.channels, all.in.channels - own_.in.channels, own_.out.channels,
                 announced_block_size);
    call(effect_mains_changed, 0, 1);
    call(effect_start_process);
    running_ = true;
    read_latency();
    io_changed_ = false;
}

void vst2_effect::stop() noexcept
{
    if (!running_)
        return;
    running_ = false;
    call(effect_stop_process);
    call(effect_mains_changed, 0, 0);
}

void vst2_effect::read_latency()
{
    latency_ = static_cast<uint32_t>(std::max(effect_->delay, 0));
}

void vst2_effect::reset()
{
    if (!running_)
        return;
    const watched_call watched("being reset");
    stop();
    start();
    position_ = 0;
}

tail_length vst2_effect::tail()
{
    if (!running_)
        return {};
    const watched_call watched("telling its tail");
    const intptr_t declared = call(effect_get_tail_size);
    if (declared == 1)
        return {false, 0};
    if (declared <= 0 || static_cast<double>(declared) > rate_ * endless_tail_seconds)
        return {true, 0};
    return {false, static_cast<uint64_t>(declared)};
}

void vst2_effect::attend()
{
    if (!io_changed_.exchange(false) || effect_ == nullptr || !running_)
        return;
    const watched_call watched("changing its channels or latency");
    stop();
    start();
}

bool vst2_effect::process_block(size_t frames) noexcept
{
    if (!running_)
        return false;
    const saved_float_state saved;
    audio_thread_ = GetCurrentThreadId();
    in_process_ = true;
    io_.clear_output(frames);
    const auto count = static_cast<int32_t>(frames);
    if (io_.is_double())
        effect_->process_double(effect_, io_.in64(), io_.out64(), count);
    else if ((effect_->flags & flag_can_replacing) != 0 && effect_->process_float != nullptr)
        effect_->process_float(effect_, io_.in32(), io_.out32(), count);
    else if (effect_->process != nullptr)
        effect_->process(effect_, io_.in32(), io_.out32(), count); // adds to the zeros
    in_process_ = false;
    position_ += frames;
    read_latency(); // some learn theirs while they play and tell nobody
    return true;
}

} // namespace vsthost::v2

std::unique_ptr<vsthost::effect> vsthost::load_vst2(const std::string& path, const effect_options& options)
{
    return std::make_unique<v2::vst2_effect>(path, options);
}
