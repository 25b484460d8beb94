#pragma once
// The chooser as the player opens it. Main thread; elsewhere these throw exception_host_bug_check
// "core_api::ensure_main_thread". Parameters as in the operations of dsp_entry to dsp_entry_v3 that they
// stand behind. They throw exception_win32 when no window can be made, and what the callbacks throw while the
// dialog opens.

#include "sdk/dsp_preset_edit_callback.h"

// Modal. The first edits the preset in place and is true when that changed it; the second reports each
// change.
bool dsp_dialog(dsp_preset& preset, void* parent_window);
void dsp_dialog_v2(const dsp_preset& preset, void* parent_window, dsp_preset_edit_callback& callback);

// Modeless. The last release of `dialog`, on any thread and also from inside a call of `callback`, closes the
// window. When the user closes it, `callback` hears that before.
void dsp_dialog_v3(service_ptr_t<service_base>& dialog, void* parent_window,
                   dsp_preset_edit_callback_v2& callback);
