#pragma once
#include "win/handle.h"
#include "worker/abort.h"

#include <functional>
#include <optional>
#include <string>

namespace Nv {

// A thread that can be started again and again, with an aborter of its own when asked for. start, join and
// the destructor belong to one owning thread; the function runs on the thread, and an exception that leaves
// it ends the thread quietly. A derived class joins in its own destructor when the function uses its members.
class thread {
public:
    static constexpr uint32_t ownAborter = 1;      // give the thread an aborter, installed for its whole run
    static constexpr uint32_t abortOnDestruct = 2; // signal that aborter before the destructor joins

    explicit thread(std::string name = {}, uint32_t options = 0)
        : name_(std::move(name))
        , options_(options)
    {
    }
    virtual ~thread();
    thread(const thread&) = delete;
    thread& operator=(const thread&) = delete;

    // Joins a previous run first, signalling its aborter. `priority`: THREAD_PRIORITY_... Throws bug_check
    // when no thread can be made.
    void start(std::function<void()> function, int priority);

    // Waits without limit; raises the thread's priority to the caller's when that is higher.
    void join() noexcept;

    // Asks the running function to give up; nothing happens without an aborter. Any thread, but not while the
    // owner is in start.
    void abort() noexcept;

    // True from start to join, whether or not the function has returned. The owner's thread only.
    bool isRunning() const noexcept { return running_; }

private:
    struct closure;
    static unsigned __stdcall entry(void* argument);

    std::string name_; // UTF-8, shown by debuggers; may be empty
    win::kernel_handle handle_;
    bool running_ = false;
    std::optional<aborter> aborter_;
    uint32_t options_;
};

// Names the calling thread where the system can do that.
void setThreadName(const std::string& utf8) noexcept;

} // namespace Nv
