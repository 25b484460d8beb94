#pragma once
// Replaces a function in this program's import table for as long as the object lives: how tests make calls of
// the operating system fail, or watch them, without a hook in the product. Calls from other modules (the
// runtime libraries) are not affected unless such a module is named. One patch per function and module at a
// time.

class patched_import {
public:
    // `module`: an HMODULE, null for this program. Throws std::runtime_error when it does not import the
    // function.
    patched_import(const char* function, void* replacement, void* module = nullptr);
    ~patched_import();
    patched_import(const patched_import&) = delete;
    patched_import& operator=(const patched_import&) = delete;

    static bool is_imported(const char* function, void* module = nullptr);

    template <class Function>
    Function original() const noexcept
    {
        return reinterpret_cast<Function>(original_);
    }

private:
    void store(void* function) noexcept;

    void** slot_ = nullptr;
    void* original_ = nullptr;
};
