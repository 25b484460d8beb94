#pragma once
// The editor of a VST 3 effect: its view.

#include "vsthost/editor/effect_editor.h"
#include "vsthost/vst3/vst3_abi.h"

namespace vsthost::v3 {

class plug_frame;

class vst3_editor final : public effect_editor {
public:
    vst3_editor(ref<v3_plugin_view> view, editor_host& host);
    ~vst3_editor() override;
    vst3_editor(const vst3_editor&) = delete;
    vst3_editor& operator=(const vst3_editor&) = delete;

    std::optional<editor_size> size() override;
    bool open(void* window) override;
    void close() override;
    void set_scale(double scale) override;
    bool can_resize() override;
    editor_size constrained(editor_size wanted) override;
    void resized(editor_size now) override;
    void focused(bool has_focus) override;
    bool key(const key_press& press) override;
    bool wheel(double notches) override;

    // The view's own wish, through its frame.
    bool resize_wanted(const v3_view_rect& wanted);

private:
    ref<v3_plugin_view> view_;
    editor_host& host_;
    plug_frame* frame_;     // counted
    bool open_ = false;     // or opening
    bool attached_ = false; // opened
    bool has_focus_ = false;
    bool in_on_size_ = false;
};

} // namespace vsthost::v3
