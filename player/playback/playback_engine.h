#pragma once
// Plays a file through the live chain, on a thread of its own. The main thread gives orders and looks at the
// state; neither waits for the other.

#include "player/chain/chain_runner.h"
#include "player/playback/audio_sink.h"
#include "player/services/stream_capture.h"
#include "player/wav/output_files.h"
#include "sdk/abort_callback_impl.h"
#include "sdk/dsp_chunk_list_impl.h"
#include "win/handle.h"

#include <array>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>

namespace player {

enum class play_state {
    stopped,
    playing,
    paused,
    failed, // stopped by a failure, where it was heard last
};

struct play_failure {
    uint64_t slot = 0;  // the DSP that failed; 0: it was something else
    std::string reason; // for the user
};

struct play_status {
    play_state state = play_state::stopped;
    bool has_file = false;
    double position = 0;             // seconds, of what is heard
    double length = 0;               // seconds
    uint32_t rate = 0, channels = 0; // of the file
    bool against_clock = false;      // the last sound went to no device
    bool capture_failed = false;     // the capture file has ended before its time
    uint64_t underruns = 0;          // since the start, those while a DSP started aside
    uint64_t starting = 0;           // the slot whose DSP comes up; 0: none
    uint64_t waiting = 0;            // the slot whose DSP takes unusually long; 0: none
    play_failure failure;            // while failed
};

class playback_engine {
public:
    static constexpr size_t most_meters = 8;

    struct options {
        std::string capture_file; // everything that is heard goes there too; empty: nowhere
        bool no_device = false;   // play against the clock in any case
    };
    // `notify` is called on the audio thread when the state changed; it must return at once. Throws
    // player_error when the capture file cannot be made, exception_win32 when there are no resources.
    playback_engine(const live_chain& chain, stream_capture& capture, chain_runner::maker_t make,
                    std::function<void()> notify, const options& given);
    ~playback_engine(); // after shut_down that returned true
    playback_engine(const playback_engine&) = delete;
    playback_engine& operator=(const playback_engine&) = delete;

    // Main thread; all of these return at once.
    // Stops; null: closes. Throws player_error for the file that the capture is to replace.
    void open(std::unique_ptr<wav_reader> file);
    void play(); // also goes on after a pause or failure
    void pause();
    void stop(); // also breaks off what a DSP hangs in; the DSPs go unless somebody holds them
    void seek(double seconds);
    play_status status() const;
    // Breaks off the run of a DSP that hangs and is not wanted in the chain any more. To be called now and
    // then.
    void give_up_unwanted();
    // The highest sample of each channel since the last call, 1 is full scale; the first ones of many.
    std::array<float, most_meters> take_peaks() noexcept;

    // Ends the thread: breaks off what it waits in, destroys the DSPs there, gives the capture file its name.
    // False when it did not end in time; the object must not be destroyed then.
    bool shut_down(std::chrono::milliseconds limit) noexcept;
    // After that: why the capture is not whole, and where it is; empty when nothing failed.
    const std::string& capture_failure() const noexcept { return capture_failure_; }

private:
    struct orders {
        std::optional<std::unique_ptr<wav_reader>> file;
        std::optional<play_state> state;
        std::optional<double> seek;
        bool quit = false;
    };
    // Sound on its way to be heard.
    struct piece {
        audio_chunk_impl_t chunk;
        uint64_t end = 0;      // in the sink's frames
        uint64_t position = 0; // of the file, when it has been heard
    };

    void give(const std::function<void(orders&)>& change, bool break_off);
    void work() noexcept;
    void run_loop();
    void follow(orders given);
    void follow_state(play_state wanted);
    bool step(); // false: nothing to do for a while
    void produce();
    void write_piece(audio_chunk& from);
    bool ready_for(const audio_chunk& chunk);
    void listen(); // what has been heard since the last time
    void begin_sound();
    void drop_sound();
    void fail(uint64_t slot, const std::string& reason);
    void end_of_file();
    void release_processors();
    void set_state(play_state state);
    void publish();
    void finish_capture() noexcept;
    void wait() const noexcept;

    const live_chain& chain_;
    stream_capture& capture_;
    const std::function<void()> notify_;
    const options options_;
    abort_callback_impl token_; // of the DSP run; reset by the audio thread under the mutex
    win::kernel_handle ordered_;
    std::array<std::atomic<float>, most_meters> peaks_{};

    mutable std::mutex mutex_; // guards what follows
    orders orders_;
    play_status status_;

    // The audio thread's own from here on; the runner tells any thread what is starting.
    chain_runner runner_;
    std::unique_ptr<wav_reader> reader_;
    std::unique_ptr<output_files> capture_files_;
    std::string capture_failure_;
    std::unique_ptr<audio_sink> sink_;
    wav_format sink_format_;
    dsp_chunk_list_impl chunks_; // made by the chain, not yet with the sink
    size_t chunk_frame_ = 0;     // of the first of them
    std::deque<piece> on_the_way_;
    std::vector<audio_chunk_impl_t> spare_;
    play_state state_ = play_state::stopped;
    play_failure failure_;
    uint64_t heard_position_ = 0;
    uint64_t written_ = 0; // sink frames
    bool priming_ = true;  // the sink waits until enough is there
    bool ended_ = false;   // the chain has handed out everything
    bool slow_start_ = false;
    bool against_clock_ = false;
    uint64_t underruns_ = 0;
    std::function<void()> work_; // what the thread runs
    win::kernel_handle thread_;
};

} // namespace player
