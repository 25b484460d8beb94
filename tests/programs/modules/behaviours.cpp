#include "programs/modules/behaviours.h"

#include "programs/modules/delays.h"
#include "programs/modules/driven_editor.h"
#include "support/patched_import.h"

#include <windows.h>

#include <algorithm>
#include <cstdlib>
#include <deque>
#include <limits>
#include <string>
#include <thread>

void misbehave_in(std::string_view module_name, std::string_view call)
{
    const auto named = [&](std::string_view how) {
        return module_name.starts_with(how) && module_name.substr(how.size()) == call;
    };
    if (named("module_that_crashes_in_")) {
        volatile int* volatile nowhere = nullptr; // or the compiler drops the store
        *nowhere = 1;
    }
    while (named("module_that_hangs_in_"))
        Sleep(INFINITE);
}

double passing::sample(std::size_t, double input)
{
    return input;
}

template <class Sample>
bool passing::run(const bare::block<Sample>& audio)
{
    const double level = value(0);
    const std::size_t inputs = std::min<std::size_t>(audio.in.size(), 2);
    for (std::size_t c = 0; c < audio.out.size(); ++c) {
        const Sample* const in = inputs == 0 ? nullptr : audio.in[c % inputs];
        Sample* const out = audio.out[c];
        for (std::size_t n = 0; out && n < audio.frames; ++n)
            out[n] = static_cast<Sample>(level * sample(c, in ? static_cast<double>(in[n]) : 0.0));
    }
    return block_done(audio.frames);
}

namespace {

// Watches the program that loaded it: what the audio thread allocates between two calls of process.
thread_local unsigned allocations = 0;
template <auto* real, class... Arguments>
void* counting(Arguments... arguments)
{
    ++allocations;
    return real(arguments...);
}

class allocation_counter final : public passing {
public:
    using passing::passing;

protected:
    double sample(std::size_t, double) override { return allocations; }
    bool block_done(std::size_t) override
    {
        allocations = 0;
        return true;
    }

private:
    patched_import malloc_{"malloc", reinterpret_cast<void*>(&counting<std::malloc, std::size_t>)};
    patched_import realloc_{"realloc", reinterpret_cast<void*>(&counting<std::realloc, void*, std::size_t>)};
    patched_import calloc_{"calloc",
                           reinterpret_cast<void*>(&counting<std::calloc, std::size_t, std::size_t>)};
};

// Once it has processed a block, the program that loaded it gets no memory any more but in pieces this small.
std::size_t memory_left = SIZE_MAX;
void* malloc_until_taken(std::size_t size)
{
    return size > memory_left ? nullptr : std::malloc(size);
}

template <std::size_t left>
class memory_taker final : public passing {
public:
    using passing::passing;

protected:
    bool block_done(std::size_t) override
    {
        memory_left = left;
        return true;
    }

private:
    patched_import malloc_{"malloc", reinterpret_cast<void*>(&malloc_until_taken)};
};

class nan_output final : public passing {
public:
    using passing::passing;

protected:
    double sample(std::size_t channel, double input) override
    {
        const std::size_t position = counts_[channel]++ % 100;
        if (position == 0)
            return std::numeric_limits<double>::quiet_NaN();
        return position == 1 ? std::numeric_limits<double>::infinity() : input;
    }

private:
    std::size_t counts_[bare::max_channels] = {};
};

template <bool opens>
class failing final : public passing {
public:
    using passing::passing;
    bool open(bare::host& host) override { return opens && passing::open(host); }
    bool process(const bare::block<float>&) override { return false; }
    bool process(const bare::block<double>&) override { return false; }
};

// A controller of its own edits as soon as it sees a state; the component hears of it from the host alone.
class editing_on_load final : public passing {
public:
    using passing::passing;
    bool load(std::span<const std::byte> state) override
    {
        const bool loaded = passing::load(state);
        // More at once than any host keeps.
        for (int i = 0; owner() && i < 10000; ++i)
            owner()->edited(0, 0.75);
        if (owner())
            owner()->edited(0, 0.25);
        return loaded;
    }
};

// Tells a meter with every block; a controller that sees it turn sets "Level" to 0.25.
class metering final : public passing {
public:
    using passing::passing;
    std::optional<double> metered() override { return 0.5; }
    void set_value(std::size_t index, double plain) override
    {
        passing::set_value(index, plain);
        if (index == 1 && plain == 0.5 && owner())
            owner()->edited(0, 0.25);
    }
};

// Asks for an idle call when it is opened and once more in that call. After the second, from its second block
// on, its sound is a quarter.
class idling final : public passing {
public:
    using passing::passing;
    bool open(bare::host& host) override
    {
        passing::open(host);
        owner()->idle_wanted();
        return true;
    }
    bool idle() override { return ++calls_ < 2; }

protected:
    double sample(std::size_t, double input) override
    {
        return played_ && calls_ >= 2 ? 0.25 * input : input;
    }
    bool block_done(std::size_t) override { return played_ = true; }

private:
    std::atomic<int> calls_ = 0;
    bool played_ = false;
};

// Says of its buses that they changed each time they are agreed, and of its latency with each edit. Puts out
// how often it was started.
class restless final : public passing {
public:
    using passing::passing;
    bool set_layout(std::span<const int> in, std::span<const int> out) override
    {
        if (owner())
            owner()->layout_changed();
        return passing::set_layout(in, out);
    }
    void set_value(std::size_t index, double plain) override
    {
        passing::set_value(index, plain);
        if (owner())
            owner()->latency_changed();
    }
    void start() override { ++starts_; }

protected:
    double sample(std::size_t, double) override { return starts_; }

private:
    int starts_ = 0;
};

// "Level", then a pattern that fills the rest; nothing at all when that is the size, and then it takes
// nothing either.
template <std::size_t size>
class sized_state final : public passing {
public:
    using passing::passing;
    std::vector<std::byte> save() override
    {
        std::vector<std::byte> state = passing::save();
        const std::size_t own = state.size();
        state.resize(size);
        for (std::size_t i = own; i < size; ++i)
            state[i] = static_cast<std::byte>((i * 2654435761u) >> 13 & 0xFF);
        return state;
    }
    bool load(std::span<const std::byte> state) override
    {
        const std::vector<std::byte> mine = save();
        return size != 0 && state.size() == size &&
               std::equal(state.begin() + own_size, state.end(), mine.begin() + own_size) &&
               passing::load(state);
    }

private:
    static constexpr std::ptrdiff_t own_size = 12; // the number of values, and "Level"
};

std::atomic<int> own_threads = 0;

// Its thread ends in the destructor, which runs with the last reference and not under the loader lock.
class own_thread final : public passing {
public:
    using passing::passing;
    ~own_thread() override
    {
        stop_ = true;
        if (thread_.joinable()) {
            thread_.join();
            --own_threads;
        }
    }
    bool open(bare::host& host) override
    {
        passing::open(host);
        ++own_threads;
        thread_ = std::thread([this] {
            for (unsigned i = 0; !stop_; ++i) {
                const double level = (i % 101) / 100.0;
                set_value(0, level);
                owner()->edited(0, level);
                Sleep(5);
            }
        });
        return true;
    }

private:
    std::atomic<bool> stop_ = false;
    std::thread thread_;
};

class instrument final : public passing {
public:
    using passing::passing;

protected:
    double sample(std::size_t, double) override { return 0.25; }
};

// Its editor shows the loudest sample that it heard.
class driven : public passing {
public:
    using passing::passing;
    std::unique_ptr<bare::editor> make_editor() override
    {
        return make_driven_editor(
            *this, [this] { return peak_.load(); }, [this] { owner()->reload_wanted(); });
    }

protected:
    double sample(std::size_t, double input) override
    {
        peak_ = std::max<double>(peak_, input);
        return input;
    }

private:
    std::atomic<double> peak_ = 0.0;
};

class misbehaving final : public driven {
public:
    explicit misbehaving(const bare::description& about)
        : driven(about)
    {
        at("create");
    }
    ~misbehaving() override { at("close"); }
    bool open(bare::host& host) override
    {
        at("open");
        return passing::open(host);
    }
    bool set_layout(std::span<const int> in, std::span<const int> out) override
    {
        at("layout");
        return passing::set_layout(in, out);
    }
    void prepare(double, int) override { at("prepare"); }
    void start() override { at("start"); }
    void stop() override { at("stop"); }
    uint32_t latency() override
    {
        at("latency");
        return 0;
    }
    uint32_t tail() override
    {
        at("tail");
        return 0;
    }
    std::vector<std::byte> save() override
    {
        at("save");
        return passing::save();
    }
    bool load(std::span<const std::byte> state) override
    {
        at("restore");
        return passing::load(state);
    }

protected:
    bool block_done(std::size_t) override
    {
        at("process");
        return true;
    }

private:
    void at(const char* call) const { misbehave_in(about().name, call); }
};

using about_t = bare::description;

void edits_if_named_so(about_t& about)
{
    about.has_editor = std::string_view(about.name).ends_with("_edit");
}

constexpr behaviour behaviours[] = {
    {"module_that_passes_through", make<passing>},
    {"module_that_is_mono_only", make<passing>,
     [](about_t& a) { a.inputs[0].channels = a.outputs[0].channels = 1; }},
    {"module_with_mono_buses", make<passing>,
     [](about_t& a) {
         a.inputs = {{"Left", 1}, {"Right", 1}};
         a.outputs = a.inputs;
     }},
    {"module_with_a_side_chain", make<passing>,
     [](about_t& a) {
         a.inputs.push_back({"Side chain", 2, false});
     }},
    {"module_with_two_inputs_and_six_outputs", make<passing>, [](about_t& a) { a.outputs[0].channels = 6; }},
    {"module_with_48000_samples_of_latency", make<late, 48000u>},
    {"module_that_changes_its_latency", make<late, 100u, std::size_t{20000}>},
    {"module_with_a_tail", make<ringing, 4096u, 50u, false, 4096u>},
    {"module_with_an_endless_tail", make<ringing, 1000u, 50u, true, bare::effect::no_end>},
    {"module_that_rings_for_ever", make<ringing, 1000u, 100u, true, bare::effect::no_end>},
    {"module_that_puts_out_nan", make<nan_output>},
    {"module_that_counts_allocations", make<allocation_counter>},
    {"module_that_takes_the_memory", make<memory_taker<4096>>},
    {"module_that_takes_all_memory", make<memory_taker<0>>},
    {"module_that_fails_to_process", make<failing<true>>},
    {"module_that_fails_to_open", make<failing<false>>},
    {"module_with_a_large_state", make<sized_state<6u << 20>>},
    {"module_with_an_empty_state", make<sized_state<0>>},
    {"module_without_chunks", make<passing>, [](about_t& a) { a.keeps_chunk = false; }},
    {"module_without_64_bit", make<passing>, [](about_t& a) { a.processes_double = false; }},
    {"module_without_a_controller", make<passing>,
     [](about_t& a) { a.controller = bare::controller_kind::none; }},
    {"module_with_a_separate_controller", make<passing>,
     [](about_t& a) { a.controller = bare::controller_kind::own_object; }},
    {"module_whose_controller_edits", make<editing_on_load>,
     [](about_t& a) { a.controller = bare::controller_kind::own_object; }},
    {"module_whose_controller_follows_a_meter", make<metering>,
     [](about_t& a) {
         a.controller = bare::controller_kind::own_object;
         a.parameters.push_back({"Meter", "", 0.0, 1.0, 0.0});
     }},
    {"module_that_wants_idle_calls", make<idling>},
    {"module_that_is_never_settled", make<restless>},
    {"module_whose_edits_need_samples", make<passing>, [](about_t& a) { a.edits_need_samples = true; }},
    {"module_that_fails_to_save", make<passing>, [](about_t& a) { a.fails_to_save = true; }},
    {"module_with_names_in_unicode_only", make<passing>, [](about_t& a) { a.names_in_unicode_only = true; }},
    {"module_that_calls_back_from_its_own_thread", make<own_thread>},
    {"module_with_an_editor", make<driven>, [](about_t& a) { a.has_editor = true; }},
    {"module_with_a_resizable_editor", make<driven>, [](about_t& a) { a.has_editor = true; }},
    {"module_whose_editor_resizes_at_once", make<driven>, [](about_t& a) { a.has_editor = true; }},
    {"module_whose_editor_does_not_open", make<driven>, [](about_t& a) { a.has_editor = true; }},
    {"module_with_600_parameters", make<passing>,
     [](about_t& a) {
         static std::deque<std::string> names;
         a.parameters.clear();
         for (int i = 1; i <= 600; ++i)
             a.parameters.push_back(
                 {names.emplace_back("Band " + std::to_string(i)).c_str(), "%", 0.0, 100.0, 50.0});
     }},
    {"module_with_40_channels", make<passing>,
     [](about_t& a) {
         a.inputs = {{"Input", 40}};
         a.outputs = {{"Output", 40}};
     }},
    {"module_with_300_channels", make<own_thread>,
     [](about_t& a) {
         a.inputs = {{"Input", 300}};
         a.outputs = {{"Output", 300}};
     }},
    {"module_that_is_an_instrument", make<instrument>,
     [](about_t& a) {
         a.inputs.clear();
         a.instrument = true;
         a.sub_categories = "Instrument|Synth";
     }},
    {"module_without_audio", make<passing>,
     [](about_t& a) {
         a.inputs.clear();
         a.outputs.clear();
     }},
    {"module_without_an_effect", make<passing>, [](about_t& a) { a.category = "Test Class"; }},
    {"module_that_crashes_in_", make<misbehaving>, edits_if_named_so},
    {"module_that_hangs_in_", make<misbehaving>, edits_if_named_so},
};

} // namespace

bool own_thread_runs()
{
    return own_threads != 0;
}

const behaviour* find_behaviour(std::string_view name)
{
    const auto* const found = std::ranges::find_if(behaviours, [&](const behaviour& each) {
        return each.name.ends_with('_') ? name.starts_with(each.name) : name == each.name;
    });
    return found == std::end(behaviours) ? nullptr : found;
}
