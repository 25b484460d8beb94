#include "vsthost/vst2/vst2_editor.h"

#include "vsthost/process_shell.h"
#include "vsthost/vst2/vst2_effect.h"

#include <windows.h>

namespace vsthost::v2 {

namespace {

constexpr unsigned rounds_between_looks = 10; // about 200 ms
constexpr int largest_side = 16384;

} // namespace

vst2_editor::vst2_editor(vst2_effect& shown, editor_host& host)
    : effect_(shown)
    , host_(host)
{
}

vst2_editor::~vst2_editor()
{
    effect_.shown_in(nullptr);
}

std::optional<editor_size> vst2_editor::size()
{
    told_ = effect_.editor_rectangle();
    return told_;
}

bool vst2_editor::open(void* window)
{
    // Before the call: the effect may ask for another size inside.
    effect_.shown_in(this);
    open_ = true;
    const intptr_t opened = effect_.call(effect_editor_open, 0, 0, window);
    // Some answer 0 and are open all the same.
    if (opened != 0 || GetWindow(static_cast<HWND>(window), GW_CHILD) != nullptr)
        return true;
    close();
    return false;
}

void vst2_editor::close()
{
    if (!open_)
        return;
    open_ = false;
    effect_.shown_in(nullptr);
    effect_.call(effect_editor_close);
}

bool vst2_editor::key(const key_press& press)
{
    const int modifiers = (press.shift ? 1 : 0) | (press.alternate ? 2 : 0) | (press.control ? 8 : 0);
    return open_ && effect_.call(press.down ? effect_editor_key_down : effect_editor_key_up, press.character,
                                 press.code, nullptr, static_cast<float>(modifiers)) == 1;
}

void vst2_editor::idle()
{
    // Some change their size without a word.
    if (!open_ || ++idle_rounds_ % rounds_between_looks != 0)
        return;
    const std::optional<editor_size> before = told_;
    const std::optional<editor_size> now = size();
    if (before && now && (before->width != now->width || before->height != now->height))
        resize_wanted(*now);
}

void vst2_editor::resize_wanted(editor_size wanted)
{
    if (!open_ || wanted.width <= 0 || wanted.height <= 0 || wanted.width > largest_side ||
        wanted.height > largest_side)
        return;
    host_.resize(wanted);
}

// The effect's side of it.

std::optional<editor_size> vst2_effect::editor_rectangle() const
{
    const rectangle* told = nullptr;
    call(effect_get_editor_rectangle, 0, 0, &told);
    if (told == nullptr || told->right <= told->left || told->bottom <= told->top)
        return std::nullopt;
    return editor_size{told->right - told->left, told->bottom - told->top};
}

std::optional<editor_size> vst2_effect::editor()
{
    if ((effect_->flags & flag_has_editor) == 0)
        return std::nullopt;
    const watched_call watched("telling its editor's size");
    return editor_rectangle().value_or(editor_size{});
}

std::unique_ptr<effect_editor> vst2_effect::make_editor(editor_host& host)
{
    if ((effect_->flags & flag_has_editor) == 0)
        return nullptr;
    return std::make_unique<vst2_editor>(*this, host);
}

void vst2_effect::idle()
{
    if (in_idle_)
        return; // an effect that asks for idle calls inside one
    in_idle_ = true;
    if (idle_wanted_.exchange(false)) {
        std::optional<watched_call> watched; // an editor's calls have no limit
        if (editor_ == nullptr)
            watched.emplace("its idle call");
        if (call(effect_idle) != 0)
            want_idle(); // it is not done yet
    }
    if (editor_ != nullptr)
        call(effect_editor_idle);
    in_idle_ = false;
}

} // namespace vsthost::v2
