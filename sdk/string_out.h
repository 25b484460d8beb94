#pragma once
// How text comes back through a virtual call between player and component: no STL type crosses that boundary,
// so the callee hands its UTF-8 bytes to an object of the caller's.

#include <cstddef>
#include <string>
#include <string_view>

class string_out {
public:
    // Replaces the text. `utf8` need not be terminated and is only valid during the call.
    virtual void set_text(const char* utf8, size_t byte_count) = 0;

protected:
    ~string_out() = default;
};

// The caller's side: collects the text in `text`.
class string_out_impl final : public string_out {
public:
    void set_text(const char* utf8, size_t byte_count) override { text.assign(utf8, byte_count); }

    std::string text;
};

inline void set_text(string_out& out, std::string_view text)
{
    out.set_text(text.data(), text.size());
}
