#pragma once
#include "sdk/config_store.h"

#include <nlohmann/json.hpp>

#include <mutex>
#include <string>

namespace player {

// The configuration store in one JSON file: an object of texts and booleans by key; what else it holds is
// kept. Every set reads the file again, changes the one value and replaces the file, so that two players that
// share it lose nothing but a simultaneous change.
class json_config_store : public config_store {
public:
    using service_interface = config_store;

    // A missing file is an empty store and is made by the first set. Throws player_error when the file cannot
    // be read or is no such object; it is never overwritten then.
    explicit json_config_store(const std::string& path);

    void get_string(const char* key, const char* fallback, string_out& out) const override;
    void set_string(const char* key, const char* value) override;
    bool get_bool(const char* key, bool fallback) const override;
    void set_bool(const char* key, bool value) override;

private:
    nlohmann::json load() const;
    void change(const char* key, nlohmann::json value);

    std::string path_;
    mutable std::mutex mutex_;
    nlohmann::json values_; // as last read or written
};

} // namespace player
