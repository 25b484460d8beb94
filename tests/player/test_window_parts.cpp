// What the window is made of, without a window: what it keeps, its keys, its menus.

#include "player/window/menu_model.h"
#include "player/window/session.h"
#include "player/window/shortcuts.h"
#include "sdk/host_api.h"

#include <doctest/doctest.h>

#include <cmath>
#include <limits>
#include <map>
#include <stdexcept>

using namespace player;

namespace {

class memory_store : public config_store {
public:
    using service_interface = config_store;
    void get_string(const char* key, const char* fallback, string_out& out) const override
    {
        const auto found = texts.find(key);
        set_text(out, found == texts.end() ? fallback : found->second);
    }
    void set_string(const char* key, const char* value) override { texts[key] = value; }
    bool get_bool(const char*, bool fallback) const override { return fallback; }
    void set_bool(const char*, bool) override {}
    std::map<std::string, std::string> texts;
};

constexpr guid_t first_command{1, 2, 3, {4}},
    second_command{0xFFFFFFFF, 0xABCD, 0, {0, 1, 2, 3, 4, 5, 6, 0xEF}};

// A tree: a group without a text around "A" and a group "more" with a separator and "B".
class node : public mainmenu_node {
public:
    using service_interface = mainmenu_node;
    node(type_t type, const char* text, const guid_t& guid = {}, std::string* log = nullptr)
        : type_(type)
        , text_(text)
        , guid_(guid)
        , log_(log)
    {
    }
    type_t get_type() const noexcept override { return type_; }
    void get_display(string_out& text, uint32_t& flags) const override
    {
        set_text(text, text_);
        flags = 0;
    }
    size_t get_child_count() const noexcept override { return children.size(); }
    void get_child(service_ptr_t<mainmenu_node>& out, size_t index) override { out = children.at(index); }
    void execute() override { *log_ += text_; }
    guid_t get_guid() const override { return guid_; }
    bool get_description(string_out&) const override { return false; }
    std::vector<service_ptr_t<mainmenu_node>> children;

private:
    type_t type_;
    std::string text_;
    guid_t guid_;
    std::string* log_;
};

struct provider_facts {
    const char* name;
    guid_t group;
    uint32_t priority;
    bool dynamic;
};

class provider : public mainmenu_commands_v2_impl {
public:
    using type_t = mainmenu_node::type_t;
    provider(const provider_facts& facts, std::string& log)
        : facts_(facts)
        , log_(log)
    {
    }
    uint32_t get_command_count() const noexcept override { return 1; }
    guid_t get_command(uint32_t) const override { return {facts_.priority, 9, 9, {}}; }
    void get_name(uint32_t, string_out& out) const override { set_text(out, facts_.name); }
    bool get_description(uint32_t, string_out&) const override { return false; }
    guid_t get_parent() const override { return facts_.group; }
    uint32_t get_sort_priority() const noexcept override { return facts_.priority; }
    bool get_display(uint32_t, string_out& text, uint32_t& flags) const override
    {
        set_text(text, facts_.name);
        flags = 0;
        return std::string_view(facts_.name) != "hidden";
    }
    void execute(uint32_t) override { log_ += facts_.name; }
    bool is_command_dynamic(uint32_t) const override { return facts_.dynamic; }
    void dynamic_instantiate(uint32_t, service_ptr_t<mainmenu_node>& out) override
    {
        const auto root = service_new<node>(type_t::group, "");
        const auto more = service_new<node>(type_t::group, "more");
        more->children = {service_new<node>(type_t::separator, ""),
                          service_new<node>(type_t::command, "B", second_command, &log_)};
        root->children = {service_new<node>(type_t::command, "A", first_command, &log_), more};
        out = root;
    }

private:
    provider_facts facts_;
    std::string& log_;
};

class menu_host : public host_api {
public:
    explicit menu_host(std::vector<service_ptr_t<mainmenu_commands>> given)
        : commands(std::move(given))
    {
        core_api::set_host(this);
    }
    ~menu_host() { core_api::set_host(nullptr); }
    uint32_t get_version() const noexcept override { return current_version; }
    size_t get_service_count(const guid_t& guid) const noexcept override
    {
        return guid == mainmenu_commands::class_guid ? commands.size() : 0;
    }
    void get_service(service_ptr_t<service_base>& out, const guid_t&, size_t index) override
    {
        out = commands.at(index);
    }
    void* get_main_window() const noexcept override { return nullptr; }
    bool is_main_thread() const noexcept override { return true; }
    bool is_shutting_down() const noexcept override { return false; }
    bool are_services_available() const noexcept override { return true; }
    std::vector<service_ptr_t<mainmenu_commands>> commands;
};

// "A more(- B) x"
std::string shape(const std::vector<menu_entry>& list)
{
    std::string text;
    for (const menu_entry& each : list) {
        text += text.empty() ? "" : " ";
        text += each.what == menu_entry::kind::separator ? "-" : each.text;
        if (each.what == menu_entry::kind::group)
            text += "(" + shape(each.children) + ")";
    }
    return text;
}

} // namespace

TEST_CASE("window parts: a stored chain comes back, a damaged one leaves nothing half done")
{
    live_chain chain;
    dsp_preset_impl preset;
    preset.set_owner(second_command);
    std::string bytes;
    for (int i = 0; i < 256; ++i)
        bytes += static_cast<char>(i);
    preset.set_data(bytes.data(), bytes.size());
    chain.add(preset);
    chain.add(dsp_preset_impl(), false);
    const std::string text = chain_to_text(*chain.get());
    live_chain back;
    REQUIRE(chain_from_text(text, back));
    REQUIRE(back.get()->size() == 2);
    CHECK((*back.get())[0]->preset == preset);
    CHECK((*back.get())[0]->enabled);
    CHECK_FALSE((*back.get())[1]->enabled);

    live_chain none;
    CHECK(chain_from_text("", none));
    const std::string good = R"({"owner":"00000001-0002-0003-0400-000000000000","on":true,"data":"00"})";
    const std::string id = R"([{"owner":"00000001-0002-0003-0400-000000000000",)";
    const std::vector<std::string> damaged = {"x",
                                              "{}",
                                              "[" + good + ",7]",
                                              "[" + good + R"(,{"owner":"00000001","on":true,"data":""}])",
                                              "[" + good + R"(,{"owner":1,"on":true,"data":""}])",
                                              id + R"("on":true,"data":"0"}])",
                                              id + R"("on":true,"data":"0g"}])",
                                              id + R"("data":""}])"};
    for (const std::string& bad : damaged) {
        CAPTURE(bad);
        CHECK_FALSE(chain_from_text(bad, none));
        CHECK(none.get()->empty());
    }
}

TEST_CASE("window parts: places on the screen, times, levels")
{
    const window_place place{-5, 10, 700, 500, true};
    CHECK(place_from_text(place_to_text(place)) == place);
    for (const char* bad : {"", "1,2,3", "a,b,c,d,e", "1,2,3,4,1x", "1,2,1000000000,4,0"})
        CHECK_FALSE(place_from_text(bad));
    const struct {
        window_place wanted, got;
    } places[] = {{{10, 10, 700, 500}, {10, 10, 700, 500}},
                  {{5000, -300, 700, 500}, {300, 0, 700, 500}}, // of a screen that is gone
                  {{0, 0, 9000, 1}, {0, 0, 1000, 150}}};
    for (const auto& [wanted, got] : places)
        CHECK(on_screen(wanted, 0, 0, 1000, 800) == got);

    const std::pair<double, const char*> times[] = {{0, "0:00"},           {59.99, "0:59"},   {61, "1:01"},
                                                    {3599, "59:59"},       {3605, "1:00:05"}, {-1, "0:00"},
                                                    {std::nan(""), "0:00"}};
    for (const auto& [seconds, text] : times)
        CHECK(time_text(seconds) == text);
    const std::pair<double, double> levels[] = {{0, 0}, {0.0001, 0}, {0.001, 0},       {0.0316227766, 0.5},
                                                {1, 1}, {8, 1},      {std::nan(""), 0}};
    for (const auto& [peak, share] : levels)
        CHECK(meter_share(peak) == doctest::Approx(share));
}

TEST_CASE("window parts: shortcuts are spelled, kept and given to one command only")
{
    const std::pair<key_press, const char*> keys[] = {{{true, false, false, 'A'}, "Ctrl+A"},
                                                      {{true, true, true, '7'}, "Ctrl+Alt+Shift+7"},
                                                      {{false, false, false, 0x70}, "F1"},
                                                      {{false, false, true, 0x87}, "Shift+F24"}};
    for (const auto& [press, text] : keys) {
        CHECK(key_text(press) == text);
        CHECK(parse_key(text) == press);
    }
    for (const key_press& typed : {key_press{false, false, false, 'A'}, key_press{false, false, true, '7'},
                                   key_press{true, false, false, 0}, key_press{true, false, false, 0x0D}})
        CHECK(key_text(typed).empty());
    for (const char* bad : {"", "A", "Ctrl+", "Strg+A", "F25", "Ctrl+a"})
        CHECK_FALSE(parse_key(bad));
    for (const guid_t& guid : {first_command, second_command})
        CHECK(parse_guid(guid_text(guid)) == guid);
    for (const char* bad : {"", "0000000100020003-0400-000000000000", "0000000g-0002-0003-0400-000000000000"})
        CHECK_FALSE(parse_guid(bad));

    const auto store = service_new<memory_store>();
    const key_press f1{false, false, false, 0x70}, f2{false, false, false, 0x71};
    {
        shortcuts bound(store);
        bound.bind(first_command, f1);
        bound.bind(second_command, f1); // taken over
        bound.bind(first_command, f2);
        bound.bind(second_command, {true, false, false, 0x0D}); // no key: the binding goes
    }
    const shortcuts again(store);
    CHECK(again.find(f2) == first_command);
    CHECK(again.text_of(first_command) == "F2");
    CHECK_FALSE(again.find(f1));
    store->texts[shortcuts::store_key] = R"({"F1":"x","Q":"y","F3":7})";
    CHECK_FALSE(shortcuts(store).find(f1));
}

TEST_CASE("window parts: the component's commands in their groups, in order, and run by their GUIDs")
{
    std::string log;
    constexpr guid_t unknown_group{77, 0, 0, {}};
    const menu_host host({service_new<provider>(provider_facts{"late", mainmenu_group_dsp, 20, false}, log),
                          service_new<provider>(provider_facts{"tree", mainmenu_group_dsp, 10, true}, log),
                          service_new<provider>(provider_facts{"hidden", mainmenu_group_dsp, 5, false}, log),
                          service_new<provider>(provider_facts{"else", unknown_group, 7, false}, log)});
    const std::vector<guid_t> groups = {mainmenu_group_dsp, mainmenu_group_visualisations};
    const auto menu = menu_of_group(mainmenu_group_dsp, groups);
    CHECK(shape(menu) == "tree(A more(- B)) late");
    CHECK(shape(menu_of_group({}, groups)) == "else");
    CHECK(menu_of_group(mainmenu_group_visualisations, groups).empty());
    CHECK(shape(all_commands()) == "else A B late");
    menu.front().children.back().children.back().run();
    CHECK(log == "B");
    CHECK(run_command(first_command));
    CHECK(run_command({20, 9, 9, {}}));
    CHECK_FALSE(run_command({1, 1, 1, {}}));
    CHECK(log == "BAlate");
}
