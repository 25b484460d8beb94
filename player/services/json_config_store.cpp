#include "player/services/json_config_store.h"

#include "player/services/store_text.h"
#include "player/system/player_error.h"
#include "player/system/whole_file.h"

namespace player {

namespace {
constexpr uint64_t max_store_bytes = 64 << 20;
}

json_config_store::json_config_store(const std::string& path)
    : path_(path)
    , values_(load())
{
}

nlohmann::json json_config_store::load() const
{
    const auto bytes = read_whole_file(path_, max_store_bytes);
    if (!bytes)
        return nlohmann::json::object();
    auto values = parse_store(*bytes);
    if (!values)
        throw player_error(path_ +
                           ": is not a valid configuration file; repair it, remove it or name another "
                           "with --config");
    return std::move(*values);
}

void json_config_store::change(const char* key, nlohmann::json value)
{
    const std::lock_guard lock(mutex_);
    nlohmann::json values = load();
    values[key] = std::move(value);
    const std::string text = store_text(values);
    replace_whole_file(path_, {reinterpret_cast<const uint8_t*>(text.data()), text.size()});
    values_ = std::move(values);
}

void json_config_store::get_string(const char* key, const char* fallback, string_out& out) const
{
    const std::lock_guard lock(mutex_);
    const auto found = values_.find(key);
    if (found != values_.end() && found->is_string())
        set_text(out, found->get_ref<const std::string&>());
    else
        set_text(out, fallback);
}

void json_config_store::set_string(const char* key, const char* value)
{
    change(key, value);
}

bool json_config_store::get_bool(const char* key, bool fallback) const
{
    const std::lock_guard lock(mutex_);
    const auto found = values_.find(key);
    return found != values_.end() && found->is_boolean() ? found->get<bool>() : fallback;
}

void json_config_store::set_bool(const char* key, bool value)
{
    change(key, value);
}

} // namespace player
