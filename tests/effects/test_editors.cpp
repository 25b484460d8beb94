// The editors of the sample effects, opened without a worker between. The echo as VST 3 talks to its editor
// through its host's messages, so it is seen in the workers' tests only.

#include "effects/panel/layout.h"
#include "effects/panel/levels.h"
#include "effects/plugin_driver.h"

#include <doctest/doctest.h>
#include <windows.h>

#include <cmath>
#include <functional>

namespace {

class parent_window {
public:
    parent_window()
        : handle_(CreateWindowExW(0, L"STATIC", L"editor", WS_OVERLAPPEDWINDOW | WS_CLIPCHILDREN | WS_VISIBLE,
                                  50, 50, 640, 480, nullptr, nullptr, nullptr, nullptr))
    {
        REQUIRE(handle_);
    }
    ~parent_window() { DestroyWindow(handle_); }
    parent_window(const parent_window&) = delete;
    parent_window& operator=(const parent_window&) = delete;

    HWND handle() const { return handle_; }
    HWND editor() const { return GetWindow(handle_, GW_CHILD); }

private:
    HWND handle_;
};

// Runs messages for so long, calling `meanwhile` every few milliseconds.
void run_messages(
    int milliseconds, const std::function<void()>& meanwhile = [] {})
{
    const ULONGLONG end = GetTickCount64() + static_cast<ULONGLONG>(milliseconds);
    while (GetTickCount64() < end) {
        MSG message;
        while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE))
            DispatchMessageW(&message);
        meanwhile();
        MsgWaitForMultipleObjects(0, nullptr, FALSE, 10, QS_ALLINPUT);
    }
}

// The pixels that the editor shows.
std::vector<uint32_t> pixels(HWND editor)
{
    RECT area;
    GetClientRect(editor, &area);
    const HDC screen = GetDC(editor), memory = CreateCompatibleDC(screen);
    BITMAPINFO info{};
    info.bmiHeader = {sizeof(BITMAPINFOHEADER), area.right, -area.bottom, 1, 32, BI_RGB, 0, 0, 0, 0, 0};
    void* bits = nullptr;
    const HBITMAP bitmap = CreateDIBSection(memory, &info, DIB_RGB_COLORS, &bits, nullptr, 0);
    REQUIRE(bitmap);
    const HGDIOBJ old = SelectObject(memory, bitmap);
    BitBlt(memory, 0, 0, area.right, area.bottom, screen, 0, 0, SRCCOPY);
    const auto* const first = static_cast<const uint32_t*>(bits);
    std::vector<uint32_t> copy(first, first + area.right * area.bottom);
    SelectObject(memory, old);
    DeleteObject(bitmap);
    DeleteDC(memory);
    ReleaseDC(editor, screen);
    return copy;
}

// A sweep, so that each block looks different.
void play_block(plugin_driver& plugin, std::vector<std::vector<float>>& block)
{
    static double phase = 0, pitch = 0.01;
    for (float& sample : block[0]) {
        pitch = pitch > 0.5 ? 0.01 : pitch * 1.0002;
        sample = static_cast<float>(0.7 * std::sin(phase += pitch));
    }
    block[1] = block[0];
    plugin.run(block, block[0].size());
}

constexpr const wchar_t* opened[] = {L"qvxGain.dll", L"qvxGain.vst3", L"qvxScope.dll", L"qvxScope.vst3",
                                     L"qvxEcho.dll"};

} // namespace

TEST_CASE("editors move while sound arrives and come to rest without it")
{
    for (const wchar_t* file : opened) {
        const std::wstring name = file;
        CAPTURE(name.size());
        const auto plugin = open_plugin(effect_path(file));
        plugin->start(44100, 1024, false);
        const parent_window parent;
        const auto size = plugin->open_editor(parent.handle());
        REQUIRE(size.width > 200);
        REQUIRE(size.height > 80);
        RECT area{};
        REQUIRE(parent.editor());
        GetClientRect(parent.editor(), &area);
        CHECK(plugin_driver::size{area.right, area.bottom} == size);

        run_messages(200);
        const auto before = pixels(parent.editor());
        run_messages(150);
        CHECK(pixels(parent.editor()) == before);
        std::vector<std::vector<float>> block(2, std::vector<float>(1024));
        const auto play = [&] { play_block(*plugin, block); };
        run_messages(150, play);
        const auto first = pixels(parent.editor());
        run_messages(150, play);
        const auto second = pixels(parent.editor());
        CHECK(first != before);
        // Meters at full level may stand still for a moment; the scope may not.
        if (name.starts_with(L"qvxScope"))
            CHECK(first != second);
        const bool has_meters = !name.starts_with(L"qvxScope");
        if (!has_meters || name == opened[0]) { // once is enough for what falls for seconds
            run_messages(has_meters ? 4500 : 100);
            const auto after = pixels(parent.editor());
            run_messages(200);
            CHECK(pixels(parent.editor()) == after);
        }
        plugin->close_editor();
        CHECK(parent.editor() == nullptr);
    }
}

TEST_CASE("editors change parameters by mouse, wheel and keys, and every edit is begun and ended")
{
    for (const wchar_t* file : opened) {
        const auto plugin = open_plugin(effect_path(file));
        const parent_window parent;
        const auto size = plugin->open_editor(parent.handle());
        run_messages(50);
        const HWND editor = parent.editor();
        const bool has_meters = std::wstring(file).find(L"Scope") == std::wstring::npos;
        const panel::parts shape{!has_meters, std::wstring(file).starts_with(L"qvxEcho") ? 3u : 1u,
                                 has_meters};
        const panel::layout layout =
            panel::arrange(shape, {size.width, size.height}, size.width / (has_meters ? 380.0 : 520.0));
        const panel::box& track = layout.sliders[0].bar;
        const auto at = [&](int x) { return MAKELPARAM(x, track.y + track.height / 2); };
        const double start = plugin->parameter(0);

        SendMessageW(editor, WM_KEYDOWN, VK_RIGHT, 0);
        CHECK(plugin->parameter(0) == doctest::Approx(start + 0.01).epsilon(1e-5));
        SendMessageW(editor, WM_KEYDOWN, VK_END, 0);
        CHECK(plugin->parameter(0) == 1.0);
        SendMessageW(editor, WM_MOUSEWHEEL, MAKEWPARAM(0, -WHEEL_DELTA), 0);
        CHECK(plugin->parameter(0) == doctest::Approx(0.98).epsilon(1e-5));
        SendMessageW(editor, WM_LBUTTONDBLCLK, MK_LBUTTON, at(track.x + 5));
        CHECK(plugin->parameter(0) == doctest::Approx(start).epsilon(1e-5));
        CHECK(plugin->edits.size() == 4);
        CHECK(plugin->open_edits == 0);

        SendMessageW(editor, WM_LBUTTONDOWN, MK_LBUTTON, at(track.right() - 2));
        CHECK(plugin->parameter(0) == 1.0);
        CHECK(plugin->open_edits == 1);
        for (int x = track.right(); x >= track.x - 20; x -= 10)
            SendMessageW(editor, WM_MOUSEMOVE, MK_LBUTTON, at(x));
        CHECK(plugin->parameter(0) == 0.0);
        SendMessageW(editor, WM_LBUTTONUP, 0, at(track.x));
        CHECK(plugin->open_edits == 0);
        CHECK(plugin->edits.back().normalised == 0.0);

        // A drag that the host's window ends.
        SendMessageW(editor, WM_LBUTTONDOWN, MK_LBUTTON, at(track.right() - 2));
        plugin->close_editor();
        CHECK(plugin->open_edits == 0);
    }
}

TEST_CASE("editors are resized by their corner and by their host, not below what they need")
{
    for (const wchar_t* file : opened) {
        const auto plugin = open_plugin(effect_path(file));
        const parent_window parent;
        const auto size = plugin->open_editor(parent.handle());
        const HWND editor = parent.editor();
        const auto corner = [&](int more) {
            return MAKELPARAM(size.width - 2 + more, size.height - 2 + more);
        };
        SendMessageW(editor, WM_LBUTTONDOWN, MK_LBUTTON, corner(0));
        SendMessageW(editor, WM_MOUSEMOVE, MK_LBUTTON, corner(40));
        SendMessageW(editor, WM_LBUTTONUP, 0, corner(40));
        const plugin_driver::size larger{size.width + 40, size.height + 40};
        REQUIRE(plugin->wanted_sizes.size() == 1);
        CHECK(plugin->wanted_sizes[0] == larger);
        CHECK(plugin->editor_size() == larger);
        if (plugin->resize_editor({700, 500}))
            CHECK(plugin->editor_size() == plugin_driver::size{700, 500});
        if (plugin->resize_editor({10, 10})) {
            CHECK(plugin->editor_size().width >= 200);
            CHECK(plugin->editor_size().height >= 60);
        }
        RECT area;
        GetClientRect(editor, &area);
        CHECK(plugin_driver::size{area.right, area.bottom} == plugin->editor_size());
    }
}

TEST_CASE("a meter rises at once, falls slowly and comes to rest; the parts of a panel do not overlap")
{
    panel::meter meter;
    meter.advance(1.0f, 0.03);
    CHECK(meter.level() == doctest::Approx(0.0));
    meter.advance(0.0f, 0.5);
    CHECK(meter.level() == doctest::Approx(-12.0));
    CHECK(meter.hold() == doctest::Approx(0.0));
    for (int i = 0; i < 100; ++i)
        meter.advance(0.0f, 0.05);
    CHECK(meter.level() == panel::meter::floor_db);
    CHECK(meter.hold() == panel::meter::floor_db);

    for (const double scale : {1.0, 1.25, 1.5, 2.0, 3.0})
        for (const panel::parts shape : {panel::parts{false, 1, true}, {false, 3, true}, {true, 1, false}}) {
            const panel::size sizes[] = {
                usual_size(shape, scale), smallest_size(shape, scale), {1200, 1000}, {1, 1}};
            for (const panel::size& size : sizes) {
                const panel::layout made = arrange(shape, size, scale);
                int y = shape.picture ? made.picture.bottom() : 0;
                for (const panel::row& row : made.sliders) {
                    CHECK(row.bar.y >= y);
                    CHECK(row.label.right() <= row.bar.x);
                    CHECK(row.bar.width >= 1);
                    y = row.bar.bottom();
                    for (const double value : {0.0, 0.5, 1.0})
                        if (row.bar.width > 50)
                            CHECK(value_at(row.bar, made.thumb_width,
                                           thumb_at(row.bar, made.thumb_width, value)) ==
                                  doctest::Approx(value).epsilon(0.02));
                }
                if (shape.meters) {
                    CHECK(made.in.bar.y >= y);
                    CHECK(made.out.bar.y >= made.in.bar.bottom());
                    y = made.marks.bottom();
                }
                if (size.height >= smallest_size(shape, scale).height)
                    CHECK(y <= size.height);
            }
        }
}
