#include "bench/RatioTable.h"
#include "bench/ServiceWithJob.h"
#include "jobfiles/JobFileHandlerJDB3.h"
#include "jobs/Job.h"
#include "simulator/LegacyCardMaker.h"

#include <fstream>
#include <sqlite3.h>
#include <thread>

namespace Bench {
namespace {

using Simulator::Check;

void Require(bool isDone, const char* what) {
    if (!isDone)
        throw std::runtime_error(std::string(what) + " failed");
}

/// What reading a summary asks of SQLite, and nothing else.
void BareSummary(const std::string& path) {
    sqlite3* database = nullptr;
    Require(sqlite3_open_v2(path.c_str(), &database, SQLITE_OPEN_READONLY, nullptr) == SQLITE_OK, "open");
    sqlite3_stmt* statements[4] = {};
    const char* const texts[] = {"SELECT * from JobInfo", "SELECT * from Jobs", "SELECT Type from Bookmarks",
                                 "SELECT Latitude, Longitude FROM Addresses WHERE Id = ?"};
    for (size_t i = 0; i < std::size(texts); ++i)
        Require(sqlite3_prepare_v2(database, texts[i], -1, &statements[i], nullptr) == SQLITE_OK, "prepare");
    sqlite3_bind_int(statements[3], 1, 1);
    for (sqlite3_stmt* statement : statements) {
        while (sqlite3_step(statement) == SQLITE_ROW)
            continue;
        Require(sqlite3_finalize(statement) == SQLITE_OK, "step");
    }
    Require(sqlite3_close(database) == SQLITE_OK, "close");
}

void LegacySummary(benchmark::State& state) {
    const Testing::TemporaryFolder folder;
    Simulator::MakeLegacyCard(folder.Path(), {.jobs = 1, .bookmarksPerJob = static_cast<size_t>(state.range(0))});
    const std::string path = folder / folder.List().at(0) / "job.jdb3";
    const JobsManagerD::JobFileHandlerJDB3 handler;
    Samples summary;
    Samples bare;
    for (auto _ : state) {
        summary.Measure([&] {
            JobsManagerD::Job job(path);
            Require(handler.ParseJobFileSummary(job) == JobsManagerD::JOBFILE_OP_SUCCEEDED, "reading the summary");
        });
        bare.Measure([&] { BareSummary(path); });
    }
    Figure{summary, bare, 1.2}.Tell(state);
}
BENCHMARK(LegacySummary)->Name("Summary of a database of 8 bookmarks")->Arg(8)->Iterations(1000)->Repetitions(9);
BENCHMARK(LegacySummary)->Name("Summary of a database of 100 bookmarks")->Arg(100)->Iterations(1000)->Repetitions(9);

/// The service with a card of that many jobs of the earlier generation.
class ServiceWithLegacyJobs {
public:
    explicit ServiceWithLegacyJobs(size_t jobs) {
        const Peers& peers = Peers::Instance();
        peers.EmptyCard();
        Simulator::MakeLegacyCard(peers.CardFolder(), {.jobs = jobs});
        Check(sd_bus_open_user(Simulator::Out(_bus)), "open the bus");
        _process = StartAndWait({TARN_DAEMON});
        _WaitUntilIdle();
    }

    /// Microseconds per job.
    double Convert(size_t jobs) {
        const Remote service(_bus.get(), jobsService, jobsPath, jobsService);
        Samples time;
        time.Measure([&] {
            RequireSuccess(ReadCode(service.Call("ConvertJobs", "s", cardId).get()));
            _WaitUntilIdle();
        });
        const std::string expected = "\"nRuvoJobs\":" + std::to_string(jobs) + ",";
        Require(_Property("JobListStats").find(expected) != std::string::npos, "the conversion");
        return time.Last() / static_cast<double>(jobs);
    }

    /// The most memory that the service ever had, in kB.
    double PeakMemory() const {
        std::ifstream status("/proc/" + std::to_string(_process->Id()) + "/status");
        for (std::string word; status >> word;)
            if (word == "VmHWM:" && status >> word)
                return std::stod(word);
        throw std::runtime_error("the process tells no memory");
    }

private:
    static constexpr const char* jobsService = "com.corvane.common.JobsManagerDaemon1";
    static constexpr const char* jobsPath = "/com/corvane/common/JobsManagerDaemon1";

    std::string _Property(const char* name) const {
        char* text = nullptr;
        Check(sd_bus_get_property_string(_bus.get(), jobsService, (std::string(jobsPath) + "/" + cardId).c_str(),
                                         (std::string(jobsService) + ".Device").c_str(), name, nullptr, &text),
              name);
        const std::unique_ptr<char, void (*)(void*)> owner(text, free);
        return text;
    }

    void _WaitUntilIdle() const {
        while (_Property("DeviceState") != "Idle")
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }

    Simulator::Connection _bus;
    std::unique_ptr<Process> _process;
};

void ConvertJobs(benchmark::State& state) {
    Samples many;
    Samples few;
    Samples manyMemory;
    Samples fewMemory;
    const auto measure = [](size_t jobs, Samples& time, Samples& memory) {
        ServiceWithLegacyJobs service(jobs);
        const double before = service.PeakMemory();
        time.Add(service.Convert(jobs));
        memory.Add(service.PeakMemory() - before);
        return before;
    };
    double indexed = 0;
    for (auto _ : state) {
        measure(250, few, fewMemory);
        indexed = measure(1000, many, manyMemory);
    }
    Figure{many,
           few,
           0,
           {{"peak memory in kB of the service with 1,000 jobs listed", indexed},
            {"kB more after their conversion", manyMemory.Median()},
            {"kB more after the conversion of 250", fewMemory.Median()}}}
        .Tell(state);
}
BENCHMARK(ConvertJobs)->Name("ConvertJobs with 1,000 jobs, per job, against 250 jobs")->Iterations(1)->Repetitions(5);

} // namespace
} // namespace Bench
