#pragma once
// Byte streams between player and component, and their two implementations in memory. A stream belongs to the
// caller of the operation that it is passed to and is not used after it; one thread at a time. Failures:
// exception_io and its kin, exception_aborted, std::bad_alloc.

#include "sdk/abort_callback.h"
#include "sdk/exceptions.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

class stream_reader {
public:
    // Fewer bytes than asked for only at the end of the stream.
    virtual size_t read(void* buffer, size_t byte_count, abort_callback& abort) = 0;

    // Throws exception_io_data_truncation when the stream ends first.
    void read_object(void* buffer, size_t byte_count, abort_callback& abort)
    {
        if (read(buffer, byte_count, abort) != byte_count)
            throw exception_io_data_truncation();
    }

protected:
    ~stream_reader() = default;
};

class stream_writer {
public:
    virtual void write(const void* buffer, size_t byte_count, abort_callback& abort) = 0;

protected:
    ~stream_writer() = default;
};

// Reads bytes that somebody else owns and keeps alive.
class stream_reader_memblock_ref final : public stream_reader {
public:
    stream_reader_memblock_ref(const void* data, size_t byte_count) noexcept
        : data_(static_cast<const uint8_t*>(data))
        , left_(byte_count)
    {
    }
    size_t read(void* buffer, size_t byte_count, abort_callback&) override
    {
        const size_t taken = byte_count < left_ ? byte_count : left_;
        if (taken)
            std::memcpy(buffer, data_, taken);
        skip(taken);
        return taken;
    }
    size_t get_remaining() const noexcept { return left_; }
    const uint8_t* get_position() const noexcept { return data_; }
    void skip(size_t byte_count) // at most get_remaining()
    {
        data_ += byte_count;
        left_ -= byte_count;
    }

private:
    const uint8_t* data_;
    size_t left_;
};

// Collects what is written in `buffer`.
class stream_writer_buffer_simple final : public stream_writer {
public:
    void write(const void* bytes, size_t byte_count, abort_callback&) override
    {
        const auto* first = static_cast<const uint8_t*>(bytes);
        buffer.insert(buffer.end(), first, first + byte_count);
    }

    std::vector<uint8_t> buffer;
};
