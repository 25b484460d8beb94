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

using thrower = void (*)();

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
    thrower raise;
    std::string (*caught)(const std::function<void()>&);
    std::string text;
};

template <class Exception>
exception_class plain(const char* text)
{
    return {[] { throw Exception(); }, &caught_as<Exception>, text};
}

const exception_class classes[] = {
    plain<exception_aborted>("User abort"),
    plain<exception_io>("I/O error"),
    plain<exception_io_not_found>("Object not found"),
    plain<exception_io_denied>("Access denied"),
    plain<exception_io_data>("Unsupported format or corrupted file"),
    plain<exception_io_data_truncation>("Unsupported format or corrupted file"),
    plain<exception_overflow>("Overflow"),
    {[] { throw exception_win32(1234567890); }, &caught_as<exception_win32>, "Win32 error 1234567890"},
    {[] { throw exception_host_bug_check("a promise was broken"); }, &caught_as<exception_host_bug_check>,
     "a promise was broken"},
    {[] { throw std::runtime_error("an ordinary failure"); }, &caught_as<std::runtime_error>,
     "an ordinary failure"},
};

// Objects of the player's that throw when the component calls them.
struct throwing_text final : string_out {
    explicit throwing_text(thrower raise)
        : raise_(raise)
    {
    }
    void set_text(const char*, size_t) override { raise_(); }
    thrower raise_;
};

// A list whose chunks cannot be stored: thrown through the hooks of a DSP run.
struct throwing_list final : dsp_chunk_list {
    explicit throwing_list(thrower raise)
        : raise_(raise)
    {
    }
    size_t get_count() const noexcept override { return 1; }
    audio_chunk* get_item(size_t) noexcept override { return &chunk; }
    void remove_by_index(size_t) noexcept override {}
    audio_chunk* insert_item(size_t, size_t) override
    {
        raise_();
        return nullptr;
    }
    thrower raise_;
    audio_chunk_impl_t chunk = chunk_of(0, 2, 1, 4);
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
        CAPTURE(each.text);
        throwing_text text(each.raise);
        CHECK(each.caught([&] { entry->get_name(text); }) == each.text);
        CHECK(each.caught([&] { entry->get_display_name(pass_through, text); }) == each.text);
    }
    // Through a run with a worker, past the conversation's own handlers.
    const fake_worker fake("connect\ntail 8 1\nserve");
    service_ptr_t<dsp> instance;
    REQUIRE(entry->instantiate(instance, preset_of(fake.effect())));
    for (const exception_class& each : classes) {
        CAPTURE(each.text);
        throwing_list list(each.raise);
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
        throwing_list list(nullptr);
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
