// Exceptions between this program and the component: each class arrives as that class, also through frames of
// the other module.

#include "loaded_component.h"

#include "sdk/advconfig.h"
#include "sdk/dsp_chunk_list_impl.h"
#include "sdk/exceptions.h"

#include <doctest/doctest.h>

#include <functional>
#include <stdexcept>
#include <typeinfo>

namespace {

enum host_exception : unsigned {
    throws_aborted,
    throws_io,
    throws_io_not_found,
    throws_io_denied,
    throws_io_data,
    throws_io_data_truncation,
    throws_overflow,
    throws_win32,
    throws_host_bug_check,
    throws_runtime_error,
    host_exception_count,
};

[[noreturn]] void throw_host_exception(host_exception which)
{
    switch (which) {
    case throws_aborted:
        throw exception_aborted();
    case throws_io:
        throw exception_io();
    case throws_io_not_found:
        throw exception_io_not_found();
    case throws_io_denied:
        throw exception_io_denied();
    case throws_io_data:
        throw exception_io_data();
    case throws_io_data_truncation:
        throw exception_io_data_truncation();
    case throws_overflow:
        throw exception_overflow();
    case throws_win32:
        throw exception_win32(1234567890);
    case throws_host_bug_check:
        throw exception_host_bug_check("a promise was broken");
    case throws_runtime_error:
    case host_exception_count:
        break;
    }
    throw std::runtime_error("an ordinary failure");
}

// The text of what was caught as exactly this class.
template <class Exception>
std::string caught_as(const std::function<void()>& work)
{
    try {
        work();
    } catch (const Exception& failure) {
        return typeid(failure) == typeid(Exception) ? failure.what() : "a derived class";
    } catch (const std::exception& failure) {
        return std::string("another class: ") + failure.what();
    } catch (...) {
        return "something else";
    }
    return "nothing";
}

struct exception_class {
    host_exception which;
    std::string (*caught)(const std::function<void()>&);
    std::string text;
};

const exception_class classes[] = {
    {throws_aborted, &caught_as<exception_aborted>, "User abort"},
    {throws_io, &caught_as<exception_io>, "I/O error"},
    {throws_io_not_found, &caught_as<exception_io_not_found>, "Object not found"},
    {throws_io_denied, &caught_as<exception_io_denied>, "Access denied"},
    {throws_io_data, &caught_as<exception_io_data>, "Unsupported format or corrupted file"},
    {throws_io_data_truncation, &caught_as<exception_io_data_truncation>,
     "Unsupported format or corrupted file"},
    {throws_overflow, &caught_as<exception_overflow>, "Overflow"},
    {throws_win32, &caught_as<exception_win32>, "Win32 error 1234567890"},
    {throws_host_bug_check, &caught_as<exception_host_bug_check>, "a promise was broken"},
    {throws_runtime_error, &caught_as<std::runtime_error>, "an ordinary failure"},
};
static_assert(std::size(classes) == host_exception_count);

// Objects of the player's that throw when the component calls them.
struct throwing_text final : string_out {
    explicit throwing_text(host_exception thrown)
        : which(thrown)
    {
    }
    void set_text(const char*, size_t) override { throw_host_exception(which); }
    host_exception which;
};

struct throwing_preset final : dsp_preset {
    explicit throwing_preset(host_exception thrown)
        : which(thrown)
    {
    }
    guid_t get_owner() const noexcept override { return vstPresetOwner; }
    void set_owner(const guid_t&) noexcept override {}
    const void* get_data() const noexcept override { return nullptr; }
    size_t get_data_size() const noexcept override { return 0; }
    void set_data(const void*, size_t) override { throw_host_exception(which); }
    host_exception which;
};

// A list whose chunks cannot be stored: thrown through the hooks of a DSP run.
struct throwing_list final : dsp_chunk_list {
    explicit throwing_list(host_exception thrown)
        : which(thrown)
    {
        chunk.set_data_size(1);
        chunk.set_sample_rate(44100);
        chunk.set_channels(1, 4);
        chunk.set_sample_count(1);
    }
    size_t get_count() const noexcept override { return 1; }
    audio_chunk* get_item(size_t) noexcept override { return &chunk; }
    void remove_by_index(size_t) noexcept override {}
    audio_chunk* insert_item(size_t, size_t) override { throw_host_exception(which); }
    host_exception which;
    audio_chunk_impl_t chunk;
};

} // namespace

TEST_CASE("what the player's objects throw passes through the component's frames")
{
    loaded_component component;
    component.use_scripted_workers();
    component.host.store().set_bool("advconfig.unnamed.17F04BF0-5745-462F-929C-E7F230F51F5A", true);
    const auto entry = component.entry();
    const dsp_preset_impl pass_through;
    for (const exception_class& each : classes) {
        CAPTURE(each.which);
        throwing_text text(each.which);
        CHECK(each.caught([&] { entry->get_name(text); }) == each.text);
        CHECK(each.caught([&] { entry->get_display_name(pass_through, text); }) == each.text);
        throwing_preset preset(each.which);
        CHECK(each.caught([&] { entry->get_default_preset(preset); }) == each.text);
    }
    // Through a run with a worker, past the conversation's own handlers.
    const fake_worker fake("connect\ntail 8 1\nserve");
    service_ptr_t<dsp> instance;
    REQUIRE(entry->instantiate(instance, preset_of(fake.effect())));
    for (const exception_class& each : classes) {
        CAPTURE(each.which);
        throwing_list list(each.which);
        CHECK(each.caught([&] { instance->run(list, nullptr, dsp_flag_end_of_playback); }) == each.text);
    }
    instance.release();
}

TEST_CASE("what the component throws itself arrives by its class")
{
    loaded_component component;
    component.use_scripted_workers();
    const auto entry = component.entry();
    service_ptr_t<dsp> instance;
    dsp_preset_impl foreign;
    CHECK(caught_as<exception_io_data>([&] { entry->instantiate_v4(instance, foreign, 0); }) ==
          "Unsupported format or corrupted file");
    dsp_preset_impl truncated;
    truncated.set_owner(vstPresetOwner);
    truncated.set_data("name", 4);
    CHECK(caught_as<exception_io_data_truncation>([&] { entry->instantiate(instance, truncated); }) ==
          "Unsupported format or corrupted file");

    const auto box = service_query_as<advconfig_entry_checkbox_v2>(*component.service<advconfig_entry>());
    component.host.hide_service(config_store::class_guid, true);
    CHECK(caught_as<exception_host_bug_check>([&] { box->get_state(); }).starts_with("service 4DBA4C7E"));
    component.host.hide_service(config_store::class_guid, false);
    CHECK_FALSE(box->get_state());

    const fake_worker fake("connect\non 1 2 exit 3\nserve");
    REQUIRE(entry->instantiate(instance, preset_of(fake.effect())));
    const auto run = [&](abort_callback& token) {
        throwing_list list(throws_overflow);
        static_cast<dsp_v3&>(*instance).run_abortable(list, nullptr, 0, token);
    };
    abort_callback_impl token;
    component.host.refuse_detached(true); // what starts the relay throws into the component
    CHECK(caught_as<exception_win32>([&] { run(token); }) == "Win32 error 8");
    component.host.refuse_detached(false);
    run(token);
    CHECK(caught_as<std::runtime_error>([&] { run(token); }) == "VST worker terminated: 0x3");
    token.abort();
    CHECK(caught_as<exception_aborted>([&] { run(token); }) == "User abort");
    instance.release();
}
