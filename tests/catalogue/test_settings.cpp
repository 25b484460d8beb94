#include "catalogue/settings.h"
#include "catalogue/small_host.h"

#include <doctest/doctest.h>

namespace {

using paths = std::vector<std::string>;

int rescans = 0;

// Counts rescans while it lives; the two lists begin empty.
struct settings_fixture {
    settings_fixture()
        : store(host.add<counting_store>())
    {
        cfg_vst_folders.set("");
        cfg_vst_folders_disabled.set("");
        store->writes = rescans = 0;
        set_rescan_callback([] { ++rescans; });
    }
    ~settings_fixture() { set_rescan_callback(nullptr); }

    const std::string& stored_folders()
    {
        return store->texts["cfg_var.FF3708BD-5259-4C4F-9AB8-5F9FDD119409"];
    }
    const std::string& stored_disabled()
    {
        return store->texts["cfg_var.541D275A-023B-4C0C-8B1F-4315CCC25547"];
    }

    small_host host;
    service_ptr_t<counting_store> store;
};

} // namespace

TEST_CASE("settings: a fresh store, and the keys that values are kept under")
{
    settings_fixture f;
    CHECK(getUserFolders().empty());
    CHECK(withoutEmpty(getDisabledDefaultFolders()).empty());
    CHECK_FALSE(cfg_dpi_aware.get());
    CHECK(cfg_feed_live.get());
    CHECK_FALSE(cfg_process_tail.get());

    f.store->switches = {{"advconfig.unnamed.39951A96-E318-4AE1-A05A-A6FF2ED5777D", true},
                         {"advconfig.unnamed.E2F1D325-3AC2-4570-BB04-922DB30D9279", false},
                         {"advconfig.unnamed.17F04BF0-5745-462F-929C-E7F230F51F5A", true}};
    CHECK(cfg_dpi_aware.get());
    CHECK_FALSE(cfg_feed_live.get());
    CHECK(cfg_process_tail.get());
    cfg_process_tail.set(false);
    CHECK_FALSE(f.store->switches["advconfig.unnamed.17F04BF0-5745-462F-929C-E7F230F51F5A"]);
}

TEST_CASE("settings: user folders are stored and rescanned each time")
{
    settings_fixture f;
    setUserFolders({{"C:\\A", vstFolder_t::user}, {"c:\\a", vstFolder_t::user}});
    CHECK(f.stored_folders() == "C:\\A\nc:\\a");
    setUserFolders(getUserFolders());
    CHECK(f.store->writes == 2);
    CHECK(rescans == 2);
    setUserFolders({});
    CHECK(f.stored_folders() == "");

    cfg_vst_folders.set("C:\\A\r\n\r\nC:\\B\n");
    CHECK(getUserFolders() == std::vector<vstFolder_t>{{"C:\\A", 0}, {"C:\\B", 0}});
}

TEST_CASE("settings: switching default folders off and on")
{
    settings_fixture f;
    setDefaultFolderEnabled("C:\\x", false); // was not off
    CHECK(f.store->writes == 0);
    setDefaultFolderEnabled("C:\\x", true);
    CHECK(f.stored_disabled() == "C:\\x"); // no empty piece before it
    setDefaultFolderEnabled("C:\\x", true);
    CHECK(f.store->writes == 1);
    CHECK(rescans == 1);
    setDefaultFolderEnabled("C:\\X", true);
    CHECK(f.stored_disabled() == "C:\\x\nC:\\X");

    cfg_vst_folders_disabled.set("C:\\x\n\nC:\\y\nC:\\x");
    setDefaultFolderEnabled("C:\\x", false);
    CHECK(f.stored_disabled() == "C:\\y");
    CHECK(getDisabledDefaultFolders() == paths{"C:\\y"});
    CHECK(rescans == 3);
}

TEST_CASE("settings: the store is read once, at the first use that finds exactly one")
{
    static cfg_var_modern::cfg_string text({1, 2, 3, {}}, "fallback");
    small_host host;
    CHECK_THROWS_AS(text.get(), exception_host_bug_check);
    CHECK_THROWS_AS(text.get(), exception_host_bug_check);
    const auto store = host.add<counting_store>();
    host.add<counting_store>();
    CHECK_THROWS_AS(text.get(), exception_host_bug_check);
    CHECK_THROWS_AS(cfg_feed_live.get(), exception_host_bug_check);
    host.remove_all();
    const auto only = host.add<counting_store>();
    CHECK(text.get() == "fallback");
    CHECK(text.get() == "fallback");
    CHECK(only->reads == 1);

    only->full = true;
    CHECK_THROWS(text.set("new"));
    CHECK(text.get() == "fallback");
    only->full = false;
    text.set("new");
    CHECK(text.get() == "new");
    CHECK(only->texts.at("cfg_var.00000001-0002-0003-0000-000000000000") == "new");
    CHECK(only->reads == 1);
}

TEST_CASE("settings: the block of all variables")
{
    settings_fixture f;
    idle_token token;
    cfg_vst_folders.set("C:\\A");
    cfg_vst_folders_disabled.set("C:\\B\nC:\\C");
    stream_writer_buffer_simple out;
    cfg_var_modern::write_all(out, token);

    cfg_vst_folders.set("other");
    cfg_vst_folders_disabled.set("other");
    const auto read = [&](size_t byte_count) {
        stream_reader_memblock_ref in(out.buffer.data(), out.buffer.size());
        cfg_var_modern::read_all(in, byte_count, token);
    };
    read(0);
    CHECK(cfg_vst_folders.get() == "other");
    read(out.buffer.size());
    CHECK(cfg_vst_folders.get() == "C:\\A");
    CHECK(f.stored_disabled() == "C:\\B\nC:\\C");

    CHECK_THROWS_AS(read(out.buffer.size() - 1), exception_io_data_truncation);
    CHECK_THROWS_AS(read(19), exception_io_data_truncation);
    out.buffer[16] = out.buffer[17] = out.buffer[18] = out.buffer[19] = 0xFF; // a text of 4 GB
    CHECK_THROWS_AS(read(out.buffer.size()), exception_io_data_truncation);
}
