#pragma once
// DSP instances and the entries that create them. An instance is used by one thread at a time; entries from
// any thread, their configuration dialogs on the main thread only. Windows are HWNDs; a parent may be null.

#include "sdk/abort_callback.h"
#include "sdk/dsp_chunk_list.h"
#include "sdk/dsp_preset.h"
#include "sdk/dsp_preset_edit_callback.h"
#include "sdk/service.h"
#include "sdk/string_out.h"

// Bits of the flags word of a run.
constexpr uint32_t dsp_flag_end_of_track = 1;
constexpr uint32_t dsp_flag_end_of_playback = 2; // the stream ends: hand out what is still inside
// Bit of the flags word of an instantiation.
constexpr uint32_t dsp_flag_realtime = 1;

class dsp : public service_base {
public:
    using parent = service_base;
    static constexpr guid_t class_guid = {
        0xaedcfe50, 0xed89, 0x47f5, {0xb3, 0x87, 0xe9, 0x6f, 0x31, 0x27, 0xc7, 0x7f}};

    // Processes the chunks of the list in place; may insert and remove chunks. The list is the caller's and
    // not used after the call. `track` may be null. After a failure (std::exception, whose text is for the
    // user) the list may hold any part of the work; the instance may be run again or released.
    virtual void run(dsp_chunk_list& chunks, service_base* track, uint32_t flags) = 0;
    // Forget everything that is inside: the stream jumps. Does not block.
    virtual void flush() = 0;
    virtual double get_latency() const = 0; // seconds, as of the last run; 0 before the first
    // True when the DSP has to be told of the end of each track.
    virtual bool need_track_change_mark() const = 0;

protected:
    ~dsp() = default;
};

class dsp_v2 : public dsp {
public:
    using parent = dsp;
    static constexpr guid_t class_guid = {
        0xdf414982, 0x222b, 0x4f2d, {0xba, 0xe7, 0xb2, 0xc2, 0x10, 0x59, 0xef, 0xae}};

    // As run, which cannot be given up; this gives up with exception_aborted once the token is set.
    virtual void run_abortable(dsp_chunk_list& chunks, service_base* track, uint32_t flags,
                               abort_callback& abort) = 0;

protected:
    ~dsp_v2() = default;
};

class dsp_v3 : public dsp_v2 {
public:
    using parent = dsp_v2;
    static constexpr guid_t class_guid = {
        0x25188c7c, 0xc4bf, 0x4b7e, {0x8a, 0xee, 0x7c, 0xb2, 0xe6, 0x44, 0x38, 0x38}};

    // Takes over a changed preset without interrupting the stream; false when a new instance is needed, and
    // then nothing has changed. Throws exception_io_data when the preset is damaged.
    virtual bool apply_preset(const dsp_preset& preset) = 0;

protected:
    ~dsp_v3() = default;
};

class dsp_entry : public service_base {
public:
    using parent = service_base;
    static constexpr guid_t class_guid = {
        0xbb6ace83, 0x2332, 0x4825, {0xbb, 0xc0, 0x5b, 0x66, 0x5b, 0x70, 0xf6, 0xa7}};

    virtual void get_name(string_out& out) const = 0;
    virtual bool get_default_preset(dsp_preset& out) const = 0; // false: there is none
    // False when the preset is another entry's; throws (exception_io_data when it is damaged) when it is this
    // entry's and cannot be used.
    virtual bool instantiate(service_ptr_t<dsp>& out, const dsp_preset& preset) = 0;
    virtual guid_t get_guid() const noexcept = 0; // the owner GUID of its presets
    virtual bool have_config_popup() const noexcept = 0;
    // Blocks until the dialog is closed; true when the preset was changed, in place.
    virtual bool show_config_popup(dsp_preset& preset, void* parent_window) = 0;

protected:
    ~dsp_entry() = default;
};

class dsp_entry_v2 : public dsp_entry {
public:
    using parent = dsp_entry;
    static constexpr guid_t class_guid = {
        0x99b10d4a, 0x3d53, 0x4f3f, {0x9c, 0x0f, 0x67, 0x40, 0x5f, 0x2f, 0x63, 0x2a}};

    // Blocks; every change is reported while the dialog is open.
    virtual void show_config_popup_v2(const dsp_preset& preset, void* parent_window,
                                      dsp_preset_edit_callback& callback) = 0;

protected:
    ~dsp_entry_v2() = default;
};

class dsp_entry_v3 : public dsp_entry_v2 {
public:
    using parent = dsp_entry_v2;
    static constexpr guid_t class_guid = {
        0x7841ce4f, 0x902d, 0x449f, {0xbc, 0x73, 0xd9, 0x52, 0x8c, 0xdb, 0x36, 0xe3}};

    // How a chain's list shows the preset; for one that cannot be used, the entry's name.
    virtual void get_display_name(const dsp_preset& preset, string_out& out) const = 0;
    // Modeless: `dialog` is the open dialog, closed by its last release, which may come from inside a call of
    // `callback`. The dialog takes a reference to `callback`.
    virtual void show_config_popup_v3(service_ptr_t<service_base>& dialog, void* parent_window,
                                      dsp_preset_edit_callback_v2& callback) = 0;

protected:
    ~dsp_entry_v3() = default;
};

class dsp_entry_v4 : public dsp_entry_v3 {
public:
    using parent = dsp_entry_v3;
    static constexpr guid_t class_guid = {
        0x2f934094, 0x0a3b, 0x4aaf, {0xb1, 0x0e, 0xaf, 0xb5, 0x1d, 0x9c, 0xe4, 0x33}};

    // As instantiate, with a flags word (dsp_flag_realtime). For a preset of another entry it may also throw
    // exception_io_data: who calls this has looked for the owner.
    virtual bool instantiate_v4(service_ptr_t<dsp>& out, const dsp_preset& preset, uint32_t flags) = 0;

protected:
    ~dsp_entry_v4() = default;
};
