// Lines of a worker's standard error: what the reader hands over is what a look at all bytes at once finds.
// The first byte is the limit.

#include "worker/exceptions.h"
#include "worker/stream.h"

#include <cstdlib>
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

struct outcome {
    std::vector<std::string> lines; // the last one had no line feed, unless `failed`
    bool failed = false;
    bool operator==(const outcome&) const = default;
};

outcome by_reader(const std::string& bytes, uint64_t limit)
{
    bytes_in_memory stream(bytes);
    outcome result;
    try {
        for (bool more = true; more;) {
            std::string line;
            more = Nv::readLine(stream, line, limit);
            result.lines.push_back(std::move(line));
        }
    } catch (const Nv::invalid_input&) {
        result.failed = true;
    }
    return result;
}

outcome at_once(std::string bytes, uint64_t limit)
{
    std::erase(bytes, '\r');
    outcome result;
    for (size_t at = 0;;) {
        const size_t end = bytes.find('\n', at);
        const std::string line = bytes.substr(at, end - at);
        if (line.size() > limit) {
            result.failed = true;
            return result;
        }
        result.lines.push_back(line);
        if (end == std::string::npos)
            return result;
        at = end + 1;
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size == 0)
        return 0;
    const std::string bytes(reinterpret_cast<const char*>(data) + 1, size - 1);
    if (!(by_reader(bytes, data[0]) == at_once(bytes, data[0])))
        std::abort();
    return 0;
}
