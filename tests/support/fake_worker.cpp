#include "support/fake_worker.h"

#include "win/utf.h"
#include "worker/startWorker.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string_view>

namespace {

std::string text_after(const std::string& line, std::string_view word)
{
    return line.starts_with(word) ? line.substr(word.size()) : std::string();
}

} // namespace

fake_worker::fake_worker(std::string script, const char* folder_name)
    : folder_(folder_name)
    , script_path_(folder_.path("script.txt"))
{
    constexpr std::string_view begin = "{event:";
    for (size_t at = 0; (at = script.find(begin, at)) != std::string::npos;) {
        const size_t end = script.find('}', at);
        const std::string name = script.substr(at + begin.size(), end - at - begin.size());
        if (!events_[name])
            events_[name].reset(CreateEventW(nullptr, TRUE, FALSE, win::to_utf16(event_name(name)).c_str()));
        script.replace(at, end + 1 - at, event_name(name));
    }
    script.insert(0, "record record.txt\n");
    folder_.write("script.txt", {script.begin(), script.end()});
}

void fake_worker::use_for_launches()
{
    wchar_t path[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    const std::filesystem::path folder = std::filesystem::path(path).parent_path() / "fake";
    Nv::setComponentPath(win::to_utf8((folder / "component.dll").wstring()));
}

vstConfig_t fake_worker::effect(const char* arch) const
{
    return {script_path_, "Fake", arch, 3};
}

std::string fake_worker::event_name(const std::string& event) const
{
    return folder_.path().substr(folder_.path().rfind(' ') + 1) + "-" + event; // one word
}

void fake_worker::signal(const std::string& event)
{
    SetEvent(events_.at(event).get());
}

void fake_worker::reset(const std::string& event)
{
    ResetEvent(events_.at(event).get());
}

bool fake_worker::wait_for(const std::string& event, double limit_seconds)
{
    return WaitForSingleObject(events_.at(event).get(), static_cast<DWORD>(limit_seconds * 1000)) ==
           WAIT_OBJECT_0;
}

std::string fake_worker::file(const std::string& name) const
{
    std::ifstream stream(std::filesystem::path(win::to_utf16(folder_.path(name))), std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

std::vector<std::string> fake_worker::record() const
{
    std::vector<std::string> lines;
    std::istringstream text(file("record.txt"));
    for (std::string line; std::getline(text, line);)
        lines.push_back(line);
    return lines;
}

std::vector<fake_worker::command> fake_worker::commands() const
{
    std::vector<command> found;
    for (const std::string& line : record()) {
        std::istringstream words(text_after(line, "command "));
        command each = {};
        std::string payload;
        if (!(words >> each.code >> each.byte_count >> payload))
            continue;
        for (size_t i = 0; payload != "-" && i + 1 < payload.size(); i += 2)
            each.payload += static_cast<char>(std::stoi(payload.substr(i, 2), nullptr, 16));
        found.push_back(std::move(each));
    }
    return found;
}

std::vector<std::string> fake_worker::arguments() const
{
    std::vector<std::string> found;
    for (const std::string& line : record()) {
        if (line.starts_with("argument "))
            found.push_back(line.substr(9));
        else if (!found.empty())
            break;
    }
    return found;
}

std::vector<uint32_t> fake_worker::process_ids() const
{
    std::vector<uint32_t> found;
    for (const std::string& line : record())
        if (const std::string id = text_after(line, "start "); !id.empty())
            found.push_back(static_cast<uint32_t>(std::stoul(id)));
    return found;
}
