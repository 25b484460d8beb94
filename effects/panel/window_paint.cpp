// How the panel looks.

#include "effects/panel/window.h"

#include "effects/panel/drawing.h"

#include <cmath>
#include <cstdio>

namespace panel {

namespace {

constexpr COLORREF ground = RGB(0x24, 0x26, 0x2B), groove = RGB(0x12, 0x13, 0x16),
                   ink = RGB(0xE6, 0xE6, 0xE6), faint = RGB(0x8C, 0x90, 0x98), accent = RGB(0x4F, 0xA3, 0xD8),
                   edge = RGB(0x4A, 0x4D, 0x55), green = RGB(0x4C, 0xB0, 0x63),
                   yellow = RGB(0xE0, 0xC0, 0x45), red = RGB(0xE0, 0x55, 0x45);
constexpr double yellow_db = -12, red_db = 0;

void write(HDC dc, const box& area, const std::wstring& text, COLORREF colour, UINT where)
{
    RECT rect{area.x, area.y, area.right() - 2, area.bottom()}; // some fonts reach over their measure
    SetTextColor(dc, colour);
    DrawTextW(dc, text.c_str(), static_cast<int>(text.size()), &rect,
              where | DT_VCENTER | DT_SINGLELINE | DT_NOPREFIX | DT_NOCLIP);
}

std::wstring widened(const char* ascii)
{
    std::wstring wide;
    for (; *ascii; ++ascii)
        wide.push_back(static_cast<wchar_t>(static_cast<unsigned char>(*ascii)));
    return wide;
}

// A bar in the middle of its row.
box middle(const box& area, int height)
{
    return {area.x, area.y + (area.height - height) / 2, area.width, height};
}

} // namespace

void fill(HDC dc, const box& area, COLORREF colour)
{
    const RECT rect{area.x, area.y, area.right(), area.bottom()};
    SetDCBrushColor(dc, colour);
    FillRect(dc, &rect, static_cast<HBRUSH>(GetStockObject(DC_BRUSH)));
}

void window::invalidate(const box& area)
{
    const RECT rect{area.x, area.y, area.right(), area.bottom()};
    InvalidateRect(handle_, &rect, FALSE);
}

// Drawn into memory and copied at once, so that nothing flickers.
void window::paint()
{
    PAINTSTRUCT paint;
    const HDC screen = BeginPaint(handle_, &paint);
    const HDC memory = CreateCompatibleDC(screen);
    const HBITMAP bitmap =
        CreateCompatibleBitmap(screen, std::max(1, size_.width), std::max(1, size_.height));
    if (memory && bitmap) {
        const HGDIOBJ old = SelectObject(memory, bitmap);
        const RECT& part = paint.rcPaint;
        IntersectClipRect(memory, part.left, part.top, part.right, part.bottom);
        draw(memory);
        BitBlt(screen, part.left, part.top, part.right - part.left, part.bottom - part.top, memory, part.left,
               part.top, SRCCOPY);
        SelectObject(memory, old);
    }
    if (bitmap)
        DeleteObject(bitmap);
    if (memory)
        DeleteDC(memory);
    EndPaint(handle_, &paint);
}

void window::draw(HDC dc)
{
    const HGDIOBJ old_font = SelectObject(dc, font_);
    SetBkMode(dc, TRANSPARENT);
    fill(dc, {0, 0, size_.width, size_.height}, ground);
    if (picture_)
        picture_->draw(dc, layout_.picture, scale_);
    shown_values_.resize(layout_.sliders.size());
    for (std::size_t i = 0; i < layout_.sliders.size(); ++i)
        draw_slider(dc, i);
    if (levels_) {
        draw_meter(dc, layout_.in, L"In", shown_in_);
        draw_meter(dc, layout_.out, L"Out", shown_out_);
        draw_marks(dc);
    }
    // The corner: three slanted lines.
    const HGDIOBJ old_pen = SelectObject(dc, GetStockObject(DC_PEN));
    SetDCPenColor(dc, edge);
    const box& corner = layout_.grip;
    for (int line = 1; line <= 3; ++line) {
        const int way = corner.width * line / 4;
        MoveToEx(dc, corner.right() - way, corner.bottom() - 1, nullptr);
        LineTo(dc, corner.right(), corner.bottom() - 1 - way);
    }
    SelectObject(dc, old_pen);
    SelectObject(dc, old_font);
}

void window::draw_slider(HDC dc, std::size_t index)
{
    const control& what = subject_.controls()[index];
    const row& place = layout_.sliders[index];
    const double plain = subject_.value(index);
    shown_values_[index] = plain;
    wchar_t text[64];
    std::swprintf(text, std::size(text), L"%.*f", what.decimals, plain);
    const std::wstring unit = widened(what.unit);
    const bool focused = index == selected_ && GetFocus() == handle_;
    write(dc, place.label, widened(what.name), focused ? accent : ink, DT_LEFT);
    write(dc, place.text, text + (unit.empty() ? L"" : L" " + unit), ink, DT_RIGHT);

    const int thin = std::max(3, static_cast<int>(std::lround(4 * scale_)));
    const int tall = std::max(12, static_cast<int>(std::lround(18 * scale_)));
    const int x = thumb_at(place.bar, layout_.thumb_width, normalised(index));
    box track = middle(place.bar, thin);
    fill(dc, track, groove);
    track.width = x - track.x;
    fill(dc, track, accent);
    box thumb =
        middle({x - layout_.thumb_width / 2, place.bar.y, layout_.thumb_width, place.bar.height}, tall);
    fill(dc, thumb, focused ? accent : edge);
    fill(dc, {thumb.x + 1, thumb.y + 1, thumb.width - 2, thumb.height - 2}, ink);
}

void window::draw_meter(HDC dc, const row& place, const wchar_t* label, const shown_meter& shown)
{
    write(dc, place.label, label, faint, DT_LEFT);
    write(dc, place.text, shown.text, shown.text.front() == L'-' ? ink : red, DT_RIGHT);
    const int gap = std::max(2, static_cast<int>(std::lround(4 * scale_)));
    const int thickest = static_cast<int>(std::lround(32 * scale_));
    const box bar = middle(place.bar, std::clamp(place.bar.height - gap, 4, std::max(4, thickest)));
    fill(dc, bar, groove);
    const auto part = [&](double from_db, double to_db, COLORREF colour) {
        const int from = static_cast<int>(std::lround(meter::fraction(from_db) * bar.width));
        const int to = std::min(shown.bar, static_cast<int>(std::lround(meter::fraction(to_db) * bar.width)));
        if (to > from)
            fill(dc, {bar.x + from, bar.y, to - from, bar.height}, colour);
        if (shown.hold > from &&
            shown.hold <= static_cast<int>(std::lround(meter::fraction(to_db) * bar.width)))
            fill(dc, {bar.x + std::max(0, shown.hold - 2), bar.y, 2, bar.height}, colour);
    };
    part(meter::floor_db, yellow_db, green);
    part(yellow_db, red_db, yellow);
    part(red_db, meter::top_db, red);
}

void window::draw_marks(HDC dc)
{
    for (int decibels = -60; decibels <= 0; decibels += 12) {
        const int x =
            layout_.marks.x + static_cast<int>(std::lround(meter::fraction(decibels) * layout_.marks.width));
        const int half = static_cast<int>(std::lround(16 * scale_));
        write(dc, {x - half, layout_.marks.y, 2 * half, layout_.marks.height}, std::to_wstring(decibels),
              faint, DT_CENTER);
    }
}

} // namespace panel
