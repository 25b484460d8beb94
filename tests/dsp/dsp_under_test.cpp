#include "dsp_under_test.h"

#include "sdk/exceptions.h"

#include <cstdio>
#include <stdexcept>

namespace {

vstConfig_t edited(vstConfig_t config, const std::function<void(vstConfig_t&)>& edit)
{
    config.state = {0xAB, 0xCD, 0x00};
    if (edit)
        edit(config);
    return config;
}

std::string layout_of(const audio_chunk& chunk)
{
    char words[64];
    std::snprintf(words, sizeof(words), "%u/%u/0x%X*%u", static_cast<unsigned>(chunk.get_sample_rate()),
                  static_cast<unsigned>(chunk.get_channel_count()),
                  static_cast<unsigned>(chunk.get_channel_config()),
                  static_cast<unsigned>(chunk.get_sample_count()));
    return words;
}

} // namespace

dsp_under_test::dsp_under_test(const std::string& script, const std::function<void(vstConfig_t&)>& edit,
                               uint32_t flags)
    : fake(script)
    , config(edited(fake.effect(), edit))
    , dsp(service_new<dsp_vst>(preset_of(config), flags))
{
}

dsp_under_test::~dsp_under_test()
{
    dsp.release(); // ends the worker, which uses the folder of `fake`
}

std::string dsp_under_test::run(const audio& input, uint32_t flags)
{
    list.remove_all();
    fill_chunk(*list.add_item(), input);
    return failure_of([&] { dsp->run_abortable(list, nullptr, flags, token); });
}

std::string dsp_under_test::end_playback()
{
    list.remove_all();
    return failure_of([&] { dsp->run_abortable(list, nullptr, dsp_flag_end_of_playback, token); });
}

std::string dsp_under_test::said()
{
    const auto commands = fake.commands();
    std::string text;
    for (; commands_seen_ < commands.size(); ++commands_seen_) {
        const auto& each = commands[commands_seen_];
        text += (text.empty() ? "" : " ") + std::to_string(each.code) + ":" + std::to_string(each.byte_count);
    }
    return text;
}

std::string dsp_under_test::heard()
{
    std::string text;
    for (size_t i = 0; i < list.get_count(); ++i)
        text += (i == 0 ? "" : " ") + layout_of(*list.get_item(i));
    return text;
}

std::vector<double> dsp_under_test::samples(size_t index)
{
    const audio_chunk* const chunk = list.get_item(index);
    if (!chunk || !chunk->get_data())
        return {};
    return {chunk->get_data(), chunk->get_data() + chunk->get_used_size()};
}

fake_worker::command dsp_under_test::last_command(uint32_t code) const
{
    fake_worker::command found = {};
    for (const auto& each : fake.commands()) {
        if (each.code == code)
            found = each;
    }
    return found;
}

bool dsp_under_test::apply(const vstConfig_t& changed)
{
    return dsp->apply_preset(preset_of(changed));
}

std::string failure_of(const std::function<void()>& work)
{
    try {
        work();
    } catch (const exception_aborted& failure) {
        return std::string("exception_aborted: ") + failure.what();
    } catch (const exception_io_data& failure) {
        return std::string("exception_io_data: ") + failure.what();
    } catch (const std::runtime_error& failure) {
        return std::string("runtime_error: ") + failure.what();
    }
    return "";
}
