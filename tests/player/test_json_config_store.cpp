#include "player/services/json_config_store.h"

#include "player/system/paths.h"
#include "player/system/player_error.h"
#include "player/system/whole_file.h"
#include "run_program.h"
#include "win/long_path.h"

#include <doctest/doctest.h>

using namespace player;

namespace {

std::string text_of(const config_store& store, const char* key, const char* fallback = "")
{
    string_out_impl text;
    store.get_string(key, fallback, text);
    return text.text;
}

std::vector<uint8_t> bytes(std::string_view text)
{
    return {text.begin(), text.end()};
}

} // namespace

TEST_CASE("store: values are on the disk when a set returns; another user's and unknown ones stay")
{
    const temp_folder folder;
    const std::string path = folder.path("a\\b\\config.json");
    const auto store = service_new<json_config_store>(path);
    CHECK_FALSE(path_exists(path)); // reading makes nothing
    CHECK(text_of(*store, "key", "fallback") == "fallback");
    CHECK(store->get_bool("switch", true));
    replace_whole_file(path, bytes(R"({"other": [1, {"x": null}]})"));
    const auto other = service_new<json_config_store>(path);
    store->set_string("key", "C:\\A\nC:\\B \xC3\xA4\"");
    other->set_bool("switch", false);

    const auto again = service_new<json_config_store>(path);
    CHECK(text_of(*again, "key") == "C:\\A\nC:\\B \xC3\xA4\"");
    CHECK_FALSE(again->get_bool("switch", true));
    // A key of another type is as good as none.
    CHECK(text_of(*again, "switch", "fallback") == "fallback");
    CHECK(again->get_bool("key", true));
    CHECK(nlohmann::json::parse(*read_whole_file(path, 1000))["other"] ==
          nlohmann::json::parse(R"([1, {"x": null}])"));
    CHECK(std::distance(std::filesystem::directory_iterator(win::to_utf16(folder.path("a\\b"))), {}) == 1);
}

TEST_CASE("store: a broken file is an error that names it, and is never overwritten")
{
    const temp_folder folder;
    const std::string path = folder.path("config.json");
    const std::string deep = "{\"a\":" + std::string(100'000, '[') + std::string(100'000, ']') + "}";
    for (const std::string& content : {std::string(), std::string("{\"a\": 1"), std::string("[1]"),
                                       std::string("\xFF\xFE"), std::string("{\"a\": \"\x80\"}"), deep}) {
        folder.write("config.json", bytes(content));
        CHECK_THROWS_WITH_AS(service_new<json_config_store>(path),
                             doctest::Contains("config.json: is not a valid configuration file"),
                             player_error);
    }
    // Broken while it is in use.
    folder.write("config.json", bytes("{}"));
    const auto store = service_new<json_config_store>(path);
    folder.write("config.json", bytes("{broken"));
    CHECK_THROWS_AS(store->set_bool("x", true), player_error);
    CHECK(*read_whole_file(path, 100) == bytes("{broken"));
    CHECK_FALSE(store->get_bool("x", false));
}

TEST_CASE("store: a process that is ended while it saves leaves the old or the new store")
{
    const temp_folder folder;
    const std::string path = folder.path("new\\config.json"); // in a folder that does not exist yet
    const std::string writer = program_folder() + "\\config_store_writer.exe";
    std::string seen;
    for (unsigned round = 0; round < 12; ++round) {
        DeleteFileW(win::long_path(path + ".started").c_str());
        const auto process = start_program(writer, {path}, folder);
        const ULONGLONG began = GetTickCount64();
        while (!path_exists(path + ".started")) {
            REQUIRE(GetTickCount64() - began < 30'000);
            REQUIRE(WaitForSingleObject(process.get(), 5) == WAIT_TIMEOUT);
        }
        // Whatever it is doing a moment later.
        WaitForSingleObject(process.get(), round * 3 + 1);
        TerminateProcess(process.get(), 1);
        REQUIRE(WaitForSingleObject(process.get(), 30'000) == WAIT_OBJECT_0);

        const auto store = service_new<json_config_store>(path);
        const std::string text = text_of(*store, "text");
        REQUIRE(text.size() == 100'000);
        CHECK(text == std::string(text.size(), text[0]));
        if (seen.find(text[0]) == std::string::npos)
            seen += text[0];
        // A file that was left half written beside it does not stand in the way.
        store->set_bool("after", true);
    }
    CHECK(seen.size() > 1); // the ends came at different places
}
