#pragma once
// One VST 3 effect: component, processor and controller, run in the order that the format asks for.

#include "vsthost/effect.h"
#include "vsthost/vst3/vst3_buses.h"
#include "vsthost/vst3/vst3_changes.h"
#include "vsthost/vst3/vst3_host.h"
#include "vsthost/vst3/vst3_module.h"

#include <atomic>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace vsthost::v3 {

class vst3_effect final : public effect, private edit_sink {
public:
    vst3_effect(const std::string& path, const effect_options& options);
    ~vst3_effect() override;

    effect_info info() const override;
    void set_state(std::span<const uint8_t> image) override;
    std::vector<uint8_t> state() override;
    bus_pair prepare(uint32_t rate, const bus_pair& wanted) override;
    void reset() override;
    tail_length tail() override;
    std::vector<class_info> classes() const override;
    std::vector<parameter_info> parameters() override;
    std::vector<bus_info> buses() const override;
    double parameter(uint32_t id) override;
    std::string parameter_text(uint32_t id) override;
    void set_parameter(uint32_t id, double value) override;
    bool set_parameter_text(uint32_t id, const std::string& text) override;
    std::optional<editor_size> editor() override;
    std::unique_ptr<effect_editor> make_editor(editor_host& host) override;
    bool take_edited() noexcept override { return edited_.exchange(false); }
    bool process_block(size_t frames) noexcept override;
    uint32_t latency() const noexcept override { return latency_; }
    bool wants_attention() const noexcept override { return restart_ != 0; }
    void attend() override;
    bool wants_rebuild() const noexcept override { return (restart_ & V3_RESTART_RELOAD_COMPONENT) != 0; }
    void idle() override { deliver_output_changes(); }

private:
    struct request {
        uint32_t rate;
        bus_pair wanted;
    };

    // Life of the component and its controller.
    void create();
    void create_controller();
    void connect();
    void destroy() noexcept;
    void need_instance();
    void rebuild(); // a fresh one with its defaults, set up as before
    bool apply(const vst_preset& preset);

    // Set-up; the component is inactive before start() and after stop().
    void negotiate_sample_size();
    bus_pair negotiate_layout(const bus_pair& wanted);
    void read_buses(const bus_pair& wanted);
    bool offer_layout(const bus_pair& pair);
    bus_pair own_layout() const;
    void allocate();
    void start();
    void stop() noexcept;

    // Process.
    void take_edits() noexcept;
    void flush_edits() noexcept; // GUI thread, while nothing is processed
    bool edits_were_taken() noexcept;
    void keep_output_changes() noexcept;
    void advance(size_t frames) noexcept;
    void deliver_output_changes();

    // edit_sink; any thread.
    void edited(v3_param_id id, double value) noexcept override;
    void dirty() noexcept override;
    void restart_wanted(int32_t flags) noexcept override;

    module module_;
    effect_options options_;
    size_t class_ = 0;
    component_handler* handler_ = nullptr; // counted

    ref<v3_component> component_;
    ref<v3_audio_processor> processor_;
    ref<v3_edit_controller> controller_; // may be absent
    bool controller_is_separate_ = false;
    ref<v3_connection_point> component_point_;
    ref<v3_connection_point> controller_point_;
    connection_proxy* to_component_ = nullptr; // counted, both or none
    connection_proxy* to_controller_ = nullptr;
    bool has_state_ = false;              // other than its defaults
    std::vector<uint8_t> last_component_; // state that the component took or gave last
    bool says_no_state_ = false;

    std::optional<request> request_;
    bus_pair module_default_;
    bus_pair own_;
    bool is_double_ = false;
    bool active_ = false;
    bus_side inputs_;
    bus_side outputs_;

    v3_process_data data_{};
    v3_process_context context_{};
    param_changes input_changes_;
    param_changes output_changes_;
    event_list events_;

    struct edit {
        v3_param_id id;
        double value;
    };
    std::mutex edits_mutex_;            // held for moments; the audio thread only tries
    std::vector<edit> edits_;           // from the controller, for the next block
    std::vector<edit> outputs_changed_; // from the processor, for the controller
    std::atomic<int32_t> restart_{0};
    std::map<v3_param_id, std::string> units_;
    std::atomic<bool> edited_{false};
    std::atomic<uint32_t> latency_{0};
};

} // namespace vsthost::v3
