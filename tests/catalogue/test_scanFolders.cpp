#include "catalogue/image_builder.h"
#include "catalogue/scanFolders.h"
#include "catalogue/settings.h"
#include "catalogue/small_host.h"
#include "sdk/abort_callback_impl.h"
#include "sdk/console.h"
#include "sdk/exceptions.h"

#include "support/temp_folder.h"

#include <doctest/doctest.h>

#include <windows.h>

#include <functional>

namespace {

using lines = std::vector<std::string>;

class line_console : public console_service {
public:
    using service_interface = console_service;
    void print_line(const char* utf8, size_t byte_count) noexcept override
    {
        printed.emplace_back(utf8, byte_count);
    }
    lines printed;
};

// A made-up tree under "tree:". Files whose name has "plug" in it are plug-in modules.
class tree_filesystem : public filesystem {
public:
    using service_interface = filesystem;

    explicit tree_filesystem(const temp_folder& modules)
        : modules_(modules)
    {
        modules_.write("plug.dll", image_builder().build());
        modules_.write("text.dll", {'t'});
    }

    bool is_our_path(const char* path) const noexcept override
    {
        return std::string_view(path).starts_with("tree:");
    }
    void get_canonical_path(const char* path, string_out& out) const override { set_text(out, path); }
    void get_display_path(const char* path, string_out& out) const override { set_text(out, path); }
    bool get_native_path(const char* path, string_out& out) const override
    {
        const std::string text = path;
        if (folders.contains(text))
            return false;
        set_text(out, modules_.path(text.find("plug") != std::string::npos ? "plug.dll" : "text.dll"));
        return true;
    }
    void open(service_ptr_t<file>&, const char*, open_mode, abort_callback&) override
    {
        throw exception_io();
    }
    void list_folder(const char* path, folder_listing& receiver, abort_callback&) override
    {
        listed.emplace_back(path);
        const auto folder = folders.find(path);
        if (folder == folders.end())
            throw exception_io_not_found();
        if (on_list)
            on_list(path);
        for (const std::string& entry : folder->second) {
            // A name that ends in a slash is a folder's.
            const bool is_folder = entry.ends_with('/');
            const std::string name = is_folder ? entry.substr(0, entry.size() - 1) : entry;
            receiver.on_entry(is_folder, name.c_str(), (std::string(path) + "\\" + name).c_str());
        }
    }

    std::map<std::string, lines> folders;
    std::function<void(const std::string& path)> on_list;
    lines listed;

private:
    const temp_folder& modules_;
};

struct scan_fixture {
    scan_fixture()
        : console(host.add<line_console>())
        , tree(host.add<tree_filesystem>(modules))
    {
    }
    lines scan(const lines& paths, scan_observer* observer = nullptr)
    {
        std::vector<vstFolder_t> folders;
        for (const std::string& path : paths)
            folders.push_back({path, 0});
        result = scanFolders(folders, abort, observer);
        lines found;
        for (const vstConfig_t& config : result)
            found.push_back(config.path);
        return found;
    }

    small_host host;
    temp_folder modules;
    service_ptr_t<line_console> console;
    service_ptr_t<tree_filesystem> tree;
    abort_callback_impl abort;
    std::vector<vstConfig_t> result;
};

} // namespace

TEST_CASE("scan: candidates and names")
{
    struct {
        const char* file;
        int32_t version;
        const char* name;
    } const rows[] = {
        {"a.dll", 2, "a"},
        {"a.b.dll", 2, "a.b"},
        {"X.VST3", 3, "X"},
        {".vst3", 3, ".vst3"},
        {".dll", 2, ".dll"},
        {"effect.dll.bak", 0, "effect.dll"},
        {"dll", 0, "dll"},
        {"\xC3\x84\xC3\x96.DlL", 2, "\xC3\x84\xC3\x96"},
        {"\xF0\x9F\x8E\xB5.vSt3", 3, "\xF0\x9F\x8E\xB5"},
        {"a.vst3x", 0, "a"},
    };
    for (const auto& row : rows) {
        CAPTURE(row.file);
        CHECK(expectedVersion(row.file) == row.version);
        CHECK(effectName(std::string("C:\\dir.d\\") + row.file) == row.name);
    }
    CHECK(effectName("x://a/b|c.dll") == "c");
    CHECK(effectName("C:e.dll") == "e");
}

TEST_CASE("scan: order, duplicates and records")
{
    struct : scan_observer {
        void on_folder(const std::string& path) override { seen.push_back("folder " + path); }
        void on_candidate(const std::string& path) override { seen.push_back("candidate " + path); }
        lines seen;
    } observer;
    scan_fixture f;
    f.tree->folders = {{"tree:a", {"sub1/", "z-plug.vst3", "text.dll", "sub2/", "a-plug.dll", "plug.txt"}},
                       {"tree:a\\sub1", {"plug1.dll", "deep.vst3/"}},
                       {"tree:a\\sub1\\deep.vst3", {"plug2.vst3"}},
                       {"tree:a\\sub2", {"plug3.dll"}},
                       {"tree:b", {"plug4.dll"}}};
    const lines a = {"tree:a\\z-plug.vst3", "tree:a\\a-plug.dll", "tree:a\\sub1\\plug1.dll",
                     "tree:a\\sub1\\deep.vst3\\plug2.vst3", "tree:a\\sub2\\plug3.dll"};
    lines expected = a;
    expected.push_back("tree:b\\plug4.dll");
    expected.insert(expected.end(), a.begin(), a.end());
    CHECK(f.scan({"tree:a", "tree:b", "tree:a"}) == expected);
    vstConfig_t first;
    first.path = "tree:a\\z-plug.vst3";
    first.name = "z-plug";
    first.arch = "x64";
    first.vstVersion = 2; // what the module exports, whatever its extension promises
    CHECK(f.result.at(0) == first);
    CHECK(f.console->printed.empty());

    f.scan({"tree:a\\sub1"}, &observer);
    CHECK(observer.seen == lines{"folder tree:a\\sub1", "candidate tree:a\\sub1\\plug1.dll",
                                 "folder tree:a\\sub1\\deep.vst3",
                                 "candidate tree:a\\sub1\\deep.vst3\\plug2.vst3"});
}

TEST_CASE("scan: folders that fail")
{
    scan_fixture f;
    f.tree->folders = {{"tree:a", {"plug-a.dll", "sub1/", "sub2/"}},
                       {"tree:a\\sub1", {}},
                       {"tree:a\\sub2", {"plug-b.dll"}},
                       {"tree:b", {"plug-c.dll", "gone/", "rest/"}},
                       {"tree:b\\rest", {"plug-d.dll"}},
                       {"tree:odd", {}},
                       {"tree:c", {"plug-e.dll"}}};
    f.tree->on_list = [](const std::string& path) {
        if (path == "tree:a\\sub1")
            throw exception_io_denied();
        if (path == "tree:odd")
            throw 7;
    };
    // A subfolder that fails ends its whole listed folder; what was found stays. One that vanished does so
    // without a word, and so do folders that nobody serves.
    CHECK(f.scan({"tree:a", "tree:b", "other:x", "tree:none", "tree:odd", "tree:c"}) ==
          lines{"tree:a\\plug-a.dll", "tree:b\\plug-c.dll", "tree:c\\plug-e.dll"});
    CHECK(f.console->printed == lines{"VST scanFolder failure: Access denied", "Problem path: tree:a"});
}

TEST_CASE("scan: abort")
{
    scan_fixture f;
    f.tree->folders = {
        {"tree:a", {"plug-a.dll", "sub/"}}, {"tree:a\\sub", {"plug-b.dll"}}, {"tree:b", {"plug-c.dll"}}};
    // While the last folder is listed: a normal return with what was found before.
    f.tree->on_list = [&](const std::string& path) {
        if (path == "tree:a\\sub")
            f.abort.abort();
    };
    CHECK(f.scan({"tree:a"}) == lines{"tree:a\\plug-a.dll"});
    f.abort.reset();
    f.tree->listed.clear();
    CHECK(f.scan({"tree:a", "tree:b"}) == lines{"tree:a\\plug-a.dll"});
    CHECK(f.tree->listed == lines{"tree:a", "tree:a\\sub"}); // and the next folder is not even begun
    CHECK(f.scan({"tree:a"}).empty());

    std::vector<vstConfig_t> found;
    CHECK_THROWS_AS(scanFolder(found, *f.tree, "tree:a", f.abort), exception_aborted);
    CHECK(f.console->printed.empty());
}

TEST_CASE("scan: very deep folders")
{
    scan_fixture f;
    std::string deep = "tree:d";
    for (int i = 0; i < 3000; ++i) {
        f.tree->folders[deep] = {"d/"};
        deep += "\\d";
    }
    f.tree->folders[deep] = {"plug.dll"};
    CHECK(f.scan({"tree:d"}) == lines{deep + "\\plug.dll"});
}

TEST_CASE("scan: which folders are scanned")
{
    small_host host;
    host.add<counting_store>();
    const wchar_t* names[] = {L"ProgramFiles(x86)", L"ProgramW6432", L"CommonProgramFiles(x86)",
                              L"CommonProgramW6432"};
    const std::wstring longest(2000, L'l');
    SetEnvironmentVariableW(names[0], L"C:\\\x00C4");
    SetEnvironmentVariableW(names[1], longest.c_str());
    SetEnvironmentVariableW(names[2], L"C:\\c");
    SetEnvironmentVariableW(names[3], nullptr);
    const std::string long_folder = std::string(2000, 'l') + "\\Steinberg\\VstPlugins";
    CHECK(getDefaultFolders() ==
          std::vector<vstFolder_t>{{"C:\\\xC3\x84\\Steinberg\\VstPlugins", 2}, {long_folder, 2}});
    SetEnvironmentVariableW(names[1], L"");
    SetEnvironmentVariableW(names[3], L"C:\\c");

    cfg_vst_folders.set("C:\\c\\VST3\nC:\\u");
    cfg_vst_folders_disabled.set("C:\\\xC3\x84\\Steinberg\\VstPlugins\nc:\\C\\vst3");
    CHECK(getScanFolders() == std::vector<vstFolder_t>{{"C:\\c\\VST3", 0},
                                                       {"C:\\u", 0},
                                                       {"Steinberg\\VstPlugins", 2},
                                                       {"C:\\c\\VST3", 3},
                                                       {"C:\\c\\VST3", 3}});
    for (const wchar_t* name : names)
        SetEnvironmentVariableW(name, nullptr);
}
