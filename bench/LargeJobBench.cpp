#include "bench/LocalDevice.h"
#include "bench/RatioTable.h"
#include "fsutil/FileDescriptor.h"
#include "simulator/CardMaker.h"
#include "support/TemporaryFolder.h"

#include <fcntl.h>
#include <filesystem>
#include <stdexcept>
#include <sys/stat.h>
#include <unistd.h>

namespace Bench {
namespace {

constexpr int rounds = 9;

/// A card with one job of 500 media, whose 1,500 files are all there.
class LargeJob {
public:
    LargeJob() {
        Simulator::MakeCard(_folder.Path(),
                            {.jobs = 1, .mediaPerJob = 500, .mediaFileBytes = 10, .withLockedJobs = false});
        device.Index(1);
        job = device.JobsOfFirstPage().front();
        device.OpenJob(job->Id());
        for (const auto& entry : std::filesystem::directory_iterator(job->MediaFolderPath()))
            _media.push_back(entry.path());
    }

    /// One read of the job file, and one question for each file of its media.
    void ReadBarely() const {
        static char bytes[1 << 20];
        const JobsManagerD::FileDescriptor file(open(job->JobFilePath().c_str(), O_RDONLY | O_CLOEXEC));
        if (!file || read(file.Get(), bytes, sizeof bytes) <= 0)
            throw std::runtime_error("the job file cannot be read");
        for (const std::string& path : _media)
            if (struct stat status; stat(path.c_str(), &status) != 0)
                throw std::runtime_error("a file is gone");
    }

private:
    const Testing::TemporaryFolder _folder;
    std::vector<std::string> _media;

public:
    LocalDevice device{_folder.Path()};
    std::shared_ptr<JobsManagerD::Job> job;
};

void GetJob(benchmark::State& state) {
    LargeJob large;
    Samples measured, floor;
    for (auto _ : state) {
        measured.Measure([&] { benchmark::DoNotOptimize(large.device.GetJob(large.job->Id())); });
        floor.Measure([&] { benchmark::DoNotOptimize(large.job->JSONstring(JobsManagerD::JSON_MODE_CLIENT)); });
    }
    Figure{measured, floor, 1.3}.Tell(state);
}
BENCHMARK(GetJob)
    ->Name("GetJob of a job with 500 media, against its serialisation")
    ->Iterations(50)
    ->Repetitions(rounds);

void OpenJob(benchmark::State& state) {
    LargeJob large;
    Samples measured, floor;
    for (auto _ : state) {
        large.device.CloseJob(large.job->Id());
        measured.Measure([&] { large.device.OpenJob(large.job->Id()); });
        floor.Measure([&] { large.ReadBarely(); });
    }
    Figure{measured, floor, 1.5}.Tell(state);
}
BENCHMARK(OpenJob)
    ->Name("Opening of a job with 500 media, against one read and one stat for each of 1,500 files")
    ->Iterations(50)
    ->Repetitions(rounds);

} // namespace
} // namespace Bench
