#include "device/JobListTask.h"

#include <algorithm>
#include <chrono>
#include <exception>
#include <syslog.h>

namespace JobsManagerD {
namespace {

using Clock = std::chrono::steady_clock;

double SecondsSince(Clock::time_point start) { return std::chrono::duration<double>(Clock::now() - start).count(); }

/// Decides when a task reports.
class Progress {
public:
    Progress(const JobListTask& task, int32_t nTotal) : _task(task), _nTotal(nTotal) {
        _task.tellProgress(0, 0, nTotal);
    }

    void CountDone() { ++_nDone; }

    void CountProcessed() {
        ++_nProcessed;
        const bool isDue = SecondsSince(_lastReport) > _task.period() && _nProcessed < _nTotal;
        if (!isDue || (_task.reportsOnlyChanges && _nDone == _lastReported))
            return;
        const auto percent = static_cast<int32_t>(int64_t{_nProcessed} * 100 / _nTotal);
        _task.tellProgress(percent, _nDone, _nTotal);
        _lastReport = Clock::now();
        _lastReported = _nDone;
    }

    int32_t Done() const { return _nDone; }

private:
    const JobListTask& _task;
    const int32_t _nTotal;
    int32_t _nDone = 0;
    int32_t _nProcessed = 0;
    int32_t _lastReported = 0;
    Clock::time_point _lastReport = Clock::now();
};

/// The jobs whose work has begun, and how many there may be.
class Window {
public:
    explicit Window(const JobListTask& task) : _task(task) {}

    /// False when the work on the job has failed.
    jobsDaemonRtn_e Begin(const std::string& jobID) {
        if (_jobIDs.empty())
            _start = Clock::now();
        const jobsDaemonRtn_e code = Contained(jobID, [&] { return _task.begin(jobID); });
        if (code == JOBS_RTN_SUCCEEDED)
            _jobIDs.push_back(jobID);
        return code;
    }

    bool IsFull() const { return _jobIDs.size() >= _limit; }

    /// Calls `tell(job ID, code)` for each.
    template <typename Tell>
    void Finish(Tell tell) {
        if (_jobIDs.empty())
            return;
        const std::vector<jobsDaemonRtn_e> codes = _FinishContained();
        for (size_t i = 0; i < _jobIDs.size(); ++i)
            tell(_jobIDs[i], codes[i]);
        _nFinished += _jobIDs.size();
        const double secondsEach = SecondsSince(_start) / static_cast<double>(_jobIDs.size());
        _limit = _nFinished < shortList ? 1 : static_cast<size_t>(std::clamp(longest / secondsEach, 1.0, most));
        _jobIDs.clear();
    }

private:
    /// What the card makes of one job does not end the work on the others.
    template <typename Work>
    static jobsDaemonRtn_e Contained(const std::string& jobID, Work work) try {
        return work();
    } catch (const std::exception& exception) {
        syslog(LOG_ERR, "RunJobListTask - job %s: %s", jobID.c_str(), exception.what());
        return JOBS_RTN_FS_ERROR;
    }

    std::vector<jobsDaemonRtn_e> _FinishContained() const try {
        return _task.finish();
    } catch (const std::exception& exception) {
        syslog(LOG_ERR, "RunJobListTask - %zu jobs: %s", _jobIDs.size(), exception.what());
        return std::vector<jobsDaemonRtn_e>(_jobIDs.size(), JOBS_RTN_FS_ERROR);
    }

    /// In seconds: what a cancel may have to wait for.
    static constexpr double longest = 0.05;
    static constexpr double most = 64;
    /// So many jobs are finished one by one, which nobody notices.
    static constexpr size_t shortList = 8;

    const JobListTask& _task;
    std::vector<std::string> _jobIDs;
    Clock::time_point _start;
    size_t _nFinished = 0;
    size_t _limit = 1;
};

} // namespace

void RunJobListTask(const JobListTask& task, const std::vector<std::string>& jobIDs, const std::atomic<bool>& cancel) {
    syslog(LOG_INFO, "%s", task.name);
    syslog(LOG_INFO, "%s - Start", task.name);
    const Clock::time_point start = Clock::now();
    const auto nTotal = static_cast<int32_t>(jobIDs.size());
    Progress progress(task, nTotal);
    Window window(task);
    const auto tell = [&](const std::string& jobID, jobsDaemonRtn_e code) {
        if (code == JOBS_RTN_SUCCEEDED)
            progress.CountDone();
        else
            task.tellError(jobID, code);
        progress.CountProcessed();
    };
    for (const std::string& jobID : jobIDs) {
        if (cancel)
            break;
        syslog(LOG_INFO, task.jobLine, jobID.c_str());
        const jobsDaemonRtn_e begun = window.Begin(jobID);
        if (begun != JOBS_RTN_SUCCEEDED)
            tell(jobID, begun);
        if (window.IsFull())
            window.Finish(tell);
    }
    window.Finish(tell);
    task.tellProgress(100, progress.Done(), nTotal);
    const double seconds = SecondsSince(start);
    task.tellFinish(cancel, progress.Done(), nTotal);
    task.goIdle();
    syslog(LOG_INFO, "---------------------------------");
    syslog(LOG_INFO, task.endLine, progress.Done(), seconds);
    syslog(LOG_INFO, "---------------------------------");
}

} // namespace JobsManagerD
