#include "support/thread_worker.h"

#include <memory>
#include <string_view>

namespace {

thread_worker* current = nullptr;
thread_local bool in_worker = false;

} // namespace

struct thread_worker::launch {
    std::wstring pipe_name;
    HANDLE error = nullptr;
    HANDLE ended = nullptr; // plays the process
};

bool thread_worker::ends::read(void* bytes, size_t byte_count)
{
    auto* to = static_cast<char*>(bytes);
    for (DWORD got = 0; byte_count != 0; to += got, byte_count -= got)
        if (!ReadFile(pipe.get(), to, static_cast<DWORD>(byte_count), &got, nullptr) || got == 0)
            return false;
    return true;
}

bool thread_worker::ends::write(const void* bytes, size_t byte_count)
{
    DWORD put = 0;
    return byte_count == 0 ||
           (WriteFile(pipe.get(), bytes, static_cast<DWORD>(byte_count), &put, nullptr) && put == byte_count);
}

thread_worker::thread_worker(std::function<void(ends&)> play)
    : play_(std::move(play))
    , patch_("CreateProcessW", reinterpret_cast<void*>(&create))
{
    current = this;
}

thread_worker::~thread_worker()
{
    std::unique_lock lock(mutex_);
    ended_.wait(lock, [this] { return running_ == 0; });
    current = nullptr;
}

bool thread_worker::is_worker() noexcept
{
    return in_worker;
}

BOOL WINAPI thread_worker::create(const wchar_t* application, wchar_t* line, SECURITY_ATTRIBUTES* process,
                                  SECURITY_ATTRIBUTES* thread, BOOL inherit, DWORD flags, void* environment,
                                  const wchar_t* folder, STARTUPINFOW* startup, PROCESS_INFORMATION* started)
{
    thread_worker& self = *current;
    if (!application || !std::wstring_view(application).starts_with(L"C:\\thread workers\\"))
        return self.patch_.original<decltype(&CreateProcessW)>()(
            application, line, process, thread, inherit, flags, environment, folder, startup, started);
    in_worker = true; // what is done for it is its own
    auto each = std::make_unique<launch>();
    const std::wstring_view text(line);
    each->pipe_name = text.substr(text.rfind(L"--pipe ") + 7);
    const HANDLE own = GetCurrentProcess();
    DuplicateHandle(own, startup->hStdError, own, &each->error, 0, FALSE, DUPLICATE_SAME_ACCESS);
    each->ended = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    DuplicateHandle(own, each->ended, own, &started->hProcess, 0, FALSE, DUPLICATE_SAME_ACCESS);
    {
        const std::lock_guard lock(self.mutex_);
        ++self.running_;
    }
    started->hThread = CreateThread(nullptr, 0, &run, each.release(), 0, nullptr);
    in_worker = false;
    return TRUE;
}

DWORD WINAPI thread_worker::run(void* argument)
{
    in_worker = true;
    thread_worker& self = *current;
    const std::unique_ptr<launch> each(static_cast<launch*>(argument));
    {
        ends of_worker;
        of_worker.error.reset(each->error);
        of_worker.pipe.reset(CreateFileW(each->pipe_name.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                                         OPEN_EXISTING, 0, nullptr));
        if (of_worker.pipe)
            self.play_(of_worker);
    }
    SetEvent(each->ended);
    CloseHandle(each->ended);
    const std::lock_guard lock(self.mutex_);
    --self.running_;
    self.ended_.notify_all();
    return 0;
}
