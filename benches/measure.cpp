#include "benches/measure.h"

#include <windows.h>

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace bench {

namespace {

double now()
{
    LARGE_INTEGER ticks, frequency;
    QueryPerformanceCounter(&ticks);
    QueryPerformanceFrequency(&frequency);
    return static_cast<double>(ticks.QuadPart) / static_cast<double>(frequency.QuadPart);
}

double quantile(std::vector<double> values, double part)
{
    std::sort(values.begin(), values.end());
    const double at = part * static_cast<double>(values.size() - 1);
    const size_t low = static_cast<size_t>(at);
    const size_t high = std::min(low + 1, values.size() - 1);
    return values[low] + (values[high] - values[low]) * (at - static_cast<double>(low));
}

double time_of_many(const std::function<void()>& work, int calls)
{
    const double began = now();
    for (int i = 0; i < calls; ++i)
        work();
    return now() - began;
}

figure summary(std::string name, std::string unit, double goal, const std::vector<double>& values,
               const std::vector<double>& baselines)
{
    std::vector<double> ratios = values;
    for (size_t i = 0; i < baselines.size(); ++i)
        ratios[i] /= baselines[i];
    figure result;
    result.name = std::move(name);
    result.unit = std::move(unit);
    result.value = median(values);
    if (!baselines.empty())
        result.baseline = median(baselines);
    result.ratio = median(ratios);
    result.spread = (quantile(ratios, 0.75) - quantile(ratios, 0.25)) / 2;
    result.goal = goal;
    return result;
}

} // namespace

double time_of(const std::function<void()>& work)
{
    return time_of_many(work, 1);
}

double median(std::vector<double> values)
{
    return quantile(std::move(values), 0.5);
}

figure compare(const options& how, std::string name, double goal, const std::function<void()>& value,
               const std::function<void()>& baseline)
{
    // Series of about 10 ms: short against what disturbs a machine, long against the clock.
    const int probe = 20;
    time_of_many(baseline, probe);
    const double one = std::max(time_of_many(baseline, probe) / probe, 1e-9);
    const int calls = static_cast<int>(std::clamp(0.01 / one, 1.0, 1e6));
    const int series = std::max(1, static_cast<int>(how.seconds / 0.01));
    std::vector<double> values, baselines;
    for (int round = 0; round <= how.rounds; ++round) {
        double spent = 0, base = 0;
        for (int i = 0; i < series; ++i) {
            // Each goes first every other time.
            if (i % 2 == 0)
                spent += time_of_many(value, calls);
            base += time_of_many(baseline, calls);
            if (i % 2 != 0)
                spent += time_of_many(value, calls);
        }
        if (round == 0)
            continue;
        values.push_back(spent / series / calls * 1e6);
        baselines.push_back(base / series / calls * 1e6);
    }
    return summary(std::move(name), "us", goal, values, baselines);
}

figure compare_measured(const options& how, std::string name, std::string unit, double goal,
                        const std::function<double()>& value, const std::function<double()>& baseline)
{
    std::vector<double> values, baselines;
    for (int round = 0; round <= how.rounds; ++round) {
        const double spent = value();
        const double base = baseline();
        if (round == 0)
            continue;
        values.push_back(spent);
        baselines.push_back(base);
    }
    return summary(std::move(name), std::move(unit), goal, values, baselines);
}

figure measure(const options& how, std::string name, std::string unit, double goal,
               const std::function<double()>& value)
{
    std::vector<double> values;
    for (int round = 0; round <= how.rounds; ++round) {
        const double spent = value();
        if (round > 0)
            values.push_back(spent);
    }
    return summary(std::move(name), std::move(unit), goal, values, {});
}

void print(const figure& result)
{
    std::printf("{\"name\": \"%s\", \"unit\": \"%s\", \"value\": %.6g, ", result.name.c_str(),
                result.unit.c_str(), result.value);
    if (result.baseline)
        std::printf("\"baseline\": %.6g, ", *result.baseline);
    else
        std::printf("\"baseline\": null, ");
    std::printf("\"ratio\": %.6g, \"spread\": %.6g, \"goal\": %.6g, \"met\": %s}\n", result.ratio,
                result.spread, result.goal, result.missed() ? "false" : "true");
    std::fflush(stdout);
}

} // namespace bench
