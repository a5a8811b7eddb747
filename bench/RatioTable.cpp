#include "bench/RatioTable.h"

#include <cstdio>
#include <functional>
#include <iterator>
#include <utility>

namespace Bench {
namespace {

/// Set before the names of parts, so that they come in order behind the counters that every figure has.
constexpr char partMark = '~';

std::string GoalText(double ratio, double goal) {
    if (goal == 0)
        return "-";
    char text[32];
    std::snprintf(text, sizeof text, "%.2f %s", goal, ratio <= goal ? "met" : "missed");
    return text;
}

} // namespace

double Samples::Percentile(size_t percent) const {
    std::vector<double> sorted = _durations;
    const auto place = sorted.begin() + static_cast<std::ptrdiff_t>(sorted.size() * percent / 100);
    std::ranges::nth_element(sorted, place);
    return *place;
}

double Samples::MedianRatio(const Samples& floor) const {
    Samples ratios;
    std::ranges::transform(_durations, floor._durations, std::back_inserter(ratios._durations), std::divides());
    return ratios.Median();
}

void Figure::Tell(benchmark::State& state) const {
    state.counters["measured"] = measured.Median();
    state.counters["floor"] = floor.Median();
    state.counters["ratio"] = measured.MedianRatio(floor);
    state.counters["goal"] = goal;
    for (size_t i = 0; i < parts.size(); ++i)
        state.counters[std::string(1, partMark) + static_cast<char>('a' + i) + parts[i].first] = parts[i].second;
}

bool RatioTable::ReportContext(const Context& context) {
    PrintBasicContext(&GetErrorStream(), context);
    return true;
}

void RatioTable::ReportRuns(const std::vector<Run>& runs) {
    // The repetitions of a benchmark come first, then what was made of them.
    for (const Run& run : runs) {
        if (run.error_occurred)
            GetErrorStream() << run.run_name.function_name << ": " << run.error_message << '\n';
        else if (run.run_type == Run::RT_Iteration)
            _ratios.push_back(run.counters.at("ratio"));
        else if (run.aggregate_name == "median")
            _rows.push_back(
                {run.run_name.function_name, run.counters, std::ranges::minmax(std::exchange(_ratios, {}))});
    }
}

void RatioTable::Finalize() {
    std::puts("| Work | us | floor us | ratio (lowest to highest) | goal |\n|---|---:|---:|---:|---:|");
    for (const auto& [name, medians, ratios] : _rows) {
        const double ratio = medians.at("ratio");
        std::printf("| %s | %.2f | %.2f | %.2f (%.2f to %.2f) | %s |\n", name.c_str(),
                    static_cast<double>(medians.at("measured")), static_cast<double>(medians.at("floor")), ratio,
                    ratios.min, ratios.max, GoalText(ratio, medians.at("goal")).c_str());
        for (const auto& [part, value] : medians)
            if (part[0] == partMark)
                std::printf("| - %s | %.2f | | | |\n", part.c_str() + 2, static_cast<double>(value));
    }
}

} // namespace Bench
