// What a VST 2 effect asks its host, from any thread, also before its entry has returned.

#include "vsthost/vst2/vst2_editor.h"
#include "vsthost/vst2/vst2_effect.h"

#include <windows.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <string_view>

namespace vsthost::v2 {

namespace {

constexpr double tempo = 120.0;
constexpr intptr_t english = 1;
constexpr intptr_t own_version = 1500;

// One effect a process: the entry calls back before it has anything to be recognised by.
std::atomic<vst2_effect*> current{nullptr};

intptr_t put_text(void* buffer, std::string_view text)
{
    if (buffer == nullptr)
        return 0;
    // The format allows 64 bytes with the terminating zero.
    const size_t length = std::min<size_t>(text.size(), 63);
    std::memcpy(buffer, text.data(), length);
    static_cast<char*>(buffer)[length] = '\0';
    return 1;
}

intptr_t can_do(const void* question)
{
    if (question == nullptr)
        return 0;
    const auto* const asked = static_cast<const char*>(question);
    const std::string_view text(asked, strnlen(asked, text_size));
    constexpr std::string_view supported[] = {
        "sizeWindow", "sendVstTimeInfo", "reportConnectionChanges", "startStopProcess", "acceptIOChanges",
        "supplyIdle", "shellCategory"};
    return std::ranges::find(supported, text) != std::end(supported) ? 1 : 0;
}

} // namespace

host_callback callback_for(vst2_effect* effect)
{
    current = effect;
    return vst2_effect::callback;
}

intptr_t __cdecl vst2_effect::callback(vst_effect*, int32_t opcode, int32_t index, intptr_t value,
                                       void* pointer, float)
{
    vst2_effect* const self = current;
    return self != nullptr ? self->answer(opcode, index, value, pointer) : 0;
}

const time_info* vst2_effect::time_now()
{
    const double quarters = static_cast<double>(position_) / rate_ * tempo / 60.0;
    time_.sample_position = static_cast<double>(position_);
    time_.sample_rate = rate_;
    time_.quarter_position = quarters;
    time_.tempo = tempo;
    time_.bar_start = std::floor(quarters / 4) * 4;
    time_.numerator = 4;
    time_.denominator = 4;
    time_.flags =
        time_playing | time_quarters_valid | time_tempo_valid | time_bars_valid | time_signature_valid;
    return &time_;
}

void vst2_effect::note_edit() noexcept
{
    edited_ = true;
    if (void* const event = wake_)
        SetEvent(event);
}

void vst2_effect::want_idle() noexcept
{
    idle_wanted_ = true;
    if (void* const event = wake_)
        SetEvent(event);
}

bool vst2_effect::on_gui_thread() const noexcept
{
    return GetCurrentThreadId() == gui_thread_;
}

intptr_t vst2_effect::answer(int32_t opcode, int32_t index, intptr_t value, void* pointer)
{
    switch (opcode) {
    case host_version_asked:
        return host_version;
    case host_current_id:
        return shell_id_ != 0 || effect_ == nullptr ? shell_id_ : effect_->unique_id;
    case host_automate:
    case host_begin_edit:
    case host_end_edit:
    case host_update_display:
        note_edit(); // the value is read again when it is needed; some modules pass a wrong one here
        return 1;
    case host_idle: // from a loop of the effect's own, which keeps ours from running
        if (editor_ != nullptr && on_gui_thread())
            editor_->idle_wanted();
        return 0;
    case host_need_idle:
        want_idle();
        return 1;
    case host_size_window:
        if (editor_ == nullptr || !on_gui_thread())
            return 0;
        editor_->resize_wanted({index, static_cast<int>(value)});
        return 1;
    case host_get_time:
        return reinterpret_cast<intptr_t>(time_now());
    case host_io_changed:
        io_changed_ = true; // on the GUI thread, between two blocks
        return 1;
    case host_get_sample_rate:
        return static_cast<intptr_t>(rate_);
    case host_get_block_size:
        return static_cast<intptr_t>(announced_block_size);
    case host_process_level:
        if (in_process_ && GetCurrentThreadId() == audio_thread_)
            return options_.realtime ? 2 : 4;
        return 1;
    case host_get_vendor:
    case host_get_product:
        return put_text(pointer, "quavix");
    case host_get_vendor_version:
        return own_version;
    case host_can_do:
        return can_do(pointer);
    case host_get_language:
        return english;
    case host_get_directory:
        return reinterpret_cast<intptr_t>(folder_.c_str());
    default:
        // All else, among it whether a pin is connected (0: it is).
        return 0;
    }
}

} // namespace vsthost::v2
