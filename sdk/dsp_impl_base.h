#pragma once
#include "sdk/abort_callback_impl.h"
#include "sdk/dsp.h"

#include <stdexcept>

// Drives a DSP: walks the chunk list of each run and calls the three hooks, on the thread of the run. What a
// hook throws leaves the run; chunks after the current one are then unprocessed. `interface_t` is dsp_v3.
template <class interface_t>
class dsp_impl_base_t : public interface_t {
public:
    void run(dsp_chunk_list& chunks, service_base* track, uint32_t flags) final
    {
        run_abortable(chunks, track, flags, abort_callback_never());
    }

    void run_abortable(dsp_chunk_list& chunks, service_base* track, uint32_t flags,
                       abort_callback& abort) final
    {
        const run_scope scope(*this, chunks, track);
        while (index_ < chunks.get_count()) {
            audio_chunk& chunk = *chunks.get_item(index_);
            // on_chunk may insert in front; index_ then still names this chunk.
            if (chunk.is_valid() && on_chunk(chunk, abort))
                ++index_;
            else
                chunks.remove_by_index(index_);
        }
        if (flags & dsp_flag_end_of_playback)
            on_end_of_playback(abort);
        else if ((flags & dsp_flag_end_of_track) && this->need_track_change_mark())
            on_end_of_track(abort);
    }

protected:
    dsp_impl_base_t() = default;
    ~dsp_impl_base_t() = default;

    virtual void on_end_of_track(abort_callback& abort) = 0;
    // The list is at its end; what insert_chunk makes comes last.
    virtual void on_end_of_playback(abort_callback& abort) = 0;
    // False drops the chunk.
    virtual bool on_chunk(audio_chunk& chunk, abort_callback& abort) = 0;

    // A new chunk before the current one, which stays current. Only inside a hook.
    audio_chunk& insert_chunk(size_t hint_size)
    {
        if (!chunks_)
            throw std::logic_error("insert_chunk outside of a run");
        return *chunks_->insert_item(index_++, hint_size);
    }

private:
    // The base knows list and track only while it runs, also when a hook throws.
    struct run_scope {
        run_scope(dsp_impl_base_t& owner, dsp_chunk_list& chunks, service_base* track)
            : owner_(owner)
        {
            owner_.chunks_ = &chunks;
            owner_.index_ = 0;
            owner_.track_ = track;
        }
        ~run_scope()
        {
            owner_.chunks_ = nullptr;
            owner_.index_ = 0;
        }
        dsp_impl_base_t& owner_;
    };

    dsp_chunk_list* chunks_ = nullptr;
    size_t index_ = 0;
    service_ptr_t<service_base> track_; // of the last run
};
