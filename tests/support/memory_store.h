#pragma once
// A configuration store in memory that counts. Builds natively as well.

#include "sdk/config_store.h"

#include <map>
#include <mutex>
#include <stdexcept>
#include <string>

// Its methods are called from any thread, what it shows is looked at when nobody calls them.
class counting_store : public config_store {
public:
    using service_interface = config_store;

    void get_string(const char* key, const char* fallback, string_out& out) const override
    {
        const std::lock_guard lock(mutex_);
        ++reads;
        const auto found = texts.find(key);
        set_text(out, found == texts.end() ? fallback : found->second);
    }
    void set_string(const char* key, const char* value) override
    {
        const std::lock_guard lock(mutex_);
        if (full)
            throw std::runtime_error("disk full");
        ++writes;
        texts[key] = value;
    }
    bool get_bool(const char* key, bool fallback) const override
    {
        const std::lock_guard lock(mutex_);
        ++reads;
        const auto found = switches.find(key);
        return found == switches.end() ? fallback : found->second;
    }
    void set_bool(const char* key, bool value) override
    {
        const std::lock_guard lock(mutex_);
        ++writes;
        switches[key] = value;
    }

    std::map<std::string, std::string> texts;
    std::map<std::string, bool> switches;
    mutable int reads = 0;
    int writes = 0;
    bool full = false;

private:
    mutable std::mutex mutex_;
};
