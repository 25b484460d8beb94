#include "support/fake_worker.h"

#include "win/utf.h"
#include "worker/startWorker.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>

namespace {

std::string unique_text()
{
    static std::atomic<unsigned> counter{0};
    return std::to_string(GetCurrentProcessId()) + "-" + std::to_string(++counter);
}

std::filesystem::path native(const std::string& utf8)
{
    return std::filesystem::path(win::to_utf16(utf8));
}

std::string text_after(const std::string& line, std::string_view word)
{
    return line.starts_with(word) ? line.substr(word.size()) : std::string();
}

} // namespace

fake_worker::fake_worker(std::string script, const char* folder_name)
    : id_(unique_text())
{
    const std::filesystem::path folder =
        std::filesystem::temp_directory_path() / native(std::string(folder_name) + " " + id_);
    std::filesystem::remove_all(folder); // an earlier process of this number may have been killed
    std::filesystem::create_directories(folder);
    folder_ = win::to_utf8(folder.wstring()) + "\\";

    for (size_t at = 0; (at = script.find('{', at)) != std::string::npos;) {
        const size_t end = script.find('}', at);
        if (end == std::string::npos)
            throw std::runtime_error("script: no closing brace");
        const std::string inside = script.substr(at + 1, end - at - 1);
        std::string value = folder_;
        if (const std::string name = text_after(inside, "event:"); !name.empty()) {
            value = event_name(name);
            if (!events_.contains(name)) {
                events_[name].reset(CreateEventW(nullptr, TRUE, FALSE, win::to_utf16(value).c_str()));
                if (!events_[name])
                    throw std::runtime_error("no event");
            }
        }
        script.replace(at, end + 1 - at, value);
        at += value.size();
    }
    script_path_ = folder_ + "script.txt";
    std::ofstream(native(script_path_), std::ios::binary) << "record record.txt\n" << script;
}

fake_worker::~fake_worker()
{
    std::error_code ignored;
    std::filesystem::remove_all(native(folder_), ignored);
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
    vstConfig_t config;
    config.path = script_path_;
    config.name = "Fake";
    config.arch = arch;
    config.vstVersion = 3;
    return config;
}

std::string fake_worker::event_name(const std::string& event) const
{
    return "fake-worker-" + id_ + "-" + event;
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
    std::ifstream stream(native(folder_ + name), std::ios::binary);
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
    for (const std::string& line : record()) {
        if (const std::string id = text_after(line, "start "); !id.empty())
            found.push_back(static_cast<uint32_t>(std::stoul(id)));
    }
    return found;
}
