// The audio thread's side of the engine: everything here runs there and nowhere else.

#include "player/playback/playback_engine.h"

#include "player/system/player_error.h"
#include "sdk/console.h"
#include "sdk/exceptions.h"

#include <algorithm>
#include <cmath>

namespace player {

namespace {

constexpr uint32_t pieces_per_second = 50;
constexpr DWORD look_again_ms = 10; // at what was heard, while it plays

bool has_format(const audio_chunk& chunk, const wav_format& format) noexcept
{
    return chunk.get_sample_rate() == format.rate && chunk.get_channel_count() == format.channels &&
           chunk.get_channel_config() == format.mask;
}

} // namespace

void playback_engine::work() noexcept
{
    try {
        run_loop();
    } catch (const std::exception& error) {
        // Out of memory at worst: the player stays, silent, and says so.
        fail(0, error.what());
    }
    sink_.reset();
    finish_capture();
    runner_.release();
}

void playback_engine::run_loop()
{
    for (;;) {
        orders given;
        {
            const std::lock_guard lock(mutex_);
            given = std::exchange(orders_, {});
            if (!given.quit)
                token_.reset();
        }
        if (given.quit)
            return;
        follow(std::move(given));
        listen();
        if (state_ != play_state::playing || !step())
            wait();
    }
}

void playback_engine::wait() const noexcept
{
    const HANDLE events[] = {ordered_.get(), sink_ ? sink_->event() : nullptr};
    const bool plays = state_ == play_state::playing;
    WaitForMultipleObjects(plays && events[1] ? 2 : 1, events, FALSE, plays ? look_again_ms : INFINITE);
}

void playback_engine::follow(orders given)
{
    if (given.file) {
        drop_sound();
        reader_ = std::move(*given.file);
        heard_position_ = 0;
        if (reader_ && capture_files_)
            capture_files_->add_used(reader_->path());
    }
    if (given.seek && reader_) {
        drop_sound();
        runner_.flush();
        const double frame = std::max(*given.seek, 0.0) * reader_->format().rate;
        reader_->seek(static_cast<uint64_t>(std::min(frame, static_cast<double>(reader_->frame_count()))));
        heard_position_ = reader_->position();
    }
    if (given.state)
        follow_state(*given.state);
    if (given.file || given.seek || given.state)
        publish();
}

void playback_engine::follow_state(play_state wanted)
{
    if (wanted == play_state::playing) {
        if (!reader_ || state_ == play_state::playing)
            return;
        if (sink_ && !priming_)
            sink_->pause(false);
    } else if (wanted == play_state::paused) {
        if (state_ != play_state::playing)
            return;
        if (sink_)
            sink_->pause(true);
    } else {
        // Whoever was told to stop does not wait for the sound that is on its way.
        drop_sound();
        sink_.reset();
        release_processors();
    }
    set_state(wanted);
}

void playback_engine::release_processors()
{
    if (*chain_.holders() > 0)
        runner_.flush();
    else
        runner_.release();
}

void playback_engine::drop_sound()
{
    if (sink_) {
        sink_->pause(true);
        sink_->discard();
    }
    for (piece& each : on_the_way_)
        spare_.push_back(std::move(each.chunk));
    on_the_way_.clear();
    chunks_.remove_all();
    chunk_frame_ = 0;
    written_ = 0;
    priming_ = true;
    ended_ = false;
}

bool playback_engine::step()
try {
    // Dry on purpose at the end, and before a format that the sink does not have.
    const bool next_is_other = chunks_.get_count() != 0 && !has_format(*chunks_.get_item(0), sink_format_);
    if (sink_ && !priming_ && !ended_ && !next_is_other && sink_->is_dry()) {
        underruns_ += !slow_start_;
        sink_->pause(true);
        priming_ = true;
    }
    if (chunks_.get_count() != 0) {
        audio_chunk& next = *chunks_.get_item(0);
        if (!ready_for(next))
            return false;
        write_piece(next);
        return true;
    }
    if (ended_) {
        begin_sound();
        if (!sink_ || sink_->is_dry())
            end_of_file();
        return false;
    }
    if (sink_ && !sink_->wants_more()) {
        begin_sound();
        return false;
    }
    produce();
    return true;
} catch (const exception_aborted&) {
    // An order is there. What a DSP was in the middle of cannot go on.
    runner_.release();
    return true;
} catch (const dsp_failure& failure) {
    fail(failure.slot, failure.what());
    return true;
} catch (const std::exception& error) {
    fail(0, error.what());
    return true;
}

void playback_engine::produce()
{
    const wav_format& format = reader_->format();
    const uint64_t before = reader_->position();
    const auto frames = static_cast<size_t>(std::max<uint32_t>(format.rate / pieces_per_second, 1));
    chunks_.remove_all();
    chunk_frame_ = 0;
    const bool at_end = before == reader_->frame_count();
    if (!at_end) {
        audio_chunk& chunk = *chunks_.add_item(frames * format.channels);
        chunk.set_data_size(frames * format.channels);
        chunk.set_sample_rate(format.rate);
        chunk.set_channels(format.channels, format.mask);
        chunk.set_sample_count(reader_->read(chunk.get_data(), frames));
    }
    slow_start_ = true; // unless the run comes back and says otherwise
    try {
        runner_.run(chunks_, at_end ? dsp_flag_end_of_playback : 0, token_);
    } catch (...) {
        chunks_.remove_all();
        reader_->seek(before);
        throw;
    }
    slow_start_ = runner_.had_fresh();
    ended_ = at_end;
    for (size_t i = 0; i < chunks_.get_count();) {
        if (chunks_.get_item(i)->is_valid())
            ++i;
        else
            chunks_.remove_by_index(i);
    }
}

// Opens the sink for the chunk's format, once all sound of another format was heard.
bool playback_engine::ready_for(const audio_chunk& chunk)
{
    if (sink_ && !has_format(chunk, sink_format_)) {
        begin_sound();
        if (!sink_->is_dry())
            return false;
        listen();
        sink_.reset();
    }
    if (!sink_) {
        const uint32_t rate = chunk.get_sample_rate(), channels = chunk.get_channel_count();
        if (!options_.no_device)
            sink_ = open_device_sink(rate, channels, chunk.get_channel_config());
        if (!sink_)
            sink_ = make_clock_sink(rate);
        sink_format_ = {sample_type::float32, rate, channels, chunk.get_channel_config()};
        against_clock_ = !sink_->is_device();
        written_ = 0;
        priming_ = true;
        publish();
    }
    if (sink_->wants_more())
        return true;
    begin_sound();
    return false;
}

void playback_engine::write_piece(audio_chunk& from)
{
    const size_t channels = from.get_channel_count();
    const size_t most = std::max<size_t>(from.get_sample_rate() / pieces_per_second, 1);
    const size_t frames = std::min(most, from.get_sample_count() - chunk_frame_);
    piece next;
    if (!spare_.empty()) {
        next.chunk = std::move(spare_.back());
        spare_.pop_back();
    }
    next.chunk.set_data_size(frames * channels);
    next.chunk.set_sample_rate(from.get_sample_rate());
    next.chunk.set_channels(from.get_channel_count(), from.get_channel_config());
    next.chunk.set_sample_count(frames);
    std::copy_n(from.get_data() + chunk_frame_ * channels, frames * channels, next.chunk.get_data());
    next.position = reader_->position();
    next.end = written_ += frames;
    on_the_way_.push_back(std::move(next));
    try {
        sink_->write(on_the_way_.back().chunk);
    } catch (const player_error& error) {
        console::print(std::string(error.what()) + "; until then it goes on in silence");
        drop_sound();
        sink_ = make_clock_sink(sink_format_.rate);
        against_clock_ = true;
        publish();
        return;
    }
    chunk_frame_ += frames;
    if (chunk_frame_ == from.get_sample_count()) {
        chunks_.remove_by_index(0);
        chunk_frame_ = 0;
    }
}

void playback_engine::begin_sound()
{
    if (!sink_ || !priming_)
        return;
    priming_ = false;
    sink_->pause(false);
}

void playback_engine::listen()
{
    if (!sink_ || on_the_way_.empty())
        return;
    const uint64_t heard = sink_->heard();
    bool any = false;
    while (!on_the_way_.empty() && on_the_way_.front().end <= heard) {
        piece& first = on_the_way_.front();
        capture_.feed(first.chunk);
        if (capture_files_) {
            try {
                capture_files_->write(first.chunk);
            } catch (const std::exception& error) {
                capture_failure_ = error.what();
                finish_capture();
            }
        }
        const size_t channels = first.chunk.get_channel_count();
        for (size_t channel = 0; channel < std::min(channels, most_meters); ++channel) {
            double peak = peaks_[channel];
            for (size_t i = channel; i < first.chunk.get_used_size(); i += channels)
                peak = std::max(peak, std::fabs(first.chunk.get_data()[i]));
            peaks_[channel] = static_cast<float>(peak);
        }
        heard_position_ = first.position;
        spare_.push_back(std::move(first.chunk));
        on_the_way_.pop_front();
        any = true;
    }
    if (any)
        publish();
}

void playback_engine::fail(uint64_t slot, const std::string& reason)
{
    // What is on its way is not heard any more: it goes on from there.
    drop_sound();
    sink_.reset();
    runner_.flush();
    if (reader_) {
        try {
            reader_->seek(heard_position_);
        } catch (const std::exception&) {
            // The first failure is the one to tell.
        }
    }
    failure_ = {slot, reason};
    set_state(play_state::failed);
    publish();
}

void playback_engine::end_of_file()
{
    listen();
    drop_sound();
    reader_->seek(0);
    heard_position_ = 0;
    release_processors();
    sink_.reset();
    set_state(play_state::stopped);
    publish();
}

void playback_engine::set_state(play_state state)
{
    state_ = state;
    if (state != play_state::failed)
        failure_ = {};
}

void playback_engine::publish()
{
    bool changed;
    {
        const std::lock_guard lock(mutex_);
        changed = status_.state != state_ || status_.has_file != (reader_ != nullptr) ||
                  status_.against_clock != against_clock_ ||
                  status_.capture_failed == capture_failure_.empty();
        status_.state = state_;
        status_.has_file = reader_ != nullptr;
        status_.rate = reader_ ? reader_->format().rate : 0;
        status_.channels = reader_ ? reader_->format().channels : 0;
        const double rate = reader_ ? reader_->format().rate : 1;
        status_.position = static_cast<double>(heard_position_) / rate;
        status_.length = reader_ ? static_cast<double>(reader_->frame_count()) / rate : 0;
        status_.against_clock = against_clock_;
        status_.capture_failed = !capture_failure_.empty();
        status_.underruns = underruns_;
        status_.failure = failure_;
    }
    if (changed)
        notify_();
}

// At the end, or after a failure: what was written before that is kept.
void playback_engine::finish_capture() noexcept
try {
    const auto files = std::move(capture_files_);
    if (!files)
        return;
    const auto attempt = [&](auto&& act) {
        try {
            act();
        } catch (const std::exception& error) {
            capture_failure_ += (capture_failure_.empty() ? "" : "; ") + std::string(error.what());
        }
    };
    std::string kept;
    attempt([&] { files->close({sample_type::float32, 44100, 2, 3}); });
    attempt([&] {
        for (const rendered_file& file : files->name())
            kept += (kept.empty() ? "" : ", ") + file.path;
    });
    if (capture_failure_.empty())
        return;
    if (!kept.empty())
        capture_failure_ += "; what was heard before that is in " + kept;
    console::print(capture_failure_);
} catch (const std::exception&) {
    // There is no console any more, or no memory.
}

} // namespace player
