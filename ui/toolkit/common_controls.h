#pragma once
// Where windows of this module come from: its resources, and version 6 of the common controls if the system
// has it.

#include <windows.h>

namespace toolkit {

// The module that this code is part of, whose resources the dialogs are in.
HINSTANCE own_module() noexcept;

// While it lives, windows that this thread makes get the common controls that the module's manifest asks for
// (resource 2), whatever the program's own asks for. On a system without them they get the program's. Scopes
// of one thread end in reverse order.
class common_controls_scope {
public:
    common_controls_scope() noexcept;
    ~common_controls_scope();
    common_controls_scope(const common_controls_scope&) = delete;
    common_controls_scope& operator=(const common_controls_scope&) = delete;

private:
    HANDLE context_;
    ULONG_PTR cookie_ = 0;
    bool active_ = false;
};

} // namespace toolkit
