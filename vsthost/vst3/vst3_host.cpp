#include "vsthost/vst3/vst3_host.h"

#include "vsthost/vst3/vst3_message.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <new>

namespace vsthost::v3 {

namespace {

constexpr size_t largest_stream = 256 * 1024 * 1024;

// Never freed: a module may hold on to it until the process ends.
class application final : public host_application_interface, public interface_support_interface {
public:
    v3_result V3_API query_interface(const uint8_t* iid, void** object) override
    {
        if (offer<host_application_interface>(this, iid, v3_funknown_iid, object) ||
            offer<host_application_interface>(this, iid, v3_host_application_iid, object) ||
            offer<interface_support_interface>(this, iid, interface_support_iid, object))
            return ok;
        *object = nullptr;
        return no_interface;
    }
    uint32_t V3_API add_ref() override { return 1; }
    uint32_t V3_API release() override { return 1; }
    v3_result V3_API get_name(int16_t* name) override
    {
        constexpr char own[] = "quavix";
        std::ranges::copy(own, name);
        return ok;
    }
    v3_result V3_API create_instance(const uint8_t* cid, const uint8_t* iid, void** object) override
    {
        if (object == nullptr)
            return invalid_argument;
        *object = nullptr;
        if (std::memcmp(cid, v3_message_iid, sizeof(v3_tuid)) == 0)
            return make_message(iid, object);
        if (std::memcmp(cid, v3_attribute_list_iid, sizeof(v3_tuid)) == 0)
            return make_attribute_list(iid, object);
        return no_interface;
    }
    v3_result V3_API is_supported(const uint8_t* iid) override
    {
        const uint8_t* const known[] = {
            v3_component_iid,        v3_audio_processor_iid,   v3_edit_controller_iid,
            v3_connection_point_iid, v3_component_handler_iid, v3_component_handler2_iid,
            v3_host_application_iid, v3_message_iid,           v3_attribute_list_iid,
            v3_bstream_iid,          v3_param_value_queue_iid, v3_param_changes_iid,
            v3_event_list_iid,       unit_handler_iid};
        return std::ranges::any_of(
                   known, [iid](const uint8_t* own) { return std::memcmp(own, iid, sizeof(v3_tuid)) == 0; })
                   ? ok
                   : no;
    }
};

} // namespace

v3_funknown** host_application()
{
    static auto* const instance = new application;
    return as<v3_funknown>(static_cast<host_application_interface*>(instance));
}

v3_result V3_API memory_stream::query_interface(const uint8_t* iid, void** object)
{
    if (offer<stream_interface>(this, iid, v3_funknown_iid, object) ||
        offer<stream_interface>(this, iid, v3_bstream_iid, object))
        return ok;
    *object = nullptr;
    return no_interface;
}

v3_result V3_API memory_stream::read(void* buffer, int32_t size, int32_t* done)
{
    if (size < 0 || (buffer == nullptr && size != 0))
        return invalid_argument;
    const size_t left = position_ < bytes_.size() ? bytes_.size() - position_ : 0;
    const size_t now = std::min(static_cast<size_t>(size), left);
    if (now != 0)
        std::memcpy(buffer, bytes_.data() + position_, now);
    position_ += now;
    if (done != nullptr)
        *done = static_cast<int32_t>(now);
    return ok;
}

v3_result V3_API memory_stream::write(const void* buffer, int32_t size, int32_t* done)
{
    if (done != nullptr)
        *done = 0;
    if (size < 0 || (buffer == nullptr && size != 0))
        return invalid_argument;
    const auto count = static_cast<size_t>(size);
    if (position_ > largest_stream || count > largest_stream - position_)
        return no_memory;
    if (count == 0)
        return ok;
    try {
        if (bytes_.size() < position_ + count)
            bytes_.resize(position_ + count);
    } catch (const std::bad_alloc&) {
        return no_memory;
    }
    std::memcpy(bytes_.data() + position_, buffer, count);
    position_ += count;
    if (done != nullptr)
        *done = size;
    return ok;
}

v3_result V3_API memory_stream::seek(int64_t position, int32_t mode, int64_t* result)
{
    int64_t base = 0;
    if (mode == V3_SEEK_CUR)
        base = static_cast<int64_t>(position_);
    else if (mode == V3_SEEK_END)
        base = static_cast<int64_t>(bytes_.size());
    constexpr auto most = static_cast<int64_t>(largest_stream);
    if (position < -most || position > most || base + position < 0 || base + position > most)
        return invalid_argument;
    position_ = static_cast<size_t>(base + position);
    if (result != nullptr)
        *result = static_cast<int64_t>(position_);
    return ok;
}

v3_result V3_API memory_stream::tell(int64_t* position)
{
    if (position == nullptr)
        return invalid_argument;
    *position = static_cast<int64_t>(position_);
    return ok;
}

v3_result V3_API component_handler::query_interface(const uint8_t* iid, void** object)
{
    if (offer<component_handler_interface>(this, iid, v3_funknown_iid, object) ||
        offer<component_handler_interface>(this, iid, v3_component_handler_iid, object) ||
        offer<component_handler2_interface>(this, iid, v3_component_handler2_iid, object) ||
        offer<unit_handler_interface>(this, iid, unit_handler_iid, object))
        return ok;
    *object = nullptr;
    return no_interface;
}

uint32_t V3_API component_handler::add_ref()
{
    return count_.up();
}

uint32_t V3_API component_handler::release()
{
    const uint32_t left = count_.down();
    if (left == 0)
        delete this;
    return left;
}

v3_result V3_API component_handler::begin_edit(v3_param_id)
{
    return ok;
}

v3_result V3_API component_handler::perform_edit(v3_param_id id, double value)
{
    if (edit_sink* const sink = sink_)
        sink->edited(id, value);
    return ok;
}

v3_result V3_API component_handler::end_edit(v3_param_id)
{
    return ok;
}

v3_result V3_API component_handler::restart_component(int32_t flags)
{
    if (edit_sink* const sink = sink_)
        sink->restart_wanted(flags);
    return ok;
}

v3_result V3_API component_handler::set_dirty(v3_bool state)
{
    edit_sink* const sink = sink_;
    if (sink != nullptr && state != 0)
        sink->dirty();
    return ok;
}

v3_result V3_API component_handler::request_open_editor(const char*)
{
    return not_implemented;
}

v3_result V3_API component_handler::start_group_edit()
{
    return ok;
}

v3_result V3_API component_handler::finish_group_edit()
{
    return ok;
}

v3_result V3_API component_handler::notify_unit_selection(int32_t)
{
    return ok;
}

v3_result V3_API component_handler::notify_program_list_change(int32_t, int32_t)
{
    if (edit_sink* const sink = sink_)
        sink->dirty();
    return ok;
}

v3_result V3_API connection_proxy::connect(v3_connection_point**)
{
    return ok;
}

v3_result V3_API connection_proxy::disconnect(v3_connection_point**)
{
    return ok;
}

v3_result V3_API connection_proxy::notify(v3_message** message)
{
    if (target_ == nullptr || GetCurrentThreadId() != thread_)
        return no;
    return v3_cpp_obj(target_)->notify(target_, message);
}

} // namespace vsthost::v3
