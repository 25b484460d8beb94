#include "player/commands/render.h"

#include "player/chain/chain.h"
#include "player/system/paths.h"
#include "player/system/player_error.h"
#include "player/wav/output_files.h"
#include "player/wav/wav_file.h"
#include "sdk/dsp_chunk_list_impl.h"
#include "sdk/exceptions.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <memory>

namespace player {

namespace {

using reader_list = std::vector<std::unique_ptr<wav_reader>>;

uint64_t seek_target(const render_options& options, const wav_reader& first)
{
    if (!options.seek)
        return 0;
    const double frame = std::nearbyint(*options.seek * first.format().rate);
    if (frame > static_cast<double>(first.frame_count()))
        throw player_error(options.inputs.front() +
                           ": ends before the place of --seek; choose an earlier one");
    return static_cast<uint64_t>(frame);
}

// Samples of 32 bits hold more than 32-bit floats carry: effects get them in 64 bits without being told to.
std::vector<chain_item> with_enough_precision(std::vector<chain_item> chain, const reader_list& readers)
{
    if (std::any_of(readers.begin(), readers.end(),
                    [](const auto& reader) { return reader->format().type == sample_type::int32; })) {
        for (chain_item& item : chain)
            item.effect.float64 = true;
    }
    return chain;
}

class run {
public:
    run(const render_options& options, player_host& host, abort_callback& abort,
        const render_progress& progress)
        : options_(options)
        , host_(host)
        , abort_(abort)
        , progress_(progress)
    {
        for (const std::string& input : options.inputs)
            readers_.push_back(std::make_unique<wav_reader>(input));
        seek_to_ = seek_target(options, *readers_.front());
        for (const auto& reader : readers_)
            total_frames_ += reader->frame_count();
        report_.input = readers_.front()->format();
        entries_ = make_chain(with_enough_precision(options.chain, readers_));
        std::vector<std::string> used = options.inputs;
        for (const chain_entry& entry : entries_)
            used.insert(used.end(), {entry.file, entry.state_file});
        chain_ = std::make_unique<dsp_chain>(entries_, options.realtime ? dsp_flag_realtime : 0);
        outputs_ = std::make_unique<output_files>(options.output, std::move(used), report_.input.type);
    }

    render_report play()
    {
        const auto began = std::chrono::steady_clock::now();
        try {
            for (size_t i = 0; i < readers_.size(); ++i)
                play_file(*readers_[i], i + 1 == readers_.size());
            // The end comes as a call of its own: it clears the latency, which is read before.
            step(dsp_flag_end_of_playback);
        } catch (const exception_aborted&) {
            report_.aborted = true;
        }
        const std::chrono::duration<double> took = std::chrono::steady_clock::now() - began;
        chain_.reset(); // no worker lives on while files are renamed
        if (std::ranges::any_of(entries_, [](const chain_entry& entry) { return !entry.state_file.empty(); }))
            host_.let_threads_end(); // which bring what the workers said
        check_states();
        if (!report_.aborted || !path_exists(options_.output)) { // a part does not take a whole one's place
            outputs_->close(report_.input);
            report_.outputs = outputs_->name();
        }
        report_.tail_frames = frames_out_ > report_.input_frames ? frames_out_ - report_.input_frames : 0;
        report_.seconds = took.count();
        report_.speed = took.count() > 0 ? sound_seconds_ / took.count() : 0;
        return std::move(report_);
    }

private:
    void play_file(wav_reader& reader, bool is_last)
    {
        while (reader.position() < reader.frame_count()) {
            read_chunk(reader);
            const bool ends_track = !is_last && reader.position() == reader.frame_count();
            step(ends_track ? dsp_flag_end_of_track : 0);
            report_.latency_seconds = chain_->latency();
            if (options_.seek && !sought_) {
                sought_ = true;
                chain_->flush();
                reader.seek(seek_to_);
            }
            if (progress_ && total_frames_)
                progress_(static_cast<double>(frames_before_ + reader.position()) /
                          static_cast<double>(total_frames_));
        }
        frames_before_ += reader.frame_count();
    }

    void read_chunk(wav_reader& reader)
    {
        const wav_format& format = reader.format();
        audio_chunk& chunk = *chunks_.add_item(size_t{options_.frames} * format.channels);
        chunk.set_data_size(size_t{options_.frames} * format.channels);
        chunk.set_sample_rate(format.rate);
        chunk.set_channels(format.channels, format.mask);
        chunk.set_sample_count(reader.read(chunk.get_data(), options_.frames));
        report_.input_frames += chunk.get_sample_count();
        sound_seconds_ += static_cast<double>(chunk.get_sample_count()) / format.rate;
    }

    // The chunks of the list through the chain and into the output.
    void step(uint32_t flags)
    {
        if (abort_.is_aborting())
            throw exception_aborted();
        chain_->run(chunks_, flags, abort_);
        check_states();
        for (size_t i = 0; i < chunks_.get_count(); ++i) {
            const audio_chunk& chunk = *chunks_.get_item(i);
            if (!chunk.is_valid())
                continue;
            outputs_->write(chunk);
            frames_out_ += chunk.get_sample_count();
        }
        chunks_.remove_all();
    }

    // What an effect makes of sound with its defaults is not what was asked for.
    void check_states() const
    {
        if (host_.refusals().any())
            throw_refused_state(entries_, host_.refusals().first_reason());
    }

    const render_options& options_;
    player_host& host_;
    abort_callback& abort_;
    const render_progress& progress_;
    reader_list readers_;
    std::vector<chain_entry> entries_;
    std::unique_ptr<dsp_chain> chain_;
    std::unique_ptr<output_files> outputs_;
    dsp_chunk_list_impl chunks_;
    render_report report_;
    uint64_t seek_to_ = 0;
    bool sought_ = false;
    uint64_t total_frames_ = 0;
    uint64_t frames_before_ = 0;
    uint64_t frames_out_ = 0;
    double sound_seconds_ = 0;
};

} // namespace

render_report render(const render_options& options, player_host& host, abort_callback& abort,
                     const render_progress& progress)
{
    return run(options, host, abort, progress).play();
}

} // namespace player
