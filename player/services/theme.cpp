#include "player/services/theme.h"

#include <commctrl.h>

#include <algorithm>

namespace player {

namespace {

constexpr UINT_PTR subclass_id = 0x71767854;

bool system_is_dark() noexcept
{
    DWORD light = 1, size = sizeof(light);
    RegGetValueW(HKEY_CURRENT_USER, L"Software\\Microsoft\\Windows\\CurrentVersion\\Themes\\Personalize",
                 L"AppsUseLightTheme", RRF_RT_REG_DWORD, nullptr, &light, &size);
    return light == 0;
}

// The module and the attribute are not on every Windows; without them frames stay as they are.
void color_frame(HWND window, bool dark) noexcept
{
    using function = HRESULT WINAPI(HWND, DWORD, LPCVOID, DWORD);
    static const auto set_attribute = [] {
        const HMODULE module = LoadLibraryExW(L"dwmapi.dll", nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32);
        const FARPROC address = module ? GetProcAddress(module, "DwmSetWindowAttribute") : nullptr;
        return reinterpret_cast<function*>(reinterpret_cast<void (*)()>(address));
    }();
    constexpr DWORD use_immersive_dark_mode = 20;
    const BOOL value = dark;
    if (set_attribute)
        set_attribute(window, use_immersive_dark_mode, &value, sizeof(value));
}

BOOL CALLBACK tell_child(HWND child, LPARAM)
{
    SendMessageW(child, WM_THEMECHANGED, 0, 0);
    return TRUE;
}

} // namespace

class theme::look : public user_interface_look {
public:
    using service_interface = user_interface_look;

    void follow_frame(void* window) override
    {
        entry(window).frame = true;
        color_frame(static_cast<HWND>(window), dark_);
    }
    void follow_theme(void* window) override { entry(window).theme = true; }

    void change(bool dark)
    {
        dark_ = dark;
        // A copy: windows come and go while they hear of it.
        for (const followed& each : std::vector(windows_)) {
            if (!is_followed(each.window))
                continue;
            if (each.frame)
                color_frame(each.window, dark);
            if (!each.theme)
                continue;
            SendMessageW(each.window, WM_THEMECHANGED, 0, 0);
            if (is_followed(each.window))
                EnumChildWindows(each.window, &tell_child, 0);
        }
    }
    void start(bool dark) noexcept { dark_ = dark; }
    // No window's procedure leads here any more.
    void let_go() noexcept
    {
        for (const followed& each : windows_)
            RemoveWindowSubclass(each.window, &watch, subclass_id);
        windows_.clear();
    }

private:
    struct followed {
        HWND window;
        bool frame = false;
        bool theme = false;
    };

    bool is_followed(HWND window) const
    {
        return std::any_of(windows_.begin(), windows_.end(),
                           [&](const followed& each) { return each.window == window; });
    }
    followed& entry(void* handle)
    {
        const auto window = static_cast<HWND>(handle);
        const auto found = std::find_if(windows_.begin(), windows_.end(),
                                        [&](const followed& each) { return each.window == window; });
        if (found != windows_.end())
            return *found;
        windows_.push_back({window});
        SetWindowSubclass(window, &watch, subclass_id, reinterpret_cast<DWORD_PTR>(this));
        return windows_.back();
    }
    static LRESULT CALLBACK watch(HWND window, UINT message, WPARAM first, LPARAM second, UINT_PTR,
                                  DWORD_PTR self)
    {
        if (message == WM_NCDESTROY) {
            RemoveWindowSubclass(window, &watch, subclass_id);
            std::erase_if(reinterpret_cast<look*>(self)->windows_,
                          [&](const followed& each) { return each.window == window; });
        }
        return DefSubclassProc(window, message, first, second);
    }

    std::vector<followed> windows_;
    bool dark_ = false;
};

theme::theme(service_ptr_t<config_store> store)
    : store_(std::move(store))
    , look_(service_new<look>())
{
    const theme_choice chosen = choice();
    dark_ = chosen == theme_choice::system ? system_is_dark() : chosen == theme_choice::dark;
    look_->start(dark_);
}

theme::~theme()
{
    look_->let_go();
}

void theme::get_look(service_ptr_t<user_interface_look>& out)
{
    out = look_;
}

theme_choice theme::choice() const
{
    string_out_impl text;
    store_->get_string(store_key, "", text);
    if (text.text == "light")
        return theme_choice::light;
    return text.text == "dark" ? theme_choice::dark : theme_choice::system;
}

void theme::choose(theme_choice choice)
{
    const char* const texts[] = {"system", "light", "dark"};
    store_->set_string(store_key, texts[static_cast<size_t>(choice)]);
    refresh();
}

void theme::refresh()
{
    const theme_choice chosen = choice();
    const bool dark = chosen == theme_choice::system ? system_is_dark() : chosen == theme_choice::dark;
    if (dark == dark_)
        return;
    dark_ = dark;
    look_->change(dark);
}

} // namespace player
