#include "device/ManagedDevice.h"
#include "fsutil/CopyFolder.h"
#include "fsutil/GuardedFs.h"
#include "fsutil/HiddenFiles.h"
#include "fsutil/Paths.h"
#include "peers/VideoDaemon.h"

#include <cstdio>
#include <filesystem>
#include <syslog.h>

namespace fs = std::filesystem;
using Videod::VideoDaemonDbusHandler;

// A job never lies half on a card: what is deleted is renamed into the trash folder and removed there, what arrives is
// copied into the trash folder and renamed to its place. Whatever an interruption leaves in the trash is garbage, which
// the next operation or index run removes.

namespace JobsManagerD {
namespace {

constexpr const char* deleteName = "DeleteJobInternal";
constexpr const char* transferName = "ManagedDevice::MoveCopyInternal";

/// True for a link that leads nowhere, too: it stands in the way like anything else of that name.
bool IsThere(const std::string& path) {
    std::error_code code;
    const fs::file_status status = fs::symlink_status(path, code);
    bool error = false;
    return fs::status_known(status) ? fs::exists(status) : TryFsExists(path, error);
}

bool IsFolder(const std::string& path) {
    std::error_code ignored;
    return fs::is_directory(fs::symlink_status(path, ignored));
}

std::string Below(const std::string& folder, const std::string& name) { return fs::path(folder) / name; }

bool TryRemoveAll(const std::string& path) {
    bool error = false;
    return TryFsRemoveAll(path, error) && !error;
}

/// Removes a trash folder of a delete, by the plain system calls when nothing else helps. `warning` takes the method
/// and `named`.
bool RemoveTrash(const std::string& trash, const char* warning, const std::string& named) {
    if (TryRemoveAll(trash))
        return true;
    syslog(LOG_WARNING, warning, deleteName, named.c_str());
    syslog(LOG_INFO, "Attempting to delete Trash folder using C standard library functions");
    if (!DeleteDir(trash)) {
        syslog(LOG_ERR, "DeleteDir failed for path %s", trash.c_str());
        return false;
    }
    syslog(LOG_INFO, "Success!");
    return true;
}

} // namespace

// Deleting ------------------------------------------------------------------------------------------------------------

jobsDaemonRtn_e ManagedDevice::DeleteJob(const std::string& jobID, bool emitStats) {
    syslog(LOG_INFO, "%s", "DeleteJob");
    if (_readOnly) {
        syslog(LOG_ERR, "%s - Filesystem is read-only", "DeleteJob");
        return JOBS_RTN_READ_ONLY_FS;
    }
    if (_IsCurrentJobLogged(jobID, "DeleteJob"))
        return JOBS_RTN_CURRENT_JOB_PROTECTED;
    const std::shared_ptr<Job> job = _FindJobOrLog(jobID, "DeleteJob");
    if (!job)
        return JOBS_RTN_JOB_ID_NOT_FOUND;
    if (job->IsLocked()) {
        syslog(LOG_ERR, "%s - Job is locked", "DeleteJob");
        return JOBS_RTN_LOCKED_JOB;
    }
    const std::lock_guard lock(job->Lock());
    // A client may have made it current before the lock was had.
    if (_IsCurrentJobLogged(jobID, "DeleteJob"))
        return JOBS_RTN_CURRENT_JOB_PROTECTED;
    return DeleteJobInternal(job, jobID, emitStats);
}

bool ManagedDevice::_IsCurrentJobLogged(const std::string& jobID, const char* method) const {
    const bool isCurrent = IsCurrentJob(jobID);
    if (isCurrent)
        syslog(LOG_ERR, "%s - Job is current job (%s).", method, jobID.c_str());
    return isCurrent;
}

jobsDaemonRtn_e ManagedDevice::_CheckNoPlaybackWithin(const std::string& folder, const char* method) const {
    std::string filename;
    if (VideoDaemonDbusHandler::GetPlayingFilename(filename) < 0) {
        syslog(LOG_ERR, "%s - Dbus comms error", method);
        return JOBS_RTN_DBUS_ERROR;
    }
    if (!VideoDaemonDbusHandler::IsWithin(filename, folder))
        return JOBS_RTN_SUCCEEDED;
    syslog(LOG_ERR, "%s - Playback active from file within job folder %s", method, filename.c_str());
    return JOBS_RTN_JOB_ACTIVE_PLAYBACK;
}

/// Under the job's lock. From the rename on, the job is gone: what may be left in the trash does not change that.
jobsDaemonRtn_e ManagedDevice::DeleteJobInternal(const std::shared_ptr<Job>& job, const std::string& jobID,
                                                 bool emitStats) {
    syslog(LOG_INFO, "%s", deleteName);
    const std::string folder = job->JobFolderPath();
    if (const jobsDaemonRtn_e playback = _CheckNoPlaybackWithin(folder, deleteName); playback != JOBS_RTN_SUCCEEDED)
        return playback;
    if (job->IsOpen())
        CloseJob(job);
    const std::lock_guard trashLock(_trashMutex);
    if (const jobsDaemonRtn_e moved = _MoveToTrash(folder); moved != JOBS_RTN_SUCCEEDED)
        return moved;

    _ForgetJob(*job, jobID);
    if (emitStats) {
        _jobListStatsChanged.Raise(*this, true);
        syslog(LOG_INFO, "%s JobDeleted - %s", deleteName, jobID.c_str());
    }
    const std::string trash = GetTrashPath();
    if (IsThere(trash)) {
        syslog(LOG_INFO, "rename() - delete - from %s to %s ok", folder.c_str(),
               Below(trash, FileName(folder)).c_str());
        RemoveTrash(trash, "%s - Could not delete hidden Trash folder: %s", folder);
    }
    return JOBS_RTN_SUCCEEDED;
}

/// Makes both folders. Whether that went well shows in the trash being there. What is above it is never made: a card
/// that has been pulled must not come back as a folder of the unit, into which jobs then vanish.
bool ManagedDevice::_MakeTrash(const std::string& trash, const std::string& jobInTrash) const {
    if (_isMountPoint && !IsMountPoint(_mountPoint))
        return false;
    std::error_code ignored;
    fs::create_directory(trash, ignored);
    fs::create_directory(jobInTrash, ignored);
    return IsFolder(trash);
}

jobsDaemonRtn_e ManagedDevice::_MoveToTrash(const std::string& folder) const {
    const std::string trash = GetTrashPath();
    if (IsThere(trash) && !RemoveTrash(trash, "%s - Could not delete previous Trash folder: %s", trash))
        return JOBS_RTN_FS_ERROR;
    // The empty folder of the job's name is what the rename replaces.
    const std::string target = Below(trash, FileName(folder));
    if (!_MakeTrash(trash, target)) {
        syslog(LOG_ERR, "rename() - can't create folder %s failed", trash.c_str());
        return JOBS_RTN_FS_ERROR;
    }
    MakeHidden(trash);
    if (rename(folder.c_str(), target.c_str()) != 0) {
        syslog(LOG_ERR, "rename() - delete - from %s to %s failed", folder.c_str(), target.c_str());
        return JOBS_RTN_FS_ERROR;
    }
    return JOBS_RTN_SUCCEEDED;
}

void ManagedDevice::_ForgetJob(const Job& job, const std::string& jobID) {
    const std::lock_guard lock(_jobListMutex);
    _jobList.Remove(jobID);
    --(job.IsLegacy() ? nTamsyJobs : nRuvoJobs);
}

// Moving and copying --------------------------------------------------------------------------------------------------

/// One job on its way to another device.
struct ManagedDevice::Transfer {
    Transfer(ManagedDevice& destDevice, const std::string& jobFolder)
        : destination(destDevice), from(jobFolder), trash(destDevice.GetTrashPath()),
          staging(Below(trash, FileName(from))), to(Below(destDevice.GetMountPoint(), FileName(from))) {}

    ManagedDevice& destination;
    const std::string from;
    const std::string trash;   ///< of the destination
    const std::string staging; ///< where the job lies in the trash until all of it has arrived
    const std::string to;
};

jobsDaemonRtn_e ManagedDevice::MoveJob(ManagedDevice& destDevice, const std::string& jobID, bool emitStats) {
    syslog(LOG_INFO, "%s", "MoveJob");
    const jobsDaemonRtn_e result = MoveCopyInternal(destDevice, jobID, true, emitStats);
    if (result != JOBS_RTN_SUCCEEDED)
        syslog(LOG_ERR, "ManagedDevice::MoveCopyInternal - Could not move jobID: %s on source device - %d",
               jobID.c_str(), result);
    return result;
}

jobsDaemonRtn_e ManagedDevice::CopyJob(ManagedDevice& destDevice, const std::string& jobID, bool emitStats) {
    syslog(LOG_INFO, "%s", "CopyJob");
    const jobsDaemonRtn_e result = MoveCopyInternal(destDevice, jobID, false, emitStats);
    if (result != JOBS_RTN_SUCCEEDED)
        syslog(LOG_ERR, "ManagedDevice::MoveCopyInternal - Could not copy jobID: %s on source device - %d",
               jobID.c_str(), result);
    return result;
}

jobsDaemonRtn_e ManagedDevice::MoveCopyInternal(ManagedDevice& destDevice, const std::string& jobID, bool isMove,
                                                bool emitStats) {
    syslog(LOG_INFO, "%s", "MoveCopyInternal");
    jobsDaemonRtn_e result = _CheckDevices(destDevice, jobID, isMove);
    if (result != JOBS_RTN_SUCCEEDED)
        return result;
    const std::shared_ptr<Job> job = _FindJobOrLog(jobID, "MoveCopyInternal");
    if (!job)
        return JOBS_RTN_JOB_ID_NOT_FOUND;

    const std::lock_guard lock(job->Lock());
    const Transfer transfer(destDevice, job->JobFolderPath());
    if (isMove)
        result = _ReleaseForMove(job);
    if (result == JOBS_RTN_SUCCEEDED)
        result = _CheckDestination(transfer, *job);
    if (result == JOBS_RTN_SUCCEEDED)
        result = _Bring(transfer, emitStats);
    if (result != JOBS_RTN_SUCCEEDED || !isMove)
        return result;

    // The source goes only when the copy is on the medium: the card may be pulled at the next moment.
    result = SyncFilesystem(transfer.to) ? JOBS_RTN_FS_ERROR : DeleteJobInternal(job, jobID, false);
    if (result != JOBS_RTN_SUCCEEDED) {
        syslog(LOG_ERR, "%s - Could not delete jobID: %s on source device - %d", transferName, jobID.c_str(), result);
        return result;
    }
    if (emitStats)
        _jobListStatsChanged.Raise(*this, true);
    return JOBS_RTN_SUCCEEDED;
}

jobsDaemonRtn_e ManagedDevice::_CheckDevices(const ManagedDevice& destDevice, const std::string& jobID,
                                             bool isMove) const {
    if (&destDevice == this) {
        syslog(LOG_ERR, "%s - this == dest_device", transferName);
        return JOBS_RTN_DUPLICATE_FILESYSTEMS;
    }
    if (isMove && _readOnly) {
        syslog(LOG_ERR, "%s - source filesystem is read-only", transferName);
        return JOBS_RTN_READ_ONLY_FS;
    }
    if (destDevice._readOnly) {
        syslog(LOG_ERR, "%s - destination filesystem is read-only", transferName);
        return JOBS_RTN_READ_ONLY_FS;
    }
    return isMove && _IsCurrentJobLogged(jobID, transferName) ? JOBS_RTN_CURRENT_JOB_PROTECTED : JOBS_RTN_SUCCEEDED;
}

/// A job that is copied stays in use; one that is moved must not be.
jobsDaemonRtn_e ManagedDevice::_ReleaseForMove(const std::shared_ptr<Job>& job) {
    // A client may have made it current before the lock was had.
    if (_IsCurrentJobLogged(job->Id(), transferName))
        return JOBS_RTN_CURRENT_JOB_PROTECTED;
    if (job->IsLocked()) {
        syslog(LOG_ERR, "%s - Job is locked", transferName);
        return JOBS_RTN_LOCKED_JOB;
    }
    const jobsDaemonRtn_e playback = _CheckNoPlaybackWithin(job->JobFolderPath(), transferName);
    if (playback == JOBS_RTN_SUCCEEDED && job->IsOpen())
        CloseJob(job);
    return playback;
}

jobsDaemonRtn_e ManagedDevice::_CheckDestination(const Transfer& transfer, const Job& job) const {
    const JobSummary summary = job.Summary();
    if (transfer.destination.FindJob(summary.id)) {
        syslog(LOG_ERR, "destination device has a job with jobID %s - has it been moved/copied previously?",
               summary.id.c_str());
        return JOBS_RTN_JOB_FILE_EXISTS;
    }
    if (!transfer.destination.CheckFileSpace(summary.jobSize)) {
        syslog(LOG_ERR, "Insufficient space for this job on destination");
        return JOBS_RTN_INSUFFICIENT_SPACE;
    }
    bool error = false;
    if (TryFsExists(transfer.to, error)) {
        syslog(LOG_ERR, "destination device has a path %s - has it been copied previously?", transfer.to.c_str());
        return JOBS_RTN_JOB_FILE_EXISTS;
    }
    return JOBS_RTN_SUCCEEDED;
}

jobsDaemonRtn_e ManagedDevice::_Bring(const Transfer& transfer, bool emitStats) const {
    const std::lock_guard trashLock(transfer.destination._trashMutex);
    const jobsDaemonRtn_e staged = _Stage(transfer);
    return staged == JOBS_RTN_SUCCEEDED ? _Land(transfer, emitStats) : staged;
}

/// Copies the job into the trash of the destination.
jobsDaemonRtn_e ManagedDevice::_Stage(const Transfer& transfer) const {
    const std::string& trash = transfer.trash;
    syslog(LOG_INFO, "%s - copying from %s to %s", transferName, transfer.from.c_str(), trash.c_str());
    if (IsThere(trash) && !TryRemoveAll(trash)) {
        syslog(LOG_ERR, "%s - Could not delete previous destination Trash folder: %s", transferName, trash.c_str());
        return JOBS_RTN_FS_ERROR;
    }
    if (!transfer.destination._MakeTrash(trash, transfer.staging)) {
        syslog(LOG_ERR, "Failed to create destination (trash) directory %s", trash.c_str());
        return JOBS_RTN_FS_ERROR;
    }
    if (CopyFolderContents(transfer.from, transfer.staging)) {
        if (IsThere(trash) && !TryRemoveAll(trash))
            syslog(LOG_ERR, "%s - failed to remove (partial) copy %s", transferName, trash.c_str());
        syslog(LOG_ERR, "Recursive fs::copy from %s to %s failed", transfer.from.c_str(), transfer.staging.c_str());
        return JOBS_RTN_FS_ERROR;
    }
    return JOBS_RTN_SUCCEEDED;
}

/// Puts the copy in its place and into the list of the destination.
jobsDaemonRtn_e ManagedDevice::_Land(const Transfer& transfer, bool emitStats) const {
    const char* const staging = transfer.staging.c_str();
    const char* const to = transfer.to.c_str();
    if (rename(staging, to) != 0) {
        syslog(LOG_ERR, "rename() - copy - from %s to %s failed", staging, to);
        return JOBS_RTN_FS_ERROR;
    }
    syslog(LOG_INFO, "rename() - copy - from %s to %s ok", staging, to);
    if (transfer.destination.IndexDirectory(transfer.to, emitStats) != JOBS_RTN_SUCCEEDED) {
        syslog(LOG_ERR, "IndexDirectory() failed");
        rename(to, staging);
        if (!TryRemoveAll(transfer.staging))
            syslog(LOG_ERR, "%s - Could not delete unloadable directory: %s", transferName, staging);
        std::error_code ignored;
        fs::remove(transfer.trash, ignored);
        return JOBS_RTN_FS_ERROR;
    }
    if (!TryRemoveAll(transfer.trash))
        syslog(LOG_ERR, "%s - Could not delete current destination Trash folder: %s", transferName,
               transfer.trash.c_str());
    return JOBS_RTN_SUCCEEDED;
}

} // namespace JobsManagerD
