#include "catalogue/vstFolder.h"

#include <doctest/doctest.h>

#include <map>

namespace {

using paths = std::vector<std::string>;

paths composed(const std::map<std::string, std::string>& environment, std::vector<int32_t>* kinds = nullptr)
{
    paths result;
    for (const vstFolder_t& folder : composeDefaultFolders([&](const char* name) {
             const auto found = environment.find(name);
             return found == environment.end() ? std::nullopt : std::optional(found->second);
         })) {
        result.push_back(folder.path);
        if (kinds)
            kinds->push_back(folder.kind);
    }
    return result;
}

} // namespace

TEST_CASE("path lists: splitting and joining")
{
    struct {
        std::string text;
        paths expected;
    } const rows[] = {
        {"", {""}},
        {"A", {"A"}},
        {"A\nB", {"A", "B"}},
        {"A\r\n\r\nB\n", {"A", "", "B", ""}},
        {"A\r\r\nB\r", {"A", "B\r"}}, // only what stands right before a line feed is dropped
        {"A\rB\nC", {"A\rB", "C"}},
        {"\n", {"", ""}},
    };
    for (const auto& row : rows)
        CHECK(splitPaths(row.text) == row.expected);
    CHECK(joinPaths({}) == "");
    CHECK(joinPaths({"A"}) == "A");
    CHECK(joinPaths({"C:\\A", "B"}) == "C:\\A\nB");
}

TEST_CASE("default folders: both variables of a pair, x86 first")
{
    const std::map<std::string, std::string> all = {{"ProgramFiles(x86)", "C:\\P86"},
                                                    {"ProgramW6432", "C:\\P64\\"},
                                                    {"CommonProgramFiles(x86)", "C:\\C86"},
                                                    {"CommonProgramW6432", ""}};
    std::vector<int32_t> kinds;
    CHECK(composed(all, &kinds) ==
          paths{"C:\\P86\\Steinberg\\VstPlugins", "C:\\P64\\Steinberg\\VstPlugins", "C:\\C86\\VST3", "VST3"});
    CHECK(kinds == std::vector<int32_t>{2, 2, 3, 3});

    for (const auto& [missing, value] : all) {
        auto some = all;
        some.erase(missing);
        const bool program = missing.starts_with("Program");
        CHECK(composed(some) ==
              (program ? paths{"C:\\C86\\VST3", "VST3"}
                       : paths{"C:\\P86\\Steinberg\\VstPlugins", "C:\\P64\\Steinberg\\VstPlugins"}));
    }
    CHECK(composed({{"ProgramFiles(x86)", ""}, {"ProgramW6432", ""}}) ==
          paths{"Steinberg\\VstPlugins", "Steinberg\\VstPlugins"});
    CHECK(composed({}).empty());
}
