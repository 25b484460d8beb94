#include "vsthost/vst3/vst3_editor.h"

#include "vsthost/process_shell.h"
#include "vsthost/vst3/vst3_effect.h"

#include <windows.h>

namespace vsthost::v3 {

namespace {

constexpr int32_t largest_side = 16384;

v3_view_rect rectangle_of(editor_size size)
{
    return {0, 0, size.width, size.height};
}

std::optional<editor_size> size_of(const v3_view_rect& rectangle)
{
    const editor_size size{rectangle.right - rectangle.left, rectangle.bottom - rectangle.top};
    if (size.width <= 0 || size.height <= 0 || size.width > largest_side || size.height > largest_side)
        return std::nullopt;
    return size;
}

} // namespace

struct plug_frame_interface : unknown {
    virtual v3_result V3_API resize_view(v3_plugin_view** view, v3_view_rect* wanted) = 0;
};

// Counted, because views keep it; detach() before the editor goes.
class plug_frame final : public counted_object<plug_frame, plug_frame_interface> {
public:
    explicit plug_frame(vst3_editor& editor)
        : editor_(&editor)
        , thread_(GetCurrentThreadId())
    {
    }
    static const uint8_t* own_iid() { return v3_plugin_frame_iid; }
    void detach() noexcept { editor_ = nullptr; }
    v3_plugin_frame** get() { return as<v3_plugin_frame>(static_cast<plug_frame_interface*>(this)); }

    v3_result V3_API resize_view(v3_plugin_view**, v3_view_rect* wanted) override
    {
        if (wanted == nullptr)
            return invalid_argument;
        if (GetCurrentThreadId() != thread_ || editor_ == nullptr)
            return no;
        return editor_->resize_wanted(*wanted) ? ok : no;
    }

private:
    vst3_editor* editor_; // GUI thread
    DWORD thread_;
};

vst3_editor::vst3_editor(ref<v3_plugin_view> view, editor_host& host)
    : view_(std::move(view))
    , host_(host)
    , frame_(new plug_frame(*this))
{
    view_->set_frame(view_.get(), frame_->get());
}

vst3_editor::~vst3_editor()
{
    close();
    view_->set_frame(view_.get(), nullptr);
    view_.reset();
    frame_->detach();
    frame_->release();
}

std::optional<editor_size> vst3_editor::size()
{
    v3_view_rect rectangle{};
    if (view_->get_size(view_.get(), &rectangle) != ok)
        return std::nullopt;
    return size_of(rectangle);
}

bool vst3_editor::open(void* window)
{
    if (view_->is_platform_type_supported(view_.get(), V3_VIEW_PLATFORM_TYPE_HWND) != ok)
        return false;
    open_ = true; // it may ask for another size inside
    open_ = view_->attached(view_.get(), window, V3_VIEW_PLATFORM_TYPE_HWND) == ok;
    attached_ = open_;
    if (attached_ && has_focus_)
        focused(true);
    return open_;
}

void vst3_editor::close()
{
    if (!open_)
        return;
    open_ = attached_ = false;
    view_->removed(view_.get());
}

void vst3_editor::set_scale(double scale)
{
    // Optional, and an error is an answer: the view scales by itself or not at all.
    if (const auto scaled = view_.query<v3_plugin_view_content_scale>(v3_plugin_view_content_scale_iid))
        scaled->set_content_scale_factor(scaled.get(), static_cast<float>(scale));
}

bool vst3_editor::can_resize()
{
    return view_->can_resize(view_.get()) == ok;
}

editor_size vst3_editor::constrained(editor_size wanted)
{
    v3_view_rect rectangle = rectangle_of(wanted);
    // What it answers counts less than what it leaves in the rectangle.
    view_->check_size_constraint(view_.get(), &rectangle);
    return size_of(rectangle).value_or(wanted);
}

void vst3_editor::resized(editor_size now)
{
    // A view that asks for a size while it is told one gets the window of that size, but is not told again.
    if (!open_ || in_on_size_)
        return;
    in_on_size_ = true;
    v3_view_rect rectangle = rectangle_of(now);
    view_->on_size(view_.get(), &rectangle);
    in_on_size_ = false;
}

void vst3_editor::focused(bool has_focus)
{
    has_focus_ = has_focus;
    if (attached_) // a view that is not yet there complains
        view_->on_focus(view_.get(), has_focus ? 1 : 0);
}

bool vst3_editor::key(const key_press& press)
{
    if (!open_)
        return false;
    const auto character = static_cast<int16_t>(press.character);
    // What Windows calls Control is this format's command key.
    const auto modifiers =
        static_cast<int16_t>((press.shift ? 1 : 0) | (press.alternate ? 2 : 0) | (press.control ? 4 : 0));
    const auto tell = press.down ? view_->on_key_down : view_->on_key_up;
    return tell(view_.get(), character, press.code, modifiers) == ok;
}

bool vst3_editor::wheel(double notches)
{
    return open_ && view_->on_wheel(view_.get(), static_cast<float>(notches)) == ok;
}

bool vst3_editor::resize_wanted(const v3_view_rect& wanted)
{
    const std::optional<editor_size> size = size_of(wanted);
    if (!size)
        return false;
    host_.resize(*size);
    return true;
}

// The effect's side of it.

std::optional<editor_size> vst3_effect::editor()
{
    if (!controller_)
        return std::nullopt;
    const watched_call watched("telling its editor's size");
    const ref<v3_plugin_view> view(controller_->create_view(controller_.get(), "editor"));
    if (!view)
        return std::nullopt;
    v3_view_rect rectangle{};
    if (view->get_size(view.get(), &rectangle) != ok)
        return editor_size{};
    return editor_size{rectangle.right - rectangle.left, rectangle.bottom - rectangle.top};
}

std::unique_ptr<effect_editor> vst3_effect::make_editor(editor_host& host)
{
    if (!controller_)
        return nullptr;
    ref<v3_plugin_view> view(controller_->create_view(controller_.get(), "editor"));
    if (!view)
        return nullptr;
    return std::make_unique<vst3_editor>(std::move(view), host);
}

} // namespace vsthost::v3
