#include "vsthost/vst3/vst3_module.h"

#include "vsthost/exit_codes.h"
#include "vsthost/process_shell.h"
#include "vsthost/vst3/vst3_host.h"
#include "win/utf.h"

#include <algorithm>
#include <cstring>

namespace vsthost::v3 {

namespace {

constexpr int32_t most_classes = 4096;

using v3::text; // the one for UTF-16, beside the one below

using init_function = bool(V3_API*)();
using factory_function = v3_plugin_factory**(V3_API*)();

// Whatever code page the module meant, what leaves here is valid UTF-8.
template <size_t Size>
std::string text(const char (&field)[Size])
{
    return win::to_utf8(win::to_utf16({field, strnlen(field, Size)}));
}

template <class Info>
effect_class to_class(const Info& info)
{
    effect_class result;
    std::copy_n(info.class_id, result.id.size(), result.id.begin());
    result.name = text(info.name);
    if constexpr (requires { info.vendor; })
        result.vendor = text(info.vendor);
    return result;
}

bool is_effect(const char (&category)[32])
{
    return text(category) == audio_effect_category;
}

} // namespace

module::module(const std::string& path) :file_(path, 3)
{
    try {
        start();
        read_classes();
    } catch (...) {
        end(); // or what it started runs on while its code goes
        throw;
    }
}

module::~module()
{
    end();
}

void module::end() noexcept
{
    factory_.reset();
    const watched_call watched("ending its module");
    if (started_)
        if (const auto exit = file_.function<init_function>("ExitDll"))
            exit();
}

void module::start()
{
    const watched_call watched("starting its module", call_kind::load);
    const auto get_factory = file_.function<factory_function>("GetPluginFactory");
    if (get_factory == nullptr)
        throw fatal_error(exit_code::module_unusable,
                          "\"" + file_.path() + "\" is not a VST 3 module: it has no GetPluginFactory");
    const auto init = file_.function<init_function>("InitDll");
    if (init != nullptr && !init())
        throw fatal_error(exit_code::module_unusable,
                          "\"" + file_.path() + "\" cannot be used: its own start-up failed");
    started_ = true;
    factory_ = ref<v3_plugin_factory>(get_factory());
    if (!factory_)
        throw fatal_error(exit_code::module_unusable,
                          "\"" + file_.path() + "\" cannot be used: it gives no list of its effects");
    if (const auto third = factory_.query<v3_plugin_factory_3>(v3_plugin_factory_3_iid))
        third->set_host_context(third.get(), host_application());
}

void module::read_classes()
{
    const watched_call watched("listing its effects", call_kind::load);
    const auto second = factory_.query<v3_plugin_factory_2>(v3_plugin_factory_2_iid);
    const auto third = factory_.query<v3_plugin_factory_3>(v3_plugin_factory_3_iid);
    v3_factory_info about{};
    const std::string vendor =
        factory_->get_factory_info(factory_.get(), &about) == ok ? text(about.vendor) : std::string();

    const int32_t count = std::clamp(factory_->num_classes(factory_.get()), 0, most_classes);
    for (int32_t i = 0; i < count; ++i) {
        v3_class_info_3 info3{};
        v3_class_info_2 info2{};
        v3_class_info info1{};
        // The newest information that is there; some modules have names in only one of the three.
        std::vector<effect_class> known;
        if (third && third->get_class_info_utf16(third.get(), i, &info3) == ok && is_effect(info3.category))
            known.push_back(to_class(info3));
        if (second && second->get_class_info_2(second.get(), i, &info2) == ok && is_effect(info2.category))
            known.push_back(to_class(info2));
        if (factory_->get_class_info(factory_.get(), i, &info1) == ok && is_effect(info1.category))
            known.push_back(to_class(info1));
        if (known.empty())
            continue;
        effect_class merged = known.front();
        for (const effect_class& other : known) {
            if (merged.name.empty())
                merged.name = other.name;
            if (merged.vendor.empty())
                merged.vendor = other.vendor;
        }
        if (merged.vendor.empty())
            merged.vendor = vendor;
        classes_.push_back(std::move(merged));
    }
    if (classes_.empty())
        throw fatal_error(exit_code::no_effect, "\"" + file_.path() + "\" holds no audio effect");
}

std::optional<size_t> module::find(const class_id& id) const
{
    const auto found = std::ranges::find(classes_, id, &effect_class::id);
    if (found == classes_.end())
        return std::nullopt;
    return static_cast<size_t>(found - classes_.begin());
}

} // namespace vsthost::v3
