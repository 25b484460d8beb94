// The test modules do what their names say: other tests lean on them.

#include "effects/plugin_driver.h"

#include <doctest/doctest.h>

#include <cmath>

namespace {

using channels = std::vector<std::vector<double>>;

const wchar_t* const both[] = {L".dll", L".vst3"};

std::unique_ptr<plugin_driver> open_test_module(const std::wstring& name)
{
    return open_plugin(test_module_path(name));
}

// A click at frame 3 of an otherwise silent stretch.
channels click(std::size_t frames)
{
    channels made(2, std::vector<double>(frames));
    made[0][3] = made[1][3] = 1;
    return made;
}

channels heard(plugin_driver& plugin, const channels& input)
{
    plugin.start(44100, 512, true);
    channels output = plugin.run(input, 512);
    plugin.stop();
    return output;
}

} // namespace

TEST_CASE("test modules: channel counts")
{
    for (const std::wstring format : both) {
        const auto plain = open_test_module(L"module_that_passes_through" + format);
        CHECK(plain->set_channels(2));
        CHECK_FALSE(plain->set_channels(1));
        CHECK(heard(*plain, click(100)) == click(100));
        const auto mono = open_test_module(L"module_that_is_mono_only" + format);
        CHECK(mono->channels() == 1);
        CHECK_FALSE(mono->set_channels(2));
        CHECK(mono->set_channels(1));
        CHECK_FALSE(open_test_module(L"module_without_64_bit" + format)->can_double());
    }
}

TEST_CASE("test modules: latency and tails")
{
    for (const std::wstring format : both) {
        const auto late = open_test_module(L"module_with_48000_samples_of_latency" + format);
        const auto output = heard(*late, click(48010));
        CHECK(late->latency() == 48000);
        CHECK(output[1][48002] == 0);
        CHECK(output[1][48003] == 1);

        const auto changing = open_test_module(L"module_that_changes_its_latency" + format);
        CHECK(changing->latency() == 100);
        CHECK(heard(*changing, click(30000))[0][103] == 1);
        CHECK(changing->latency() == 1000);
        CHECK(heard(*changing, click(2000))[0][1003] == 1);

        const auto tail = open_test_module(L"module_with_a_tail" + format);
        CHECK(tail->tail() == 4096);
        CHECK(heard(*tail, click(5000))[0][3 + 4096] == 0.5);
        const auto endless = open_test_module(L"module_with_an_endless_tail" + format);
        CHECK(endless->tail() >= 0x7FFFFFFF);
        CHECK(heard(*endless, click(5000))[0][3 + 4000] == 0.0625);
    }
}

TEST_CASE("test modules: states")
{
    for (const std::wstring format : both) {
        const auto large = open_test_module(L"module_with_a_large_state" + format);
        large->start(44100, 512, true);
        large->set_parameter(0, 0.5);
        large->run(click(10), 10);
        const bytes state = large->save();
        CHECK(state.size() == 6u << 20);
        const auto other = open_test_module(L"module_with_a_large_state" + format);
        other->load(state);
        CHECK(heard(*other, click(10))[0][3] == 0.5);
        CHECK(open_test_module(L"module_with_an_empty_state" + format)->save().empty());
    }
}

TEST_CASE("test modules: what they put out")
{
    for (const std::wstring format : both) {
        const auto output = heard(*open_test_module(L"module_that_puts_out_nan" + format), click(200));
        CHECK(std::isnan(output[0][100]));
        CHECK(std::isinf(output[1][101]));
        CHECK(output[0][3] == 1);
        const auto many = open_test_module(L"module_with_34_classes" + format);
        CHECK(many->name() == "Class 1");
        CHECK(heard(*many, click(10))[0][3] == 1 / 64.0);
    }
    CHECK(open_test_module(L"module_with_names_in_unicode_only.vst3")->name().empty());
}

TEST_CASE("test modules: callbacks come from a thread of the module")
{
    for (const std::wstring format : both) {
        const auto calling = open_test_module(L"module_that_calls_back_from_its_own_thread" + format);
        CHECK(calling->wait_for_edit(5000));
    }
}
