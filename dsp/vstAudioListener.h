#pragma once
// Receivers of live audio: whoever shows an effect's editor gets copies of what a DSP with the same effect
// plays.

#include "sdk/audio_chunk.h"

#include <cstdint>
#include <string>

// Base of a receiver. The set of receivers is process-wide, ordered by object identity and guarded by one
// reader/writer lock: shared while a DSP looks for a receiver and hands over, exclusive to enter and leave.
class vstAudioListener {
public:
    // The module path of the receiver's effect; does not change while it is registered.
    const std::string& path() const noexcept { return path_; }

    // A chunk before its processing, and the number of the DSP instance that sends it. Called on the DSP's
    // thread with the shared lock held: must not block, must not make or destroy a receiver, must not throw.
    // The chunk is only valid during the call.
    virtual void onAudio(const audio_chunk& chunk, uint64_t serial) noexcept = 0;

    vstAudioListener(const vstAudioListener&) = delete;
    vstAudioListener& operator=(const vstAudioListener&) = delete;

    // Keeps a receiver in the set. A final class makes it its last member: entered when the receiver is
    // whole, left before any of it goes. Whoever destroys a receiver holds no lock that onAudio takes.
    class registration {
    public:
        explicit registration(vstAudioListener& listener);
        ~registration();
        registration(const registration&) = delete;
        registration& operator=(const registration&) = delete;

    private:
        vstAudioListener& listener_;
    };

protected:
    explicit vstAudioListener(std::string path)
        : path_(std::move(path))
    {
    }
    ~vstAudioListener() = default;

private:
    std::string path_;
};

// Hands the chunk to the first receiver whose effect has exactly this path. True when there was one. Any
// thread.
bool feedAudioListener(const std::string& path, const audio_chunk& chunk, uint64_t serial) noexcept;
