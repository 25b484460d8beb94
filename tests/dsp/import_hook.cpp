#include "import_hook.h"

#include <windows.h>

#include <cstring>
#include <stdexcept>
#include <string>

namespace {

// The module's own cell that holds the address of the imported function, or null.
void** import_slot(void* module, const char* name)
{
    auto* const base = static_cast<unsigned char*>(module);
    IMAGE_DOS_HEADER dos;
    std::memcpy(&dos, base, sizeof(dos));
    IMAGE_NT_HEADERS headers;
    std::memcpy(&headers, base + dos.e_lfanew, sizeof(headers));
    const auto& directory = headers.OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
    for (DWORD at = directory.VirtualAddress;; at += sizeof(IMAGE_IMPORT_DESCRIPTOR)) {
        IMAGE_IMPORT_DESCRIPTOR library;
        std::memcpy(&library, base + at, sizeof(library));
        if (library.Name == 0)
            return nullptr;
        for (DWORD i = 0;; i += sizeof(IMAGE_THUNK_DATA)) {
            IMAGE_THUNK_DATA thunk;
            std::memcpy(&thunk, base + library.OriginalFirstThunk + i, sizeof(thunk));
            if (thunk.u1.AddressOfData == 0)
                break;
            if (IMAGE_SNAP_BY_ORDINAL(thunk.u1.Ordinal))
                continue;
            const auto* const imported =
                reinterpret_cast<const char*>(base + thunk.u1.AddressOfData + sizeof(WORD));
            if (std::strcmp(imported, name) == 0)
                return reinterpret_cast<void**>(base + library.FirstThunk + i);
        }
    }
}

void replace(void** slot, void* value)
{
    DWORD protection = 0;
    VirtualProtect(slot, sizeof(*slot), PAGE_READWRITE, &protection);
    *slot = value;
    VirtualProtect(slot, sizeof(*slot), protection, &protection);
}

} // namespace

import_hook::import_hook(void* module, const char* name, void* replacement)
    : slot_(import_slot(module, name))
{
    if (!slot_)
        throw std::runtime_error(std::string("not imported: ") + name);
    original_ = *slot_;
    replace(slot_, replacement);
}

import_hook::~import_hook()
{
    replace(slot_, original_);
}

bool import_hook::imports(void* module, const char* name)
{
    return import_slot(module, name) != nullptr;
}
