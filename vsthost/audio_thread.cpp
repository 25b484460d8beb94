#include "vsthost/process_shell.h"

#include <windows.h>
#include <xmmintrin.h>

namespace {

constexpr unsigned flush_to_zero = 0x8000;
constexpr unsigned denormals_are_zero = 0x0040;

} // namespace

void vsthost::prepare_audio_thread(bool realtime)
{
    reserve_stack_for_faults();
    _mm_setcsr(_mm_getcsr() | flush_to_zero | denormals_are_zero);
    if (!realtime)
        return;
    // Loaded here so that a system without the scheduler still runs the program.
    using set_class = HANDLE(WINAPI*)(const wchar_t*, DWORD*);
    if (const HMODULE avrt = LoadLibraryExW(L"avrt.dll", nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32)) {
        const auto set = reinterpret_cast<set_class>(
            reinterpret_cast<void*>(GetProcAddress(avrt, "AvSetMmThreadCharacteristicsW")));
        DWORD task = 0;
        if (set != nullptr)
            set(L"Pro Audio", &task); // refused: the thread stays at its priority
    }
}

vsthost::saved_float_state::saved_float_state() noexcept
    : sse_(_mm_getcsr())
    , x87_(0)
{
    __asm__ volatile("fnstcw %0" : "=m"(x87_));
}

vsthost::saved_float_state::~saved_float_state()
{
    _mm_setcsr(sse_);
    __asm__ volatile("fldcw %0" : : "m"(x87_));
}
