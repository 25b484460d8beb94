#pragma once
// One VST 2 effect.

#include "vsthost/effect.h"
#include "vsthost/module_file.h"
#include "vsthost/vst2/vst2_abi.h"

#include <atomic>
#include <optional>
#include <string>
#include <vector>

namespace vsthost::v2 {

class vst2_effect;
class vst2_editor;

// The callback to give to the entry; it answers for `effect` from now on.
host_callback callback_for(vst2_effect* effect);

class vst2_effect final : public effect {
public:
    vst2_effect(const std::string& path, const effect_options& options);
    ~vst2_effect() override;

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
    bool wants_attention() const noexcept override { return io_changed_; }
    void attend() override;
    void idle() override;

    // For its editor; GUI thread.
    intptr_t call(effect_call opcode, int32_t index = 0, intptr_t value = 0, void* pointer = nullptr,
                  float option = 0.0f) const;
    std::optional<editor_size> editor_rectangle() const;
    void shown_in(vst2_editor* editor) noexcept { editor_ = editor; } // not owned; null: in none

private:
    struct sub_effect {
        int32_t id;
        std::string name;
    };
    struct request {
        uint32_t rate;
        bus_pair wanted;
    };

    void open();
    void close() noexcept;
    void rebuild();
    void list_sub_effects();
    // True when the effect of this id is there now.
    bool choose_sub_effect(int32_t id);
    bool apply(std::span<const uint8_t> image); // reports why not
    void negotiate_layout(const bus_pair& wanted);
    bool offer_layout(const bus_pair& pair);
    bus_pair own_layout() const;
    void start();
    void stop() noexcept;
    void read_latency();

    std::string text(effect_call opcode, int32_t index = 0) const;
    uint32_t parameter_count() const noexcept; // at most 65536
    float value(uint32_t index) const;         // as the effect says it, a number or not
    void set_value(uint32_t index, float value) const;

    friend host_callback callback_for(vst2_effect* effect);
    static intptr_t __cdecl callback(vst_effect* from, int32_t opcode, int32_t index, intptr_t value,
                                     void* pointer, float option);
    intptr_t answer(int32_t opcode, int32_t index, intptr_t value, void* pointer);
    void note_edit() noexcept;
    void want_idle() noexcept;
    bool on_gui_thread() const noexcept;
    const time_info* time_now();

    module_file module_;
    effect_options options_;
    std::string folder_; // in the system's code page, for the effect
    vst_effect* effect_ = nullptr;
    std::string name_;
    std::string vendor_;
    std::vector<sub_effect> sub_effects_; // of a shell, at most 1024
    int32_t shell_id_ = 0;                // of a shell: which of them is open
    bool has_state_ = false;

    std::optional<request> request_;
    bus_pair own_;
    std::optional<bus_pair> agreed_layout_; // with masks, when the effect took an arrangement
    bool is_double_ = false;
    bool running_ = false;
    double rate_ = 44100.0;
    uint64_t position_ = 0; // samples since the last seek
    time_info time_{};
    std::atomic<bool> io_changed_{false};
    std::atomic<bool> edited_{false};
    std::atomic<bool> idle_wanted_{false}; // by the effect, for its idle call
    vst2_editor* editor_ = nullptr;        // GUI thread
    bool in_idle_ = false;
    unsigned long gui_thread_;
    std::vector<float> defaults_; // of the parameters, as the effect opened with them
    std::atomic<bool> in_process_{false};
    std::atomic<unsigned long> audio_thread_{0};
    std::atomic<uint32_t> latency_{0};
};

} // namespace vsthost::v2
