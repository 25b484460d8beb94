// Lines of a worker's standard error: what the reader hands over is what a look at all bytes at once finds.
// The first byte is the limit.

#include "fuzz/require.h"
#include "worker/exceptions.h"
#include "worker/stream.h"

#include <cstring>
#include <string>
#include <vector>

namespace {

class bytes_in_memory : public Nv::streamIn {
public:
    explicit bytes_in_memory(std::string bytes)
        : bytes_(std::move(bytes))
    {
    }
    uint64_t read(void* buffer, uint64_t size) override
    {
        const uint64_t got = std::min<uint64_t>(size, bytes_.size() - at_);
        std::memcpy(buffer, bytes_.data() + at_, got);
        at_ += got;
        return got;
    }

private:
    std::string bytes_;
    size_t at_ = 0;
};

using lines = std::vector<std::string>;

// The last one had no line feed. One that is too long stands for itself and what would follow as "!".
lines by_reader(const std::string& bytes, uint64_t limit)
{
    bytes_in_memory stream(bytes);
    lines found;
    std::string line = "what was there";
    try {
        while (Nv::readLine(stream, line, limit))
            found.push_back(line);
        found.push_back(line);
        require(!Nv::readLine(stream, line, limit) && line.empty()); // the end stays the end
    } catch (const Nv::invalid_input&) {
        found.emplace_back("!");
    }
    return found;
}

lines at_once(std::string bytes, uint64_t limit)
{
    std::erase(bytes, '\r');
    lines found;
    for (size_t at = 0, end = 0; end != std::string::npos; at = end + 1) {
        end = bytes.find('\n', at);
        found.push_back(bytes.substr(at, end - at));
        if (found.back().size() > limit) {
            found.back() = "!";
            break;
        }
    }
    return found;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size == 0)
        return 0;
    const std::string bytes(reinterpret_cast<const char*>(data) + 1, size - 1);
    require(by_reader(bytes, data[0]) == at_once(bytes, data[0]));
    return 0;
}
