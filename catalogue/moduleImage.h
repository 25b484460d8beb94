#pragma once
// Reading the headers and export names of a module image (PE32 and PE32+) without loading it. Pure: the bytes
// come through module_image_reader, so that hostile images are read under sanitizers on the build machine.
// Every size and count in an image is somebody else's claim: memory and time stay bounded whatever it says.

#include <cstddef>
#include <cstdint>
#include <string>

// Bytes at an offset. Used by one thread for the length of one examination.
class module_image_reader {
public:
    // Delivers up to `byte_count` bytes from `offset`, fewer only at the end of the image, none beyond it.
    // False when the medium fails.
    virtual bool read_at(uint64_t offset, void* buffer, size_t byte_count, size_t& delivered) noexcept = 0;
    virtual uint64_t get_size() const noexcept = 0; // bytes

protected:
    ~module_image_reader() = default;
};

// Why a file is no plug-in module that we can run.
enum class module_refusal {
    none,
    missing,         // no such file
    folder,          // a folder, not a file
    unreadable,      // exists, but cannot be opened or read
    not_a_module,    // no or broken headers of a Windows module
    executable,      // a program, not a DLL
    unknown_machine, // made for a processor that no worker program serves
    no_entry_point,  // exports none of the functions that plug-ins start with
};

struct module_report {
    module_refusal refusal = module_refusal::none;
    std::string arch;       // "x86", "x64" or "ARM64" once the machine is known
    int32_t vstVersion = 0; // 2 or 3, 0 when refused
};

// `preferredVersion` 2 or 3 decides for a module that exports both kinds of entry point. Throws
// std::bad_alloc only.
module_report examineModuleImage(module_image_reader& image, int32_t preferredVersion);

// Why a file was refused, in words that complete "FILE ...", such as "is a program, not a plug-in module".
const char* refusalText(module_refusal refusal) noexcept;
