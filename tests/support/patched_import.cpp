#include "support/patched_import.h"

#include <windows.h>

#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string>

namespace {

// Null when there is none.
void** find_slot(const char* function, void* module)
{
    auto* const base = static_cast<uint8_t*>(module ? module : GetModuleHandleW(nullptr));
    const auto* dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(base);
    const auto* headers = reinterpret_cast<const IMAGE_NT_HEADERS*>(base + dos->e_lfanew);
    const DWORD imports = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT].VirtualAddress;
    for (auto* library = reinterpret_cast<const IMAGE_IMPORT_DESCRIPTOR*>(base + imports); library->Name;
         ++library) {
        auto* name = reinterpret_cast<const IMAGE_THUNK_DATA*>(base + library->OriginalFirstThunk);
        auto* slot = reinterpret_cast<void**>(base + library->FirstThunk);
        for (; name->u1.AddressOfData; ++name, ++slot) {
            if (IMAGE_SNAP_BY_ORDINAL(name->u1.Ordinal))
                continue;
            const auto* by_name =
                reinterpret_cast<const IMAGE_IMPORT_BY_NAME*>(base + name->u1.AddressOfData);
            if (std::strcmp(reinterpret_cast<const char*>(by_name->Name), function) == 0)
                return slot;
        }
    }
    return nullptr;
}

void** required_slot(const char* function, void* module)
{
    if (void** const slot = find_slot(function, module))
        return slot;
    throw std::runtime_error(std::string("not imported: ") + function);
}

} // namespace

patched_import::patched_import(const char* function, void* replacement, void* module)
    : slot_(required_slot(function, module))
    , original_(*slot_)
{
    store(replacement);
}

bool patched_import::is_imported(const char* function, void* module)
{
    return find_slot(function, module) != nullptr;
}

patched_import::~patched_import()
{
    store(original_);
}

void patched_import::store(void* function) noexcept
{
    DWORD before = 0;
    VirtualProtect(slot_, sizeof(*slot_), PAGE_READWRITE, &before);
    InterlockedExchangePointer(slot_, function);
    VirtualProtect(slot_, sizeof(*slot_), before, &before);
}
