#include "player/component_settings.h"

#include "player/player_error.h"

#include <algorithm>

namespace player {

namespace {

enum class kind { on_off, list };
struct setting {
    const char* name;
    kind type;
    const char* key;
    bool fallback;
};
// Keys as the player makes them from a setting's GUID.
constexpr setting settings[] = {
    {"dpi-aware", kind::on_off, "advconfig.unnamed.39951A96-E318-4AE1-A05A-A6FF2ED5777D", false},
    {"feed-live", kind::on_off, "advconfig.unnamed.E2F1D325-3AC2-4570-BB04-922DB30D9279", true},
    {"process-tail", kind::on_off, "advconfig.unnamed.17F04BF0-5745-462F-929C-E7F230F51F5A", false},
    {"folders", kind::list, "cfg_var.FF3708BD-5259-4C4F-9AB8-5F9FDD119409", false},
    {"disabled-folders", kind::list, "cfg_var.541D275A-023B-4C0C-8B1F-4315CCC25547", false},
};
constexpr const setting& process_tail = settings[2];

const setting& find_setting(const std::string& name)
{
    for (const setting& known : settings) {
        if (name == known.name)
            return known;
    }
    std::string names;
    for (const setting& known : settings)
        names += std::string(names.empty() ? "" : ", ") + known.name;
    throw usage_error("unknown setting \"" + name + "\"; use one of " + names);
}

bool read_switch(const config_store& store, const setting& which)
{
    return store.get_bool(which.key, which.fallback);
}

// Items are separated by line feeds; carriage returns right before one do not count.
std::vector<std::string> read_list(const config_store& store, const setting& which)
{
    string_out_impl stored;
    store.get_string(which.key, "", stored);
    std::vector<std::string> items;
    const std::string& text = stored.text;
    for (size_t at = 0; at <= text.size();) {
        const size_t end = std::min(text.find('\n', at), text.size());
        std::string item = text.substr(at, end - at);
        while (end < text.size() && item.ends_with('\r'))
            item.pop_back();
        if (!item.empty())
            items.push_back(std::move(item));
        at = end + 1;
    }
    return items;
}

bool parse_switch(const setting& which, std::string value)
{
    std::transform(value.begin(), value.end(), value.begin(),
                   [](char c) { return static_cast<char>(c >= 'A' && c <= 'Z' ? c + 32 : c); });
    if (value == "on" || value == "yes" || value == "true" || value == "1")
        return true;
    if (value == "off" || value == "no" || value == "false" || value == "0")
        return false;
    throw usage_error("\"" + value + "\" is no value for " + which.name + "; use on or off");
}

std::string parse_list(const std::string& value)
{
    std::string joined;
    for (size_t at = 0; at <= value.size();) {
        const size_t end = std::min(value.find(';', at), value.size());
        const std::string item = value.substr(at, end - at);
        if (item.find('\n') != std::string::npos)
            throw usage_error("a folder's path cannot contain a line feed");
        if (!item.empty())
            joined += (joined.empty() ? "" : "\n") + item;
        at = end + 1;
    }
    return joined;
}

class tail_store : public config_store {
public:
    using service_interface = config_store;
    explicit tail_store(service_ptr_t<config_store> store)
        : store_(std::move(store))
    {
    }
    void get_string(const char* key, const char* fallback, string_out& out) const override
    {
        store_->get_string(key, fallback, out);
    }
    void set_string(const char* key, const char* value) override { store_->set_string(key, value); }
    bool get_bool(const char* key, bool fallback) const override
    {
        return std::string_view(key) == process_tail.key || store_->get_bool(key, fallback);
    }
    void set_bool(const char* key, bool value) override { store_->set_bool(key, value); }

private:
    service_ptr_t<config_store> store_;
};

} // namespace

component_settings read_settings(const config_store& store)
{
    return {read_switch(store, settings[0]), read_switch(store, settings[1]), read_switch(store, settings[2]),
            read_list(store, settings[3]), read_list(store, settings[4])};
}

void check_setting_name(const std::string& name)
{
    find_setting(name);
}

void change_setting(config_store& store, const std::string& assignment)
{
    const size_t equals = assignment.find('=');
    const setting& which = find_setting(assignment.substr(0, equals));
    const std::string value = assignment.substr(std::min(equals, assignment.size() - 1) + 1);
    if (which.type == kind::on_off)
        store.set_bool(which.key, parse_switch(which, value));
    else
        store.set_string(which.key, parse_list(value).c_str());
}

service_ptr_t<config_store> with_tail_on(service_ptr_t<config_store> store)
{
    return service_new<tail_store>(std::move(store));
}

} // namespace player
