#pragma once
// One loaded effect, whatever its format. All operations run on the GUI thread, never beside process_block();
// process_block(), latency() and wants_attention() run on the audio thread.

#include "vsthost/audio_io.h"
#include "vsthost/layout.h"
#include "vsthost/parameters.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace vsthost {

// Blocks are never longer than this; longer chunks are split.
constexpr size_t announced_block_size = 1024;

struct effect_info {
    std::string name;
    std::string vendor;
    std::string format; // "VST 3" or "VST 2"
    bool is_double = false;
    std::string module; // its file
};

// One of the effects in a module.
struct class_info {
    std::string name;
    std::string vendor;
    std::string id; // as the state names it
};

struct bus_info {
    std::string name;
    bool input = false;
    bool main = false;
    channel_layout layout;
};

// In physical pixels; 0 by 0 when the effect does not tell before its editor is open.
struct editor_size {
    int width = 0;
    int height = 0;
};

struct effect_options {
    bool float64 = false;  // ask for 64-bit samples
    bool realtime = false; // else offline
};

// What is still to come after the last input.
struct tail_length {
    bool ring_out = false; // not declared or endless: listen until it is over
    uint64_t frames = 0;   // else
};

class effect_editor;
class editor_host;

class effect : public parameter_source {
public:
    virtual ~effect() = default;

    virtual effect_info info() const = 0;

    // The bytes of state() of the same effect, or none for its defaults. What cannot be read is reported and
    // gives the defaults as well. Throws fatal_error when the effect cannot be created.
    virtual void set_state(std::span<const uint8_t> image) = 0;
    virtual std::vector<uint8_t> state() = 0;

    // Stops, sets up for the rate and the layout as near to `wanted` as the effect goes, starts; returns the
    // effect's own layouts. Throws fatal_error.
    virtual bus_pair prepare(uint32_t rate, const bus_pair& wanted) = 0;

    // After a seek: forget what was heard.
    virtual void reset() = 0;

    virtual tail_length tail() = 0;

    // For people.
    virtual std::vector<class_info> classes() const = 0;
    virtual std::vector<bus_info> buses() const = 0; // after prepare()
    virtual std::optional<editor_size> editor() = 0; // none: it has no editor

    // Null when there is none. `host` and this effect outlive the editor; no more than one at a time.
    virtual std::unique_ptr<effect_editor> make_editor(editor_host& host) = 0;

    // True once after the effect said that it was edited (by any thread, and wake_by()'s event is signalled):
    // state() may be another one now.
    virtual bool take_edited() noexcept = 0;

    // Audio thread, after prepare(): `frames` samples from io()'s inputs to its outputs. False when the
    // effect failed: what the outputs hold is not to be heard then. Allocates nothing.
    virtual bool process_block(size_t frames) noexcept = 0;
    audio_io& io() noexcept { return io_; }

    // In samples; follows what the effect says at run time.
    virtual uint32_t latency() const noexcept = 0;

    // True when the effect asked for something that only the GUI thread may do while nothing is processed;
    // attend() does it.
    virtual bool wants_attention() const noexcept = 0;
    virtual void attend() = 0;
    // True when attend() will replace the effect by a fresh one with the same state, so that its editor must
    // be closed by then.
    virtual bool wants_rebuild() const noexcept { return false; }

    // Signals this event (of Windows, not owned) from any thread when idle() has something to do: what the
    // processor tells its controller (meters), or an effect's own wish to be called. idle() runs beside
    // process_block() if need be; while an editor is open some 50 times a second, whatever was signalled.
    void wake_by(void* event) noexcept { wake_ = event; }
    virtual void idle() {}

protected:
    audio_io io_;
    std::atomic<void*> wake_{nullptr};
};

// Load the module, on the GUI thread. Throw fatal_error in words for the user.
std::unique_ptr<effect> load_vst2(const std::string& path, const effect_options& options);
std::unique_ptr<effect> load_vst3(const std::string& path, const effect_options& options);
inline std::unique_ptr<effect> load_effect(int vst_version, const std::string& path,
                                           const effect_options& options)
{
    return vst_version == 2 ? load_vst2(path, options) : load_vst3(path, options);
}

} // namespace vsthost
