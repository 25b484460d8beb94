#include "sdk/cfg_var.h"

#include "sdk/config_store.h"
#include "sdk/host_api.h"

#include <algorithm>
#include <mutex>
#include <shared_mutex>

namespace cfg_var_modern {

namespace {

cfg_string*& list_head() noexcept
{
    static cfg_string* head = nullptr;
    return head;
}

cfg_string* find(const guid_t& guid) noexcept
{
    cfg_string* variable = cfg_string::get_list();
    while (variable && !(variable->get_guid() == guid))
        variable = variable->get_next();
    return variable;
}

} // namespace

cfg_string::cfg_string(const guid_t& guid, const char* default_text) noexcept
    : guid_(guid)
    , default_text_(default_text)
    , next_(list_head())
{
    list_head() = this;
}

cfg_string* cfg_string::get_list() noexcept
{
    return list_head();
}

std::string cfg_string::key() const
{
    return "cfg_var." + guid_text(guid_);
}

std::string cfg_string::get()
{
    {
        const std::shared_lock reading(lock_);
        if (loaded_)
            return text_;
    }
    // A flag under the lock rather than std::call_once, whose second caller hangs after the first one threw.
    const std::unique_lock loading(lock_);
    if (!loaded_) {
        string_out_impl stored;
        service_get_unique<config_store>()->get_string(key().c_str(), default_text_, stored);
        text_ = std::move(stored.text);
        loaded_ = true;
    }
    return text_;
}

void cfg_string::set(const std::string& text)
{
    std::string cached = text;
    service_get_unique<config_store>()->set_string(key().c_str(), text.c_str());
    const std::unique_lock writing(lock_);
    text_.swap(cached);
    loaded_ = true;
}

void write_all(stream_writer& out, abort_callback& abort)
{
    for (cfg_string* variable = cfg_string::get_list(); variable; variable = variable->get_next()) {
        const std::string text = variable->get();
        if (text.size() > UINT32_MAX)
            throw exception_overflow();
        const auto byte_count = static_cast<uint32_t>(text.size());
        out.write(&variable->get_guid(), sizeof(guid_t), abort);
        out.write(&byte_count, sizeof(byte_count), abort);
        out.write(text.data(), text.size(), abort);
    }
}

void read_all(stream_reader& in, size_t byte_count, abort_callback& abort)
{
    constexpr size_t head_size = sizeof(guid_t) + sizeof(uint32_t);
    while (byte_count != 0) {
        guid_t guid;
        uint32_t text_size = 0;
        if (byte_count < head_size)
            throw exception_io_data_truncation();
        in.read_object(&guid, sizeof(guid), abort);
        in.read_object(&text_size, sizeof(text_size), abort);
        byte_count -= head_size;
        if (text_size > byte_count)
            throw exception_io_data_truncation();
        // Grown as bytes arrive: the block's size is the caller's claim.
        std::string text;
        while (text.size() < text_size) {
            char piece[4096];
            const size_t wanted = std::min(sizeof(piece), text_size - text.size());
            in.read_object(piece, wanted, abort);
            text.append(piece, wanted);
        }
        byte_count -= text_size;
        if (cfg_string* variable = find(guid))
            variable->set(text);
    }
}

} // namespace cfg_var_modern
