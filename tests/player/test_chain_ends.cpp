// What a render leaves behind when a worker dies in the middle; and that the component reads the settings
// that the player stores.

#include "chain_fixture.h"

#include "player/os_path.h"
#include "player/whole_file.h"

#include <doctest/doctest.h>

#include <tlhelp32.h>

#include <functional>

namespace {

constexpr DWORD limit_ms = 40'000;

// Waits for it in small steps; fails when it does not come.
void wait_until(const char* what, const std::function<bool()>& condition)
{
    const ULONGLONG began = GetTickCount64();
    while (!condition()) {
        INFO(what);
        REQUIRE(GetTickCount64() - began < limit_ms);
        Sleep(5);
    }
}

// A file that another process is writing.
std::string text_so_far(const std::string& path)
{
    const win::file_handle file(CreateFileW(player::os_path(path).c_str(), GENERIC_READ,
                                            FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0,
                                            nullptr));
    std::string text(65536, '\0');
    DWORD got = 0;
    if (!file || !ReadFile(file.get(), text.data(), static_cast<DWORD>(text.size()), &got, nullptr))
        return {};
    text.resize(got);
    return text;
}

// The worker processes that a player has started, in the order of their chain as far as ids tell.
std::vector<win::kernel_handle> workers_of(DWORD player)
{
    std::vector<win::kernel_handle> workers;
    const win::file_handle snapshot(CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
    PROCESSENTRY32W entry;
    entry.dwSize = sizeof(entry);
    for (BOOL more = Process32FirstW(snapshot.get(), &entry); more;
         more = Process32NextW(snapshot.get(), &entry)) {
        if (entry.th32ParentProcessID == player &&
            std::wstring_view(entry.szExeFile).starts_with(L"qvxVSTHost"))
            workers.emplace_back(OpenProcess(SYNCHRONIZE | PROCESS_TERMINATE, FALSE, entry.th32ProcessID));
    }
    return workers;
}

bool has_ended(const win::kernel_handle& process)
{
    return WaitForSingleObject(process.get(), 0) == WAIT_OBJECT_0;
}

// A render of a minute of sound in small chunks, which takes long enough to be cut short.
class running_render {
public:
    running_render(chain_fixture& test, std::vector<std::string> chain)
        : test_(test)
        , input(noise(44100, 2, 60 * 44100))
    {
        test.write("in.wav", input);
        chain.insert(chain.end(), {"--frames", "64"});
        worker_count_ = static_cast<size_t>(std::count(chain.begin(), chain.end(), "--effect"));
        process_ = start_program(chain_fixture::player(), test.render_arguments({"in.wav"}, chain),
                                 test.folder.path("stdout"), test.folder.path("stderr"));
    }
    ~running_render()
    {
        if (!has_ended(process_))
            TerminateProcess(process_.get(), 99);
    }

    DWORD id() const { return GetProcessId(process_.get()); }
    // Until every worker has told its effect: from then on audio goes through.
    void wait_for_workers()
    {
        wait_until("the workers", [&] {
            REQUIRE_FALSE(has_ended(process_));
            test_.err = text_so_far(test_.folder.path("stderr"));
            return test_.workers_started() == worker_count_;
        });
        workers = workers_of(id());
        REQUIRE(workers.size() == worker_count_);
        REQUIRE(workers[0]);
    }
    program_result wait_for_end()
    {
        wait_until("the player's end", [&] { return has_ended(process_); });
        for (const win::kernel_handle& worker : workers)
            CHECK(WaitForSingleObject(worker.get(), 5000) == WAIT_OBJECT_0);
        program_result result;
        DWORD code = 0;
        GetExitCodeProcess(process_.get(), &code);
        result.exit_code = code;
        result.err = text_so_far(test_.folder.path("stderr"));
        return result;
    }

private:
    chain_fixture& test_;
    win::kernel_handle process_;
    size_t worker_count_ = 0;

public:
    sound input;
    std::vector<win::kernel_handle> workers;
};

std::vector<std::string> echo_and_gain()
{
    return {"--effect", chain_fixture::effect("qvxEcho.vst3", "x64"), "--effect",
            chain_fixture::effect("qvxGain.dll", "x86")};
}

// Files of the fixture beyond those of the test itself.
std::vector<std::string> other_files(const chain_fixture& test)
{
    std::vector<std::string> names;
    WIN32_FIND_DATAW entry;
    const HANDLE find = FindFirstFileW(player::os_path(test.folder.path("*")).c_str(), &entry);
    do {
        const std::string name = win::to_utf8(entry.cFileName);
        if (name != "." && name != ".." && name != "in.wav" && name != "stdout" && name != "stderr")
            names.push_back(name);
    } while (FindNextFileW(find, &entry));
    FindClose(find);
    return names;
}

} // namespace

TEST_CASE("chain: a worker that dies in the middle is told with its code; no output and no process stays")
{
    for (const size_t victim : {size_t{0}, size_t{1}}) {
        CAPTURE(victim);
        chain_fixture test;
        running_render render(test, echo_and_gain());
        render.wait_for_workers();
        Sleep(100);
        REQUIRE(TerminateProcess(render.workers[victim].get(), 0xC0DE0000 + static_cast<UINT>(victim)));
        const program_result result = render.wait_for_end();
        CAPTURE(result.err);
        CHECK(result.exit_code == 1);
        CHECK(result.last_line().starts_with("qvxplayer: "));
        CHECK(result.last_line().find(": VST worker terminated: 0xC0DE000" + std::to_string(victim) + ";") !=
              std::string::npos);
        CHECK(other_files(test).empty());
    }
}

TEST_CASE("chain: the component follows the settings that the player stored")
{
    chain_fixture test;
    test.write("in.wav", noise(8000, 2, 6000));
    const std::vector<std::string> chain = {"--effect", chain_fixture::module("module_with_a_tail.vst3")};
    const auto tail = [&](const std::vector<std::string>& more) {
        std::vector<std::string> all = chain;
        all.insert(all.end(), more.begin(), more.end());
        test.render({"in.wav"}, all);
        CHECK(test.report["output"]["frames"] == 6000 + test.report["tailFrames"].get<size_t>());
        return test.report["tailFrames"].get<size_t>();
    };
    const auto settings = [&](const std::string& what) {
        const program_result result =
            test.run({"--config", test.folder.path("config.json"), "settings", what});
        CHECK(result.exit_code == 0);
        return result.out;
    };
    CHECK(tail({}) == 0);
    CHECK(tail({"--tail"}) == 4096); // for this run only
    CHECK(settings("process-tail") == "process-tail=off\n");
    CHECK(tail({}) == 0);
    CHECK(settings("process-tail=on") == "process-tail=on\n");
    CHECK(tail({}) == 4096);
    // As another program would have written it.
    const std::string path = test.folder.path("config.json");
    auto store = nlohmann::json::parse(player::read_whole_file(path, 1 << 20).value());
    REQUIRE(store.dump().find("17F04BF0-5745-462F-929C-E7F230F51F5A") != std::string::npos);
    CHECK(settings("process-tail=off") == "process-tail=off\n");
    CHECK(tail({}) == 0);
    const std::string text = store.dump();
    test.folder.write("config.json", {text.begin(), text.end()});
    CHECK(settings("process-tail") == "process-tail=on\n");
    CHECK(tail({}) == 4096);
}
