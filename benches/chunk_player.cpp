#include "benches/chunk_player.h"

#include "benches/bare_pipe.h"
#include "win/utf.h"

#include <tlhelp32.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>

namespace bench {

namespace {

constexpr const char* arch = sizeof(void*) == 8 ? "x64" : "x86";

// Processes that this program started and that run a worker's program, all of them.
std::vector<win::kernel_handle> workers()
{
    std::vector<win::kernel_handle> found;
    const win::file_handle all(CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
    PROCESSENTRY32W entry = {};
    entry.dwSize = sizeof entry;
    for (BOOL more = Process32FirstW(all.get(), &entry); more; more = Process32NextW(all.get(), &entry)) {
        const std::wstring name = entry.szExeFile;
        if (entry.th32ParentProcessID == GetCurrentProcessId() &&
            name.find(L"qvxVSTHost") != std::wstring::npos)
            found.emplace_back(OpenProcess(PROCESS_QUERY_INFORMATION, FALSE, entry.th32ProcessID));
    }
    return found;
}

} // namespace

std::wstring shipped_folder()
{
    return own_folder() + L"..\\..\\..\\dist\\" + win::to_utf16(arch) + L"\\";
}

vstConfig_t sample_effect(const char* file, bool float64)
{
    vstConfig_t effect;
    effect.path = win::to_utf8(own_folder() + L"..\\..\\..\\dist\\effects\\" + win::to_utf16(arch) + L"\\" +
                               win::to_utf16(file));
    effect.name = file;
    effect.arch = arch;
    effect.vstVersion = std::string(file).ends_with(".vst3") ? 3 : 2;
    effect.flags = float64 ? vstFlagFloat64 : 0;
    return effect;
}

void use_workers_of(loaded_component& component, const std::wstring& folder)
{
    component.client->set_library_path(win::to_utf8(folder + L"qvx_dsp_vst3.dll").c_str(),
                                       "qvx_dsp_vst3.dll");
}

chunk_player::chunk_player(loaded_component& component, const vstConfig_t& effect)
{
    service_ptr_t<dsp> made;
    if (!component.entry()->instantiate_v4(made, preset_of(effect), dsp_flag_realtime))
        throw std::runtime_error("the component makes no DSP");
    dsp_ = service_query_as<dsp_v2>(*made);
}

double chunk_player::loudest()
{
    const audio_chunk& chunk = *list_.get_item(0);
    double most = 0;
    for (size_t i = 0; i < chunk.get_used_size(); ++i)
        most = std::max(most, std::abs(chunk.get_data()[i]));
    return most;
}

void chunk_player::run(uint32_t channels, size_t frames)
{
    if (list_.get_count() == 0)
        list_.add_item();
    audio_chunk& chunk = *list_.get_item(0);
    if (channels != channels_ || frames != frames_) {
        static const uint32_t masks[] = {0, 0x4, 0x3, 0x7, 0x33, 0x37, 0x3F, 0x13F, 0x63F};
        chunk.set_data_size(channels * frames);
        chunk.set_sample_rate(44100);
        chunk.set_channels(channels, masks[channels]);
        chunk.set_sample_count(frames);
        for (size_t i = 0; i < channels * frames; ++i)
            chunk.get_data()[i] = static_cast<double>(i % 200) / 400 - 0.25;
        channels_ = channels;
        frames_ = frames;
    }
    try {
        dsp_->run_abortable(list_, nullptr, 0, token_);
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "bench: the component: %s\n", failure.what());
        std::exit(3);
    }
}

win::kernel_handle chunk_player::only_worker()
{
    auto all = workers();
    if (all.size() != 1)
        throw std::runtime_error("there is not one worker but " + std::to_string(all.size()));
    return std::move(all[0]);
}

} // namespace bench
