#include "device/JobListTask.h"

#include <chrono>
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

} // namespace

void RunJobListTask(const JobListTask& task, const std::vector<std::string>& jobIDs, const std::atomic<bool>& cancel) {
    syslog(LOG_INFO, "%s", task.name);
    syslog(LOG_INFO, "%s - Start", task.name);
    const Clock::time_point start = Clock::now();
    const auto nTotal = static_cast<int32_t>(jobIDs.size());
    Progress progress(task, nTotal);
    for (const std::string& jobID : jobIDs) {
        if (cancel)
            break;
        syslog(LOG_INFO, task.jobLine, jobID.c_str());
        const jobsDaemonRtn_e code = task.work(jobID);
        if (code == JOBS_RTN_SUCCEEDED)
            progress.CountDone();
        else
            task.tellError(jobID, code);
        progress.CountProcessed();
    }
    task.tellProgress(100, progress.Done(), nTotal);
    const double seconds = SecondsSince(start);
    task.tellFinish(cancel, progress.Done(), nTotal);
    task.goIdle();
    syslog(LOG_INFO, "---------------------------------");
    syslog(LOG_INFO, task.endLine, progress.Done(), seconds);
    syslog(LOG_INFO, "---------------------------------");
}

} // namespace JobsManagerD
