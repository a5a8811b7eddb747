#include "bench/BareSave.h"
#include "bench/RatioTable.h"
#include "bench/ServiceWithJob.h"
#include "fsutil/SafeFileWrite.h"
#include "jobfiles/JobFiles.h"
#include "jobs/Job.h"

namespace Bench {
namespace {

constexpr int rounds = 9;

void GetJobName(benchmark::State& state) {
    const ServiceWithJob load;
    const auto ask = [&load](const Remote& remote) {
        return remote.Call("GetJobName", "ss", cardId, load.JobId().c_str());
    };
    Samples service;
    Samples bare;
    RequireSuccess(ReadCode(ask(load.Service()).get()));
    for (auto _ : state) {
        service.Measure([&] { ask(load.Service()); });
        bare.Measure([&] { ask(load.Bare()); });
    }
    Figure{service, bare, 1.15}.Tell(state);
}
BENCHMARK(GetJobName)->Iterations(3000)->Repetitions(rounds);

/// The work of SetJobName in pieces, measured in turn with the call, on files of the same contents on the same disk.
class PiecesOfSetJobName {
public:
    explicit PiecesOfSetJobName(const ServiceWithJob& load)
        : _load(load), _contents(Peers::Instance().Folder().Read(load.JobFile())) {
        if (_files.Load(_job) != JobsManagerD::JOBS_RTN_SUCCEEDED)
            throw std::runtime_error("the copy of the job file cannot be read");
    }

    void MeasureRound() {
        const std::string name = "Name " + std::to_string(++_number);
        Simulator::Message reply;
        _service.Measure([&] { reply = _Set(_load.Service(), name); });
        RequireSuccess(ReadCode(reply.get()));
        _bareSave.Measure([&] { BareSave(_bareFile, _contents); });
        _announcements.Measure([&] {
            SetWriteActive(_load.Storage(), true);
            SetWriteActive(_load.Storage(), false);
        });
        _call.Measure([&] { _Set(_load.Bare(), name); });
        _floor.Add(_bareSave.Last() + _announcements.Last() + _call.Last());
        _safeWrite.Measure([&] { JobsManagerD::SafeFileWrite(_job.JobFilePath(), _contents, _isTorn); });
        _update.Measure([&] { _files.Save(_job); });
    }

    void Tell(benchmark::State& state) const {
        const double guarding = _safeWrite.Median() - _bareSave.Median();
        const double writing = _update.Median() - _safeWrite.Median();
        const double all = _service.Median() - _floor.Median();
        Figure{_service,
               _floor,
               1.25,
               {{"floor: system calls of the save", _bareSave.Median()},
                {"floor: two announcements of the write, open connection", _announcements.Median()},
                {"floor: the call", _call.Median()},
                {"above it: checks around the save", guarding},
                {"above it: the job as JSON", writing},
                {"above it: JobChanged, log, waking", all - guarding - writing}}}
            .Tell(state);
    }

private:
    Simulator::Message _Set(const Remote& remote, const std::string& name) const {
        return remote.Call("SetJobName", "sss", cardId, _load.JobId().c_str(), name.c_str());
    }

    const ServiceWithJob& _load;
    const std::string _contents;
    const std::string _bareFile = Peers::Instance().Folder().Write("bare.json", _contents);
    const JobsManagerD::JobFiles _files;
    bool _isTorn = false;
    JobsManagerD::Job _job{Peers::Instance().Folder().Write("copy/job.json", _contents)};
    int _number = 10'000'000;
    Samples _service, _bareSave, _announcements, _call, _floor, _safeWrite, _update;
};

void SetJobName(benchmark::State& state) {
    const ServiceWithJob load;
    PiecesOfSetJobName pieces(load);
    for (auto _ : state)
        pieces.MeasureRound();
    pieces.Tell(state);
}
BENCHMARK(SetJobName)->Iterations(300)->Repetitions(rounds);

void StartToReady(benchmark::State& state) {
    Peers::Instance();
    Samples service;
    Samples bare;
    Samples notifier;
    // Each is ended outside its time.
    std::unique_ptr<Process> process;
    for (auto _ : state) {
        service.Measure([&process] { process = StartAndWait({TARN_DAEMON}); });
        process.reset();
        notifier.Measure([&process] { process = StartAndWait({TARN_BARE_SERVICE, "notify"}); });
        process.reset();
        bare.Measure([&process] { process = StartAndWait({TARN_BARE_SERVICE}); });
        process.reset();
    }
    Figure{service, notifier, 0, {{"a bare service on the bus", bare.Median()}}}.Tell(state);
}
BENCHMARK(StartToReady)->Iterations(25)->Repetitions(rounds);

} // namespace
} // namespace Bench
