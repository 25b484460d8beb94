#pragma once
// The DSP of one VST effect: a worker process runs the effect, and every chunk goes through its pipe.
//
// Life: created without a worker. The first chunk starts the worker, sends it the effect's state and agrees
// on a format; equal chunks then only cost the exchange itself. A flush makes the next chunk begin with
// reset, state and format. A changed input format ends the old stream (tail, when wanted) and begins a new
// one on the same worker. Destruction kills the worker.
//
// Used by one thread at a time, without a lock. Every wait on the pipe gives up when the run's token aborts.

#include "catalogue/vstConfig.h"
#include "dsp/streamNegotiation.h"
#include "sdk/dsp_impl_base.h"
#include "worker/winPipeServerLite.h"
#include "worker/workerProcess.h"

#include <span>

class dsp_vst : public dsp_impl_base_t<dsp_v3> {
public:
    using service_interface = dsp_v3;

    // Throws exception_io_data when the preset is not one of ours. `flags`: dsp_flag_realtime.
    dsp_vst(const dsp_preset& preset, uint32_t flags);
    ~dsp_vst();

    void flush() override;
    double get_latency() const override { return latencySeconds_; }
    bool need_track_change_mark() const override { return false; }
    // Takes over another state of the same effect (same path); it reaches the worker with the next chunk.
    // Deliberately no new format exchange: an output override counts from the next change of the input format
    // on.
    bool apply_preset(const dsp_preset& preset) override;

    // What the DSP entry is made of.
    static guid_t g_get_guid() noexcept { return vstPresetOwner; }
    static void g_get_name(string_out& out);
    static bool g_get_default_preset(dsp_preset& out);
    static void g_get_display_name(const dsp_preset& preset, string_out& out);
    static bool g_show_config_popup(dsp_preset& preset, void* parent_window);
    static void g_show_config_popup_v2(const dsp_preset& preset, void* parent_window,
                                       dsp_preset_edit_callback& callback);
    static void g_show_config_popup_v3(service_ptr_t<service_base>& dialog, void* parent_window,
                                       dsp_preset_edit_callback_v2& callback);

protected:
    void on_end_of_track(abort_callback&) override {}
    void on_end_of_playback(abort_callback& abort) override;
    bool on_chunk(audio_chunk& chunk, abort_callback& abort) override;

private:
    template <class Work>
    void converse(abort_callback& abort, const Work& work);
    void beginStream(const audioFormat& input, abort_callback& abort);
    void startProcess();
    void negotiate(const audioFormat& input, abort_callback& abort);
    void processChunk(audio_chunk& chunk);
    void exchangeChunk(const audio_chunk& chunk, uint64_t inBytes, uint64_t outBytes);
    [[noreturn]] void reportFailedExchange();
    void drainTail();
    void readTail(uint64_t tailBytes);
    void endWorker() noexcept;

    std::span<const uint8_t> pack(Nv::command code, const void* payload, uint64_t byteCount);
    void send(Nv::command code, const void* payload, uint64_t byteCount);
    void growIoBuffer(uint64_t byteCount);

    Nv::winPipeServerLite pipe_;
    std::shared_ptr<Nv::workerProcess> worker_; // kept when it has died: later chunks then fail the same way
    audioFormat input_;                         // agreed with the worker; all 0: none
    audioFormat workerOutput_;
    audioFormat output_;
    bool resetPending_ = false;
    std::vector<uint8_t> ioBuffer_;   // replies; grows, never shrinks
    std::vector<uint8_t> sendBuffer_; // a command and its payload, so that both leave in one write
    vstConfig_t config_;
    bool statePending_ = false;
    bool conversationBegun_ = false; // bytes of an exchange may be on their way
    double latencySeconds_ = 0.0;
    uint64_t serial_; // unique among all instances of the process
    uint32_t realtime_;
};
