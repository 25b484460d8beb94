#include "worker/stream.h"

#include "worker/exceptions.h"

#include <algorithm>

namespace Nv {

namespace {

constexpr uint64_t skipPiece = 256;

// Discards bytes through `readPiece(buffer, size)` until `size` are gone or it delivers less than asked for.
template <class ReadPiece>
uint64_t discard(uint64_t size, ReadPiece&& readPiece)
{
    char scratch[skipPiece];
    uint64_t done = 0;
    while (done < size) {
        const uint64_t wanted = std::min(size - done, skipPiece);
        const uint64_t got = readPiece(scratch, wanted);
        done += got;
        if (got < wanted)
            break;
    }
    return done;
}

} // namespace

void streamIn::readExact(void* buffer, uint64_t size)
{
    if (read(buffer, size) != size)
        throw invalid_input();
}

uint64_t streamIn::skip(uint64_t size)
{
    return discard(size, [this](void* buffer, uint64_t wanted) { return read(buffer, wanted); });
}

void streamIn::skipExact(uint64_t size)
{
    if (skip(size) != size)
        throw invalid_input();
}

uint64_t streamIn::readSome(void* buffer, uint64_t size)
{
    beforeRead();
    return readPartial(buffer, size);
}

uint64_t streamIn::readPartial(void* buffer, uint64_t size)
{
    return read(buffer, size);
}

uint64_t streamIn::skipPartial(uint64_t size)
{
    return discard(size, [this](void* buffer, uint64_t wanted) { return readPartial(buffer, wanted); });
}

uint32_t streamIn::readWord()
{
    uint32_t word = 0;
    readExact(&word, sizeof(word));
    return word;
}

uint64_t streamOut::writeAll(const void* buffer, uint64_t size)
{
    write(buffer, size);
    return size;
}

bool readLine(streamIn& stream, std::string& text, uint64_t limit)
{
    std::string line;
    bool complete = false;
    char byte = 0;
    while (!complete && stream.read(&byte, 1) == 1) {
        if (byte == '\n')
            complete = true;
        else if (byte != '\r') {
            if (line.size() >= limit)
                throw invalid_input();
            line += byte;
        }
    }
    text = std::move(line);
    return complete;
}

} // namespace Nv
