#include "support/real_editor.h"

#include "worker/startWorker.h"

#include <stdexcept>

void use_shipped_workers()
{
    Nv::setComponentPath(shipped("qvx_dsp_vst3.dll"));
}

owner_window::owner_window()
    : handle_(CreateWindowExW(0, L"STATIC", L"player", WS_OVERLAPPEDWINDOW | WS_VISIBLE, 20, 20, 200, 100,
                              nullptr, nullptr, nullptr, nullptr))
{
    if (!handle_)
        throw std::runtime_error("no window");
}

std::vector<HWND> owned_windows(HWND owner)
{
    std::vector<HWND> found;
    for (HWND window = nullptr; (window = FindWindowExW(nullptr, window, nullptr, nullptr));)
        if (GetWindow(window, GW_OWNER) == owner && IsWindowVisible(window))
            found.push_back(window);
    return found;
}

HWND editor_in(HWND window)
{
    while (const HWND child = GetWindow(window, GW_CHILD))
        window = child;
    return window;
}

void press(HWND editor, WPARAM key)
{
    PostMessageW(editor, WM_KEYDOWN, key, 1);
    PostMessageW(editor, WM_KEYUP, key, static_cast<LPARAM>(0xC0000001));
}

std::string title_of(HWND window)
{
    wchar_t text[256] = {};
    GetWindowTextW(window, text, 256);
    return win::to_utf8(text);
}

std::vector<uint32_t> pixels_of(HWND window)
{
    RECT area{};
    POINT corner{};
    GetClientRect(window, &area);
    ClientToScreen(window, &corner);
    const HDC screen = GetDC(nullptr), memory = CreateCompatibleDC(screen);
    BITMAPINFO info{};
    info.bmiHeader = {sizeof info.bmiHeader, area.right, -area.bottom, 1, 32, BI_RGB, 0, 0, 0, 0, 0};
    void* bits = nullptr;
    const HBITMAP bitmap = CreateDIBSection(memory, &info, DIB_RGB_COLORS, &bits, nullptr, 0);
    if (!bitmap)
        throw std::runtime_error("no bitmap");
    const HGDIOBJ old = SelectObject(memory, bitmap);
    BitBlt(memory, 0, 0, area.right, area.bottom, screen, corner.x, corner.y, SRCCOPY);
    const auto* const first = static_cast<const uint32_t*>(bits);
    std::vector<uint32_t> copy(first, first + area.right * area.bottom);
    SelectObject(memory, old);
    DeleteObject(bitmap);
    DeleteDC(memory);
    ReleaseDC(nullptr, screen);
    return copy;
}
