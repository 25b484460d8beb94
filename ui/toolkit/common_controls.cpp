#include "ui/toolkit/common_controls.h"

#include <commctrl.h>

namespace toolkit {

HINSTANCE own_module() noexcept
{
    HMODULE module = nullptr;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                       reinterpret_cast<const wchar_t*>(&own_module), &module);
    return module;
}

common_controls_scope::common_controls_scope() noexcept
{
    ACTCTXW description = {};
    description.cbSize = sizeof(description);
    description.dwFlags = ACTCTX_FLAG_HMODULE_VALID | ACTCTX_FLAG_RESOURCE_NAME_VALID;
    description.hModule = own_module();
    description.lpResourceName = MAKEINTRESOURCEW(2);
    context_ = CreateActCtxW(&description);
    active_ = context_ != INVALID_HANDLE_VALUE && ActivateActCtx(context_, &cookie_);
    // Registers the classes in their version 6: by name, since the import of a program's own code may be
    // bound to an older one already.
    using init_t = BOOL(WINAPI*)(const INITCOMMONCONTROLSEX*);
    if (const HMODULE controls = LoadLibraryW(L"comctl32.dll")) {
        const auto init = reinterpret_cast<init_t>(
            reinterpret_cast<void*>(GetProcAddress(controls, "InitCommonControlsEx")));
        const INITCOMMONCONTROLSEX classes = {sizeof(classes), ICC_LISTVIEW_CLASSES | ICC_STANDARD_CLASSES |
                                                                   ICC_TREEVIEW_CLASSES};
        static bool done = false; // the library stays loaded, once: its classes are in use
        if (init)
            init(&classes);
        if (done)
            FreeLibrary(controls);
        done = true;
    }
}

common_controls_scope::~common_controls_scope()
{
    if (active_)
        DeactivateActCtx(0, cookie_);
    if (context_ != INVALID_HANDLE_VALUE)
        ReleaseActCtx(context_); // windows made meanwhile hold it
}

} // namespace toolkit
