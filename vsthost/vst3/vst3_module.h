#pragma once
// A VST 3 module and the audio effects in it. GUI thread.

#include "vsthost/module_file.h"
#include "vsthost/vst3/vst3_abi.h"
#include "vsthost/vst3/vstpreset.h"
#include "win/utf.h"

#include <optional>
#include <string>
#include <vector>

namespace vsthost::v3 {

// A text of a fixed size, in UTF-16, zero-terminated when it is shorter.
template <size_t Size>
std::string text(const int16_t (&field)[Size])
{
    std::wstring wide;
    for (const int16_t unit : field) {
        if (unit == 0)
            break;
        wide += static_cast<wchar_t>(unit);
    }
    return win::to_utf8(wide);
}

struct effect_class {
    class_id id{};
    std::string name;
    std::string vendor;
};

class module {
public:
    // Loads and starts the module. Throws fatal_error, also when there is no audio effect in it.
    explicit module(const std::string& path);
    ~module();
    module(const module&) = delete;
    module& operator=(const module&) = delete;

    const module_file& file() const noexcept { return file_; }
    const std::vector<effect_class>& classes() const noexcept { return classes_; } // at least one
    std::optional<size_t> find(const class_id& id) const;

    // Empty when the module refuses.
    template <class Interface>
    ref<Interface> create(const class_id& id, const v3_tuid iid) const
    {
        void* object = nullptr;
        if (factory_->create_instance(factory_.get(), id.data(), iid, &object) != ok)
            return {};
        return ref<Interface>(static_cast<Interface**>(object));
    }

private:
    void start();
    void read_classes();
    void end() noexcept;

    module_file file_;
    bool started_ = false;
    ref<v3_plugin_factory> factory_;
    std::vector<effect_class> classes_;
};

} // namespace vsthost::v3
