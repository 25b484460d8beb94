#pragma once
// Keeps processing apart from what the GUI thread does with an effect. The GUI thread goes first: the audio
// thread lets it in after the block that is being processed. Pure.

#include <condition_variable>
#include <mutex>

namespace vsthost {

class processing_gate {
public:
    // Audio thread: around each block.
    class block {
    public:
        explicit block(processing_gate& gate)
            : gate_(gate)
        {
            std::unique_lock lock(gate_.mutex_);
            gate_.changed_.wait(lock, [this] { return gate_.pauses_ == 0; });
            gate_.processing_ = true;
        }
        ~block()
        {
            {
                const std::lock_guard lock(gate_.mutex_);
                gate_.processing_ = false;
            }
            gate_.changed_.notify_all();
        }
        block(const block&) = delete;
        block& operator=(const block&) = delete;

    private:
        processing_gate& gate_;
    };

    // GUI thread: nothing is processed while one exists. They nest.
    class pause {
    public:
        explicit pause(processing_gate& gate)
            : gate_(gate)
        {
            std::unique_lock lock(gate_.mutex_);
            ++gate_.pauses_;
            gate_.changed_.wait(lock, [this] { return !gate_.processing_; });
        }
        ~pause()
        {
            {
                const std::lock_guard lock(gate_.mutex_);
                --gate_.pauses_;
            }
            gate_.changed_.notify_all();
        }
        pause(const pause&) = delete;
        pause& operator=(const pause&) = delete;

    private:
        processing_gate& gate_;
    };

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    unsigned pauses_ = 0;
    bool processing_ = false;
};

} // namespace vsthost
