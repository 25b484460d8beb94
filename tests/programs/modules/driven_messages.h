#pragma once
// An editor that does what a test tells it by messages to its window, and tells by the window's text what
// happened to it. The text is words with spaces between them: "size=320x240" (the last one it was given),
// "heard=0.250" (the loudest sample), "focus", and for what came to it "char=a", "wheel", "key=37" (the
// host passed it on), in this order, each once and as it was last.

inline constexpr wchar_t driven_editor_class[] = L"qvxDrivenEditor";

// Behind WM_APP. "Level" values are thousandths.
enum driven_message : unsigned {
    driven_edit = 1,    // wParam: Level
    driven_edit_mutely, // the same, and nobody is told
    driven_resize,      // wParam by lParam: asks the host for this size
    driven_drag,        // for wParam ms: edits on a thread of its own
    driven_loop,        // for wParam ms: edits in a message loop of its own
    driven_mouse_loop,  // the same, but the loop takes only mouse messages, and nobody is told of the edits
    driven_reload,      // VST 3: asks to be made anew
    driven_slow,        // from now on every repaint takes wParam ms, and one always waits
    driven_hang,
    driven_crash,
    driven_call_edit_on_close, // wParam: Level, edited when the editor closes
};
