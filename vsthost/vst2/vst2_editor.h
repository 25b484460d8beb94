#pragma once
// The editor of a VST 2 effect.

#include "vsthost/editor/effect_editor.h"
#include "vsthost/vst2/vst2_abi.h"

#include <cstdint>

namespace vsthost::v2 {

class vst2_effect;

class vst2_editor final : public effect_editor {
public:
    vst2_editor(vst2_effect& shown, editor_host& host);
    ~vst2_editor() override;

    std::optional<editor_size> size() override;
    bool open(void* window) override;
    void close() override;
    bool key(const key_press& press) override;
    void idle() override;

    // The effect's own wishes, through the callback.
    void resize_wanted(editor_size wanted);
    void idle_wanted() { host_.idle_inside(); }

private:
    vst2_effect& effect_;
    editor_host& host_;
    bool open_ = false;
    std::optional<editor_size> told_; // what the effect last said about its size
    unsigned idle_rounds_ = 0;
};

} // namespace vsthost::v2
