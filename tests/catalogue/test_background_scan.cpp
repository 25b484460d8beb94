// Scans that run on the player's background threads and report to its main thread.

#include "catalogue/background_scan.h"
#include "catalogue/image_builder.h"
#include "catalogue/settings.h"
#include "player/running_host.h"
#include "sdk/abort_callback_impl.h"
#include "support/patched_import.h"
#include "win/handle.h"

#include <doctest/doctest.h>

#include <optional>
#include <thread>

namespace {

constexpr std::chrono::seconds patience{20};

// Holds the scan at its first folder until it is let go, and may throw at a candidate.
class gate final : public scan_observer {
public:
    void on_folder(const std::string&) override
    {
        reached.abort();
        WaitForSingleObject(open.get_abort_event(), 20'000);
    }
    void on_candidate(const std::string& path) override
    {
        if (!throw_at.empty() && path.ends_with(throw_at))
            throw 7;
    }
    void wait_until_reached() const
    {
        REQUIRE(WaitForSingleObject(reached.get_abort_event(), 20'000) == WAIT_OBJECT_0);
    }

    abort_callback_impl reached, open;
    std::string throw_at;
};

struct scan_fixture {
    scan_fixture()
    {
        const auto module = image_builder().build();
        modules.make("a");
        modules.make("b");
        modules.write("a\\1.dll", module);
        modules.write("a\\2.dll", module);
        modules.write("b\\3.vst3", module);
    }
    std::vector<vstFolder_t> folders(const std::string& name) const { return {{modules.path(name), 0}}; }
    background_scan::deliver_t deliver()
    {
        return [this](const std::vector<vstConfig_t>& found) {
            core_api::ensure_main_thread();
            ++deliveries;
            names.clear();
            for (const vstConfig_t& config : found)
                names += config.name;
        };
    }
    bool run_until_delivered()
    {
        return running.run_until([this] { return deliveries != 0; });
    }
    // Lets everything that is under way come to its end.
    void settle()
    {
        REQUIRE(host.let_threads_end(patience));
        host.main_queue().run_pending();
    }

    temp_folder modules;
    std::vector<std::string> lines;
    running_host running{{}, [this](std::string_view line) { lines.emplace_back(line); }};
    player::player_host& host = running.host;
    int deliveries = 0;
    std::string names;
};

} // namespace

TEST_CASE("background scan: the result comes to the main thread, once")
{
    scan_fixture f;
    background_scan scan;
    scan.begin(f.folders("."), f.deliver());
    REQUIRE(f.host.let_threads_end(patience)); // has ended, but nobody has run callbacks yet
    CHECK(f.deliveries == 0);
    CHECK(f.run_until_delivered());
    CHECK(f.names == "123");
    f.settle();
    CHECK(f.deliveries == 1);

    // Through the folders of the settings, as they are now.
    const std::string before = cfg_vst_folders.get();
    cfg_vst_folders.set(f.modules.path("b") + "\n" + f.modules.path("none") + "\n" + f.modules.path("a"));
    f.deliveries = 0;
    scan.begin(f.deliver());
    cfg_vst_folders.set(before); // the task has its own copy
    CHECK(f.run_until_delivered());
    CHECK(f.names.starts_with("312"));
    CHECK(f.lines.empty());
}

TEST_CASE("background scan: a cancelled scan delivers nothing, whenever the cancel comes")
{
    scan_fixture f;
    const auto alive = std::make_shared<int>();
    const auto counted = [&f, alive](const std::vector<vstConfig_t>&) { ++f.deliveries; };
    SUBCASE("while it scans")
    {
        background_scan scan;
        const auto held = std::make_shared<gate>();
        scan.begin(f.folders("."), counted, held);
        held->wait_until_reached();
        CHECK(alive.use_count() == 3);
        scan.cancel();
        CHECK(alive.use_count() == 2); // what the delivery holds goes on the main thread
        held->open.abort();
        f.settle();
    }
    SUBCASE("when its result is on its way")
    {
        background_scan scan;
        scan.begin(f.folders("."), counted);
        REQUIRE(f.host.let_threads_end(patience));
        scan.cancel();
        f.settle();
    }
    SUBCASE("by the end of its owner, and the player's right after")
    {
        const auto held = std::make_shared<gate>();
        {
            background_scan scan;
            scan.begin(f.folders("."), counted, held);
            held->wait_until_reached();
        }
        held->open.abort();
        CHECK(f.host.shut_down());
    }
    SUBCASE("by the next scan")
    {
        background_scan scan;
        const auto held = std::make_shared<gate>();
        scan.begin(f.folders("a"), counted, held);
        held->wait_until_reached();
        scan.begin(f.folders("b"), f.deliver());
        CHECK(f.run_until_delivered());
        CHECK(f.names == "3");
        held->open.abort();
        f.settle();
        CHECK(f.deliveries == 1);
        f.deliveries = 0;
    }
    CHECK(f.deliveries == 0);
    CHECK(f.lines.empty());
}

TEST_CASE("background scan: behind links on drives that do not tell one folder from another")
{
    scan_fixture f;
    const patched_import linked("GetFileAttributesW", reinterpret_cast<void*>(+[](const wchar_t*) -> DWORD {
                                    return FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT;
                                }));
    const patched_import alike(
        "GetFileInformationByHandle",
        reinterpret_cast<void*>(+[](HANDLE, BY_HANDLE_FILE_INFORMATION* information) -> BOOL {
            *information = {};
            return TRUE;
        }));
    background_scan scan;
    scan.begin(f.folders("."), f.deliver());
    CHECK(f.run_until_delivered());
    CHECK(f.names == "123");
}

TEST_CASE("background scan: a delivery may destroy the scan or begin the next")
{
    scan_fixture f;
    auto scan = std::make_unique<background_scan>();
    scan->begin(f.folders("a"), [&](const std::vector<vstConfig_t>& first) {
        CHECK(first.size() == 2);
        scan->begin(f.folders("b"), [&, keep = std::make_shared<int>(5)](const auto& second) {
            scan.reset();
            CHECK(second.size() == 1);
            CHECK(*keep == 5); // still there
            ++f.deliveries;
        });
    });
    CHECK(f.run_until_delivered());
    CHECK_FALSE(scan);
}

TEST_CASE("background scan: what fails delivers what was found, or cannot be begun")
{
    scan_fixture f;
    background_scan scan;
    const auto held = std::make_shared<gate>();
    held->open.abort();
    held->throw_at = "2.dll";
    scan.begin(f.folders("a"), f.deliver(), held);
    CHECK(f.run_until_delivered());
    CHECK(f.names == "1");

    std::thread([&] {
        CHECK_THROWS_WITH_AS(scan.begin(f.folders("a"), f.deliver()), "core_api::ensure_main_thread",
                             exception_host_bug_check);
    }).join();
    CHECK(f.host.shut_down());
    CHECK_THROWS_AS(scan.begin(f.folders("a"), f.deliver()), exception_host_bug_check); // no services
}
