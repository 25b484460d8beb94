// Stands in for a worker and only answers: audio comes back as it came, with latency 0, and whatever format
// is wanted is agreed to. The plainest reader and writer there is, so that what it costs is the pipe's. Also
// the peer of the bare pipe that figures are compared with.

#include "win/handle.h"
#include "worker/protocol.h"

#include <windows.h>

#include <shellapi.h>

#include <cstring>
#include <cwchar>
#include <vector>

namespace {

class answerer {
public:
    explicit answerer(const wchar_t* pipe)
        : pipe_(CreateFileW(pipe, GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr))
        , bytes_(1024 * 1024)
    {
    }

    int run()
    {
        while (need(sizeof(Nv::commandHeader))) {
            Nv::commandHeader header;
            std::memcpy(&header, bytes_.data(), sizeof header);
            const size_t total = sizeof header + header.byteCount;
            if (bytes_.size() < total + sizeof latency)
                bytes_.resize(total + sizeof latency);
            if (!need(total))
                break;
            char* const payload = bytes_.data() + sizeof header;
            bool sent = true;
            if (header.code == Nv::cmdProcess) {
                // Nothing follows before the reply, so nothing lies behind the audio.
                std::memcpy(payload + header.byteCount, &latency, sizeof latency);
                sent = write(payload, header.byteCount + sizeof latency);
            } else if (header.code == Nv::cmdSetFormat) {
                sent = write(payload, header.byteCount);
            }
            if (!sent)
                break;
            have_ -= total;
            std::memmove(bytes_.data(), bytes_.data() + total, have_);
        }
        return 0;
    }

private:
    static constexpr uint32_t latency = 0;

    // False when the pipe ends before that many bytes are there.
    bool need(size_t count)
    {
        while (have_ < count) {
            DWORD got = 0;
            if (!ReadFile(pipe_.get(), bytes_.data() + have_, static_cast<DWORD>(bytes_.size() - have_), &got,
                          nullptr) ||
                got == 0)
                return false;
            have_ += got;
        }
        return true;
    }

    bool write(const char* bytes, size_t count)
    {
        DWORD done = 0;
        return WriteFile(pipe_.get(), bytes, static_cast<DWORD>(count), &done, nullptr) && done == count;
    }

    win::file_handle pipe_;
    std::vector<char> bytes_;
    size_t have_ = 0;
};

} // namespace

int WINAPI wWinMain(HINSTANCE, HINSTANCE, PWSTR, int)
{
    int count = 0;
    wchar_t** const arguments = CommandLineToArgvW(GetCommandLineW(), &count);
    for (int i = 1; i + 1 < count; ++i)
        if (std::wcscmp(arguments[i], L"--pipe") == 0)
            return answerer(arguments[i + 1]).run();
    return 2;
}
