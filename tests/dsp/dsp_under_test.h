#pragma once
// A DSP instance whose worker plays a script (tests/programs/README.md), and what a test asks about it. Used
// by one thread; any number of them may be used side by side.

#include "dsp/dsp_vst.h"
#include "sdk/abort_callback_impl.h"
#include "sdk/dsp_chunk_list_impl.h"
#include "support/chunks.h"
#include "support/fake_worker.h"
#include "support/presets.h"

#include <functional>
#include <string>
#include <vector>

class dsp_under_test {
public:
    // `edit` changes the effect record before the instance is made of it.
    explicit dsp_under_test(const std::string& script, const std::function<void(vstConfig_t&)>& edit = {},
                            uint32_t flags = 0);
    ~dsp_under_test();

    // Runs one chunk through the instance. "" or what was thrown, as failure_of words it; `list` then holds
    // what came back.
    std::string run(const audio& input, uint32_t flags = 0);
    std::string end_playback(); // a run without chunks

    // The commands that the worker read since the last call, as "CODE:COUNT CODE:COUNT".
    std::string said();
    // The chunks of `list`, as "RATE/CHANNELS/MASK*FRAMES" with spaces between.
    std::string heard();
    std::vector<double> samples(size_t index);

    fake_worker::command last_command(uint32_t code) const;
    bool apply(const vstConfig_t& changed);

    fake_worker fake;
    vstConfig_t config;
    service_ptr_t<dsp_vst> dsp;
    abort_callback_impl token;
    dsp_chunk_list_impl list;

private:
    size_t commands_seen_ = 0;
};

// "CLASS: TEXT" of what `work` throws, "" when it returns.
std::string failure_of(const std::function<void()>& work);

// The setting "process tail samples" in the test host's store.
constexpr const char* tail_key = "advconfig.unnamed.17F04BF0-5745-462F-929C-E7F230F51F5A";
