#pragma once
// What the player does for the windows of a component. Main thread only; windows are HWNDs of that thread.

#include "sdk/service.h"

// Modeless dialogs that the player's message loop gives the dialog keys to (Tab, Enter, Escape, arrows).
// Exists exactly once.
class modeless_dialogs : public service_base {
public:
    using parent = service_base;
    static constexpr guid_t class_guid = {
        0x91d5a0be, 0x6f37, 0x4c82, {0xa1, 0x7e, 0x2b, 0x50, 0xc9, 0x14, 0xfd, 0x63}};

    virtual void add(void* dialog) = 0;
    virtual void remove(void* dialog) noexcept = 0; // before the window goes; unknown: nothing

protected:
    ~modeless_dialogs() = default;
};

// The player's look for windows of others. A window that was handed in is let go of when it is destroyed.
class user_interface_look : public service_base {
public:
    using parent = service_base;
    static constexpr guid_t class_guid = {
        0xc46e9d18, 0x05fb, 0x4a73, {0xbd, 0x91, 0x78, 0xe2, 0x3c, 0x0a, 0x66, 0xf5}};

    // The frame of the window follows the theme from now on.
    virtual void follow_frame(void* window) = 0;
    // The window gets WM_THEMECHANGED, itself and its children, each time the theme changes.
    virtual void follow_theme(void* window) = 0;

protected:
    ~user_interface_look() = default;
};

// Exists at most once; without it windows look as the platform has them.
class user_interface : public service_base {
public:
    using parent = service_base;
    static constexpr guid_t class_guid = {
        0xe34839b0, 0xd899, 0x43c5, {0x94, 0x71, 0x14, 0xff, 0x48, 0x1d, 0x5e, 0xe8}};

    virtual void get_look(service_ptr_t<user_interface_look>& out) = 0;
    virtual bool is_dark() const noexcept = 0; // as of now

protected:
    ~user_interface() = default;
};
