#pragma once
// The least that a module needs, for effects that the framework cannot express: channel counts that change,
// 64-bit processing, and control over every answer a host gets. An effect derives from `bare::effect`, lists
// itself in `bare::module_classes()` and is linked with vst2_module.cpp or vst3_*.cpp; both call the
// functions below.
//
// Threads: set_layout, prepare, start, stop, save, load and the constructor run on the host's GUI thread,
// never beside process; process runs on the audio thread; parameter values may be touched by any thread.

#include "effects/bare/editor.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

namespace bare {

inline constexpr std::size_t max_channels = 32; // of all buses of one direction

struct bus {
    const char* name;
    int channels; // the count before a host sets another
    bool main = true;
};

// A continuous parameter; hosts see it as 0 to 1 between min and max.
struct parameter {
    const char* name;
    const char* unit;
    double min, max, def;

    double to_plain(double normalised) const { return min + normalised * (max - min); }
    double to_normalised(double plain) const { return (plain - min) / (max - min); }
};

// Where the VST 3 controller is.
enum class controller_kind {
    in_component, // one object for both
    own_object,   // a class of its own, listed after the components; knows parameter values, nothing of the
                  // sound
    none,
};

// What a module says about one of its classes. The pointers must outlive the module.
struct description {
    const char* name;
    std::array<uint32_t, 4> class_id; // VST 3
    uint32_t unique_id;               // VST 2
    std::vector<bus> inputs, outputs;
    std::vector<parameter> parameters;
    const char* sub_categories = "Fx";
    const char* category = "Audio Module Class";
    bool instrument = false; // takes events
    controller_kind controller = controller_kind::in_component;
    bool names_in_unicode_only = false; // VST 3: the 8-bit class infos have empty names
    bool fails_to_save = false;         // VST 3: asked for its state, the component answers an error
    bool edits_need_samples =
        false; // VST 3: a parameter changes by a block of one sample at least, and only so
    bool processes_double = true;
    bool keeps_chunk = false; // VST 2: state is a chunk rather than the host's list of parameters
    bool has_editor = false;  // effect::make_editor makes one
};

// One block. Channels of all buses in a row, main bus first; those of an inactive bus may be null. Input and
// output may be the same memory.
template <class Sample>
struct block {
    std::span<const Sample* const> in;
    std::span<Sample* const> out;
    std::size_t frames;
};

// What an effect may ask of its host. Any thread.
class host {
public:
    virtual void latency_changed() = 0;
    // Its channel counts, maybe. VST 3.
    virtual void layout_changed() {}
    // The effect changed a parameter itself, and has set the value.
    virtual void edited(std::size_t parameter, double normalised) = 0;
    // VST 3: asks for a fresh instance with the same state.
    virtual void reload_wanted() {}
    // VST 2: asks for a call of effect::idle.
    virtual void idle_wanted() {}

protected:
    ~host() = default;
};

class effect {
public:
    explicit effect(const description& about);
    virtual ~effect() = default;
    effect(const effect&) = delete;
    effect& operator=(const effect&) = delete;

    const description& about() const { return about_; }

    // Plain values; index below about().parameters.size().
    double value(std::size_t index) const { return values_[index].load(std::memory_order_relaxed); }
    virtual void set_value(std::size_t index, double plain);

    // The module was opened; `owner` stays valid until the effect is destroyed.
    // False: the module cannot be used.
    virtual bool open(host& owner)
    {
        host_ = &owner;
        return true;
    }
    // Channel counts of every bus. By default only those of the description. False refuses and changes
    // nothing.
    virtual bool set_layout(std::span<const int> inputs, std::span<const int> outputs);
    virtual void prepare(double /*rate*/, int /*max_frames*/) {}
    virtual void start() {}
    virtual void stop() {}
    virtual uint32_t latency() { return 0; }
    // In samples; 0 is none, no_end rings for ever.
    virtual uint32_t tail() { return 0; }
    static constexpr uint32_t no_end = 0xFFFFFFFF;

    // What the last parameter, a meter, shows after a block; nothing without one. VST 3: told to the host.
    virtual std::optional<double> metered() { return std::nullopt; }

    // False reports a failure (VST 3; VST 2 has no word for it).
    virtual bool process(const block<float>&) = 0;
    virtual bool process(const block<double>&) = 0;

    // VST 2, on the host's GUI thread, beside process: after host::idle_wanted. True: once more, soon.
    virtual bool idle() { return false; }

    // For a description with has_editor; it may refer to this effect, which outlives it.
    virtual std::unique_ptr<editor> make_editor() { return nullptr; }

    // By default the plain values: uint32 count, then a double each, little-endian. load returns false for
    // bytes that it cannot read, and changes nothing then.
    virtual std::vector<std::byte> save();
    virtual bool load(std::span<const std::byte> state);

protected:
    host* owner() const { return host_; }

private:
    const description& about_;
    std::unique_ptr<std::atomic<double>[]> values_;
    host* host_ = nullptr;
};

struct module_class {
    const description& about;
    std::unique_ptr<effect> (*create)(const description& about);
};

// Defined once by each module. Of several, VST 2 makes a shell that offers each under its unique id.
std::span<const module_class> module_classes();

} // namespace bare
