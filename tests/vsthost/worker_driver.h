#pragma once
// The player's side of a worker's pipe, for tests: starts a real worker program as the component does, and
// talks the protocol. Every wait is bounded; what goes wrong is a doctest failure or a driver_error. What a
// worker prints is not read before it has ended.

#include "support/real_editor.h"
#include "win/handle.h"
#include "worker/protocol.h"
#include "worker/workerProcess.h"

#include <cstdint>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace worker_driver {

struct driver_error : std::runtime_error {
    using std::runtime_error::runtime_error;
};

using ::dist;
inline std::string effect_path(const std::string& arch, const std::string& file)
{
    return shipped_effect(file, arch);
}
std::vector<uint8_t> read_file(const std::string& path);
// The bitnesses of workers that can be started here.
const std::vector<std::string>& arches();

struct launch {
    std::string arch = "x64";
    std::string vst;
    int vst_version = 3;
    bool float64 = false;
    std::map<std::string, std::string> environment; // additions
    // One of the editor modes instead of "process", with these option pairs.
    std::string editor_mode;
    std::vector<std::string> editor_options;
};

struct processed {
    std::vector<double> audio;
    uint32_t latency;
};

class worker {
public:
    // Starts and connects.
    explicit worker(const launch& how);
    // With these arguments behind the program's name, and no pipe.
    worker(const std::string& arch, const std::vector<std::string>& arguments,
           const std::map<std::string, std::string>& environment = {});
    ~worker(); // kills what still runs
    worker(const worker&) = delete;
    worker& operator=(const worker&) = delete;

    void set_state(const std::vector<uint8_t>& state);
    Nv::streamFormat set_format(const Nv::streamFormat& wanted);
    // Interleaved; the first form has as many channels in as out.
    processed process(const std::vector<double>& audio, uint32_t channels);
    processed process(const std::vector<double>& audio, uint32_t in_channels, uint32_t out_channels);
    std::vector<double> drain();
    void reset();

    void send(uint32_t code, const void* payload, size_t size);
    void write(const void* bytes, size_t size);
    void read(void* bytes, size_t size);
    size_t waiting() const; // bytes that the worker wrote and nobody read
    void break_pipe() { pipe_.reset(); }

    // Exit code; fails the test when the worker still runs after the limit.
    uint32_t wait(unsigned milliseconds = 10000);
    // All of standard error and of standard output; after wait().
    std::string errors() { return read_to_end(process_->standardError()); }
    std::string output() { return read_to_end(process_->standardOutput()); }

    HANDLE process_handle() const { return process_->processHandle(); }
    HANDLE pipe_handle() const { return pipe_.get(); }

private:
    void start(const std::vector<std::string>& arguments,
               const std::map<std::string, std::string>& environment);
    static std::string read_to_end(Nv::streamInOverlapped& stream);
    size_t finish(OVERLAPPED& operation); // bytes; 0 when it failed
    void transfer(bool writes, void* bytes, size_t size);

    win::file_handle pipe_;
    win::kernel_handle event_;
    std::optional<Nv::workerProcess> process_;
};

} // namespace worker_driver
