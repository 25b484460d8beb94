#include "effects/bare/vst3_view.h"

#include "effects/bare/vst3_instance.h"

namespace bare::vst3 {

namespace {

view_size size_of(const v3_view_rect& rect)
{
    return {rect.right - rect.left, rect.bottom - rect.top};
}

v3_view_rect rect_of(view_size size)
{
    return {0, 0, size.width, size.height};
}

bool is_window(const char* platform)
{
    return platform && std::strcmp(platform, V3_VIEW_PLATFORM_TYPE_HWND) == 0;
}

} // namespace

struct view::calls {
    template <class Table>
    static void unknown(v3_funknown& t)
    {
        using bound = bind<Table, bare::vst3::view>;
        bound::to(t.query_interface, [](bare::vst3::view& v, const uint8_t* iid, void** object) {
            return v.query(iid, object);
        });
        bound::to(t.ref, [](bare::vst3::view& v) { return ++v.references_; });
        bound::to(t.unref, [](bare::vst3::view& v) { return v.release(); });
    }

    static v3_plugin_view_cpp view()
    {
        using owner = bare::vst3::view;
        using bound = bind<v3_plugin_view_cpp, owner>;
        v3_plugin_view_cpp t{};
        unknown<v3_plugin_view_cpp>(t);
        bound::to(t.view.is_platform_type_supported,
                  [](owner&, const char* platform) { return is_window(platform) ? ok : no; });
        bound::to(t.view.attached,
                  [](owner& v, void* parent, const char* platform) { return v.attach(parent, platform); });
        bound::to(t.view.removed, [](owner& v) { return v.remove(); });
        // Most keys come to the editor's window as messages.
        bound::to(t.view.on_wheel, [](owner& v, float notches) {
            return v.editor_->wheel(static_cast<double>(notches)) ? ok : no;
        });
        bound::to(t.view.on_key_down, [](owner& v, int16_t character, int16_t code, int16_t) {
            return v.editor_->key_down(character, code) ? ok : no;
        });
        bound::to(t.view.on_key_up, [](owner&, int16_t, int16_t, int16_t) { return no; });
        bound::to(t.view.get_size, [](owner& v, v3_view_rect* rect) {
            if (!rect)
                return invalid_argument;
            *rect = rect_of(v.editor_->size());
            return ok;
        });
        bound::to(t.view.on_size, [](owner& v, v3_view_rect* rect) {
            if (!rect || rect->right <= rect->left || rect->bottom <= rect->top)
                return invalid_argument;
            v.editor_->resized(size_of(*rect));
            return ok;
        });
        bound::to(t.view.on_focus, [](owner& v, v3_bool focused) {
            if (focused)
                v.editor_->take_focus();
            return ok;
        });
        bound::to(t.view.set_frame, [](owner& v, v3_plugin_frame** frame) {
            v.frame_ = frame;
            return ok;
        });
        bound::to(t.view.can_resize, [](owner& v) { return v.editor_->resizable() ? ok : no; });
        bound::to(t.view.check_size_constraint, [](owner& v, v3_view_rect* rect) {
            if (!rect)
                return invalid_argument;
            const view_size fits = v.editor_->nearest(size_of(*rect));
            rect->right = rect->left + fits.width;
            rect->bottom = rect->top + fits.height;
            return ok;
        });
        return t;
    }

    static v3_plugin_view_content_scale_cpp scale()
    {
        using bound = bind<v3_plugin_view_content_scale_cpp, bare::vst3::view>;
        v3_plugin_view_content_scale_cpp t{};
        unknown<v3_plugin_view_content_scale_cpp>(t);
        bound::to(t.scale.set_content_scale_factor, [](bare::vst3::view& v, float factor) {
            if (!(factor >= 0.25f && factor <= 16.0f))
                return invalid_argument;
            v.editor_->set_scale(static_cast<double>(factor));
            return ok;
        });
        return t;
    }
};

view::view(instance& controller, std::unique_ptr<editor> shown)
    : controller_(controller)
    , editor_(std::move(shown))
{
    static const v3_plugin_view_cpp view_table = calls::view();
    static const v3_plugin_view_content_scale_cpp scale_table = calls::scale();
    view_ = {&view_table, this};
    scale_ = {&scale_table, this};
    controller_.add_reference();
}

view::~view()
{
    remove();
    editor_.reset(); // it may point into the effect
    controller_.release();
}

v3_result view::query(const v3_tuid iid, void** object)
{
    if (!object)
        return invalid_argument;
    *object = nullptr;
    if (v3_tuid_match(iid, v3_funknown_iid) || v3_tuid_match(iid, v3_plugin_view_iid))
        *object = &view_;
    else if (v3_tuid_match(iid, v3_plugin_view_content_scale_iid))
        *object = &scale_;
    else
        return no_interface;
    ++references_;
    return ok;
}

uint32_t view::release()
{
    const uint32_t left = --references_;
    if (left == 0)
        delete this;
    return left;
}

v3_result view::attach(void* parent, const char* platform)
{
    if (attached_ || !parent || !is_window(platform))
        return invalid_argument;
    attached_ = editor_->open(parent, *this);
    return attached_ ? ok : internal_error;
}

v3_result view::remove()
{
    if (!attached_)
        return no;
    attached_ = false;
    editor_->close();
    return ok;
}

void view::begin_edit(std::size_t parameter)
{
    controller_.begin_edit(parameter);
}

void view::edit(std::size_t parameter, double normalised)
{
    controller_.edit(parameter, normalised);
}

void view::end_edit(std::size_t parameter)
{
    controller_.end_edit(parameter);
}

bool view::resize(view_size wanted)
{
    v3_view_rect rect = rect_of(wanted);
    return frame_ && v3_cpp_obj(frame_)->resize_view(frame_, pointer(), &rect) == ok;
}

} // namespace bare::vst3
