// Finds out under which name this copy was loaded and lists its classes accordingly. An unknown name has no
// classes.

#include "programs/modules/behaviours.h"

#include <windows.h>

#include <deque>
#include <string>

namespace {

// "module_that_..." of ".../module_that_....vst3".
std::string own_name()
{
    HMODULE self = nullptr;
    wchar_t path[MAX_PATH * 4] = L"";
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                       reinterpret_cast<const wchar_t*>(&own_name), &self);
    GetModuleFileNameW(self, path, static_cast<DWORD>(std::size(path)));
    std::wstring name = path;
    name.erase(0, name.find_last_of(L"\\/") + 1);
    name.resize(name.rfind(L'.'));
    return {name.begin(), name.end()};
}

// A number that differs from name to name, for ids.
uint32_t hash(std::string_view text)
{
    uint32_t value = 2166136261u;
    for (const char c : text)
        value = (value ^ static_cast<unsigned char>(c)) * 16777619u;
    return value;
}

} // namespace

extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD reason, void* process_ends)
{
    if (reason == DLL_PROCESS_ATTACH)
        misbehave_in(own_name(), "attach");
    // The thread would crash as soon as it runs again.
    if (reason == DLL_PROCESS_DETACH && process_ends == nullptr && own_thread_runs())
        TerminateProcess(GetCurrentProcess(), static_cast<UINT>(EXCEPTION_ACCESS_VIOLATION));
    return TRUE;
}

namespace {

class scaling final : public passing {
public:
    using passing::passing;

protected:
    double sample(std::size_t, double input) override { return input * about().class_id[3] / 64.0; }
};

// Built once; descriptions and names do not move.
class class_list {
public:
    explicit class_list(const std::string& name)
    {
        misbehave_in(name, "entry");
        if (const behaviour* const known = find_behaviour(name)) {
            add(name, 0, known->create, known->describe);
        } else if (name == "module_with_34_classes") {
            for (uint32_t i = 1; i <= 34; ++i)
                add("Class " + std::to_string(i), i, make<scaling>, nullptr);
        }
    }

    std::span<const bare::module_class> classes() const { return classes_; }

private:
    void add(const std::string& name, uint32_t number, maker create, void (*describe)(bare::description&))
    {
        names_.push_back(name);
        descriptions_.push_back({
            .name = names_.back().c_str(),
            .class_id = {0x71767874, 0x65737400, hash(number == 0 ? name : "many"), number},
            .unique_id = hash(name),
            .inputs = {{"Input", 2}},
            .outputs = {{"Output", 2}},
            .parameters = {{"Level", "", 0.0, 1.0, 1.0}},
            .keeps_chunk = true,
        });
        if (describe)
            describe(descriptions_.back());
        classes_.push_back({descriptions_.back(), create});
    }

    std::deque<std::string> names_;
    std::deque<bare::description> descriptions_;
    std::vector<bare::module_class> classes_;
};

} // namespace

std::span<const bare::module_class> bare::module_classes()
{
    static const class_list list(own_name());
    return list.classes();
}
