#include "device/JobListTask.h"
#include "device/JobSettings.h"
#include "device/ManagedDevice.h"

#include <syslog.h>

namespace JobsManagerD {

/// JOBS_RTN_DEVICE_BUSY, with a line, unless the device is idle.
jobsDaemonRtn_e ManagedDevice::_RefuseWhenBusy(const char* method, const char* movingStates) const {
    const char* state = nullptr;
    switch (_state) {
    case DEVICE_STATE_IDLE:
        return JOBS_RTN_SUCCEEDED;
    case DEVICE_STATE_INDEXING:
        state = "DEVICE_STATE_INDEXING";
        break;
    case DEVICE_STATE_CONVERTING:
        state = "DEVICE_STATE_CONVERTING";
        break;
    case DEVICE_STATE_DELETING:
        state = "DEVICE_STATE_DELETING";
        break;
    case DEVICE_STATE_MOVING_FROM:
    case DEVICE_STATE_MOVING_TO:
        state = movingStates;
        break;
    case DEVICE_STATE_COPYING_FROM:
    case DEVICE_STATE_COPYING_TO:
        state = "DEVICE_STATE_COPYING_[FROM|TO]";
        break;
    }
    syslog(LOG_INFO, "%s - device is already in %s state", method, state);
    return JOBS_RTN_DEVICE_BUSY;
}

/// Of all that may run, a conversion alone gives way, between two jobs.
jobsDaemonRtn_e ManagedDevice::PrepareMultipleJobDeletion() {
    constexpr const char* method = "PrepareMultipleJobDeletion";
    syslog(LOG_INFO, "%s", method);
    if (_state == DEVICE_STATE_CONVERTING) {
        syslog(LOG_INFO, "%s - device is in DEVICE_STATE_CONVERTING state - cancelling", method);
        _cancel = true;
    } else if (_RefuseWhenBusy(method, "DEVICE_STATE_MOVING_[FROM|TO]") != JOBS_RTN_SUCCEEDED) {
        return JOBS_RTN_DEVICE_BUSY;
    }
    _JoinThread(_workerThread);
    return JOBS_RTN_SUCCEEDED;
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
    std::vector<std::string> jobIDs = getIds();
    SetState(DEVICE_STATE_DELETING, true);
    _StartWorker([jobIDs = std::move(jobIDs)](ManagedDevice& device) { device._DeleteJobListTask(jobIDs); });
    return JOBS_RTN_SUCCEEDED;
}

void ManagedDevice::_DeleteJobListTask(const std::vector<std::string>& jobIDs) {
    RunJobListTask(
        {
            .name = "_DeleteJobListTask",
            .jobLine = "_DeleteJobListTask -- JobID to delete: %s",
            .endLine = "Deleting %d jobs took %fs",
            .period = [] { return multiJobDeleteUpdatePeriod.load(); },
            .reportsOnlyChanges = true,
            .work = [this](const std::string& jobID) { return DeleteJob(jobID, false); },
            .tellProgress = [this](int32_t percent, int32_t nDeleted,
                                   int32_t nTotal) { _jobListDeleteProgress.Raise(*this, percent, nDeleted, nTotal); },
            .tellError = [this](const std::string& jobID,
                                jobsDaemonRtn_e code) { _jobListDeleteError.Raise(*this, jobID, code); },
            .tellFinish = [this](bool cancelled, int32_t nDeleted,
                                 int32_t nTotal) { _jobListDeleteFinish.Raise(*this, cancelled, nDeleted, nTotal); },
            .goIdle = [this] { SetState(DEVICE_STATE_IDLE, true); },
        },
        jobIDs, _cancel);
}

} // namespace JobsManagerD
