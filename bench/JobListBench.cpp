#include "bench/RatioTable.h"
#include "device/JobList.h"

#include <random>

namespace Bench {
namespace {

/// Finds in one sample, whose microseconds are nanoseconds of a find.
constexpr size_t findsAtATime = 1000;

std::string IdOf(size_t number) {
    char text[48];
    std::snprintf(text, sizeof text, "%08x-0000-4000-8000-%012x", static_cast<unsigned>(number * 2654435761u),
                  static_cast<unsigned>(number));
    return text;
}

/// A list of that many jobs, and IDs to look for, spread over all of it.
struct FilledList {
    explicit FilledList(size_t size) {
        std::minstd_rand random(1);
        for (size_t number = 0; number < size; ++number) {
            const auto job = std::make_shared<JobsManagerD::Job>();
            job->ChangeSummary([number](auto& summary) { summary.id = IdOf(number); });
            list.Append(job, false);
        }
        for (size_t i = 0; i < findsAtATime; ++i)
            sought.push_back(IdOf(random() % size));
    }

    void FindAll() {
        for (const std::string& id : sought)
            benchmark::DoNotOptimize(list.Find(id));
    }

    /// And puts them back at the end, so that the next time there are as many.
    void RemoveAll() {
        for (const std::string& id : sought) {
            auto job = list.Find(id);
            list.Remove(id);
            list.Append(std::move(job), false);
        }
    }

    JobsManagerD::JobList list;
    std::vector<std::string> sought;
};

template <void (FilledList::*work)()>
void OnLists(benchmark::State& state) {
    FilledList small(1000);
    FilledList filled(static_cast<size_t>(state.range(0)));
    Samples measured;
    Samples floor;
    for (auto _ : state) {
        measured.Measure([&] { (filled.*work)(); });
        floor.Measure([&] { (small.*work)(); });
    }
    Figure{measured, floor, 2.5}.Tell(state);
}
BENCHMARK(OnLists<&FilledList::FindAll>)
    ->Name("1,000 finds among 10,000 jobs, against 1,000 jobs")
    ->Arg(10'000)
    ->Iterations(300)
    ->Repetitions(9);
BENCHMARK(OnLists<&FilledList::FindAll>)
    ->Name("1,000 finds among 65,535 jobs, against 1,000 jobs")
    ->Arg(65'535)
    ->Iterations(300)
    ->Repetitions(9);
BENCHMARK(OnLists<&FilledList::RemoveAll>)
    ->Name("1,000 removals among 65,535 jobs, against 1,000 jobs")
    ->Arg(65'535)
    ->Iterations(300)
    ->Repetitions(9);

} // namespace
} // namespace Bench
