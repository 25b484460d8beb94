#pragma once
// Figures: a value and the baseline it is held against, measured in turn in the same run, so that whatever
// else the machine does hits both alike.

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace bench {

struct options {
    int rounds = 7;            // at least 5 for a verdict; one more goes before them to warm up
    double seconds = 0.12;     // of value and of baseline in one round
    size_t candidates = 10000; // of a scan
    bool with_growth = false;  // figures that take a while
    std::string only;          // part of a figure's name; empty: all of them
};

struct figure {
    std::string name;
    std::string unit;               // of value and baseline
    double value = 0;               // median
    std::optional<double> baseline; // median; none: the goal is for the value itself
    double ratio = 0;               // median of the rounds; the value itself without a baseline
    double spread = 0;              // half of what lies between the quartiles of the ratio
    double goal = 0;                // the ratio at most
    bool missed() const noexcept { return ratio - spread > goal; }
};

// Seconds of one call.
double time_of(const std::function<void()>& work);

// `value` and `baseline` do one piece of work per call; each is called so often that a round takes the
// seconds asked for, in short alternating series. Figures are microseconds a call.
figure compare(const options& how, std::string name, double goal, const std::function<void()>& value,
               const std::function<void()>& baseline);
// The same where one call is a round of its own and returns the figure itself.
figure compare_measured(const options& how, std::string name, std::string unit, double goal,
                        const std::function<double()>& value, const std::function<double()>& baseline);
// Without a baseline.
figure measure(const options& how, std::string name, std::string unit, double goal,
               const std::function<double()>& value);

double median(std::vector<double> values);

// One line of JSON, for the program that prints the table.
void print(const figure& result);

} // namespace bench
