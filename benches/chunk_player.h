#pragma once
// The component as a player runs it: an instance of its DSP, fed chunk by chunk.

#include "frame/loaded_component.h"
#include "sdk/dsp_chunk_list_impl.h"

#include <windows.h>

#include <string>

namespace bench {

// Sends the component's launches to the folder's worker programs; UTF-16, with the separator at the end.
void use_workers_of(loaded_component& component, const std::wstring& folder);
// The folder of the shipped files of this bitness, and a sample effect in it.
std::wstring shipped_folder();
vstConfig_t sample_effect(const char* file, bool float64);

class chunk_player {
public:
    chunk_player(loaded_component& component, const vstConfig_t& effect);

    // One chunk of that size; ends the program with a line when it fails.
    void run(uint32_t channels, size_t frames);
    double loudest(); // sample of what the last chunk came back as
    // The worker that runs for this program; throws std::runtime_error unless there is exactly one.
    static win::kernel_handle only_worker();

private:
    service_ptr_t<dsp_v2> dsp_;
    dsp_chunk_list_impl list_;
    abort_callback_impl token_;
    uint32_t channels_ = 0;
    size_t frames_ = 0;
};

} // namespace bench
