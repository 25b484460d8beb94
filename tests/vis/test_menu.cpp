// The "VST" menu and the configure run behind it: which entries it shows, and where edits go.

#include "vis/mainmenu_commands_vst.h"

#include "player/window/shortcuts.h"
#include "support/dialog_host.h"
#include "support/fake_worker.h"
#include "support/presets.h"
#include "vis/menuConfigureRun.h"

#include <doctest/doctest.h>

#include <algorithm>
#include <filesystem>
#include <stdexcept>

namespace {

using lines = std::vector<std::string>;

dsp_preset_impl entry(const std::string& path, const std::string& name = "A", int version = 3)
{
    return preset_of({path, name, "x64", version});
}

dsp_preset_impl foreign(const std::string& path)
{
    dsp_preset_impl preset = entry(path);
    preset.set_owner({1, 2, 3, {}});
    return preset;
}

const dsp_preset_impl broken = entry("C:\\A.vst3", "A", 4);

struct menu_fixture {
    explicit menu_fixture(std::initializer_list<dsp_preset_impl> presets)
    {
        fake_worker::use_for_launches();
        for (const dsp_preset_impl& preset : presets)
            player.chain.add(preset);
    }
    ~menu_fixture() { endMenuConfigureRun(); }

    // "NAME GUID" of each command.
    lines commands()
    {
        service_ptr_t<mainmenu_node> tree, command;
        menu->dynamic_instantiate(0, tree);
        lines found;
        for (size_t i = 0; i < tree->get_child_count(); ++i) {
            tree->get_child(command, i);
            string_out_impl text, description;
            uint32_t flags = 1;
            command->get_display(text, flags);
            CHECK(flags == 0);
            CHECK(command->get_description(description));
            CHECK(description.text == "Configures VST effect.");
            found.push_back(text.text + " " + guid_text(command->get_guid()));
        }
        return found;
    }
    bool execute(size_t index)
    {
        const std::string guid = commands()[index].substr(commands()[index].rfind(' ') + 1);
        return menu->dynamic_execute(0, *player::parse_guid(guid));
    }
    void remove(size_t index) { player.chain.remove((*player.chain.get())[index]->id); }
    // The states in the chain; "-" for what has none, also what is not an effect of ours.
    lines states()
    {
        lines found;
        for (const auto& slot : *player.chain.get()) {
            std::string state;
            try {
                state = state_of(slot->preset);
            } catch (const exception_io_data&) {
            }
            found.push_back(state.empty() ? "-" : state);
        }
        return found;
    }

    dialog_host player;
    service_ptr_t<mainmenu_commands_vst> menu = service_new<mainmenu_commands_vst>();
};

// Saves "edit" when it opens and "last" when it is told to go.
const char* const editor = "connect\nwrite-file $--data edit\nsignal-event {event:up}\n"
                           "on-broken-pipe write-file $--data last\nread 1";

} // namespace

TEST_CASE("a command for each effect of the chain, with an identity that lasts")
{
    // MD5 of C:\\A.vst3, C:\\A.vst3+1 and C:\\B.dll
    const std::string first_a = "2774A30F-135A-D6C6-67A5-9C2E0B29FDA3",
                      second_a = "0AB52FAD-6F3E-8F40-BA89-B78514C1553B",
                      b = "28D0D027-C996-8B10-D9CD-8DA719CC135C";
    menu_fixture test{broken,
                      entry("C:\\A.vst3"),
                      foreign("C:\\A.vst3"),
                      entry("C:\\B.dll", "B"),
                      entry("C:\\A.vst3", "A2"),
                      entry("")};
    CHECK(test.commands() == lines{"A " + first_a, "B " + b, "A2 " + second_a});
    test.remove(1); // what was the second one is now the first
    CHECK(test.commands() == lines{"B " + b, "A2 " + first_a});
    CHECK_FALSE(test.menu->dynamic_execute(0, {1, 2, 3, {}}));
    while (!test.player.chain.get()->empty())
        test.remove(0);
    CHECK(test.commands().empty());

    service_ptr_t<mainmenu_node> none;
    CHECK_THROWS_AS(test.menu->dynamic_instantiate(1, none), std::out_of_range);
}

TEST_CASE("an edit goes to its own entry of the chain as it then is")
{
    struct row {
        const char* what;
        size_t executed;             // which of the two
        std::vector<size_t> removed; // meanwhile
        lines states;                // afterwards
    };
    const row rows[] = {
        {"the first", 0, {}, {"-", "last", "-", "-"}},
        {"the second", 1, {}, {"-", "-", "-", "last"}},
        {"the first, which is gone", 0, {1}, {"-", "-", "last"}},
        {"the second, the first is gone", 1, {1}, {"-", "-", "-"}},
        {"both are gone", 0, {3, 1}, {"-", "-"}},
    };
    for (const row& each : rows) {
        CAPTURE(each.what);
        fake_worker fake(editor);
        const std::string path = fake.script_path();
        menu_fixture test{broken, entry(path), foreign(path), entry(path)};
        CHECK(test.execute(each.executed));
        REQUIRE(fake.wait_for("up"));
        for (const size_t index : each.removed)
            test.remove(index);
        const lines arguments = fake.arguments();
        const std::string file = *(std::ranges::find(arguments, "--data") + 1);
        CHECK(std::filesystem::exists(file));
        endMenuConfigureRun(); // as the player's quit does
        CHECK(test.states() == each.states);
        CHECK_FALSE(std::filesystem::exists(file));
        CHECK(fake.record().back() == "exit 0");
        endMenuConfigureRun();
    }
}

TEST_CASE("the next command ends the editor before, whose last state is placed by the new number")
{
    fake_worker first(editor), other("connect\nwrite-file $--data open\nwait-event {event:close}\n"
                                     "write-file $--data closed\nexit 0");
    menu_fixture test{entry(first.script_path()), entry(first.script_path()), entry(other.script_path())};
    CHECK(test.execute(1));
    REQUIRE(first.wait_for("up"));
    CHECK(test.player.run_until([&] { return test.states()[1] == "edit"; }, 1));
    CHECK(test.execute(2));
    CHECK(test.states() == lines{"last", "edit", "-"});
    // By the user, who has seen it: a worker that is gone before the component looks was never there.
    CHECK(test.player.run_until([&] { return test.states()[2] == "open"; }, 5));
    other.signal("close");
    CHECK(test.player.run_until([&] { return test.states()[2] == "closed"; }, 5));

    test.player.host.app_token.abort();
    CHECK(test.execute(0)); // found, but the player is shutting down
    test.player.run_for(0.2);
    CHECK(first.process_ids().size() == 1);
}

TEST_CASE("a player that quits while it is handed the last state is not shown another editor")
{
    fake_worker fake(editor);
    menu_fixture test{entry(fake.script_path()), entry(fake.script_path())};
    CHECK(test.execute(0));
    REQUIRE(fake.wait_for("up"));
    CHECK(test.player.run_until([&] { return test.states()[0] == "edit"; }, 5));
    test.player.chain.set_changed([] { endMenuConfigureRun(); });
    CHECK(test.execute(0));
    test.player.chain.set_changed({});
    CHECK(test.states()[0] == "last");
    test.player.run_for(0.2);
    CHECK(fake.process_ids().size() == 1);
}
