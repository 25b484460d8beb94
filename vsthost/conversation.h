#pragma once
// The player's commands, one after another, until the pipe ends. The pipe thread reads, processes and
// answers; state, format, reset and what an effect wants done run as jobs on the GUI thread while this one
// waits, so that nothing ever runs beside processing, and processing needs no hand-over.

#include "vsthost/effect.h"
#include "vsthost/stream_runner.h"
#include "worker/protocol.h"

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>

namespace vsthost {

class gui_loop;
class pipe_client;

class conversation {
public:
    // `loaded` is filled by the GUI thread before it takes jobs; both outlive the conversation.
    conversation(pipe_client& pipe, gui_loop& gui, const std::unique_ptr<effect>& loaded);

    // Pipe thread. Throws fatal_error and std::bad_alloc; ends the process when the player goes.
    [[noreturn]] void run();

private:
    void on_process(uint32_t byte_count);
    void on_set_state(uint32_t byte_count);
    void on_set_format(uint32_t byte_count);
    void on_drain_tail(uint32_t byte_count);
    void on_reset(uint32_t byte_count);

    Nv::streamFormat answer(const Nv::streamFormat& wanted);
    void tell_format(const Nv::streamFormat& wanted, const Nv::streamFormat& reply);

    pipe_client& pipe_;
    gui_loop& gui_;
    const std::unique_ptr<effect>& effect_;
    std::optional<stream_runner> runner_;
    bool streaming_ = false; // a format is agreed
    bool introduced_ = false;
    bool state_given_ = false;
    std::unique_ptr<std::byte[]> reply_; // grows, never shrinks
    size_t reply_capacity_ = 0;
};

} // namespace vsthost
