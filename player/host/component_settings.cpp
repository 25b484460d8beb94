#include "player/host/component_settings.h"

#include "catalogue/settings.h"
#include "player/system/paths.h"
#include "player/system/player_error.h"
#include "win/nearest_word.h"

#include <algorithm>

namespace player {

namespace {

// One of the two is set.
struct setting {
    const char* name;
    const advconfig_switch* on_off;
    const cfg_var_modern::cfg_string* list;

    std::string key() const { return on_off ? on_off->key() : list->key(); }
};
const setting settings[] = {
    {"dpi-aware", &cfg_dpi_aware, nullptr},
    {"feed-live", &cfg_feed_live, nullptr},
    {"process-tail", &cfg_process_tail, nullptr},
    {"folders", nullptr, &cfg_vst_folders},
    {"disabled-folders", nullptr, &cfg_vst_folders_disabled},
};

const setting& find_setting(const std::string& name)
{
    for (const setting& known : settings) {
        if (name == known.name)
            return known;
    }
    std::string listed;
    std::vector<std::string> names;
    for (const setting& known : settings) {
        listed += std::string(listed.empty() ? "" : ", ") + known.name;
        names.emplace_back(known.name);
    }
    const std::string nearest = win::nearest_word(name, names);
    throw usage_error("unknown setting \"" + name + "\"; use one of " + listed +
                      (nearest.empty() ? "" : "; did you mean " + nearest + "?"));
}

// Straight from the store: the component's own accessors need a running host.
bool read_switch(const config_store& store, const advconfig_switch& which)
{
    return store.get_bool(which.key().c_str(), which.default_state);
}

std::vector<std::string> read_list(const config_store& store, const cfg_var_modern::cfg_string& which)
{
    string_out_impl stored;
    store.get_string(which.key().c_str(), "", stored);
    return withoutEmpty(splitPaths(stored.text));
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
    if (value.find('\n') != std::string::npos)
        throw usage_error("a folder's path cannot contain a line feed; put ; between folders");
    std::vector<std::string> paths;
    for (size_t at = 0; at <= value.size();) {
        const size_t end = std::min(value.find(';', at), value.size());
        paths.push_back(value.substr(at, end - at));
        at = end + 1;
    }
    paths = withoutEmpty(std::move(paths));
    // The settings are read in other folders.
    std::transform(paths.begin(), paths.end(), paths.begin(), &absolute_path);
    return joinPaths(paths);
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
        return cfg_process_tail.key() == key || store_->get_bool(key, fallback);
    }
    void set_bool(const char* key, bool value) override { store_->set_bool(key, value); }

private:
    service_ptr_t<config_store> store_;
};

} // namespace

std::vector<component_setting> read_settings(const config_store& store)
{
    std::vector<component_setting> all;
    for (const setting& known : settings) {
        if (known.on_off)
            all.push_back({known.name, true, read_switch(store, *known.on_off), {}});
        else
            all.push_back({known.name, false, false, read_list(store, *known.list)});
    }
    return all;
}

void check_setting(const std::string& item)
{
    const size_t equals = item.find('=');
    const setting& which = find_setting(item.substr(0, equals));
    if (equals == std::string::npos)
        return;
    const std::string value = item.substr(equals + 1);
    if (which.on_off)
        parse_switch(which, value);
    else
        parse_list(value);
}

void change_setting(config_store& store, const std::string& assignment)
{
    const size_t equals = assignment.find('=');
    const setting& which = find_setting(assignment.substr(0, equals));
    const std::string value = assignment.substr(std::min(equals, assignment.size() - 1) + 1);
    if (which.on_off)
        store.set_bool(which.key().c_str(), parse_switch(which, value));
    else
        store.set_string(which.key().c_str(), parse_list(value).c_str());
}

service_ptr_t<config_store> with_tail_on(service_ptr_t<config_store> store)
{
    return service_new<tail_store>(std::move(store));
}

} // namespace player
