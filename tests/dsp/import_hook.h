#pragma once
// Puts a function of the test's in the place of an imported one, for the calls that one module makes.

#include <cstdint>

class import_hook {
public:
    // `module`: an HMODULE. Throws std::runtime_error when the module does not import `name`.
    import_hook(void* module, const char* name, void* replacement);
    ~import_hook();
    import_hook(const import_hook&) = delete;
    import_hook& operator=(const import_hook&) = delete;

    // Whether the module imports it at all.
    static bool imports(void* module, const char* name);

private:
    void** slot_;
    void* original_;
};
