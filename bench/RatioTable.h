#pragma once

#include <algorithm>
#include <benchmark/benchmark.h>
#include <chrono>
#include <string>
#include <vector>

namespace Bench {

/// Durations of one piece of work, in microseconds.
class Samples {
public:
    /// Runs the work and keeps what it took, or what each of its equal parts took.
    template <typename Work>
    void Measure(Work work, size_t parts = 1) {
        const auto start = std::chrono::steady_clock::now();
        work();
        const std::chrono::duration<double, std::micro> taken = std::chrono::steady_clock::now() - start;
        Add(taken.count() / static_cast<double>(parts));
    }
    void Add(double duration) { _durations.push_back(duration); }
    double Last() const { return _durations.back(); }
    double Median() const { return Percentile(50); }
    /// That many of a hundred take at most this.
    double Percentile(size_t percent) const;
    /// The median of the ratios of what was measured in turn: a busy disk or processor slows both of a pair.
    double MedianRatio(const Samples& floor) const;

private:
    std::vector<double> _durations;
};

/// One figure of a benchmark's repetition: the work and its floor, measured in turn.
struct Figure {
    const Samples& measured;
    const Samples& floor;
    /// The highest ratio that is wanted; 0 when none is set.
    double goal = 0;
    /// Where the time goes, in microseconds.
    std::vector<std::pair<std::string, double>> parts = {};

    void Tell(benchmark::State& state) const;
};

/// Prints the medians over the repetitions as a table once all benchmarks have run.
class RatioTable : public benchmark::BenchmarkReporter {
public:
    bool ReportContext(const Context& context) override;
    void ReportRuns(const std::vector<Run>& runs) override;
    void Finalize() override;

private:
    struct Row {
        std::string name;
        benchmark::UserCounters medians;
        std::ranges::minmax_result<double> ratios;
    };
    std::vector<double> _ratios; ///< of the repetitions of the benchmark that runs
    std::vector<Row> _rows;
};

} // namespace Bench
