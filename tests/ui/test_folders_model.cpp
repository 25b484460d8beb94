// The folders without their window, in a player whose paths look different to people.

#include "catalogue/settings.h"
#include "catalogue/small_host.h"
#include "sdk/filesystem.h"
#include "ui/folders_model.h"

#include <doctest/doctest.h>

namespace {

// Stores "C:\x" as "vol:x" and shows it as "<x>".
class odd_filesystem : public filesystem {
public:
    using service_interface = filesystem;

    bool is_our_path(const char* path) const noexcept override { return *path == 'C' || *path == 'v'; }
    void get_canonical_path(const char* path, string_out& out) const override
    {
        set_text(out, "vol:" + tail(path));
    }
    void get_display_path(const char* path, string_out& out) const override
    {
        set_text(out, "<" + tail(path) + ">");
    }
    bool get_native_path(const char* path, string_out& out) const override
    {
        set_text(out, "C:\\" + tail(path));
        return true;
    }
    void open(service_ptr_t<file>&, const char*, open_mode, abort_callback&) override {}
    void list_folder(const char*, folder_listing&, abort_callback&) override {}

private:
    static std::string tail(const std::string& path) { return path.substr(path.find_first_of("\\:", 2) + 1); }
};

std::string shown(const toolkit::list_source& rows)
{
    std::string text;
    for (size_t row = 0; row < rows.row_count(); ++row)
        text += rows.row_text(row) + (rows.is_row_ticked(row) ? "+" : "") + " ";
    return text;
}

} // namespace

TEST_CASE("folders: shown for people, compared and stored as they are; a full store changes nothing")
{
    small_host host;
    const auto store = host.add<counting_store>();
    host.add<odd_filesystem>();
    cfg_vst_folders.set("vol:a\nother");
    cfg_vst_folders_disabled.set("<d>\nvol:e\nvol:D");
    static int rescans;
    rescans = 0;
    set_rescan_callback([] { ++rescans; });

    folders_model model({{"vol:d", vstFolder_t::vst2_home}, {"vol:e", vstFolder_t::vst3_home}});
    CHECK(shown(model.user_rows()) == "<a>+ other+ ");
    CHECK(shown(model.default_rows()) == "<d>+ <e> ");
    model.add({"C:\\b", "C:\\a", "else"});
    CHECK(shown(model.user_rows()) == "<a>+ other+ <b>+ <a>+ else+ ");
    CHECK(cfg_vst_folders.get() == "vol:a\nother\nvol:b\nvol:a\nelse");
    CHECK(model.user_path(2) == "C:\\b");
    CHECK(model.user_path(4) == "else");
    CHECK(model.user_path(5) == std::nullopt);
    CHECK(model.default_path(1) == "C:\\e");
    CHECK(model.remove(0));
    CHECK(!model.remove(4));
    CHECK(!model.remove(std::nullopt));
    model.add({});
    CHECK(rescans == 2);
    model.tick_default(0, false);
    CHECK(shown(model.default_rows()) == "<d> <e> ");
    model.tick_default(1, true);
    CHECK(cfg_vst_folders_disabled.get() == "<d>\nvol:D\nvol:d");
    CHECK(rescans == 4);

    store->full = true;
    const std::string before = shown(model.user_rows()) + shown(model.default_rows());
    CHECK_THROWS(model.add({"C:\\z"}));
    CHECK_THROWS(model.remove(0));
    CHECK_THROWS(model.tick_default(1, false));
    CHECK(shown(model.user_rows()) + shown(model.default_rows()) == before);
    CHECK(rescans == 4);
    set_rescan_callback(nullptr);
}
