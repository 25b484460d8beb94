// The parts of an editor's process that need no window.

#include "vsthost/editor/parameter_model.h"
#include "vsthost/editor/save_schedule.h"

#include <doctest/doctest.h>

#include <cstdlib>
#include <map>

using namespace vsthost;

namespace {

class effect_double final : public parameter_source {
public:
    std::vector<parameter_info> about;
    std::map<uint32_t, double> values;

    std::vector<parameter_info> parameters() override { return about; }
    double parameter(uint32_t id) override { return values[id]; }
    std::string parameter_text(uint32_t id) override { return std::to_string(values[id]).substr(0, 4); }
    void set_parameter(uint32_t id, double value) override { values[id] = value; }
    bool set_parameter_text(uint32_t id, const std::string& text) override
    {
        if (text == "?")
            return false;
        values[id] = std::strtod(text.c_str(), nullptr);
        return true;
    }
};

std::vector<std::string> names(const parameter_model& shown)
{
    std::vector<std::string> result;
    for (size_t i = 0; i < shown.count(); ++i)
        result.push_back(shown.at(i).about.name);
    return result;
}

} // namespace

TEST_CASE("a list of parameters: search, steps, defaults, typed values, changes from outside")
{
    effect_double source;
    source.about = {
        {.id = 7, .name = "Low Shelf Gain", .value = 0.5, .default_value = 0.25},
        {.id = 3, .name = "Switch", .default_value = 1.0, .steps = 1},
        {.id = 9, .name = "Meter", .read_only = true},
        {.id = 4, .name = "Secret", .hidden = true},
        {.id = 5, .name = "High Gain", .steps = 4},
    };
    source.values = {{7, 0.5}};
    parameter_model shown(source);
    using list = std::vector<std::string>;
    CHECK(names(shown) == list{"Low Shelf Gain", "Switch", "Meter", "High Gain"});
    shown.search("gAIN low");
    CHECK(names(shown) == list{"Low Shelf Gain"});
    shown.search("gain");
    CHECK(names(shown) == list{"Low Shelf Gain", "High Gain"});

    shown.set(1, 0.6); // of a parameter with four steps
    CHECK(source.values[5] == 0.5);
    shown.nudge(1, 1);
    shown.nudge(1, 5);
    CHECK(source.values[5] == 1.0);
    shown.nudge(0, -1);
    CHECK(source.values[7] == doctest::Approx(0.49));
    shown.set_default(0);
    CHECK(source.values[7] == 0.25);
    CHECK(shown.type(0, "0.75"));
    CHECK(shown.at(0).text == "0.75");
    CHECK(!shown.type(0, "?"));
    CHECK(source.values[7] == 0.75);

    CHECK(!shown.refresh(0, 100));
    source.values[7] = 0.1;
    CHECK(!shown.refresh(1, 2));
    CHECK(shown.refresh(0, 1));
    CHECK(shown.at(0).about.value == 0.1);

    shown.search("meter");
    shown.set(0, 0.5);
    CHECK(!shown.type(0, "0.5"));
    CHECK(source.values[9] == 0.0);
    source.about.push_back({.id = 11, .name = "Meter 2"});
    shown.reload(); // keeps the search
    CHECK(names(shown) == list{"Meter", "Meter 2"});
}

TEST_CASE("the state is asked for soon after an edit, and neither all the time nor for long without one")
{
    const auto ask = [](save_schedule& of, uint64_t from, uint64_t to) {
        of.asking(from);
        of.asked(to);
    };
    save_schedule quick;
    CHECK(!quick.due(1000));
    quick.edited();
    CHECK(quick.due(1000));
    quick.asking(1000);
    quick.edited(); // while it is asked for
    quick.asked(1001);
    CHECK(!quick.due(1049));
    CHECK(quick.due(1050));
    ask(quick, 1050, 1051);
    CHECK(!quick.due(5000));

    quick.touched(6000);
    CHECK(quick.due(6000));
    ask(quick, 6000, 6001);
    CHECK(!quick.due(6049));
    CHECK(quick.due(6990));
    CHECK(!quick.due(7000));

    save_schedule slow; // 40 ms each time
    slow.edited();
    ask(slow, 1000, 1040);
    slow.edited();
    CHECK(!slow.due(1079));
    CHECK(slow.due(1080));
    ask(slow, 1080, 1120);
    slow.touched(1120);
    CHECK(!slow.due(1479));
    CHECK(slow.due(1480));
}
