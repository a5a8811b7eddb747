#include "device/JobListTask.h"
#include "device/JobSettings.h"
#include "device/ManagedDevice.h"
#include "device/Transfer.h"

#include <syslog.h>
#include <utility>

namespace JobsManagerD {

/// All that moving many jobs and copying them differ in.
struct ManagedDevice::TransferKind {
    const char* prepareName;
    const char* movingStates;
    const char* listName;
    const char* allName;
    const char* noSpaceLine;
    const char* taskName;
    const char* jobLine;
    const char* endLine;
    bool isMove;
    deviceState_e sourceState;
    deviceState_e destinationState;
    double (*period)();
    bool reportsOnlyChanges;
    TransferProgress ManagedDevice::*progress;
    TransferError ManagedDevice::*error;
    TransferFinish ManagedDevice::*finish;
};

const ManagedDevice::TransferKind ManagedDevice::_moving{
    .prepareName = "PrepareMultipleJobMove",
    .movingStates = "DEVICE_STATE_MOVING[FROM|TO]",
    .listName = "MoveJobList",
    .allName = "MoveAllJobs",
    .noSpaceLine = "Insufficient space to move all jobs to destination",
    .taskName = "_MoveJobListTask",
    .jobLine = "_MoveJobListTask -- JobID to move: %s",
    .endLine = "Moving %d jobs took %fs",
    .isMove = true,
    .sourceState = DEVICE_STATE_MOVING_FROM,
    .destinationState = DEVICE_STATE_MOVING_TO,
    .period = [] { return 1.0; },
    .reportsOnlyChanges = false,
    .progress = &ManagedDevice::_jobListMoveProgress,
    .error = &ManagedDevice::_jobListMoveError,
    .finish = &ManagedDevice::_jobListMoveFinish,
};

const ManagedDevice::TransferKind ManagedDevice::_copying{
    .prepareName = "PrepareMultipleJobCopy",
    .movingStates = "DEVICE_STATE_MOVING_[FROM|TO]",
    .listName = "CopyJobList",
    .allName = "CopyAllJobs",
    .noSpaceLine = "Insufficient space to copy all jobs to destination",
    .taskName = "_CopyJobListTask",
    .jobLine = "_CopyJobListTask -- JobID to copy: %s",
    .endLine = "Copying %d jobs took %fs",
    .isMove = false,
    .sourceState = DEVICE_STATE_COPYING_FROM,
    .destinationState = DEVICE_STATE_COPYING_TO,
    .period = [] { return multiJobMoveCopyUpdatePeriod.load(); },
    .reportsOnlyChanges = true,
    .progress = &ManagedDevice::_jobListCopyProgress,
    .error = &ManagedDevice::_jobListCopyError,
    .finish = &ManagedDevice::_jobListCopyFinish,
};

jobsDaemonRtn_e ManagedDevice::PrepareMultipleJobMove() { return _PrepareTransfer(_moving); }

jobsDaemonRtn_e ManagedDevice::PrepareMultipleJobCopy() { return _PrepareTransfer(_copying); }

jobsDaemonRtn_e ManagedDevice::MoveJobList(ManagedDevice& destDevice, const std::vector<std::string>& jobIDs) {
    return _StartTransfer(_moving, _moving.listName, destDevice, [&] { return _JobsOf(jobIDs); });
}

jobsDaemonRtn_e ManagedDevice::MoveAllJobs(ManagedDevice& destDevice) {
    return _StartTransfer(_moving, _moving.allName, destDevice, [&] { return _AllJobs(); });
}

jobsDaemonRtn_e ManagedDevice::CopyJobList(ManagedDevice& destDevice, const std::vector<std::string>& jobIDs) {
    return _StartTransfer(_copying, _copying.listName, destDevice, [&] { return _JobsOf(jobIDs); });
}

jobsDaemonRtn_e ManagedDevice::CopyAllJobs(ManagedDevice& destDevice) {
    return _StartTransfer(_copying, _copying.allName, destDevice, [&] { return _AllJobs(); });
}

jobsDaemonRtn_e ManagedDevice::_PrepareTransfer(const TransferKind& kind) {
    syslog(LOG_INFO, "%s", kind.prepareName);
    return _RefuseWhenBusy(kind.prepareName, kind.movingStates);
}

/// A job that is not in the list adds nothing to the size.
ManagedDevice::JobsToWorkOn ManagedDevice::_JobsOf(const std::vector<std::string>& jobIDs) const {
    JobsToWorkOn jobs{jobIDs, 0};
    for (const std::string& jobID : jobIDs)
        if (const std::shared_ptr<Job> job = FindJob(jobID))
            jobs.bytes += job->Summary().jobSize;
    return jobs;
}

ManagedDevice::JobsToWorkOn ManagedDevice::_AllJobs() const {
    JobsToWorkOn jobs;
    for (const std::shared_ptr<Job>& job : _jobs.All()) {
        const JobSummary summary = job->Summary();
        jobs.ids.push_back(summary.id);
        jobs.bytes += summary.jobSize;
    }
    return jobs;
}

template <typename GetJobs>
jobsDaemonRtn_e ManagedDevice::_StartTransfer(const TransferKind& kind, const char* method, ManagedDevice& destDevice,
                                              GetJobs getJobs) {
    syslog(LOG_INFO, "%s", method);
    if (kind.isMove && _readOnly) {
        syslog(LOG_ERR, "%s - Source filesystem is read-only", method);
        return JOBS_RTN_READ_ONLY_FS;
    }
    if (destDevice._readOnly) {
        syslog(LOG_ERR, "%s - Destination filesystem is read-only", method);
        return JOBS_RTN_READ_ONLY_FS;
    }
    for (ManagedDevice* device : {this, &destDevice})
        if (const jobsDaemonRtn_e result = device->_PrepareTransfer(kind); result != JOBS_RTN_SUCCEEDED)
            return result;
    JobsToWorkOn jobs = getJobs();
    if (!destDevice.CheckFileSpace(jobs.bytes)) {
        syslog(LOG_ERR, "%s", kind.noSpaceLine);
        return JOBS_RTN_INSUFFICIENT_SPACE;
    }
    if (_PrepareTask() != JOBS_RTN_SUCCEEDED)
        return JOBS_RTN_DEVICE_BUSY;
    SetState(kind.sourceState, true);
    destDevice.SetState(kind.destinationState, false);
    _worker.Start([this, &kind, destination = destDevice.shared_from_this(), ids = std::move(jobs.ids)] {
        _TransferTask(kind, *destination, ids);
    });
    return JOBS_RTN_SUCCEEDED;
}

void ManagedDevice::_TransferTask(const TransferKind& kind, ManagedDevice& destDevice,
                                  const std::vector<std::string>& jobIDs) {
    const std::string destination = destDevice.GetDeviceId();
    std::vector<Transfer> transfers;
    RunJobListTask(
        {
            .name = kind.taskName,
            .jobLine = kind.jobLine,
            .endLine = kind.endLine,
            .period = kind.period,
            .reportsOnlyChanges = kind.reportsOnlyChanges,
            .begin =
                [&](const std::string& jobID) { return _BeginTransfer(transfers, destDevice, jobID, kind.isMove); },
            .finish =
                [&] {
                    std::vector<Transfer> window = std::exchange(transfers, {});
                    return _FinishTransfers(window, false);
                },
            .tellProgress =
                [&](int32_t percent, int32_t nDone, int32_t nTotal) {
                    (this->*kind.progress).Raise(*this, destination, percent, nDone, nTotal);
                },
            .tellError = [&](const std::string& jobID,
                             jobsDaemonRtn_e code) { (this->*kind.error).Raise(*this, destination, jobID, code); },
            .tellFinish =
                [&](bool cancelled, int32_t nDone, int32_t nTotal) {
                    (this->*kind.finish).Raise(*this, destination, cancelled, nDone, nTotal);
                },
            .goIdle =
                [&] {
                    SetState(DEVICE_STATE_IDLE, true);
                    destDevice.SetState(DEVICE_STATE_IDLE, false);
                },
        },
        jobIDs, _worker.CancelFlag());
}

} // namespace JobsManagerD
