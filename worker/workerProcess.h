#pragma once
// One running worker process with its standard-stream pipes. Always held by std::shared_ptr: by the pipe
// server of its user and by the thread that relays its standard error; the last of them runs the close-down.

#include "win/handle.h"
#include "worker/overlapped.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace Nv {

class winPipeServerLite;

enum class stdioMode : uint32_t {
    none = 0,    // INVALID_HANDLE_VALUE
    inherit = 1, // the player's own handle
    pipe = 2,    // a new pipe, our end in the workerProcess
};

// What to start. UTF-8.
struct launchParams {
    std::string executable;             // path of the program
    std::vector<std::string> arguments; // the first is the executable itself
    std::string commandLineOverride;    // used as it is when not empty
    std::string workingFolder;          // empty: the player's current one
    stdioMode standardInput = stdioMode::none;
    stdioMode standardOutput = stdioMode::none;
    stdioMode standardError = stdioMode::none;
    uint64_t reserved = 0;
};

class workerProcess {
public:
    // Starts the process; one launch at a time in this program, others wait for it. Throws std::runtime_error
    // "pipe creation failure" or "could not start the worker process", and file_not_found when there is no
    // such program; nothing is left open then.
    explicit workerProcess(launchParams params);
    ~workerProcess();
    workerProcess(const workerProcess&) = delete;
    workerProcess& operator=(const workerProcess&) = delete;

    // True when the process has ended, false at the limit. Throws user_abort when the thread's aborter fires
    // first (on a tie the process wins), bug_check when the wait itself fails. Any thread.
    bool waitForExit(uint32_t limitMilliseconds);
    bool waitForExitSeconds(double limitSeconds); // rounded, no special case for negative values

    // To wait for its end together with other handles; stays this object's. Null after closeAll.
    HANDLE processHandle() const noexcept { return process_.get(); }

    // As GetExitCodeProcess says, so 259 while it runs; -1 as unsigned when the call fails.
    uint32_t exitCode() const noexcept;

    // Ends the process at once, exit code 0xFFFFFFFF, and waits up to a second until it is gone. Any thread.
    void terminate() noexcept;

    // Closes the streams, gives the process two seconds to end by itself, then terminates it. Not while
    // another thread is in any operation of this object; the destructor does it.
    void closeAll() noexcept;

    // Our ends of the pipes that were asked for, without a handle otherwise. Each is used by one thread.
    streamInOverlapped& standardOutput() noexcept { return standardOutput_; }
    streamInOverlapped& standardError() noexcept { return standardError_; }
    streamOutOverlapped& standardInput() noexcept { return standardInput_; }

private:
    class standardHandles;
    void start();

    win::kernel_handle process_;
    win::kernel_handle event_;
    streamInOverlapped standardOutput_;
    streamInOverlapped standardError_;
    streamOutOverlapped standardInput_;
    launchParams params_;
};

// Relays the worker's standard error to the player's console, each line as "VST: " and the line; returns when
// the stream ends, the player shuts down or an error occurs, and never throws. A last line without its line
// feed is not printed. Runs on a thread of its own.
void readStdErr(const std::shared_ptr<workerProcess>& worker) noexcept;

// Ends a conversation: closes the pipe, gives the worker `limitSeconds` to end by itself, terminates it
// otherwise, and drops the pipe server's reference. Runs to its end although the thread's aborter is
// signalled.
void stopWorker(winPipeServerLite& pipe, double limitSeconds) noexcept;

} // namespace Nv
