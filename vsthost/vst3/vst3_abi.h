#pragma once
// The binary interface of VST 3 as this program uses it: the C structures of the interface headers, a counted
// reference to an object of the module, and base classes for the objects that the host gives to a module.
//
// An interface pointer is a pointer to a pointer to a table of __stdcall functions. A C++ class whose virtual
// functions are __stdcall, in slot order and without a virtual destructor in its bases, has that form, so the
// host's objects are such classes.

#include <travesty/audio_processor.h>
#include <travesty/base.h>
#include <travesty/bstream.h>
#include <travesty/component.h>
#include <travesty/edit_controller.h>
#include <travesty/events.h>
#include <travesty/factory.h>
#include <travesty/host.h>
#include <travesty/message.h>
#include <travesty/view.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <cstring>
#include <utility>

namespace vsthost::v3 {

constexpr v3_result ok = V3_OK;
constexpr v3_result no = V3_FALSE;
constexpr auto no_interface = static_cast<v3_result>(V3_NO_INTERFACE);
constexpr auto invalid_argument = static_cast<v3_result>(V3_INVALID_ARG);
// From a call that a module makes: what we throw, it may not catch.
constexpr auto no_memory = static_cast<v3_result>(V3_NOMEM);
constexpr auto not_implemented = static_cast<v3_result>(V3_NOT_IMPLEMENTED);

// Not in the interface headers.
constexpr v3_tuid interface_support_iid = V3_ID(0x4FB58B9E, 0x9EAA4E0F, 0xAB361C1C, 0xCCB56FEA);
constexpr v3_tuid unit_handler_iid = V3_ID(0x4B5147F8, 0x4654486B, 0x8DAB30BA, 0x163A3C56);

constexpr char audio_effect_category[] = "Audio Module Class";
constexpr uint32_t infinite_tail = 0xFFFFFFFF;

// Owns one reference to an object of the module.
template <class Interface>
class ref {
public:
    ref() noexcept = default;
    explicit ref(Interface** owned) noexcept
        : object_(owned)
    {
    }
    ref(ref&& other) noexcept
        : object_(std::exchange(other.object_, nullptr))
    {
    }
    ref& operator=(ref&& other) noexcept
    {
        reset(std::exchange(other.object_, nullptr));
        return *this;
    }
    ~ref() { reset(); }

    // The object is the first argument of each of its functions: p->process(p.get(), ...).
    Interface** get() const noexcept { return object_; }
    Interface* operator->() const noexcept { return v3_cpp_obj(object_); }
    explicit operator bool() const noexcept { return object_ != nullptr; }
    void reset(Interface** owned = nullptr) noexcept
    {
        Interface** const old = std::exchange(object_, owned);
        if (old != nullptr)
            v3_cpp_obj_unref(old);
    }
    // Empty when the object does not have the interface.
    template <class Other>
    ref<Other> query(const v3_tuid iid) const
    {
        Other** other = nullptr;
        if (object_ == nullptr || v3_cpp_obj_query_interface(object_, iid, &other) != ok)
            return {};
        return ref<Other>(other);
    }

private:
    Interface** object_ = nullptr;
};

struct unknown {
    virtual v3_result V3_API query_interface(const uint8_t* iid, void** object) = 0;
    virtual uint32_t V3_API add_ref() = 0;
    virtual uint32_t V3_API release() = 0;
};

struct stream_interface : unknown {
    virtual v3_result V3_API read(void* buffer, int32_t size, int32_t* done) = 0;
    virtual v3_result V3_API write(const void* buffer, int32_t size, int32_t* done) = 0;
    virtual v3_result V3_API seek(int64_t position, int32_t mode, int64_t* result) = 0;
    virtual v3_result V3_API tell(int64_t* position) = 0;
};

struct host_application_interface : unknown {
    virtual v3_result V3_API get_name(int16_t* name) = 0;
    virtual v3_result V3_API create_instance(const uint8_t* cid, const uint8_t* iid, void** object) = 0;
};

struct interface_support_interface : unknown {
    virtual v3_result V3_API is_supported(const uint8_t* iid) = 0;
};

struct component_handler_interface : unknown {
    virtual v3_result V3_API begin_edit(v3_param_id id) = 0;
    virtual v3_result V3_API perform_edit(v3_param_id id, double value) = 0;
    virtual v3_result V3_API end_edit(v3_param_id id) = 0;
    virtual v3_result V3_API restart_component(int32_t flags) = 0;
};

struct component_handler2_interface : unknown {
    virtual v3_result V3_API set_dirty(v3_bool state) = 0;
    virtual v3_result V3_API request_open_editor(const char* name) = 0;
    virtual v3_result V3_API start_group_edit() = 0;
    virtual v3_result V3_API finish_group_edit() = 0;
};

struct unit_handler_interface : unknown {
    virtual v3_result V3_API notify_unit_selection(int32_t unit) = 0;
    virtual v3_result V3_API notify_program_list_change(int32_t list, int32_t program) = 0;
};

struct attribute_list_interface : unknown {
    virtual v3_result V3_API set_int(const char* id, int64_t value) = 0;
    virtual v3_result V3_API get_int(const char* id, int64_t* value) = 0;
    virtual v3_result V3_API set_float(const char* id, double value) = 0;
    virtual v3_result V3_API get_float(const char* id, double* value) = 0;
    virtual v3_result V3_API set_string(const char* id, const int16_t* text) = 0;
    virtual v3_result V3_API get_string(const char* id, int16_t* text, uint32_t size) = 0;
    virtual v3_result V3_API set_binary(const char* id, const void* data, uint32_t size) = 0;
    virtual v3_result V3_API get_binary(const char* id, const void** data, uint32_t* size) = 0;
};

struct message_interface : unknown {
    virtual const char* V3_API get_message_id() = 0;
    virtual void V3_API set_message_id(const char* id) = 0;
    virtual attribute_list_interface* V3_API get_attributes() = 0;
};

struct connection_point_interface : unknown {
    virtual v3_result V3_API connect(v3_connection_point** other) = 0;
    virtual v3_result V3_API disconnect(v3_connection_point** other) = 0;
    virtual v3_result V3_API notify(v3_message** message) = 0;
};

struct param_queue_interface : unknown {
    virtual v3_param_id V3_API get_param_id() = 0;
    virtual int32_t V3_API get_point_count() = 0;
    virtual v3_result V3_API get_point(int32_t index, int32_t* offset, double* value) = 0;
    virtual v3_result V3_API add_point(int32_t offset, double value, int32_t* index) = 0;
};

struct param_changes_interface : unknown {
    virtual int32_t V3_API get_param_count() = 0;
    virtual param_queue_interface* V3_API get_param_data(int32_t index) = 0;
    virtual param_queue_interface* V3_API add_param_data(const v3_param_id* id, int32_t* index) = 0;
};

struct event_list_interface : unknown {
    virtual int32_t V3_API get_event_count() = 0;
    virtual v3_result V3_API get_event(int32_t index, v3_event* event) = 0;
    virtual v3_result V3_API add_event(v3_event* event) = 0;
};

// A host object as the C structures name it, for calls into the module.
template <class Interface, class Object>
Interface** as(Object* object)
{
    return reinterpret_cast<Interface**>(object);
}

template <class Base, class Object>
bool offer(Object* object, const uint8_t* wanted, const v3_tuid iid, void** result)
{
    if (std::memcmp(wanted, iid, sizeof(v3_tuid)) != 0)
        return false;
    object->add_ref();
    *result = static_cast<Base*>(object);
    return true;
}

// Counting for an object on the heap that frees itself; made with one reference.
class counted {
public:
    uint32_t up() noexcept { return ++count_; }
    uint32_t down() noexcept { return --count_; }

private:
    std::atomic<uint32_t> count_{1};
};

// A host object on the heap with one interface, which Object::own_iid() names; Object is the class derived
// from it.
template <class Object, class Interface>
class counted_object : public Interface {
public:
    counted_object(const counted_object&) = delete;
    counted_object& operator=(const counted_object&) = delete;

    v3_result V3_API query_interface(const uint8_t* iid, void** object) override
    {
        if (offer<Interface>(this, iid, v3_funknown_iid, object) ||
            offer<Interface>(this, iid, Object::own_iid(), object))
            return ok;
        *object = nullptr;
        return no_interface;
    }
    uint32_t V3_API add_ref() override { return count_.up(); }
    uint32_t V3_API release() override
    {
        const uint32_t left = count_.down();
        if (left == 0)
            delete static_cast<Object*>(this);
        return left;
    }

protected:
    counted_object() = default;
    ~counted_object() = default;

private:
    counted count_;
};

} // namespace vsthost::v3
