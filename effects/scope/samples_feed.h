#pragma once
// The last second or so of two channels, on its way from the audio thread to a picture. One writer that never
// waits, one reader that takes what it finds: a read that the writer overtakes shows a seam, nothing worse.

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace scope {

class samples_feed {
public:
    static constexpr std::size_t channels = 2;

    // Nothing is written while nobody watches. Each picture says so once when it opens and once when it
    // closes.
    void watch(bool on) noexcept { watchers_.fetch_add(on ? 1 : -1, std::memory_order_relaxed); }
    bool watched() const noexcept { return watchers_.load(std::memory_order_relaxed) > 0; }

    template <class Sample>
    void hear(const Sample* left, const Sample* right, std::size_t count) noexcept
    {
        const uint32_t at = written_.load(std::memory_order_relaxed);
        for (std::size_t n = count - std::min(count, most); n < count; ++n) {
            frame& to = ring_[(at + n) % ring_.size()];
            to[0].store(static_cast<float>(left[n]), std::memory_order_relaxed);
            to[1].store(static_cast<float>(right[n]), std::memory_order_relaxed);
        }
        written_.store(at + static_cast<uint32_t>(count), std::memory_order_release);
    }

    // How many there were so far, modulo 2^32: unchanged while nothing is heard.
    uint32_t written() const noexcept { return written_.load(std::memory_order_acquire); }

    // The last `count` frames; at most `most`.
    std::array<std::vector<float>, channels> last(std::size_t count) const
    {
        const uint32_t end = written();
        std::array<std::vector<float>, channels> copy;
        for (std::size_t c = 0; c < channels; ++c)
            for (std::size_t n = std::min(count, most); n > 0; --n)
                copy[c].push_back(ring_[(end - n) % ring_.size()][c].load(std::memory_order_relaxed));
        return copy;
    }

    static constexpr std::size_t most = 1u << 16;

private:
    using frame = std::array<std::atomic<float>, channels>;

    std::vector<frame> ring_ = std::vector<frame>(2 * most); // a power of two, so that the count may wrap
    std::atomic<uint32_t> written_{0};
    std::atomic<int> watchers_{0};
};

} // namespace scope
