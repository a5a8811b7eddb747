#include "device/Transfer.h"

#include "fsutil/CopyFolder.h"
#include "fsutil/GuardedFs.h"
#include "fsutil/Paths.h"
#include "fsutil/Sync.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <syslog.h>

namespace fs = std::filesystem;

namespace JobsManagerD {
namespace {

constexpr const char* transferName = "ManagedDevice::MoveCopyInternal";

/// A client that goes on editing is kept waiting in the last of so many attempts to copy one state of its job.
constexpr int mostFreeAttempts = 4;

} // namespace

jobsDaemonRtn_e ManagedDevice::Transfer::CheckDevices() const {
    if (&destination == &source) {
        syslog(LOG_ERR, "%s - this == dest_device", transferName);
        return JOBS_RTN_DUPLICATE_FILESYSTEMS;
    }
    if (isMove && source._readOnly) {
        syslog(LOG_ERR, "%s - source filesystem is read-only", transferName);
        return JOBS_RTN_READ_ONLY_FS;
    }
    if (destination._readOnly) {
        syslog(LOG_ERR, "%s - destination filesystem is read-only", transferName);
        return JOBS_RTN_READ_ONLY_FS;
    }
    if (destination._card.IsTakenAway()) {
        syslog(LOG_ERR, "%s - destination device %s has been removed", transferName, destination._deviceId.c_str());
        return JOBS_RTN_DEVICE_NOT_FOUND;
    }
    return isMove && source._IsCurrentJobLogged(jobID, transferName) ? JOBS_RTN_CURRENT_JOB_PROTECTED
                                                                     : JOBS_RTN_SUCCEEDED;
}

jobsDaemonRtn_e ManagedDevice::Transfer::TakeJob() {
    _lock = source._LockJob(*job, transferName);
    if (!_lock)
        return JOBS_RTN_DEVICE_BUSY;
    _from = job->JobFolderPath();
    _to = (fs::path(destination.GetMountPoint()) / FileName(_from)).string();
    if (isMove)
        return _ReleaseForMove();
    _copyMark = DeviceJobs::CopyMark(source._jobs, jobID);
    _lock.unlock();
    return JOBS_RTN_SUCCEEDED;
}

jobsDaemonRtn_e ManagedDevice::Transfer::_ReleaseForMove() {
    if (source._IsCopiedLogged(jobID, transferName))
        return JOBS_RTN_DEVICE_BUSY;
    // A client may have made it current before we got the lock.
    if (source._IsCurrentJobLogged(jobID, transferName))
        return JOBS_RTN_CURRENT_JOB_PROTECTED;
    if (_IsLockedLogged(*job, transferName))
        return JOBS_RTN_LOCKED_JOB;
    const jobsDaemonRtn_e playback = _CheckNoPlaybackWithin(_from, transferName);
    if (playback != JOBS_RTN_SUCCEEDED)
        return playback;
    if (job->IsOpen())
        source.CloseJob(job);
    // A client may have locked it as long as it was open. Closed, it stays as it is until the lock is given up.
    return _IsLockedLogged(*job, transferName) ? JOBS_RTN_LOCKED_JOB : JOBS_RTN_SUCCEEDED;
}

jobsDaemonRtn_e ManagedDevice::Transfer::CheckDestination() const {
    if (destination.FindJob(jobID)) {
        syslog(LOG_ERR, "destination device has a job with jobID %s - has it been moved/copied previously?",
               jobID.c_str());
        return JOBS_RTN_JOB_FILE_EXISTS;
    }
    if (!destination.CheckFileSpace(job->Summary().jobSize)) {
        syslog(LOG_ERR, "Insufficient space for this job on destination");
        return JOBS_RTN_INSUFFICIENT_SPACE;
    }
    bool error = false;
    if (TryFsExists(_to, error)) {
        syslog(LOG_ERR, "destination device has a path %s - has it been copied previously?", _to.c_str());
        return JOBS_RTN_JOB_FILE_EXISTS;
    }
    return JOBS_RTN_SUCCEEDED;
}

jobsDaemonRtn_e ManagedDevice::Transfer::Stage() {
    Trash& trash = *destination._card.TrashFolder();
    syslog(LOG_INFO, "%s - copying from %s to %s", transferName, _from.c_str(), trash.Path().c_str());
    if (trash.HasGarbage() && !trash.RemoveGarbage()) {
        syslog(LOG_ERR, "%s - Could not delete previous destination Trash folder: %s", transferName,
               trash.Path().c_str());
        return JOBS_RTN_FS_ERROR;
    }
    auto place =
        destination._card.IsThere() ? trash.MakePlaceForArrival(FileName(_from), destination._card) : std::nullopt;
    if (!place) {
        syslog(LOG_ERR, "Failed to create destination (trash) directory %s", trash.Path().c_str());
        return JOBS_RTN_FS_ERROR;
    }
    // The card may have been taken away before its trash knew of this arrival.
    if (destination._card.IsTakenAway())
        return JOBS_RTN_DEVICE_NOT_FOUND;
    _staging = std::move(*place);
    if (_CopyAsOneState()) {
        if (!TreeRemoval(destination.GetMountPoint()).RemoveAll(_staging.Path()))
            syslog(LOG_ERR, "%s - failed to remove (partial) copy %s", transferName, trash.Path().c_str());
        syslog(LOG_ERR, "Recursive fs::copy from %s to %s failed", _from.c_str(), _staging.Path().c_str());
        return JOBS_RTN_FS_ERROR;
    }
    return JOBS_RTN_SUCCEEDED;
}

/// A client may edit the job meanwhile. What it changes behind the copy's back is copied again, in the last attempt
/// with the client waiting.
std::error_code ManagedDevice::Transfer::_CopyAsOneState() const {
    const JobFiles& files = source._card.Files();
    const std::string jobFile = job->JobFilePath();
    const DeviceJobs::Reading reading(source._jobs);
    uint64_t readAt = reading.Now();
    const auto isOutOfDate = [&] {
        // A change tells of itself when it has been saved: what is under way is waited for.
        const Locks::LockGuard use(job->DetailsLock());
        return reading.IsOutOfDate(jobID, readAt);
    };
    std::error_code failure = MakeFoldersOf(_from, _staging.Path(), destination.GetMountPoint());
    if (!failure)
        failure = files.CopyFolder(jobFile, _staging.Path());
    for (int attempt = 0; isOutOfDate(); ++attempt) {
        std::unique_lock<Locks::Mutex> use(job->DetailsLock(), std::defer_lock);
        if (attempt == mostFreeAttempts)
            use.lock();
        readAt = reading.Now();
        failure = files.RefreshCopy(job->JobFilePath(), _staging.Path());
    }
    return failure;
}

std::vector<jobsDaemonRtn_e> ManagedDevice::Transfer::Land(std::vector<Transfer>& transfers, bool emitStats) {
    const std::string& card = transfers.front().destination.GetMountPoint();
    std::vector<jobsDaemonRtn_e> codes(transfers.size(), JOBS_RTN_SUCCEEDED);
    const std::error_code notStaged = SyncFilesystem(card);
    for (size_t i = 0; i < transfers.size(); ++i)
        codes[i] = notStaged ? transfers[i]._GiveUp() : transfers[i]._PutInPlace();
    // The trash first: a job found in both places would be taken for garbage in the one and listed in the other.
    std::error_code notLanded = SyncFolder(transfers.front().destination.GetTrashPath());
    if (!notLanded)
        notLanded = SyncFilesystem(card);
    for (size_t i = 0; i < transfers.size(); ++i) {
        const Transfer& transfer = transfers[i];
        if (codes[i] != JOBS_RTN_SUCCEEDED)
            continue;
        const bool isSafe = !notLanded && !SyncFile(transfer._JobFileAtDestination());
        if (isSafe && transfer.destination.IndexDirectory(transfer._to, emitStats) == JOBS_RTN_SUCCEEDED)
            continue;
        if (isSafe)
            syslog(LOG_ERR, "IndexDirectory() failed");
        rename(transfer._to.c_str(), transfer._staging.Path().c_str());
        codes[i] = transfer._GiveUp();
    }
    return codes;
}

jobsDaemonRtn_e ManagedDevice::Transfer::_PutInPlace() const {
    const char* const staging = _staging.Path().c_str();
    if (rename(staging, _to.c_str()) != 0) {
        syslog(LOG_ERR, "rename() - copy - from %s to %s failed", staging, _to.c_str());
        return JOBS_RTN_FS_ERROR;
    }
    syslog(LOG_INFO, "rename() - copy - from %s to %s ok", staging, _to.c_str());
    return JOBS_RTN_SUCCEEDED;
}

jobsDaemonRtn_e ManagedDevice::Transfer::_GiveUp() const {
    if (!TreeRemoval(destination.GetMountPoint()).RemoveAll(_staging.Path()))
        syslog(LOG_ERR, "%s - Could not delete unloadable directory: %s", transferName, _staging.Path().c_str());
    return JOBS_RTN_FS_ERROR;
}

std::string ManagedDevice::Transfer::_JobFileAtDestination() const { return PathIn(_to, FileName(job->JobFilePath())); }

jobsDaemonRtn_e ManagedDevice::Transfer::DeleteSource(std::vector<Deletion>& deletions) {
    Deletion deletion;
    const jobsDaemonRtn_e result = source.DeleteJobInternal(job, false, deletion);
    if (result == JOBS_RTN_SUCCEEDED)
        deletions.push_back(std::move(deletion));
    else
        syslog(LOG_ERR, "%s - Could not delete jobID: %s on source device - %d", transferName, jobID.c_str(), result);
    return result;
}

void ManagedDevice::Transfer::LogFailure(jobsDaemonRtn_e code) const {
    if (isMove)
        syslog(LOG_ERR, "ManagedDevice::MoveCopyInternal - Could not move jobID: %s on source device - %d",
               jobID.c_str(), code);
    else
        syslog(LOG_ERR, "ManagedDevice::MoveCopyInternal - Could not copy jobID: %s on source device - %d",
               jobID.c_str(), code);
}

} // namespace JobsManagerD
