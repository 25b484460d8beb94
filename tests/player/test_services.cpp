// What the player answers when a component asks for the chain, the stream, a hash or a look.

#include "player/host/player_host.h"
#include "player/services/json_config_store.h"
#include "player/services/system_shell.h"
#include "sdk/dsp_chain_config_impl.h"
#include "sdk/dsp_config_manager.h"
#include "sdk/hasher_md5.h"
#include "sdk/shell.h"
#include "support/temp_folder.h"

#include <doctest/doctest.h>

#include <thread>

using namespace player;

namespace {

struct running_host {
    explicit running_host(const std::function<void(player_host&)>& prepare = {})
    {
        if (prepare)
            prepare(host);
        host.start();
    }
    temp_folder folder;
    player_host host{{}, service_new<json_config_store>(folder.path("config.json"))};
};

class listener : public playback_stream_capture_callback_impl {
public:
    explicit listener(double seconds)
        : playback_stream_capture_callback_impl(seconds)
    {
    }
    void on_chunk(const audio_chunk& chunk) override
    {
        came.push_back(chunk.get_data()[0]);
        if (const auto once = std::exchange(then, {}))
            once();
    }
    std::vector<double> came; // the first sample of each piece
    std::function<void()> then;
};

void feed(player_host& host, double value, size_t frames)
{
    audio_chunk_impl_t chunk;
    chunk.set_data_size(frames);
    chunk.set_sample_rate(1000);
    chunk.set_channels(1, 4);
    chunk.set_sample_count(frames);
    std::fill_n(chunk.get_data(), frames, value);
    host.capture().feed(chunk);
}

int heard; // theme changes

LRESULT CALLBACK hearing_procedure(HWND window, UINT message, WPARAM first, LPARAM second)
{
    heard += message == WM_THEMECHANGED;
    return DefWindowProcW(window, message, first, second);
}

class scripted_shell : public shell_service {
public:
    using service_interface = shell_service;
    void show_popup(void*, const char* text, const char*, popup_kind) override { shown.push_back(text); }
    bool get_open_file_name(void*, const char*, const char*, const char*, const char*, bool,
                            string_out&) override
    {
        return false;
    }
    bool browse_for_folder(void*, const char*, string_out&) override { return false; }
    bool execute(void*, const char*, const char*, const char*) override { return false; }
    std::vector<std::string> shown;
};

} // namespace

TEST_CASE("services: MD5, also of what is processed after a result was taken")
{
    running_host test;
    service_ptr_t<md5_computation> hash;
    service_get_unique<hasher_md5>()->begin(hash);
    const auto digest = [&] { return guid_text(hash->get_result_guid()); };
    CHECK(digest() == "D98C1DD4-008F-04B2-E980-0998ECF8427E"); // of nothing
    hash->process("a", 1);
    digest();
    hash->process("bc", 2);
    CHECK(digest() == "98500190-D23C-B04F-D696-3F7D28E17F72"); // of "abc"
}

TEST_CASE("services: the captured stream comes in pieces, from the message loop, until it is given up")
{
    running_host test;
    callback_queue& loop = test.host.main_queue();
    auto first = std::make_unique<listener>(0.01), second = std::make_unique<listener>(0.02);
    std::thread([&] { feed(test.host, 1, 25); }).join();
    CHECK(first->came.empty()); // never from inside
    loop.run_pending();
    CHECK(first->came.size() == 2);
    CHECK(second->came.size() == 1);
    // A callback that runs a loop, adds one, and gives both others up.
    std::unique_ptr<listener> third;
    first->then = [&] {
        feed(test.host, 3, 20);
        loop.run_pending();
        third = std::make_unique<listener>(0.01);
        second.reset();
        throw std::runtime_error("nobody's business");
    };
    feed(test.host, 2, 20);
    loop.run_pending();
    CHECK(first->came == std::vector<double>{1, 1, 1, 2, 2, 3});
    CHECK(third->came == std::vector<double>{3, 3}); // not the chunk that was on its way
    // A main thread that is busy loses the oldest and keeps the bound.
    third->came.clear();
    for (int i = 0; i < 1000; ++i)
        feed(test.host, i, 10);
    loop.run_pending();
    CHECK(third->came.size() == stream_capture::most_waiting);
    CHECK(third->came.back() == 999);
    // Who comes next hears nothing that was before.
    feed(test.host, 5, 10);
    first.reset();
    third.reset();
    listener late(0.01);
    loop.run_pending();
    CHECK(late.came.empty());
}

TEST_CASE("services: windows that follow the theme hear of a change, until they are gone")
{
    running_host test;
    heard = 0;
    WNDCLASSW description{};
    description.lpszClassName = L"themed by a test";
    description.lpfnWndProc = &hearing_procedure;
    RegisterClassW(&description);
    const auto make = [&](HWND parent) {
        return CreateWindowExW(0, description.lpszClassName, L"", parent ? WS_CHILD : 0, 0, 0, 9, 9, parent,
                               nullptr, nullptr, nullptr);
    };
    const HWND window = make(nullptr), other = make(nullptr);
    make(window);
    service_ptr_t<user_interface_look> look;
    const auto ui = service_get_unique<user_interface>();
    ui->get_look(look);
    look->follow_theme(window);
    look->follow_frame(other);
    test.host.look().choose(theme_choice::dark);
    CHECK(ui->is_dark());
    CHECK(heard == 2); // it and its child; the other one only has its frame painted
    test.host.look().choose(theme_choice::light);
    CHECK_FALSE(ui->is_dark());
    CHECK(heard == 4);
    DestroyWindow(window);
    test.host.look().choose(theme_choice::dark);
    CHECK(heard == 4);
    DestroyWindow(other);
}

TEST_CASE("services: filters in the form of the platform's file picker")
{
    CHECK(picker_filter("A|*.a|B|*.b;*.c") == std::wstring(L"A\0*.a\0B\0*.b;*.c\0\0", 17));
    CHECK(picker_filter("A|*.a|no pattern") == std::wstring(L"A\0*.a\0\0", 7));
    CHECK(picker_filter("") == std::wstring(1, L'\0'));
}
