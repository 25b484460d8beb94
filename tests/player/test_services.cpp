// What the player answers when a component asks for the chain, the stream, a hash or a look.

#include "running_host.h"

#include "player/services/system_shell.h"
#include "player/window/menu_model.h"
#include "player/window/shortcuts.h"
#include "run_program.h"
#include "sdk/abort_callback_impl.h"
#include "sdk/hasher_md5.h"
#include "support/chunks.h"
#include "support/presets.h"

#include <doctest/doctest.h>

#include <thread>

using namespace player;

namespace {

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

int heard; // theme changes

LRESULT CALLBACK hearing_procedure(HWND window, UINT message, WPARAM first, LPARAM second)
{
    heard += message == WM_THEMECHANGED;
    return DefWindowProcW(window, message, first, second);
}

// "A more(- B) x"
std::string shape(const std::vector<menu_entry>& list)
{
    std::string text;
    for (const menu_entry& each : list) {
        text += (text.empty() ? "" : ", ") + each.text;
        if (each.what == menu_entry::kind::group)
            text += "(" + shape(each.children) + ")";
    }
    return text;
}

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
    const auto feed = [&](double value, size_t frames) {
        test.host.capture().feed(chunk_of(value, frames, 1, 4, 1000));
    };
    auto first = std::make_unique<listener>(0.01), second = std::make_unique<listener>(0.02);
    std::thread([&] { feed(1, 25); }).join();
    CHECK(first->came.empty()); // never from inside
    loop.run_pending();
    CHECK(first->came.size() == 2);
    CHECK(second->came.size() == 1);
    // A callback that runs a loop, adds one, and gives both others up.
    std::unique_ptr<listener> third;
    first->then = [&] {
        feed(3, 20);
        loop.run_pending();
        third = std::make_unique<listener>(0.01);
        second.reset();
        throw std::runtime_error("nobody's business");
    };
    feed(2, 20);
    loop.run_pending();
    CHECK(first->came == std::vector<double>{1, 1, 1, 2, 2, 3});
    CHECK(third->came == std::vector<double>{3, 3}); // not the chunk that was on its way
    // A main thread that is busy loses the oldest and keeps the bound.
    third->came.clear();
    for (int i = 0; i < 1000; ++i)
        feed(i, 10);
    loop.run_pending();
    CHECK(third->came.size() == stream_capture::most_waiting);
    CHECK(third->came.back() == 999);
    // Who comes next hears nothing that was before.
    feed(5, 10);
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

TEST_CASE("services: the file system's paths, listing, reading and writing, and which failures are which")
{
    running_host test;
    const temp_folder& folder = test.folder;
    abort_callback_impl abort;
    const std::string root = folder.path();
    std::string slashes = root;
    std::ranges::replace(slashes, '\\', '/');
    for (const auto& [path, native] : {std::pair<std::string, std::string>{"file://" + root + "\\", root},
                                       {"file:///" + slashes, root},
                                       {"C:/", "C:\\"},
                                       {"http://x/y", "http://x/y"}})
        CHECK(native_path(path) == native);
    CHECK_FALSE(filesystem_for_path("http://x/y"));

    const auto disk = filesystem_for_path(root.c_str());
    REQUIRE(disk);
    const std::string part = "\xC3\xA4" + std::string(120, 'd'), deep = part + "\\" + part;
    folder.make(part);
    folder.make(deep);
    const std::string file_path = folder.path(deep + "\\f.bin"); // beyond 260 characters
    service_ptr_t<file> opened;
    disk->open(opened, file_path.c_str(), filesystem::open_mode::write, abort);
    opened->write("12345", 5, abort);
    opened.release();
    disk->open(opened, file_path.c_str(), filesystem::open_mode::read, abort);
    CHECK(opened->get_size(abort) == 5);
    char buffer[10] = {};
    CHECK(opened->read(buffer, 10, abort) == 5);
    CHECK(std::string(buffer) == "12345");

    struct : folder_listing {
        void on_entry(bool is_folder, const char* name, const char* full_path) override
        {
            rows.push_back((is_folder ? "folder " : "file ") + std::string(name) + " " + full_path);
        }
        std::vector<std::string> rows;
    } listing;
    disk->list_folder(folder.path(deep + "\\").c_str(), listing, abort);
    CHECK(listing.rows == std::vector<std::string>{"file f.bin " + file_path});

    const auto open_path = [&](const std::string& path) {
        disk->open(opened, path.c_str(), filesystem::open_mode::read, abort);
    };
    const auto list = [&](const std::string& path) { disk->list_folder(path.c_str(), listing, abort); };
    CHECK_THROWS_AS(open_path(folder.path("none")), exception_io_not_found);
    CHECK_THROWS_AS(open_path(folder.path("none\\none")), exception_io_not_found);
    CHECK_THROWS_AS(open_path(root), exception_io_denied); // a folder
    CHECK_THROWS_AS(list(folder.path("none")), exception_io_not_found);
    CHECK_THROWS_AS(list(file_path), exception_io_not_found);
    abort.abort();
    CHECK_THROWS_AS(open_path(file_path), exception_aborted);
    CHECK_THROWS_AS(list(root), exception_aborted);
}

TEST_CASE("services: the component's commands in their groups, run by their GUIDs and by keys that are kept")
{
    std::string said;
    std::mutex said_mutex;
    running_host test(
        [](player_host& host) {
            host.load_component(shipped("qvx_dsp_vst3.dll"));
            for (const std::string name : {"A", "B"})
                host.chain().add(preset_of({"C:\\no " + name + ".dll", name, "x64", 2}));
        },
        [&](std::string_view line) {
            const std::lock_guard lock(said_mutex);
            said += line;
        });
    const std::vector<guid_t> groups = {mainmenu_group_dsp};
    auto menu = menu_of_group(mainmenu_group_dsp, groups);
    CHECK(shape(menu) == "VST(A, B)");
    CHECK(shape(menu_of_group({}, groups)) == "Visualize with VST ..."); // what belongs into none of them
    auto commands = all_commands();
    CHECK(shape(commands) == "Visualize with VST ..., A, B");
    REQUIRE(commands.size() == 3);
    const guid_t visualize = commands[0].guid, a = commands[1].guid;

    const key_press f1{false, false, false, 0x70}, f2{false, false, false, 0x71};
    {
        shortcuts bound(service_ptr_t<config_store>(&test.host.store()));
        bound.bind(a, f1);
        bound.bind(visualize, f1); // taken over
        bound.bind(a, f2);
        bound.bind(visualize, {true, false, false, 0x0D}); // no key: the binding goes
    }
    const shortcuts again(service_new<json_config_store>(test.folder.path("config.json")));
    CHECK(again.find(f2) == a);
    CHECK(again.text_of(a) == "F2");
    CHECK_FALSE(again.find(f1));
    test.host.store().set_string(shortcuts::store_key, R"({"F1":"x","Q":"y","F3":7})");
    CHECK_FALSE(shortcuts(service_ptr_t<config_store>(&test.host.store())).find(f1));

    const auto told = [&](const char* text) {
        return test.run_until([&] {
            const std::lock_guard lock(said_mutex);
            return said.find(text) != std::string::npos;
        });
    };
    CHECK(run_command(a)); // its worker says that there is no such effect
    CHECK(told("no A.dll"));
    menu.front().children.back().run();
    CHECK(told("no B.dll"));
    CHECK_FALSE(run_command({1, 1, 1, {}}));
    CHECK(run_command(visualize));
    CHECK(FindWindowW(nullptr, L"Visualize with VST"));
    menu.clear(); // their code goes
    commands.clear();
    CHECK(test.host.shut_down());
}

TEST_CASE("services: filters in the form of the platform's file picker")
{
    CHECK(picker_filter("A|*.a|B|*.b;*.c") == std::wstring(L"A\0*.a\0B\0*.b;*.c\0\0", 17));
    CHECK(picker_filter("A|*.a|no pattern") == std::wstring(L"A\0*.a\0\0", 7));
    CHECK(picker_filter("") == std::wstring(1, L'\0'));
}
