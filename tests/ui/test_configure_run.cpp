// Configure runs with scripted workers: the state file, the ends of a run, live audio, callbacks that
// interfere.

#include "ui/CDialogConfigureVST.h"

#include "catalogue/settings.h"
#include "support/dialog_host.h"
#include "support/fake_worker.h"
#include "worker/startWorker.h"

#include <doctest/doctest.h>

#include <filesystem>
#include <fstream>
#include <iterator>

namespace {

void write_text(const std::string& path, const std::string& text)
{
    std::ofstream(path, std::ios::binary) << text;
}

bool ended(uint32_t process)
{
    const win::kernel_handle handle(OpenProcess(SYNCHRONIZE, FALSE, process));
    return !handle || WaitForSingleObject(handle.get(), 5000) == WAIT_OBJECT_0;
}

const char* const editor = "connect\nsignal-event {event:up}\nread 1";

struct configured {
    configured()
    {
        fake_worker::use_for_launches();
        run->onStateChanged = [this](const vstConfig_t& effect) {
            events.push_back(effect.name + " " + std::string(effect.state.begin(), effect.state.end()));
            if (meanwhile)
                std::exchange(meanwhile, nullptr)();
        };
        run->onFinished = [this] { events.emplace_back("finished"); };
    }
    // Starts the worker and waits until its editor is up.
    void start(fake_worker& fake, HWND parent = nullptr)
    {
        vstConfig_t effect = fake.effect();
        effect.name = "A";
        effect.state = {'z', 'e', 'r', 'o'};
        run->Start(effect, parent);
        REQUIRE(fake.wait_for("up"));
    }

    dialog_host player;
    std::vector<std::string> events; // "NAME STATE" and "finished"
    std::function<void()> meanwhile; // runs once, inside onStateChanged
    std::unique_ptr<CDialogConfigureVST> run = std::make_unique<CDialogConfigureVST>();
};

using lines = std::vector<std::string>;

} // namespace

TEST_CASE("an edit is reported while the editor is open, the last one when it closes")
{
    configured test;
    fake_worker fake("connect\nsignal-event {event:up}\nwait-event {event:edit}\nwrite-file $--data one\n"
                     "wait-event {event:close}\nwrite-file $--data two\nexit 0");
    cfg_feed_live.set(false);
    cfg_dpi_aware.set(true);
    const HWND window = GetDesktopWindow();
    test.start(fake, window);
    std::ifstream written(test.run->dataFile(), std::ios::binary);
    CHECK(std::string(std::istreambuf_iterator<char>(written), {}) == "zero");
    written.close();
    char parent[24];
    std::snprintf(parent, sizeof(parent), "%llx",
                  static_cast<unsigned long long>(reinterpret_cast<uintptr_t>(window)));
    const lines arguments = fake.arguments();
    REQUIRE(arguments.size() == 20);
    CHECK(arguments[1] == "configure");
    CHECK(lines(arguments.begin() + 6, arguments.begin() + 18) ==
          lines{"--dpi-aware", "yes", "--data", test.run->dataFile(), "--parent-window", parent,
                "--formattag", "3", "--bits", "64", "--process", "realtime"});

    test.player.run_for(0.5); // looks several times
    fake.signal("edit");
    CHECK(test.player.run_until([&] { return !test.events.empty(); }, 1));
    CHECK(test.run->isRunning());
    fake.signal("close");
    CHECK(test.player.run_until([&] { return !test.run->isRunning(); }));
    CHECK(test.events == lines{"A one", "A two", "finished"});
    write_text(test.run->dataFile(), "late");
    test.run->stop(); // the effect was kept for this
    test.run->stop();
    CHECK(test.events.back() == "A late");

    // Nothing of the ended run is heard any more.
    write_text(test.run->dataFile(), "later");
    test.run->stop();
    test.player.run_for(0.5);
    CHECK(test.events.size() == 4);
    const std::string file = test.run->dataFile();
    test.run.reset();
    CHECK_FALSE(std::filesystem::exists(file));
}

TEST_CASE("stopping reads back once more; what no state can be is left alone")
{
    configured test;
    struct row {
        const char* what;
        std::function<void(const std::string& path)> change;
        lines reported;
    };
    const std::string largest(0xFFFFFF, 'x'); // NOLINT(bugprone-string-constructor): a state may be so large
    const row rows[] = {
        {"unchanged", [](auto&) {}, {}},
        {"the largest", [&](auto& path) { write_text(path, largest); }, {"A " + largest}},
        {"too large", [&](auto& path) { write_text(path, largest + 'x'); }, {}},
        {"emptied", [](auto& path) { write_text(path, ""); }, {"A "}},
        {"gone", [](auto& path) { std::filesystem::remove(path); }, {}},
    };
    for (const row& each : rows) {
        CAPTURE(each.what);
        test.events.clear();
        fake_worker fake(editor);
        test.start(fake);
        each.change(test.run->dataFile());
        test.run->stop();
        CHECK_FALSE(test.run->isRunning());
        CHECK(ended(fake.process_ids()[0]));
        CHECK((test.events == each.reported)); // not printed
    }
    // A worker that cannot be started leaves the run as it is until it is stopped.
    Nv::setComponentPath("C:\\nowhere\\component.dll");
    test.run->Start({"x", "x", "x64", 3}, nullptr);
    test.player.run_for(0.5);
    CHECK(test.run->isRunning());
    test.run->stop();
    CHECK_FALSE(test.run->isRunning());
    CHECK(test.events.empty());
}

TEST_CASE("a callback may stop, begin and destroy runs")
{
    enum class from { poll, stop, start, destructor };
    enum class does { stop, start, destroy };
    for (const from where : {from::poll, from::stop, from::start, from::destructor}) {
        for (const does what : {does::stop, does::start, does::destroy}) {
            if (where == from::destructor && what == does::destroy)
                continue;
            CAPTURE(static_cast<int>(where));
            CAPTURE(static_cast<int>(what));
            configured test;
            fake_worker fake(editor), other(editor), third(editor);
            test.start(fake);
            test.meanwhile = [&, run = test.run.get()] {
                if (what == does::stop)
                    run->stop();
                else if (what == does::destroy)
                    delete test.run.release();
                else
                    run->Start(other.effect(), nullptr);
            };
            write_text(test.run->dataFile(), "edited");
            if (where == from::poll)
                CHECK(test.player.run_until([&] { return !test.events.empty(); }));
            else if (where == from::stop)
                test.run->stop();
            else if (where == from::start)
                test.run->Start(third.effect(), nullptr);
            else
                delete std::exchange(test.run, nullptr).release();
            CHECK(test.events == lines{"A edited"});
            CHECK(ended(fake.process_ids()[0]));
            if (!test.run)
                continue;
            // Who began last is the one that runs.
            const bool began = what == does::start;
            CHECK(test.run->isRunning() == (began || where == from::start));
            if (test.run->isRunning())
                CHECK((began ? other : third).wait_for("up"));
            test.run->stop();
            CHECK(third.process_ids().empty() == (began || where != from::start));
        }
    }
}
