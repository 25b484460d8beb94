// What the streams' base operations and the line reader make of any sequence of reads.

#include "worker/exceptions.h"
#include "worker/stream.h"

#include <doctest/doctest.h>

#include <algorithm>
#include <cstring>
#include <vector>

using namespace Nv;

namespace {

// A stream over bytes in memory that remembers how it was asked.
class memory_stream : public streamIn {
public:
    explicit memory_stream(std::string bytes)
        : bytes_(std::move(bytes))
    {
    }
    uint64_t read(void* buffer, uint64_t size) override
    {
        if (asked.size() < 16)
            asked.push_back(size);
        const uint64_t got = std::min<uint64_t>(size, bytes_.size() - at_);
        std::memcpy(buffer, bytes_.data() + at_, static_cast<size_t>(got));
        at_ += static_cast<size_t>(got);
        return got;
    }

    std::vector<uint64_t> asked; // the first sizes

private:
    std::string bytes_;
    size_t at_ = 0;
};

// "a|b|c" when complete lines are "a" and "b" and the stream ended with "c"; "!" for a line over the limit.
std::string lines_of(std::string bytes, uint64_t limit)
{
    memory_stream stream(std::move(bytes));
    std::string all;
    try {
        for (std::string line; readLine(stream, line, limit);)
            all += line + "|";
        std::string rest = "unchanged";
        CHECK_FALSE(readLine(stream, rest, limit)); // the end stays the end
        CHECK(rest.empty());
    } catch (const invalid_input& failure) {
        CHECK(std::string(failure.what()) == "invalid input");
        return all + "!";
    }
    return all;
}

} // namespace

TEST_CASE("readLine")
{
    using namespace std::string_literals;
    CHECK(lines_of("", 9) == "");
    CHECK(lines_of("a\r\nb\n", 9) == "a|b|");
    CHECK(lines_of("\n\r\n\n", 9) == "|||");
    CHECK(lines_of("\ra\rb\r\rc\n", 9) == "abc|"); // a carriage return goes wherever it stands
    CHECK(lines_of("a\0b\xff\xc3\n"s, 9) == "a\0b\xff\xc3|"s);
    SUBCASE("the limit counts what is kept")
    {
        CHECK(lines_of("abcd\n", 4) == "abcd|");
        CHECK(lines_of("ab\r\rcd\r\n", 4) == "abcd|");
        CHECK(lines_of("abcde", 4) == "!");
        CHECK(lines_of("abcd\nabcde\n", 4) == "abcd|!");
        CHECK(lines_of("\n", 0) == "|");
        CHECK(lines_of("\r\n", 0) == "|");
        CHECK(lines_of("a", 0) == "!");
    }
    SUBCASE("a last line without its line feed is handed over, with false")
    {
        memory_stream stream("first\nlast\r");
        std::string line;
        CHECK(readLine(stream, line, 9));
        CHECK(line == "first");
        CHECK_FALSE(readLine(stream, line, 9));
        CHECK(line == "last");
        CHECK(std::ranges::all_of(stream.asked, [](uint64_t size) { return size == 1; }));
    }
    SUBCASE("the relay's limit of 16 MiB")
    {
        constexpr size_t limit = 0x1000000;
        CHECK(lines_of(std::string(limit, 'x') + "\r\n", limit) == std::string(limit, 'x') + "|");
        CHECK(lines_of("a\n" + std::string(limit + 1, 'x') + "\n", limit) == "a|!");
    }
}
