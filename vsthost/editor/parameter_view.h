#pragma once
// The stand-in for the editor that an effect does not have: a list of its parameters with a search field, a
// bar to drag, and the value, which can be typed in. A double click gives the default.

#include "vsthost/editor/effect_editor.h"
#include "vsthost/editor/parameter_model.h"

#include <windows.h>

#include <commctrl.h>

#include <memory>
#include <string>

namespace vsthost {

// `source` outlives it.
std::unique_ptr<effect_editor> make_parameter_view(parameter_source& source);

class parameter_view final : public effect_editor {
public:
    explicit parameter_view(parameter_source& source);
    ~parameter_view() override;

    std::optional<editor_size> size() override;
    bool open(void* window) override;
    void close() override;
    void set_scale(double scale) override;
    bool can_resize() override { return true; }
    editor_size constrained(editor_size wanted) override;
    void resized(editor_size now) override;
    void focused(bool has_focus) override;
    void renew() override;
    void idle() override;

private:
    enum column { name_column, bar_column, value_column };
    enum control_id : WORD { search_id = 100, list_id, field_id };
    static constexpr UINT_PTR subclass_id = 1;
    static constexpr int bar_edge = 4; // between the bar and its cell, in dots at 96 an inch

    static LRESULT CALLBACK on_message(HWND window, UINT message, WPARAM wide, LPARAM large);
    static LRESULT CALLBACK on_list_message(HWND window, UINT message, WPARAM wide, LPARAM large, UINT_PTR id,
                                            DWORD_PTR self);
    static LRESULT CALLBACK on_field_message(HWND window, UINT message, WPARAM wide, LPARAM large,
                                             UINT_PTR id, DWORD_PTR self);

    static std::string text_of(HWND control);
    int scaled(int plain) const;
    void create_controls(HWND parent);
    void create_list(HINSTANCE module);
    void make_font();
    void lay_out(int width, int height);
    std::optional<LRESULT> on_list(UINT message, WPARAM wide, LPARAM large); // nothing: as usual
    std::optional<LRESULT> on_field(HWND field, UINT message, WPARAM wide, LPARAM large);
    LRESULT on_notify(const NMHDR& what);
    LRESULT on_custom_draw(const NMLVCUSTOMDRAW& draw);
    void draw_bar(HDC on, size_t row) const;
    RECT cell(size_t row, column which) const;
    bool on_list_key(WPARAM key);
    bool on_list_button(POINT at, bool is_double);
    void drag_to(int x);
    void search();
    void show_rows(); // after another search
    std::optional<size_t> selected() const;
    void begin_typing(size_t row);
    void end_typing(bool keep);

    parameter_model model_;
    double scale_ = 1.0;
    HFONT font_ = nullptr;
    HWND window_ = nullptr; // owns all the others
    HWND label_ = nullptr;
    HWND search_ = nullptr;
    HWND list_ = nullptr;
    HWND hint_ = nullptr;
    HWND field_ = nullptr; // while a value is typed in
    size_t typed_row_ = 0;
    std::optional<size_t> dragged_row_;
    unsigned idle_rounds_ = 0;
};

} // namespace vsthost
