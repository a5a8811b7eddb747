#include "bench/BareCopy.h"
#include "bench/LocalDevice.h"
#include "bench/RatioTable.h"
#include "bench/ServiceWithJob.h"
#include "simulator/CardMaker.h"

#include <cstdlib>
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

#define TRANSFER(work, load, name) BENCHMARK_CAPTURE(work, load, load)->Name(name)->Iterations(1)->Repetitions(rounds)

TRANSFER(CopyAllJobs, largeOnDisk, "Copy 100 jobs of 5 MB, disk, against bare copies");
TRANSFER(CopyAllJobs, smallOnDisk, "Copy 1,000 jobs of 24 small files, disk, against bare copies");
TRANSFER(CopyAllJobs, largeOnTmpfs, "Copy 100 jobs of 5 MB, tmpfs, against bare copies");
TRANSFER(CopyAllJobs, smallOnTmpfs, "Copy 1,000 jobs of 24 small files, tmpfs, against bare copies");
TRANSFER(DeleteAllJobs, largeOnDisk, "Delete 100 jobs of 5 MB, disk, against rm -rf");
TRANSFER(DeleteAllJobs, smallOnDisk, "Delete 1,000 jobs of 24 small files, disk, against rm -rf");
TRANSFER(DeleteAllJobs, largeOnTmpfs, "Delete 100 jobs of 5 MB, tmpfs, against rm -rf");
TRANSFER(DeleteAllJobs, smallOnTmpfs, "Delete 1,000 jobs of 24 small files, tmpfs, against rm -rf");

} // namespace
} // namespace Bench
