#include "dsp/dsp_vst.h"

#include "catalogue/settings.h"
#include "dsp/vstAudioListener.h"
#include "worker/abort.h"
#include "worker/exceptions.h"
#include "worker/startWorker.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstring>
#include <stdexcept>

namespace {

std::atomic<uint64_t> instance_counter{0};

constexpr size_t initialBufferSize = 16384;
constexpr double exitWaitSeconds = 1.0;

// A tail is as long as the worker says; it is read in pieces, and refused beyond what a sane effect can ring.
constexpr uint64_t tailPiece = 0x1000000;
constexpr uint64_t tailLimit = sizeof(void*) == 8 ? uint64_t{1} << 30 : uint64_t{1} << 28;

} // namespace

dsp_vst::dsp_vst(const dsp_preset& preset, uint32_t flags)
    : config_(vstConfigFromPreset(preset))
    , serial_(instance_counter++)
    , realtime_(flags)
{
    if (!config_.path.empty())
        ioBuffer_.resize(initialBufferSize);
}

dsp_vst::~dsp_vst()
{
    endWorker();
}

// Killed, not asked: it holds nothing that has to be saved.
void dsp_vst::endWorker() noexcept
{
    pipe_.closePipe();
    if (!worker_)
        worker_ = pipe_.worker; // started, but never connected
    if (worker_)
        worker_->terminate();
    worker_.reset();
    pipe_.worker.reset();
    conversationBegun_ = false;
}

void dsp_vst::flush()
{
    resetPending_ = true;
    latencySeconds_ = 0.0;
    input_ = {};
}

bool dsp_vst::apply_preset(const dsp_preset& preset)
{
    if (!(preset.get_owner() == vstPresetOwner))
        return false;
    vstConfig_t changed = vstConfigFromPreset(preset);
    if (!sameEffect(changed, config_))
        return false;
    config_ = std::move(changed);
    statePending_ = true;
    return true;
}

// Runs a hook's work under the run's token. A conversation that an abort cut in its middle cannot go on,
// since the rest of the old reply would be taken for the next one: its worker goes, and the next chunk starts
// another.
template <class Work>
void dsp_vst::converse(abort_callback& abort, const Work& work)
{
    conversationBegun_ = false;
    try {
        Nv::runWithHostAbort(abort, work);
    } catch (const exception_aborted&) {
        if (conversationBegun_)
            endWorker();
        throw;
    }
}

bool dsp_vst::on_chunk(audio_chunk& chunk, abort_callback& abort)
{
    converse(abort, [&] {
        if (config_.path.empty())
            return;
        feedAudioListener(config_.path, chunk, serial_);
        beginStream({chunk.get_sample_rate(), chunk.get_channel_count(), chunk.get_channel_config()}, abort);
        processChunk(chunk);
    });
    return true;
}

void dsp_vst::on_end_of_playback(abort_callback& abort)
{
    converse(abort, [&] { drainTail(); });
}

void dsp_vst::beginStream(const audioFormat& input, abort_callback& abort)
{
    if (worker_ && input != input_)
        drainTail();
    if (resetPending_) {
        // Cleared only after the send: a reset that failed is still owed.
        if (worker_)
            send(Nv::cmdReset, nullptr, 0);
        input_ = {};
        latencySeconds_ = 0.0;
        resetPending_ = false;
        statePending_ = true;
    }
    if (!worker_) {
        input_ = {};
        startProcess();
        statePending_ = true;
    }
    if (statePending_) {
        send(Nv::cmdSetState, config_.state.data(), config_.state.size());
        statePending_ = false;
    }
    if (input != input_)
        negotiate(input, abort);
}

void dsp_vst::startProcess()
{
    try {
        Nv::startWorker(pipe_, config_, Nv::modeProcess, Nv::processOptions(config_, realtime_));
    } catch (const Nv::file_not_found& failure) {
        Nv::tellFailedStart("VST: ", config_, failure);
        endWorker();
        throw;
    } catch (...) {
        // A worker that never opened its pipe would otherwise stay, held by the relay of its standard error.
        endWorker();
        throw;
    }
    worker_ = pipe_.worker;
}

void dsp_vst::negotiate(const audioFormat& input, abort_callback& abort)
{
    input_ = {};
    const Nv::streamFormat request = makeFormatRequest(input, config_.outputChannelMask);
    Nv::streamFormat reply = {};
    try {
        send(Nv::cmdSetFormat, &request, sizeof(request));
        pipe_.readExact(&reply, sizeof(reply));
    } catch (...) {
        // The token decides, not the exception: a pipe may break because the player goes down.
        if (abort.is_aborting())
            throw exception_aborted();
        throw std::runtime_error("Could not negotiate VST audio format");
    }
    const negotiatedFormat agreed = acceptFormatReply(input, reply, config_.outputChannelMask);
    input_ = input;
    workerOutput_ = agreed.worker;
    output_ = agreed.output;
}

void dsp_vst::processChunk(audio_chunk& chunk)
{
    const size_t frames = chunk.get_sample_count();
    const uint64_t inBytes = uint64_t{frames} * input_.channels * Nv::bytesPerSample;
    const uint64_t outBytes = uint64_t{frames} * workerOutput_.channels * Nv::bytesPerSample;
    const uint64_t chunkBytes = uint64_t{frames} * output_.channels * Nv::bytesPerSample;
    // Tested before anything is sized. The frames for themselves: the products of more could wrap.
    const bool fits = frames <= UINT32_MAX && inBytes <= UINT32_MAX &&
                      std::max(outBytes, chunkBytes) <= SIZE_MAX / 2 - sizeof(uint32_t);
    if (fits)
        growIoBuffer(std::max(inBytes, outBytes + sizeof(uint32_t)));
    try {
        if (!fits)
            throw Nv::invalid_input();
        exchangeChunk(chunk, inBytes, outBytes);
    } catch (const Nv::user_abort&) {
        throw;
    } catch (...) {
        reportFailedExchange();
    }

    chunk.set_data_size(frames * output_.channels);
    chunk.set_sample_rate(output_.rate);
    chunk.set_channels(output_.channels, output_.mask);
    chunk.set_sample_count(frames);
    remapChannels(chunk.get_data(), output_.channels, ioBuffer_.data(), workerOutput_.channels, frames);
}

// Leaves the worker's frames in ioBuffer_; the chunk is not touched.
void dsp_vst::exchangeChunk(const audio_chunk& chunk, uint64_t inBytes, uint64_t outBytes)
{
    uint32_t latency = 0;
    const std::span<const uint8_t> command = pack(Nv::cmdProcess, chunk.get_data(), inBytes);
    conversationBegun_ = true;
    // Audio and latency come in one read.
    pipe_.exchange(command.data(), command.size(), ioBuffer_.data(), outBytes + sizeof(latency));
    std::memcpy(&latency, ioBuffer_.data() + outBytes, sizeof(latency));
    latencySeconds_ = static_cast<double>(latency) / input_.rate;
}

void dsp_vst::reportFailedExchange()
{
    if (!worker_->waitForExitSeconds(exitWaitSeconds))
        throw std::runtime_error("VST error");
    char code[16];
    std::snprintf(code, sizeof(code), "0x%X", static_cast<unsigned>(worker_->exitCode()));
    throw std::runtime_error(std::string("VST worker terminated: ") + code);
}

void dsp_vst::drainTail()
{
    if (!worker_ || input_.channels < 1 || input_.channels > 256 || input_.rate < 1000 ||
        input_.rate > 20000000)
        return;
    if (!cfg_process_tail.get()) {
        flush();
        return;
    }
    send(Nv::cmdDrainTail, nullptr, 0);
    const uint64_t tailBytes = pipe_.readWord();
    if (tailBytes == 0)
        return; // deliberately no flush: the stream stays agreed
    readTail(tailBytes);

    // In the input's layout, also where the effect's output has another.
    const size_t frames = static_cast<size_t>(tailBytes) / (input_.channels * sizeof(double));
    const size_t samples = frames * input_.channels;
    audio_chunk& tail = insert_chunk(samples);
    tail.set_sample_rate(input_.rate);
    tail.set_channels(input_.channels, input_.mask);
    tail.set_data_size(samples);
    if (samples)
        std::memcpy(tail.get_data(), ioBuffer_.data(), samples * sizeof(double));
    tail.set_sample_count(frames);
    flush();
}

// Leaves the tail in ioBuffer_. When it is not read to its end, the rest lies where the next reply would be
// looked for: the conversation cannot go on, so the pipe goes.
void dsp_vst::readTail(uint64_t tailBytes)
{
    try {
        if (tailBytes > tailLimit)
            throw Nv::invalid_input();
        for (uint64_t done = 0; done < tailBytes;) {
            const uint64_t piece = std::min(tailBytes - done, tailPiece);
            growIoBuffer(done + piece);
            pipe_.readExact(ioBuffer_.data() + done, piece);
            done += piece;
        }
    } catch (...) {
        pipe_.closePipe();
        throw;
    }
}

// The command as it travels; valid until the next one.
std::span<const uint8_t> dsp_vst::pack(Nv::command code, const void* payload, uint64_t byteCount)
{
    if (byteCount > UINT32_MAX)
        throw Nv::invalid_input();
    const Nv::commandHeader header = {code, static_cast<uint32_t>(byteCount)};
    const uint64_t total = sizeof(header) + byteCount;
    if (total > SIZE_MAX / 2)
        throw Nv::invalid_input();
    if (sendBuffer_.size() < total)
        sendBuffer_.resize(static_cast<size_t>(total));
    std::memcpy(sendBuffer_.data(), &header, sizeof(header));
    if (byteCount)
        std::memcpy(sendBuffer_.data() + sizeof(header), payload, static_cast<size_t>(byteCount));
    return {sendBuffer_.data(), static_cast<size_t>(total)};
}

void dsp_vst::send(Nv::command code, const void* payload, uint64_t byteCount)
{
    const std::span<const uint8_t> command = pack(code, payload, byteCount);
    // Before the first byte of a conversation an abort does no harm to it; after it, it does.
    if (!conversationBegun_)
        Nv::throwIfAborted();
    conversationBegun_ = true;
    pipe_.write(command.data(), command.size());
}

void dsp_vst::growIoBuffer(uint64_t byteCount)
{
    if (ioBuffer_.size() < byteCount)
        ioBuffer_.resize(static_cast<size_t>(byteCount));
}
