#pragma once
// The byte streams of the worker link. Blocking, unbuffered, one thread at a time. Sizes are bytes.
// What the concrete streams throw: user_abort, network_error_timeout, file_access_error and its kin.

#include <cstdint>
#include <string>

namespace Nv {

class streamIn {
public:
    // Fills the buffer; fewer bytes than `size` only at the end of the stream.
    virtual uint64_t read(void* buffer, uint64_t size) = 0;
    // As read; throws invalid_input when the stream ends first.
    virtual void readExact(void* buffer, uint64_t size);
    // Discards bytes; fewer than `size` only at the end of the stream.
    virtual uint64_t skip(uint64_t size);
    // As skip; throws invalid_input when the stream ends first.
    virtual void skipExact(uint64_t size);
    // At most one transfer where the stream has transfers; otherwise as read.
    virtual uint64_t readSome(void* buffer, uint64_t size);
    // What readSome reads with unless a stream overrides that.
    virtual uint64_t readPartial(void* buffer, uint64_t size);
    // As skip, by readPartial.
    virtual uint64_t skipPartial(uint64_t size);
    // A hook and a query that no stream of the component makes use of.
    virtual void beforeRead() {}
    virtual bool isReadable() const { return true; }

    // Four bytes, little-endian, by readExact.
    uint32_t readWord();

protected:
    ~streamIn() = default;
};

class streamOut {
public:
    // Writes the whole buffer or throws.
    virtual void write(const void* buffer, uint64_t size) = 0;
    // As write; returns `size`.
    virtual uint64_t writeAll(const void* buffer, uint64_t size);
    // A hook and a query, as above.
    virtual void flush() {}
    virtual bool isWritable() const { return true; }

protected:
    ~streamOut() = default;
};

// Reads up to and including the next line feed, a byte at a time, and hands over what stood before it,
// without any carriage return. False when the stream ended first (the bytes so far are handed over as well).
// Throws invalid_input when the line holds more than `limit` bytes. Bytes are not decoded.
bool readLine(streamIn& stream, std::string& text, uint64_t limit);

} // namespace Nv
