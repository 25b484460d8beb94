#pragma once
// The VST 3 face of an effect's editor. Keeps its controller alive, counts its references and deletes itself
// with the last. GUI thread.

#include "effects/bare/editor.h"
#include "effects/bare/vst3_api.h"

#include <memory>

#include <travesty/view.h>

namespace bare::vst3 {

class instance;

class view final : public editor_host {
public:
    // Starts with one reference.
    view(instance& controller, std::unique_ptr<editor> shown);

    v3_plugin_view** pointer() { return reinterpret_cast<v3_plugin_view**>(&view_); }

    void begin_edit(std::size_t parameter) override;
    void edit(std::size_t parameter, double normalised) override;
    void end_edit(std::size_t parameter) override;
    bool resize(view_size wanted) override;

private:
    struct calls; // the functions in the tables
    friend struct calls;
    ~view();

    v3_result query(const v3_tuid iid, void** object);
    uint32_t release();
    v3_result attach(void* parent, const char* platform);
    v3_result remove();

    face<v3_plugin_view_cpp, view> view_;
    face<v3_plugin_view_content_scale_cpp, view> scale_;
    instance& controller_;
    std::unique_ptr<editor> editor_;
    v3_plugin_frame** frame_ = nullptr; // the host's; it takes it back before it is gone
    uint32_t references_ = 1;
    bool attached_ = false;
};

} // namespace bare::vst3
