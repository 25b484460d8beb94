#pragma once
// The objects that a VST 3 module gets from its host, apart from those of a process call.

#include "vsthost/vst3/vst3_abi.h"

#include <windows.h>

#include <cstdint>
#include <span>
#include <vector>

namespace vsthost::v3 {

// The application: makes messages and attribute lists, says what is supported. Lives as long as the process.
v3_funknown** host_application();

// A stream over memory, for one call on the stack: a read past the end succeeds with fewer bytes, a write
// past 256 MiB fails. The module must not keep it.
class memory_stream final : public stream_interface {
public:
    memory_stream() = default;
    explicit memory_stream(std::span<const uint8_t> content)
        : bytes_(content.begin(), content.end())
    {
    }
    const std::vector<uint8_t>& bytes() const noexcept { return bytes_; }
    v3_bstream** get() { return as<v3_bstream>(static_cast<stream_interface*>(this)); }

    v3_result V3_API query_interface(const uint8_t* iid, void** object) override;
    uint32_t V3_API add_ref() override { return 1; }
    uint32_t V3_API release() override { return 1; }
    v3_result V3_API read(void* buffer, int32_t size, int32_t* done) override;
    v3_result V3_API write(const void* buffer, int32_t size, int32_t* done) override;
    v3_result V3_API seek(int64_t position, int32_t mode, int64_t* result) override;
    v3_result V3_API tell(int64_t* position) override;

private:
    std::vector<uint8_t> bytes_;
    size_t position_ = 0;
};

// What an effect tells through its component handler; from any thread, must not block.
class edit_sink {
public:
    virtual void edited(v3_param_id id, double value) noexcept = 0;
    virtual void dirty() noexcept = 0;
    virtual void restart_wanted(int32_t flags) noexcept = 0;

protected:
    ~edit_sink() = default;
};

// Counted, because modules keep it; detach() before the sink goes.
class component_handler final : public component_handler_interface,
                                public component_handler2_interface,
                                public unit_handler_interface {
public:
    explicit component_handler(edit_sink& sink)
        : sink_(&sink)
    {
    }
    void detach() noexcept { sink_ = nullptr; }
    v3_component_handler** get()
    {
        return as<v3_component_handler>(static_cast<component_handler_interface*>(this));
    }

    v3_result V3_API query_interface(const uint8_t* iid, void** object) override;
    uint32_t V3_API add_ref() override;
    uint32_t V3_API release() override;
    v3_result V3_API begin_edit(v3_param_id id) override;
    v3_result V3_API perform_edit(v3_param_id id, double value) override;
    v3_result V3_API end_edit(v3_param_id id) override;
    v3_result V3_API restart_component(int32_t flags) override;
    v3_result V3_API set_dirty(v3_bool state) override;
    v3_result V3_API request_open_editor(const char* name) override;
    v3_result V3_API start_group_edit() override;
    v3_result V3_API finish_group_edit() override;
    v3_result V3_API notify_unit_selection(int32_t unit) override;
    v3_result V3_API notify_program_list_change(int32_t list, int32_t program) override;

private:
    counted count_;
    std::atomic<edit_sink*> sink_;
};

// Stands between component and controller: messages pass on the GUI thread only.
class connection_proxy final : public counted_object<connection_proxy, connection_point_interface> {
public:
    // On the GUI thread; `target` is not owned and outlives the connection.
    explicit connection_proxy(v3_connection_point** target)
        : target_(target)
        , thread_(GetCurrentThreadId())
    {
    }
    static const uint8_t* own_iid() { return v3_connection_point_iid; }
    void detach() noexcept { target_ = nullptr; }
    v3_connection_point** get()
    {
        return as<v3_connection_point>(static_cast<connection_point_interface*>(this));
    }

    v3_result V3_API connect(v3_connection_point** other) override;
    v3_result V3_API disconnect(v3_connection_point** other) override;
    v3_result V3_API notify(v3_message** message) override;

private:
    v3_connection_point** target_;
    DWORD thread_;
};

} // namespace vsthost::v3
