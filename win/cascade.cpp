#include "win/cascade.h"

#include <algorithm>
#include <cstdlib>
#include <cwchar>

namespace {

constexpr int most_cascaded = 30; // with more of them some do lie on others
constexpr int longest_name = 256; // of a window class, with its end

struct neighbour_search {
    HWND self;
    wchar_t kind[longest_name];
    POINT corner;
    bool found;
};

BOOL CALLBACK look_at(HWND window, LPARAM given)
{
    auto& search = *reinterpret_cast<neighbour_search*>(given);
    wchar_t kind[longest_name] = L"";
    RECT place = {};
    if (window == search.self || !IsWindowVisible(window) || GetClassNameW(window, kind, longest_name) == 0 ||
        std::wcscmp(kind, search.kind) != 0 || !GetWindowRect(window, &place))
        return TRUE;
    const int near_by = GetSystemMetrics(SM_CYCAPTION) / 2;
    search.found =
        std::abs(place.left - search.corner.x) < near_by && std::abs(place.top - search.corner.y) < near_by;
    return search.found ? FALSE : TRUE;
}

} // namespace

POINT win::cascaded(HWND window, POINT wanted, const RECT& screen, bool leftwards) noexcept
{
    neighbour_search search = {window, L"", wanted, false};
    GetClassNameW(window, search.kind, longest_name);
    RECT own = {};
    GetWindowRect(window, &own);
    const LONG last_left = screen.right - (own.right - own.left),
               last_top = screen.bottom - (own.bottom - own.top);
    const LONG down = GetSystemMetrics(SM_CYCAPTION) + GetSystemMetrics(SM_CYSIZEFRAME);
    const POINT first = {std::max(std::min(wanted.x, last_left), screen.left),
                         std::max(std::min(wanted.y, last_top), screen.top)};
    POINT& at = search.corner;
    at = first;
    for (int i = 0; i < most_cascaded; ++i) {
        search.found = false;
        EnumWindows(look_at, reinterpret_cast<LPARAM>(&search));
        if (!search.found)
            break;
        at.x += leftwards ? -down : down;
        at.y += down;
        if (at.x < screen.left || at.x > last_left)
            at.x = first.x;
        if (at.y > last_top)
            at.y = screen.top;
    }
    return at;
}
