#include "device/JobListTask.h"
#include "device/JobSettings.h"
#include "device/ManagedDevice.h"

#include <syslog.h>
#include <utility>

namespace JobsManagerD {

/// JOBS_RTN_DEVICE_BUSY, with a line, unless the device is idle.
jobsDaemonRtn_e ManagedDevice::_RefuseWhenBusy(const char* method, const char* movingStates) const {
    if (_worker.IsFree())
        return JOBS_RTN_SUCCEEDED;
    const char* const name = TraitsOf(_worker.State()).busyName;
    syslog(LOG_INFO, "%s - device is already in %s state", method, name ? name : movingStates);
    return JOBS_RTN_DEVICE_BUSY;
}

/// Of all that may run, a conversion alone gives way, between two jobs.
jobsDaemonRtn_e ManagedDevice::PrepareMultipleJobDeletion() {
    constexpr const char* method = "PrepareMultipleJobDeletion";
    syslog(LOG_INFO, "%s", method);
    if (_worker.State() == DEVICE_STATE_CONVERTING && !_worker.HasSuccessor()) {
        syslog(LOG_INFO, "%s - device is in DEVICE_STATE_CONVERTING state - cancelling", method);
        _worker.Cancel();
        return JOBS_RTN_SUCCEEDED;
    }
    return _RefuseWhenBusy(method, "DEVICE_STATE_MOVING_[FROM|TO]");
}

jobsDaemonRtn_e ManagedDevice::DeleteJobList(const std::vector<std::string>& jobIDs) {
    return _StartDeletion("DeleteJobList", [&jobIDs] { return jobIDs; });
}

/// The jobs that are there now: what appears later is not touched.
jobsDaemonRtn_e ManagedDevice::DeleteAllJobs() {
    return _StartDeletion("DeleteAllJobs", [this] { return _AllJobs().ids; });
}

template <typename GetIds>
jobsDaemonRtn_e ManagedDevice::_StartDeletion(const char* method, GetIds getIds) {
    syslog(LOG_INFO, "%s", method);
    if (_readOnly) {
        syslog(LOG_ERR, "%s - Filesystem is read-only", method);
        return JOBS_RTN_READ_ONLY_FS;
    }
    const jobsDaemonRtn_e prepared = PrepareMultipleJobDeletion();
    if (prepared != JOBS_RTN_SUCCEEDED)
        return prepared;
    if (_PrepareTask() != JOBS_RTN_SUCCEEDED)
        return JOBS_RTN_DEVICE_BUSY;
    // A conversion that has been cancelled ends with a state of its own, after which the deletion begins.
    const bool isNext = !_worker.IsFree();
    if (!isNext)
        SetState(DEVICE_STATE_DELETING, true);
    _worker.Start([this, isNext, jobIDs = getIds()] {
        if (isNext)
            SetState(DEVICE_STATE_DELETING, true);
        _DeleteJobListTask(jobIDs);
    });
    return JOBS_RTN_SUCCEEDED;
}

void ManagedDevice::_DeleteJobListTask(const std::vector<std::string>& jobIDs) {
    std::vector<Deletion> deletions;
    RunJobListTask(
        {
            .name = "_DeleteJobListTask",
            .jobLine = "_DeleteJobListTask -- JobID to delete: %s",
            .endLine = "Deleting %d jobs took %fs",
            .period = [] { return multiJobDeleteUpdatePeriod.load(); },
            .reportsOnlyChanges = true,
            .begin =
                [this, &deletions](const std::string& jobID) {
                    Deletion deletion;
                    const jobsDaemonRtn_e begun = _BeginDelete(jobID, false, deletion);
                    if (begun == JOBS_RTN_SUCCEEDED)
                        deletions.push_back(std::move(deletion));
                    return begun;
                },
            .finish =
                [this, &deletions] {
                    std::vector<Deletion> window = std::exchange(deletions, {});
                    const std::vector<jobsDaemonRtn_e> codes(window.size(), JOBS_RTN_SUCCEEDED);
                    _FinishDeletions(window);
                    return codes;
                },
            .tellProgress = [this](int32_t percent, int32_t nDeleted,
                                   int32_t nTotal) { _jobListDeleteProgress.Raise(*this, percent, nDeleted, nTotal); },
            .tellError = [this](const std::string& jobID,
                                jobsDaemonRtn_e code) { _jobListDeleteError.Raise(*this, jobID, code); },
            .tellFinish = [this](bool cancelled, int32_t nDeleted,
                                 int32_t nTotal) { _jobListDeleteFinish.Raise(*this, cancelled, nDeleted, nTotal); },
            .goIdle = [this] { SetState(DEVICE_STATE_IDLE, true); },
        },
        jobIDs, _worker.CancelFlag());
}

} // namespace JobsManagerD
