#pragma once
// A list of texts, one column without a header, over the platform's list view. Main thread only.

#include "ui/toolkit/list_source.h"

#include <windows.h>

#include <commctrl.h>

#include <functional>
#include <optional>
#include <string>

namespace toolkit {

// What the user does. Any of them may destroy the list and the object; those that are empty are not called.
struct list_events {
    std::function<void()> on_selection;          // may have changed
    std::function<void(size_t row)> on_activate; // double click, or Enter with a row selected
    // A check box now is ticked or not; when this throws, the box goes back.
    std::function<void(size_t row, bool ticked)> on_tick;
};

// A member of the dialog that has the list: the dialog forwards its WM_NOTIFY.
class list_control {
public:
    enum class kind {
        owner_data,  // takes the place of the template's list view; asks for texts when it shows them
        check_boxes, // the template's list view with a check box in each row; holds copies of the texts
    };

    list_control() = default;
    ~list_control();
    list_control(const list_control&) = delete;
    list_control& operator=(const list_control&) = delete;

    // `id` names the list view in the dialog, `name` is what a screen reader calls it. `width` of the column
    // in dialog units; 0: as wide as the list. `source` lives as long as this. Throws exception_win32.
    void attach(HWND dialog, int id, kind what, const wchar_t* name, int width, const list_source& source,
                list_events events);

    // Shows what the source has now, with nothing selected. Not reported as an event.
    void reload();

    std::optional<size_t> selected() const noexcept;
    HWND window() const noexcept { return list_; }

    // For every WM_NOTIFY of the dialog: true when it was this list's.
    bool on_notify(NMHDR& header);

private:
    static LRESULT CALLBACK procedure(HWND, UINT, WPARAM, LPARAM, UINT_PTR, DWORD_PTR);
    void take_place_of(HWND placeholder);
    void fit_column() noexcept;
    void make_tooltip();
    void name_for_accessibility(const wchar_t* name) noexcept;
    bool is_cut(int row) const;
    void on_mouse_move(POINT at) noexcept;
    void show_tooltip_text(NMTTDISPINFOW& wanted);
    LRESULT draw_selection(NMLVCUSTOMDRAW& drawing) const;
    void tick(int row, bool ticked);
    void activate(size_t row);

    HWND list_ = nullptr; // null before attach and after the window went
    HWND tooltip_ = nullptr;
    kind kind_ = kind::owner_data;
    int width_ = 0;
    const list_source* source_ = nullptr;
    list_events events_;
    bool loading_ = false; // rows are being put in: what changes is no doing of the user's
    int tooltip_row_ = -1;
    std::wstring tooltip_text_, cell_text_; // what the controls were pointed at last
};

} // namespace toolkit
