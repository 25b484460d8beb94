// The streams on real pipes: short and split transfers, ends, aborts and limits.

#include "pipe_pair.h"

#include "worker/abort.h"
#include "worker/winPipeServerLite.h"

#include <doctest/doctest.h>

#include <thread>
#include <vector>

using namespace Nv;

namespace {

constexpr size_t transfer_limit = 0x1000000;

} // namespace

TEST_CASE("reading from a pipe")
{
    input_pair pair;
    char buffer[64] = {};
    SUBCASE("a read goes on over split writes until it is full")
    {
        std::thread peer([&] {
            pair.write("abc");
            pair.write("defg");
            pair.write("h");
        });
        CHECK(pair.stream.read(buffer, 8) == 8);
        peer.join();
        CHECK(std::string(buffer) == "abcdefgh");
    }
    SUBCASE("readSome is one transfer")
    {
        pair.write("abc");
        CHECK(pair.stream.readSome(buffer, 8) == 3);
        pair.write("defgh");
        CHECK(pair.stream.readSome(buffer, 2) == 2);
        CHECK(std::string(buffer, 2) == "de");
    }
    SUBCASE("the peer closes before and during a read")
    {
        pair.write("abc");
        pair.peer.reset();
        CHECK_THROWS_WITH_AS(pair.stream.readExact(buffer, 4), "invalid input", invalid_input);
        CHECK(std::string(buffer, 3) == "abc");
        CHECK(pair.stream.read(buffer, 4) == 0);
        CHECK(pair.stream.readSome(buffer, 4) == 0);
    }
    SUBCASE("the peer closes while a read is pending")
    {
        aborter never;
        const abortScope scope(never);
        const before_next_wait closing([&] { pair.peer.reset(); });
        CHECK(pair.stream.read(buffer, 4) == 0);
    }
    SUBCASE("a handle that is none")
    {
        pair.stream.handle.reset();
        CHECK_THROWS_WITH_AS(pair.stream.read(buffer, 1), "file access error", file_access_error);
        CHECK(pair.stream.read(buffer, 0) == 0);
    }
    SUBCASE("a limit")
    {
        pair.stream.timeoutSeconds = 0.03;
        CHECK_THROWS_WITH_AS(pair.stream.read(buffer, 1), "network timeout", network_error);
        pair.stream.timeoutSeconds = 0.0004; // rounds to a poll
        CHECK_THROWS_AS(pair.stream.read(buffer, 1), network_error_timeout);
        aborter never;
        const abortScope scope(never);
        CHECK_THROWS_AS(pair.stream.read(buffer, 1), network_error_timeout);
        pair.write("a");
        CHECK(pair.stream.read(buffer, 1) == 1); // what timed out took no byte with it
        CHECK(buffer[0] == 'a');
    }
}

TEST_CASE("writing to a pipe")
{
    output_pair pair;
    SUBCASE("more than one transfer, byte for byte")
    {
        std::string sent(transfer_limit + 12345, '\0');
        for (size_t i = 0; i < sent.size(); ++i)
            sent[i] = static_cast<char>(i * 2654435761u >> 24);
        std::string received;
        std::thread reader([&] {
            std::vector<char> piece(1 << 20);
            DWORD got = 0;
            while (ReadFile(pair.peer.get(), piece.data(), static_cast<DWORD>(piece.size()), &got, nullptr) &&
                   got > 0)
                received.append(piece.data(), got);
        });
        CHECK(pair.stream.writeAll(sent.data(), sent.size()) == sent.size());
        pair.stream.handle.reset();
        reader.join();
        CHECK(received == sent);
    }
    SUBCASE("the peer is gone, or goes while a write is pending")
    {
        const std::string much(4 << 20, 'x');
        {
            aborter never;
            const abortScope scope(never);
            const before_next_wait closing([&] { pair.peer.reset(); });
            CHECK_THROWS_WITH_AS(pair.stream.write(much.data(), much.size()), "file access error",
                                 file_access_error);
        }
        CHECK_THROWS_AS(pair.stream.write("a", 1), file_access_error);
    }
    SUBCASE("a limit")
    {
        pair.stream.timeoutSeconds = 0.03;
        const std::string much(4 << 20, 'x');
        CHECK_THROWS_AS(pair.stream.write(much.data(), much.size()), network_error_timeout);
    }
    SUBCASE("a handle that is none")
    {
        pair.stream.handle.reset();
        CHECK_THROWS_AS(pair.stream.write("a", 1), file_access_error);
        pair.stream.write("a", 0);
    }
}

TEST_CASE("a signalled aborter comes before anything else, also for 0 bytes and without a handle")
{
    aborter stop;
    const abortScope scope(stop);
    stop.signal();
    char byte = 0;
    input_pair ready;
    ready.write("a");
    CHECK_THROWS_AS(ready.stream.read(&byte, 1), user_abort);
    CHECK_THROWS_AS(ready.stream.readSome(&byte, 1), user_abort);
    streamInOverlapped in;
    streamOutOverlapped out;
    CHECK_THROWS_AS(in.read(&byte, 0), user_abort);
    CHECK_THROWS_AS(out.write(&byte, 0), user_abort);
    winPipeServerLite pipe;
    CHECK_THROWS_AS(pipe.read(&byte, 0), user_abort);
    CHECK_THROWS_AS(pipe.write(&byte, 0), user_abort);
    stop.reset();
    CHECK(ready.stream.read(&byte, 1) == 1); // the byte was still there
}

TEST_CASE("data that arrives together with the abort is taken")
{
    input_pair pair;
    aborter stop;
    const abortScope scope(stop);
    char buffer[2] = {};
    {
        const before_next_wait both([&] {
            pair.write("ab");
            stop.signal();
        });
        CHECK(pair.stream.readSome(buffer, 2) == 2);
    }
    CHECK(buffer[1] == 'b');
    CHECK_THROWS_AS(pair.stream.readSome(buffer, 2), user_abort);
}
