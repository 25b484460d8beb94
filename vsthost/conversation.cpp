#include "vsthost/conversation.h"

#include "vsthost/exit_codes.h"
#include "vsthost/gui_loop.h"
#include "vsthost/pipe_client.h"
#include "vsthost/process_shell.h"
#include "vsthost/report.h"

#include <cstring>
#include <utility>
#include <vector>

namespace {

constexpr uint32_t largest_payload = 256u * 1024 * 1024; // also of an answer
constexpr uint32_t lowest_rate = 1000;                   // Hz
constexpr uint32_t highest_rate = 20000000;
constexpr uint32_t most_channels = 256;
constexpr uint32_t most_inputs = 32; // that a player takes in a reply
// In ms, for the line that says why: the player that gets the answer may end this process at once.
constexpr unsigned refusal_limit = 500;

[[noreturn]] void violation(const std::string& what)
{
    throw vsthost::fatal_error(vsthost::exit_code::protocol, "the player sent " + what);
}

void expect(uint32_t byte_count, uint32_t wanted, const char* command)
{
    if (byte_count != wanted)
        violation(std::string(command) + " with " + std::to_string(byte_count) + " bytes instead of " +
                  std::to_string(wanted));
}

std::string channels(uint32_t in, uint32_t out)
{
    return std::to_string(in) + " in, " + std::to_string(out) + " out";
}

} // namespace

vsthost::conversation::conversation(pipe_client& pipe, gui_loop& gui, const std::unique_ptr<effect>& loaded)
    : pipe_(pipe)
    , gui_(gui)
    , effect_(loaded)
{
}

void vsthost::conversation::run()
{
    for (;;) {
        Nv::commandHeader header;
        std::memcpy(&header, pipe_.peek(sizeof header).data(), sizeof header);
        pipe_.consume(sizeof header);
        if (header.byteCount > largest_payload)
            violation("a command with " + std::to_string(header.byteCount) +
                      " bytes; at most 256 MiB are taken");
        switch (header.code) {
        case Nv::cmdProcess:
            on_process(header.byteCount);
            break;
        case Nv::cmdSetState:
            on_set_state(header.byteCount);
            break;
        case Nv::cmdSetFormat:
            on_set_format(header.byteCount);
            break;
        case Nv::cmdDrainTail:
            on_drain_tail(header.byteCount);
            break;
        case Nv::cmdReset:
            on_reset(header.byteCount);
            break;
        default:
            violation("an unknown command (" + std::to_string(header.code) + ")");
        }
    }
}

void vsthost::conversation::on_process(uint32_t byte_count)
{
    if (!streaming_)
        violation("audio before a format was agreed");
    const size_t in_channels = runner_->in().channels;
    const size_t frame = in_channels * Nv::bytesPerSample;
    if (byte_count % frame != 0)
        violation("audio that does not end with a whole frame");
    if (effect_->wants_attention())
        gui_.call(pipe_, [this] { effect_->attend(); });

    const size_t frames = byte_count / frame;
    const uint64_t answer_bytes = uint64_t{frames} * runner_->out().channels * Nv::bytesPerSample;
    if (answer_bytes > largest_payload)
        violation("audio whose answer has " + std::to_string(answer_bytes) +
                  " bytes; at most 256 MiB are given");
    const auto out_bytes = static_cast<size_t>(answer_bytes);
    const size_t total = out_bytes + sizeof(uint32_t);
    // Read before there is memory for its answer: nothing grows by a mere announcement.
    const auto* const in = reinterpret_cast<const double*>(pipe_.peek(byte_count).data());
    if (reply_capacity_ < total) {
        reply_.reset();
        reply_capacity_ = 0;
        reply_ = std::make_unique_for_overwrite<std::byte[]>(total);
        reply_capacity_ = total;
    }
    runner_->process(in, reinterpret_cast<double*>(reply_.get()), frames);
    pipe_.consume(byte_count);
    const uint32_t latency = effect_->latency();
    std::memcpy(reply_.get() + out_bytes, &latency, sizeof latency);
    pipe_.write({reply_.get(), total});
}

void vsthost::conversation::on_set_state(uint32_t byte_count)
{
    const std::span<const std::byte> bytes = pipe_.peek(byte_count);
    // A copy: the pipe is read on while the job runs.
    const auto* const first = reinterpret_cast<const uint8_t*>(bytes.data());
    const std::vector<uint8_t> state(first, first + bytes.size());
    pipe_.consume(byte_count);
    gui_.call(pipe_, [&] {
        effect_->set_state(state);
        effect_->attend();
    });
    // What is said of the first one is out before any sound, behind which the player may end this program.
    if (!std::exchange(state_given_, true))
        flush_reports(refusal_limit);
}

void vsthost::conversation::on_set_format(uint32_t byte_count)
{
    Nv::streamFormat wanted;
    expect(byte_count, sizeof wanted, "a format");
    std::memcpy(&wanted, pipe_.peek(sizeof wanted).data(), sizeof wanted);
    pipe_.consume(sizeof wanted);
    streaming_ = false;
    const Nv::streamFormat reply = answer(wanted);
    tell_format(wanted, reply);
    pipe_.write(std::as_bytes(std::span(&reply, 1)));
}

// The reply holds what will be on the pipe, or, when that cannot be what is wanted, what the effect would
// take.
Nv::streamFormat vsthost::conversation::answer(const Nv::streamFormat& wanted)
{
    if (wanted.sampleRate < lowest_rate || wanted.sampleRate > highest_rate)
        return {};
    const bus_pair request{{wanted.inChannels, wanted.inChannelMask},
                           {wanted.outChannels, wanted.outChannelMask}};
    if (request.in.channels == 0 || request.in.channels > most_channels ||
        request.out.channels > most_channels)
        return {wanted.sampleRate, 0, 0, 0, 0};

    bus_pair own;
    gui_.call(pipe_, [&] {
        own = effect_->prepare(wanted.sampleRate, request);
        effect_->attend();
    });
    Nv::streamFormat reply{wanted.sampleRate, own.in.channels, own.in.mask, own.out.channels, own.out.mask};
    if (fit(request, own) == 0)
        return reply;
    reply.inChannels = request.in.channels;
    reply.inChannelMask = request.in.mask;
    // An effect that knows only one of "back" and "side" got the other's samples; the player gets its own
    // name.
    if (own.out.channels == request.out.channels)
        reply.outChannelMask = request.out.mask;
    if (!runner_)
        runner_.emplace(*effect_);
    runner_->configure(wanted.sampleRate, request.in, {reply.outChannels, reply.outChannelMask});
    streaming_ = true;
    return reply;
}

void vsthost::conversation::tell_format(const Nv::streamFormat& wanted, const Nv::streamFormat& reply)
{
    if (reply.sampleRate == 0) {
        report("a sample rate of " + std::to_string(wanted.sampleRate) + " Hz is not supported");
        return;
    }
    if (!streaming_) {
        std::string line = "the effect does not take " + std::to_string(wanted.inChannels) + " channels";
        if (reply.inChannels != 0)
            line += "; it takes " + channels(reply.inChannels, reply.outChannels) +
                    (reply.inChannels > most_inputs ? ", and no player has more than 32 inputs" : "");
        else if (reply.outChannels != 0)
            line += ": it has no audio input (an instrument?)";
        else
            line += ": it has no audio input and output";
        report(line);
        flush_reports(refusal_limit);
        return;
    }
    if (introduced_)
        return;
    introduced_ = true;
    const effect_info about = effect_->info();
    const uint32_t latency = effect_->latency();
    report("qvxVSTHost" QVX_BITS_TEXT " " QVX_VERSION ": " + about.name +
           (about.vendor.empty() ? "" : " by " + about.vendor) + ", " + about.format + ", " +
           std::to_string(reply.sampleRate) + " Hz, " + channels(reply.inChannels, reply.outChannels) + ", " +
           (about.is_double ? "64" : "32") + "-bit samples" +
           (latency == 0 ? "" : ", latency " + std::to_string(latency)) + ", from " + about.module);
}

void vsthost::conversation::on_drain_tail(uint32_t byte_count)
{
    expect(byte_count, 0, "a drain");
    std::vector<double> tail;
    if (streaming_) {
        tail_length length;
        gui_.call(pipe_, [&] {
            effect_->attend();
            length = effect_->tail();
        });
        tail = runner_->drain(length);
    }
    const auto bytes = static_cast<uint32_t>(tail.size() * sizeof(double));
    std::vector<std::byte> reply(sizeof bytes + bytes);
    std::memcpy(reply.data(), &bytes, sizeof bytes);
    if (bytes != 0)
        std::memcpy(reply.data() + sizeof bytes, tail.data(), bytes);
    pipe_.write(reply);
}

void vsthost::conversation::on_reset(uint32_t byte_count)
{
    expect(byte_count, 0, "a reset");
    if (streaming_)
        gui_.call(pipe_, [this] { effect_->reset(); });
}
