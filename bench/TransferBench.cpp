#include "bench/BareCopy.h"
#include "bench/LocalDevice.h"
#include "bench/RatioTable.h"
#include "bench/ServiceWithJob.h"
#include "fsutil/FileDescriptor.h"
#include "simulator/CardMaker.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <unistd.h>

namespace fs = std::filesystem;

namespace Bench {
namespace {

constexpr int rounds = 7;

/// The jobs of one benchmark on one medium, and the folders into which they are copied.
struct Load {
    const char* medium;
    Simulator::CardPlan plan;
};

const Load largeOnDisk{nullptr, {.jobs = 100, .mediaPerJob = 1, .mediaFileBytes = 1'750'000, .withLockedJobs = false}};
const Load smallOnDisk{nullptr, {.jobs = 1000, .mediaPerJob = 8, .mediaFileBytes = 1'000, .withLockedJobs = false}};
const Load largeOnTmpfs{"/dev/shm", largeOnDisk.plan};
const Load smallOnTmpfs{"/dev/shm", smallOnDisk.plan};

/// A folder for the cards, in memory or on the disk of the temporary folder.
class Medium {
public:
    explicit Medium(const char* memory) {
        Peers::Instance(); // who is asked whether a job is being played
        const fs::path parent = memory ? fs::path(memory) : Peers::Instance().Folder().Path();
        std::string path = parent / "tarn-bench-XXXXXX";
        if (!mkdtemp(path.data()))
            throw std::runtime_error("no folder for the cards");
        _folder = path;
    }
    Medium(const Medium&) = delete;
    Medium& operator=(const Medium&) = delete;
    ~Medium() { fs::remove_all(_folder); }

    std::string MakeCard(const std::string& name) const {
        fs::create_directories(_folder / name);
        return _folder / name;
    }

private:
    fs::path _folder;
};

/// Without its output. Throws std::runtime_error when the program fails.
void Run(const std::string& command) {
    if (std::system((command + " >/dev/null 2>&1").c_str()) != 0)
        throw std::runtime_error(command + " failed");
}

/// What earlier work has left in the caches is written out before the next is measured.
template <typename Work>
void MeasureAlone(Samples& samples, Work work) {
    sync();
    samples.Measure(work);
}

void CopyAllJobs(benchmark::State& state, const Load& load) {
    const Medium medium(load.medium);
    const std::string source = medium.MakeCard("source");
    Simulator::MakeCard(source, load.plan);
    LocalDevice device(source);
    device.Index(load.plan.jobs);
    Samples measured;
    Samples floor;
    Samples tool;
    for (auto _ : state) {
        const std::string copies[] = {medium.MakeCard("service"), medium.MakeCard("bare"), medium.MakeCard("tool")};
        LocalDevice destination(copies[0]);
        MeasureAlone(measured, [&] { device.CopyAllJobsTo(destination); });
        MeasureAlone(floor, [&] { BareCopy(source, copies[1]); });
        MeasureAlone(tool, [&] { Run("cp -a " + source + "/. " + copies[2]); });
        for (const std::string& copy : copies)
            fs::remove_all(copy);
    }
    Figure{measured, floor, 1.15, {{"cp -a of the same", tool.Median()}}}.Tell(state);
}

void DeleteAllJobs(benchmark::State& state, const Load& load) {
    const Medium medium(load.medium);
    const std::string source = medium.MakeCard("source");
    Simulator::MakeCard(source, load.plan);
    Samples measured;
    Samples floor;
    for (auto _ : state) {
        const std::string copies[] = {medium.MakeCard("service"), medium.MakeCard("tool")};
        for (const std::string& copy : copies)
            BareCopy(source, copy);
        LocalDevice device(copies[0]);
        device.Index(load.plan.jobs);
        MeasureAlone(measured, [&] { device.DeleteAllJobs(); });
        MeasureAlone(floor, [&] { Run("rm -rf " + copies[1]); });
        fs::remove_all(copies[0]);
    }
    Figure{measured, floor, 1.15}.Tell(state);
}

/// Has the video service say for each job whether something is being played, over an open connection.
void AskForEachJob(sd_bus* bus, size_t jobs) {
    for (size_t i = 0; i < jobs; ++i) {
        int32_t state = 0;
        Simulator::Check(sd_bus_get_property_trivial(bus, "com.corvane.common.Video1", "/com/corvane/common/Video1",
                                                     "com.corvane.common.Video1.Control", "PlaybackState", nullptr, 'i',
                                                     &state),
                         "ask the video service");
    }
}

void DeleteAskedJobs(benchmark::State& state, const Load& load) {
    const Medium medium(load.medium);
    const std::string source = medium.MakeCard("source");
    Simulator::MakeCard(source, load.plan);
    const Simulator::Connection bus = OpenBus();
    AskForEachJob(bus.get(), 1);
    Samples measured, floor, removal, questions;
    for (auto _ : state) {
        const std::string copies[] = {medium.MakeCard("service"), medium.MakeCard("tool")};
        for (const std::string& copy : copies)
            BareCopy(source, copy);
        LocalDevice device(copies[0]);
        device.Index(load.plan.jobs);
        MeasureAlone(measured, [&] { device.DeleteAllJobs(); });
        MeasureAlone(removal, [&] { Run("rm -rf " + copies[1]); });
        questions.Measure([&] { AskForEachJob(bus.get(), load.plan.jobs); });
        floor.Add(removal.Last() + questions.Last());
        fs::remove_all(copies[0]);
    }
    Figure{measured, floor, 1.05, {{"floor: rm -rf", removal.Median()}, {"floor: questions", questions.Median()}}}.Tell(
        state);
}

/// Calls `work(first, last)` for windows of names as the service makes them: one by one at first, then as many as take
/// 50 ms, and at most 64.
template <typename Work>
void InWindows(const std::vector<std::string>& names, Work work) {
    size_t limit = 1;
    for (size_t at = 0; at < names.size();) {
        const size_t end = std::min(at + limit, names.size());
        const auto start = std::chrono::steady_clock::now();
        work(names.begin() + static_cast<std::ptrdiff_t>(at), names.begin() + static_cast<std::ptrdiff_t>(end));
        const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
        const double each = taken.count() / static_cast<double>(end - at);
        at = end;
        limit = at < 8 ? 1 : static_cast<size_t>(std::clamp(0.05 / each, 1.0, 64.0));
    }
}

void Sync(const fs::path& path, int (*sync)(int)) {
    const JobsManagerD::FileDescriptor opened(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!opened || sync(opened.Get()) != 0)
        throw std::runtime_error("cannot sync " + path.string());
}

/// Copies jobs beside their place, syncs, renames and syncs them, and has the sync of each job file come last.
void BareCopyWithSyncs(const fs::path& from, const fs::path& to) {
    const fs::path staging = to / ".staging";
    fs::create_directory(staging);
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(from))
        names.push_back(entry.path().filename());
    InWindows(names, [&](auto first, auto last) {
        for (auto name = first; name != last; ++name) {
            fs::create_directory(staging / *name);
            BareCopy(from / *name, staging / *name);
        }
        Sync(to, syncfs);
        for (auto name = first; name != last; ++name)
            fs::rename(staging / *name, to / *name);
        Sync(staging, fsync);
        Sync(to, syncfs);
        for (auto name = first; name != last; ++name)
            Sync(to / *name / "job.json", fsync);
    });
    fs::remove(staging);
}

void CopyWithSyncs(benchmark::State& state, const Load& load) {
    const Medium medium(load.medium);
    const std::string source = medium.MakeCard("source");
    Simulator::MakeCard(source, load.plan);
    LocalDevice device(source);
    device.Index(load.plan.jobs);
    Samples measured, floor;
    for (auto _ : state) {
        const std::string copies[] = {medium.MakeCard("service"), medium.MakeCard("bare")};
        LocalDevice destination(copies[0]);
        MeasureAlone(measured, [&] { device.CopyAllJobsTo(destination); });
        MeasureAlone(floor, [&] { BareCopyWithSyncs(source, copies[1]); });
        for (const std::string& copy : copies)
            fs::remove_all(copy);
    }
    Figure{measured, floor, 1.1}.Tell(state);
}

void MoveWithSyncs(benchmark::State& state, const Load& load) {
    const Medium medium(load.medium);
    const std::string original = medium.MakeCard("original");
    Simulator::MakeCard(original, load.plan);
    Samples measured, floor;
    for (auto _ : state) {
        const std::string sources[] = {medium.MakeCard("service-source"), medium.MakeCard("bare-source")};
        const std::string copies[] = {medium.MakeCard("service"), medium.MakeCard("bare")};
        for (const std::string& source : sources)
            BareCopy(original, source);
        LocalDevice device(sources[0]);
        device.Index(load.plan.jobs);
        LocalDevice destination(copies[0]);
        MeasureAlone(measured, [&] { device.MoveAllJobsTo(destination); });
        MeasureAlone(floor, [&] {
            BareCopyWithSyncs(sources[1], copies[1]);
            Run("rm -rf " + sources[1]);
        });
        fs::remove_all(sources[0]);
        for (const std::string& copy : copies)
            fs::remove_all(copy);
    }
    Figure{measured, floor, 1.15}.Tell(state);
}

#define TRANSFER(work, load, name) BENCHMARK_CAPTURE(work, load, load)->Name(name)->Iterations(1)->Repetitions(rounds)

TRANSFER(CopyAllJobs, largeOnDisk, "Copy 100 jobs of 5 MB, disk, against bare copies");
TRANSFER(CopyAllJobs, smallOnDisk, "Copy 1,000 jobs of 24 small files, disk, against bare copies");
TRANSFER(CopyAllJobs, largeOnTmpfs, "Copy 100 jobs of 5 MB, tmpfs, against bare copies");
TRANSFER(CopyAllJobs, smallOnTmpfs, "Copy 1,000 jobs of 24 small files, tmpfs, against bare copies");
TRANSFER(DeleteAllJobs, largeOnDisk, "Delete 100 jobs of 5 MB, disk, against rm -rf");
TRANSFER(DeleteAllJobs, smallOnDisk, "Delete 1,000 jobs of 24 small files, disk, against rm -rf");
TRANSFER(DeleteAllJobs, largeOnTmpfs, "Delete 100 jobs of 5 MB, tmpfs, against rm -rf");
TRANSFER(DeleteAllJobs, smallOnTmpfs, "Delete 1,000 jobs of 24 small files, tmpfs, against rm -rf");
TRANSFER(DeleteAskedJobs, smallOnTmpfs,
         "Delete 1,000 jobs of 24 small files, tmpfs, against rm -rf and a bare question for each");
TRANSFER(CopyWithSyncs, smallOnDisk,
         "Copy 1,000 jobs of 24 small files, disk, against bare copies with the same syncs");
TRANSFER(CopyWithSyncs, smallOnTmpfs,
         "Copy 1,000 jobs of 24 small files, tmpfs, against bare copies with the same syncs");
TRANSFER(MoveWithSyncs, smallOnDisk,
         "Move 1,000 jobs of 24 small files, disk, against bare copies with the same syncs and rm -rf");
TRANSFER(MoveWithSyncs, smallOnTmpfs,
         "Move 1,000 jobs of 24 small files, tmpfs, against bare copies with the same syncs and rm -rf");

} // namespace
} // namespace Bench
