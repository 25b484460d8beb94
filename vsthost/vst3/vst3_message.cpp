#include "vsthost/vst3/vst3_message.h"

#include <algorithm>
#include <map>
#include <new>
#include <string>
#include <variant>
#include <vector>

namespace vsthost::v3 {

namespace {

class attribute_list final : public counted_object<attribute_list, attribute_list_interface> {
public:
    static const uint8_t* own_iid() { return v3_attribute_list_iid; }

    v3_result V3_API set_int(const char* id, int64_t value) override
    {
        return set(id, [&] { return value; });
    }
    v3_result V3_API get_int(const char* id, int64_t* value) override { return get(id, value); }
    v3_result V3_API set_float(const char* id, double value) override
    {
        return set(id, [&] { return value; });
    }
    v3_result V3_API get_float(const char* id, double* value) override { return get(id, value); }
    v3_result V3_API set_string(const char* id, const int16_t* text) override
    {
        if (text == nullptr)
            return invalid_argument;
        size_t length = 0;
        while (text[length] != 0)
            ++length;
        return set(id, [&] { return std::vector<int16_t>(text, text + length); });
    }
    v3_result V3_API get_string(const char* id, int16_t* text, uint32_t size) override
    {
        const auto* const found = find<std::vector<int16_t>>(id);
        const size_t room = size / sizeof(int16_t); // the size is in bytes
        if (found == nullptr || text == nullptr || room == 0)
            return no;
        const size_t length = std::min(found->size(), room - 1);
        std::copy_n(found->begin(), length, text);
        text[length] = 0;
        return ok;
    }
    v3_result V3_API set_binary(const char* id, const void* data, uint32_t size) override
    {
        if (data == nullptr && size != 0)
            return invalid_argument;
        const auto* const bytes = static_cast<const uint8_t*>(data);
        return set(id, [&] { return std::vector<uint8_t>(bytes, bytes + size); });
    }
    v3_result V3_API get_binary(const char* id, const void** data, uint32_t* size) override
    {
        const auto* const found = find<std::vector<uint8_t>>(id);
        if (found == nullptr || data == nullptr || size == nullptr)
            return no;
        *data = found->data();
        *size = static_cast<uint32_t>(found->size());
        return ok;
    }

private:
    using content_type = std::variant<int64_t, double, std::vector<int16_t>, std::vector<uint8_t>>;

    template <class Make>
    v3_result set(const char* id, const Make& make)
    {
        if (id == nullptr)
            return invalid_argument;
        try {
            content_type content = make();
            values_[id] = std::move(content);
        } catch (const std::bad_alloc&) {
            return no_memory;
        }
        return ok;
    }
    template <class T>
    const T* find(const char* id) const
    {
        const auto found = id != nullptr ? values_.find(id) : values_.end();
        return found != values_.end() ? std::get_if<T>(&found->second) : nullptr;
    }
    template <class T>
    v3_result get(const char* id, T* content) const
    {
        const T* const found = find<T>(id);
        if (found == nullptr || content == nullptr)
            return no;
        *content = *found;
        return ok;
    }

    std::map<std::string, content_type> values_;
};

class message final : public counted_object<message, message_interface> {
public:
    static const uint8_t* own_iid() { return v3_message_iid; }

    const char* V3_API get_message_id() override { return has_id_ ? id_.c_str() : nullptr; }
    void V3_API set_message_id(const char* id) override
    {
        has_id_ = id != nullptr;
        id_ = has_id_ ? id : "";
    }
    attribute_list_interface* V3_API get_attributes() override { return attributes_; } // no reference

    message() = default;
    ~message() { attributes_->release(); }
    message(const message&) = delete;
    message& operator=(const message&) = delete;

private:
    std::string id_;
    bool has_id_ = false;
    attribute_list* attributes_ = new attribute_list;
};

template <class Object>
v3_result make(const uint8_t* iid, void** object)
{
    try {
        auto* const made = new Object;
        const v3_result result = made->query_interface(iid, object);
        made->release();
        return result;
    } catch (const std::bad_alloc&) {
        return no_memory;
    }
}

} // namespace

v3_result make_message(const uint8_t* iid, void** object)
{
    return make<message>(iid, object);
}

v3_result make_attribute_list(const uint8_t* iid, void** object)
{
    return make<attribute_list>(iid, object);
}

} // namespace vsthost::v3
