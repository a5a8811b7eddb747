#include "bench/Card.h"
#include "bench/LocalDevice.h"
#include "bench/RatioTable.h"
#include "bench/ServiceWithCard.h"
#include "fsutil/FileDescriptor.h"
#include "fsutil/FolderReader.h"
#include "fsutil/SystemCalls.h"

#include <algorithm>
#include <atomic>
#include <fcntl.h>
#include <stdexcept>
#include <thread>
#include <unistd.h>

namespace Bench {
namespace {

constexpr int rounds = 9;

size_t JobsOf(const benchmark::State& state) { return static_cast<size_t>(state.range(0)); }

// Times are of one job: cards of different sizes compare.

void MeasureIndex(const Card& card, Samples& measured) {
    LocalDevice device(card.Folder());
    measured.Measure([&] { device.Index(card.Jobs()); }, card.Jobs());
}

void Index(benchmark::State& state) {
    const Card& card = Card::Of(JobsOf(state));
    Samples index, floor;
    for (auto _ : state) {
        MeasureIndex(card, index);
        floor.Measure([&] { ReadCard(card.Folder()); }, card.Jobs());
    }
    // The start of threads shows on a card of few jobs, and nobody waits for it.
    Figure{index, floor, card.Jobs() == 1'000 ? 0 : 3.5}.Tell(state);
}
BENCHMARK(Index)->Name("Index of 1,000 jobs, per job")->Arg(1'000)->Iterations(20)->Repetitions(rounds);
BENCHMARK(Index)->Name("Index of 10,000 jobs, per job")->Arg(10'000)->Iterations(3)->Repetitions(rounds);
BENCHMARK(Index)->Name("Index of 65,535 jobs, per job")->Arg(65'535)->Iterations(1)->Repetitions(rounds);

void IndexGrowth(benchmark::State& state) {
    const Card& full = Card::Of(65'535);
    const Card& part = Card::Of(10'000);
    Samples whole, floor;
    for (auto _ : state) {
        MeasureIndex(full, whole);
        MeasureIndex(part, floor);
    }
    Figure{whole, floor, 1.1}.Tell(state);
}
BENCHMARK(IndexGrowth)->Name("Index of 65,535 jobs, per job, against 10,000 jobs")->Iterations(1)->Repetitions(rounds);

void ColdIndex(benchmark::State& state) {
    const Card& card = Card::Of(10'000);
    Samples index, floor;
    for (auto _ : state) {
        if (!DropCaches())
            return state.SkipWithError("only root may drop the kernel's caches");
        MeasureIndex(card, index);
        DropCaches();
        floor.Measure([&] { ReadCard(card.Folder()); }, card.Jobs());
    }
    Figure{index, floor, 0.5}.Tell(state);
}
BENCHMARK(ColdIndex)->Name("Cold index of 10,000 jobs, per job")->Iterations(1)->Repetitions(rounds);

/// Each open and each listing takes 5 ms longer, as on a card that answers slowly, but several at once.
class SlowCard {
public:
    SlowCard() {
        JobsManagerD::systemCalls.openAt = [](int folder, const char* path, int flags, unsigned mode) {
            Wait();
            return JobsManagerD::kernelCalls.openAt(folder, path, flags, mode);
        };
        JobsManagerD::systemCalls.list = [](int folder, void* entries, size_t size) {
            Wait();
            return JobsManagerD::kernelCalls.list(folder, entries, size);
        };
        waits = 0;
    }
    SlowCard(const SlowCard&) = delete;
    SlowCard& operator=(const SlowCard&) = delete;
    ~SlowCard() { JobsManagerD::systemCalls = JobsManagerD::kernelCalls; }

    /// What all delays take one after the other, in microseconds.
    static double AllDelays() { return static_cast<double>(waits) * delay.count(); }

private:
    static constexpr std::chrono::duration<double, std::micro> delay{5'000};

    static void Wait() {
        ++waits;
        std::this_thread::sleep_for(delay);
    }

    static inline std::atomic<size_t> waits{0};
};

void IndexOfSlowCard(benchmark::State& state) {
    const Card& card = Card::Of(1'000);
    Samples index, floor;
    for (auto _ : state) {
        LocalDevice device(card.Folder());
        const SlowCard slow;
        index.Measure([&] { device.Index(card.Jobs()); });
        floor.Add(SlowCard::AllDelays());
    }
    Figure{index, floor, 0.28}.Tell(state);
}
BENCHMARK(IndexOfSlowCard)
    ->Name("Index of 1,000 jobs on a card with 5 ms for each open and listing, against these delays in turn")
    ->Iterations(1)
    ->Repetitions(3);

/// What comes before the first job: the whole listing, for the order, and then its folder and its job file.
void ReadLatestJob(const std::string& cardFolder) {
    std::string latest;
    JobsManagerD::FolderReader card(cardFolder);
    while (const auto* const entry = card.Next())
        latest = std::max(latest, entry->name);
    const std::string folder = cardFolder + "/" + latest;
    JobsManagerD::FolderReader(folder).Next();
    const JobsManagerD::FileDescriptor file(
        JobsManagerD::systemCalls.openAt(AT_FDCWD, (folder + "/job.json").c_str(), O_RDONLY | O_CLOEXEC, 0));
    char bytes[16'384];
    if (!file || read(file.Get(), bytes, sizeof bytes) <= 0)
        throw std::runtime_error("the latest job cannot be read");
}

void FirstJobOfSlowCard(benchmark::State& state) {
    const Card& card = Card::Of(1'000);
    Samples first, floor;
    for (auto _ : state) {
        LocalDevice device(card.Folder());
        const SlowCard slow;
        floor.Measure([&] { ReadLatestJob(card.Folder()); });
        first.Measure([&] {
            device.StartIndexing();
            device.WaitForFirstJob();
        });
        device.WaitForIdle();
    }
    Figure{first, floor, 1.1}.Tell(state);
}
BENCHMARK(FirstJobOfSlowCard)
    ->Name("First job of 1,000 in the list, on a card with 5 ms for each open and listing, against reading it alone")
    ->Iterations(1)
    ->Repetitions(5);

void Search(benchmark::State& state, void (LocalDevice::*search)(), double goal) {
    const Card& card = Card::Of(10'000);
    LocalDevice device(card.Folder());
    device.Index(card.Jobs());
    Samples measured, floor;
    for (auto _ : state) {
        measured.Measure([&] { (device.*search)(); }, card.Jobs());
        floor.Measure([&] { ReadFiles(card.JobFiles()); }, card.Jobs());
    }
    Figure{measured, floor, goal}.Tell(state);
}
BENCHMARK_CAPTURE(Search, InVain, &LocalDevice::SearchInVain, 3)
    ->Name("Search in vain of 10,000 jobs, per job")
    ->Iterations(3)
    ->Repetitions(rounds);
BENCHMARK_CAPTURE(Search, ForAll, &LocalDevice::SearchForAll, 5)
    ->Name("Search that hits all of 10,000 jobs, per job")
    ->Iterations(3)
    ->Repetitions(rounds);

void FirstPage(benchmark::State& state) {
    const Card& card = Card::Of(JobsOf(state));
    LocalDevice device(card.Folder());
    device.Index(card.Jobs());
    const auto jobs = device.JobsOfFirstPage();
    Samples page, floor;
    for (auto _ : state) {
        page.Measure([&] { benchmark::DoNotOptimize(device.FirstPage()); });
        floor.Measure([&] {
            for (const auto& job : jobs)
                benchmark::DoNotOptimize(job->SummaryJSONstring());
        });
    }
    Figure{page, floor, card.Jobs() == 1'000 ? 1.5 : 5}.Tell(state);
}
BENCHMARK(FirstPage)->Name("First page of 50 among 1,000 jobs")->Arg(1'000)->Iterations(300)->Repetitions(rounds);
BENCHMARK(FirstPage)->Name("First page of 50 among 65,535 jobs")->Arg(65'535)->Iterations(300)->Repetitions(rounds);

void PagesWhileIndexing(benchmark::State& state) {
    const ServiceWithCard service(Card::Of(10'000));
    Samples indexing, idle;
    for (auto _ : state) {
        service.FindJobs();
        while (true) {
            Samples call;
            call.Measure([&] { service.GetFirstPage(); });
            if (!service.IsIndexing())
                break;
            indexing.Add(call.Last());
        }
        for (int i = 0; i < 50; ++i)
            idle.Measure([&] { service.GetFirstPage(); });
    }
    Samples slowest, limit;
    slowest.Add(indexing.Percentile(99));
    limit.Add(5'000);
    Figure{slowest,
           limit,
           1,
           {{"half of them at most", indexing.Median()},
            {"99 of 100 while nothing is indexed", idle.Percentile(99)},
            {"half of these at most", idle.Median()}}}
        .Tell(state);
}
BENCHMARK(PagesWhileIndexing)
    ->Name("GetJobList, 50 of 10,000 jobs that are being indexed: 99 of 100 take at most, against 5 ms")
    ->Iterations(20)
    ->Repetitions(rounds);

void Memory(benchmark::State& state) {
    const Card& card = Card::Of(65'535);
    Samples perJob, limit;
    for (auto _ : state) {
        const ServiceWithCard service(card);
        const size_t before = service.ResidentBytes();
        service.FindJobs();
        service.WaitForIdle();
        perJob.Add(static_cast<double>(service.ResidentBytes() - before) / static_cast<double>(card.Jobs()));
        limit.Add(650);
    }
    Figure{perJob, limit, 1}.Tell(state);
}
BENCHMARK(Memory)
    ->Name("Resident bytes (not microseconds) of one job of 65,535, against 650")
    ->Iterations(1)
    ->Repetitions(rounds);

} // namespace
} // namespace Bench
