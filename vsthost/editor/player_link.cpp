#include "vsthost/editor/player_link.h"

#include "vsthost/editor/live_audio.h"
#include "vsthost/pipe_client.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr uint32_t largest_piece = 64 * 1024;
constexpr uint32_t most_channels = 256;

} // namespace

void vsthost::player_link::run()
{
    try {
        for (;;)
            read();
    } catch (const pipe_ended&) {
        gone_ = true;
    }
}

void vsthost::player_link::read()
{
    if (live_ == nullptr) {
        pipe_.peek(1);
        pipe_.consume(1);
        return;
    }
    Nv::commandHeader header;
    std::memcpy(&header, pipe_.peek(sizeof header).data(), sizeof header);
    pipe_.consume(sizeof header);
    // What does not belong here is passed over: the editor stays, whatever the player sends.
    if (header.code == Nv::cmdSetFormat)
        on_format(header.byteCount);
    else if (header.code == Nv::cmdProcess)
        on_audio(header.byteCount);
    else
        skip(header.byteCount);
}

void vsthost::player_link::on_format(uint32_t byte_count)
{
    format_ = {};
    if (byte_count == sizeof format_) {
        std::memcpy(&format_, pipe_.peek(sizeof format_).data(), sizeof format_);
        pipe_.consume(sizeof format_);
    } else {
        skip(byte_count);
    }
}

void vsthost::player_link::on_audio(uint32_t byte_count)
{
    const uint32_t channels = format_.inChannels;
    if (channels == 0 || channels > most_channels)
        return skip(byte_count);
    const uint32_t frame = channels * Nv::bytesPerSample;
    const uint32_t piece = largest_piece / frame * frame;
    uint32_t left = byte_count;
    while (left >= frame) {
        const uint32_t now = std::min(left / frame * frame, piece);
        const auto* const samples = reinterpret_cast<const double*>(pipe_.peek(now).data());
        live_->put(format_, {samples, now / sizeof(double)});
        pipe_.consume(now);
        left -= now;
    }
    skip(left);
}

void vsthost::player_link::skip(uint32_t byte_count)
{
    while (byte_count != 0) {
        const uint32_t now = std::min(byte_count, largest_piece);
        pipe_.peek(now);
        pipe_.consume(now);
        byte_count -= now;
    }
}
