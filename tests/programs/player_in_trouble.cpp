// Plays a player that lets one fault happen to it and writes down what it saw. Arguments: the worker's
// script, the event that the script signals when the fault happens, a folder for temporary files, a step of a
// conversation, what the player does at the fault and after how many milliseconds:
//
//   look       nothing; the worker does it
//   kill       ends its workers by force, as a user does
//   stop       gives up: aborts the run of the DSP, closes the editor
//   shut-down  ends
//
// result.txt beside the script gets a line a round, with tabs between: milliseconds from the fault to what
// the user sees, to the end of everything, what is left, what the user sees. Rounds are played until one
// leaves nothing, four at most: what the system and the runtime make at their first use is made once.

#include "dsp/dsp_vst.h"
#include "dsp/vstAudioListener.h"
#include "sdk/abort_callback_impl.h"
#include "sdk/dsp_chunk_list_impl.h"
#include "sdk/playback_stream_capture.h"
#include "support/chunks.h"
#include "support/dialog_host.h"
#include "support/fake_worker.h"
#include "support/presets.h"
#include "support/system_counts.h"
#include "ui/CDialogConfigureVST.h"
#include "vis/vis_instance.h"
#include "win/utf.h"

#include "catalogue/settings.h"

#include <algorithm>
#include <chrono>
#include <fstream>
#include <thread>

namespace {

constexpr double patience = 15;

// Waits for the fault on a thread of its own, and does what the player does then.
class at_fault {
public:
    at_fault(HANDLE here, DWORD delay_ms, std::function<void()> act)
        : here_(here)
        , thread_([this, delay_ms, act = std::move(act)] {
            const HANDLE either[] = {here_, over_.get_abort_event()};
            if (WaitForMultipleObjects(2, either, FALSE, INFINITE) != WAIT_OBJECT_0)
                return;
            came_ = std::chrono::steady_clock::now().time_since_epoch().count();
            if (act && WaitForSingleObject(over_.get_abort_event(), delay_ms) == WAIT_TIMEOUT)
                act();
        })
    {
    }
    ~at_fault()
    {
        over_.abort();
        thread_.join();
    }
    int milliseconds() const // -1: it has not come
    {
        using std::chrono::steady_clock;
        for (int i = 0; !came() && i < 100; ++i) // what came of it may be quicker than the thread
            Sleep(i == 0 ? 0 : 10);
        if (!came())
            return -1;
        const auto since = steady_clock::now().time_since_epoch() - steady_clock::duration(came_);
        return static_cast<int>(std::chrono::duration_cast<std::chrono::milliseconds>(since).count());
    }
    bool came() const { return came_ != 0; }

private:
    HANDLE here_;
    abort_callback_impl over_;
    std::atomic<std::chrono::steady_clock::rep> came_{0};
    std::thread thread_;
};

class capture : public playback_stream_capture_v2 {
public:
    using service_interface = playback_stream_capture_v2;
    void add_callback(playback_stream_capture_callback&) override {}
    void add_callback_v2(playback_stream_capture_callback& callback, double) override { heard = &callback; }
    void remove_callback(playback_stream_capture_callback&) noexcept override { heard = nullptr; }
    playback_stream_capture_callback* heard = nullptr; // one at a time
};

struct fault_plan {
    vstConfig_t effect;
    win::kernel_handle here;
    std::string step, act;
    DWORD delay_ms;
};

struct seen_t {
    std::string text;
    int ms;
};

class trouble {
public:
    explicit trouble(fault_plan plan)
        : plan_(std::move(plan))
    {
        player_.host.add_service(playback_stream_capture::class_guid, capture_);
        fake_worker::use_for_launches();
        cfg_process_tail.set(true);
        cfg_feed_live.set(plan_.step == "live feed");
    }
    // One round, as a line.
    std::string play()
    {
        ResetEvent(plan_.here.get());
        player_.host.clear_console();
        player_.host.app_token.reset(); // after a round of "shut-down" the player begins anew
        capture_->heard = nullptr;
        stop_wanted_ = false;
        const system_counts before = system_counts::now();
        seen_t seen;
        int over = 0;
        {
            at_fault fault(plan_.here.get(), plan_.delay_ms, action());
            if (plan_.step.starts_with("configure") || plan_.step == "live feed")
                seen = configure(fault);
            else if (plan_.step.starts_with("visualisation"))
                seen = visualisation(fault);
            else
                seen = dsp(fault);
            player_.host.wait_until_detached_done();
            over = fault.milliseconds();
        }
        left_ = before.growth(0, 0.3 * ++round_);
        return std::to_string(seen.ms) + "\t" + std::to_string(over) + "\t" + left_ + "\t" + seen.text;
    }
    bool once_more() const { return !left_.empty(); }

private:
    std::function<void()> action()
    {
        if (plan_.act == "kill")
            return [] { kill_children(42); };
        if (plan_.act == "look")
            return {};
        return [this] {
            if (plan_.act == "shut-down")
                player_.host.app_token.abort();
            token_.abort();
            stop_wanted_ = true;
        };
    }

    // What was thrown.
    std::string run(dsp_vst& dsp, size_t chunks, uint32_t flags = 0)
    {
        dsp_chunk_list_impl list;
        if (chunks)
            fill_chunk(*list.add_item(), {.first = 0.5, .step = 0});
        try {
            dsp.run_abortable(list, nullptr, flags, token_);
        } catch (const std::exception& failure) {
            return failure.what();
        }
        return "";
    }
    seen_t dsp(const at_fault& fault)
    {
        auto dsp = service_new<dsp_vst>(preset_of(plan_.effect), 0u);
        token_.reset();
        std::string text = run(*dsp, 1);
        if (text.empty() && (plan_.step == "process" || plan_.step == "relay")) {
            text = run(*dsp, 1);
        } else if (text.empty() && plan_.step == "drain") {
            text = run(*dsp, 0, dsp_flag_end_of_playback);
        } else if (text.empty() && plan_.step == "reset") {
            dsp->flush();
            text = run(*dsp, 1);
        }
        if (plan_.step != "relay")
            return {text, fault.milliseconds()};
        // It ends with its worker; one that lives ends with the instance.
        if (!player_.host.wait_until_detached_done(text.empty() ? 0.1 : 1))
            dsp.release();
        player_.host.wait_until_detached_done();
        text.clear();
        for (const std::string& line : player_.host.console_lines())
            text += (text.empty() ? "" : " / ") + line;
        return {text, fault.milliseconds()};
    }

    seen_t configure(const at_fault& fault)
    {
        std::string text;
        int when = -1;
        bool finished = false;
        CDialogConfigureVST run;
        const auto note = [&](const std::string& what) {
            when = when < 0 ? fault.milliseconds() : when;
            text += (text.empty() ? "" : ", ") + what;
        };
        run.onStateChanged = [&](const vstConfig_t& effect) {
            note("state of " + std::to_string(effect.state.size()) + " bytes");
        };
        run.onFinished = [&] {
            note("finished");
            finished = true;
        };
        run.Start(plan_.effect, nullptr);
        player_.run_until(
            [&] {
                if (plan_.step == "live feed")
                    feedAudioListener(plan_.effect.path, chunk_, 1);
                if (plan_.step == "configure end" && fault.came())
                    return true;
                const auto lines = player_.host.console_lines();
                if (!lines.empty())
                    note(lines[0]);
                return finished || stop_wanted_ || !lines.empty();
            },
            patience);
        const bool open = text.empty() || (!finished && text.starts_with("state"));
        run.stop();
        if (open)
            note("stopped");
        return {text, when};
    }

    seen_t visualisation(const at_fault& fault)
    {
        new vis_instance(plan_.effect);
        const bool gone = player_.run_until(
            [&] {
                if (capture_->heard && plan_.step != "visualisation start")
                    capture_->heard->on_chunk(chunk_);
                return !capture_->heard || stop_wanted_;
            },
            patience);
        if (stop_wanted_)
            player_.host.wait_until_detached_done();
        return {!capture_->heard ? "gone" : gone ? "left as it is" : "still there", fault.milliseconds()};
    }

    fault_plan plan_;
    dialog_host player_;
    service_ptr_t<capture> capture_ = service_new<capture>();
    const audio_chunk_impl_t chunk_ = chunk_of(0.5, 4);
    abort_callback_impl token_;
    std::atomic<bool> stop_wanted_{false};
    std::string left_;
    int round_ = 0;
};

} // namespace

int wmain(int argc, wchar_t** argv)
{
    if (argc != 7)
        return 2;
    SetEnvironmentVariableW(L"TMP", argv[3]);
    SetEnvironmentVariableW(L"TEMP", argv[3]);
    fault_plan plan;
    plan.effect = {win::to_utf8(argv[1]), "effect", "x64", 3};
    plan.effect.state = {1, 2, 3};
    plan.here.reset(OpenEventW(EVENT_ALL_ACCESS, FALSE, argv[2]));
    plan.step = win::to_utf8(argv[4]);
    plan.act = win::to_utf8(argv[5]);
    plan.delay_ms = static_cast<DWORD>(_wtoi(argv[6]));
    const std::string script = plan.effect.path;
    std::ofstream result(
        win::to_utf16(script.substr(0, script.find_last_of('\\') + 1) + "result.txt").c_str());
    trouble playing(std::move(plan));
    for (int round = 0; round < 4 && (round == 0 || playing.once_more()); ++round)
        result << playing.play() << "\n" << std::flush;
    return 0;
}
