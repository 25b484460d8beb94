#pragma once
// The effect's state in a file that somebody else reads at any time: it is replaced as a whole by a new file
// that was written beside it under a name of its own, so that a reader never sees half a state.

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace vsthost {

// Empty when the file is, or when there is none. A file that somebody else keeps to himself is waited for.
// Throws fatal_error (state_file) when it cannot be read or holds 256 MiB or more.
std::vector<uint8_t> read_state_file(const std::string& path, unsigned milliseconds = 0);

// One attempt. Returns 0 or the error of Windows; leaves nothing beside the file.
unsigned long replace_state_file(const std::string& path, const std::vector<uint8_t>& bytes);

// What Windows' error about such a file means; for a folder Windows only says that access is denied.
std::string file_error_text(const std::string& path, unsigned long error);

// Writes on a thread of its own, so that neither a slow disk nor somebody who holds the file keeps the editor
// waiting.
class state_writer {
public:
    // `content` is what the file holds.
    state_writer(std::string path, std::vector<uint8_t> content);
    // Gives up what could not be written yet.
    ~state_writer();
    state_writer(const state_writer&) = delete;
    state_writer& operator=(const state_writer&) = delete;

    // Any thread. The newest state counts; one that the file holds already is not written.
    void put(std::vector<uint8_t> bytes);

    // Any thread: waits until the newest state is in the file. False when it is not after the limit.
    bool finish(unsigned milliseconds);

private:
    void run();

    const std::string path_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<uint8_t> content_; // of the file
    std::vector<uint8_t> wanted_;
    bool waiting_ = false; // wanted_ is not in the file yet
    bool stop_ = false;
    std::thread thread_; // last: it uses all the others
};

} // namespace vsthost
