#include "device/ManagedDevice.h"
#include "device/Transfer.h"
#include "fsutil/CopyFolder.h"
#include "fsutil/GuardedFs.h"
#include "fsutil/Paths.h"
#include "fsutil/Sync.h"
#include "peers/VideoDaemon.h"

#include <cstdio>
#include <filesystem>
#include <syslog.h>

namespace fs = std::filesystem;
using Videod::VideoDaemonDbusHandler;

// A job never lies half on a card: what is deleted is renamed into the trash folder and removed there, what arrives is
// copied into the trash folder and renamed to its place. Whatever an interruption leaves in the trash is garbage, which
// the next operation or index run removes.
//
// Each operation has a first half for one job and a second one, which syncs the card, for one job or many.

namespace JobsManagerD {
namespace {

constexpr const char* deleteName = "DeleteJobInternal";

/// By the plain system calls, for when nothing else helps.
bool DeletePlainly(const std::string& path) {
    syslog(LOG_INFO, "Attempting to delete Trash folder using C standard library functions");
    if (!DeleteDir(path)) {
        syslog(LOG_ERR, "DeleteDir failed for path %s", path.c_str());
        return false;
    }
    syslog(LOG_INFO, "Success!");
    return true;
}

/// True when nothing is left in the trash that nobody wants, or when it is in use and was emptied before.
bool EmptyTrashForDeletion(Trash& trash) {
    if (!trash.HasGarbage() || trash.RemoveGarbage())
        return true;
    syslog(LOG_WARNING, "%s - Could not delete previous Trash folder: %s", deleteName, trash.Path().c_str());
    return trash.RemoveGarbage(DeletePlainly);
}

} // namespace

// Deleting ------------------------------------------------------------------------------------------------------------

jobsDaemonRtn_e ManagedDevice::DeleteJob(const std::string& jobID, bool emitStats) {
    std::vector<Deletion> deletions(1);
    const jobsDaemonRtn_e result = _BeginDelete(jobID, emitStats, deletions.front());
    if (result == JOBS_RTN_SUCCEEDED)
        _FinishDeletions(deletions);
    return result;
}

jobsDaemonRtn_e ManagedDevice::_BeginDelete(const std::string& jobID, bool emitStats, Deletion& deletion) {
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
    if (_IsLockedLogged(*job, "DeleteJob"))
        return JOBS_RTN_LOCKED_JOB;
    const JobLock lock = _LockJob(*job, "DeleteJob");
    if (!lock || _IsCopiedLogged(jobID, "DeleteJob"))
        return JOBS_RTN_DEVICE_BUSY;
    // A client may have made it current before we got the lock.
    if (_IsCurrentJobLogged(jobID, "DeleteJob"))
        return JOBS_RTN_CURRENT_JOB_PROTECTED;
    return DeleteJobInternal(job, emitStats, deletion);
}

bool ManagedDevice::_IsCurrentJobLogged(const std::string& jobID, const char* method) const {
    const bool isCurrent = IsCurrentJob(jobID);
    if (isCurrent)
        syslog(LOG_ERR, "%s - Job is current job (%s).", method, jobID.c_str());
    return isCurrent;
}

bool ManagedDevice::_IsLockedLogged(const Job& job, const char* method) {
    const bool isLocked = job.IsLocked();
    if (isLocked)
        syslog(LOG_ERR, "%s - Job is locked", method);
    return isLocked;
}

jobsDaemonRtn_e ManagedDevice::_CheckNoPlaybackWithin(const std::string& folder, const char* method) {
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
jobsDaemonRtn_e ManagedDevice::DeleteJobInternal(const std::shared_ptr<Job>& job, bool emitStats, Deletion& deletion) {
    syslog(LOG_INFO, "%s", deleteName);
    const std::string jobID = job->Id();
    const std::string folder = job->JobFolderPath();
    if (const jobsDaemonRtn_e playback = _CheckNoPlaybackWithin(folder, deleteName); playback != JOBS_RTN_SUCCEEDED)
        return playback;
    if (job->IsOpen())
        CloseJob(job);
    // A client may have locked it as long as it was open.
    if (_IsLockedLogged(*job, "DeleteJob"))
        return JOBS_RTN_LOCKED_JOB;
    if (const jobsDaemonRtn_e moved = _MoveToTrash(*job, deletion); moved != JOBS_RTN_SUCCEEDED)
        return moved;

    _jobs.Forget(jobID);
    if (emitStats) {
        _jobListStatsChanged.Raise(*this, true);
        syslog(LOG_INFO, "%s JobDeleted - %s", deleteName, jobID.c_str());
    }
    return JOBS_RTN_SUCCEEDED;
}

jobsDaemonRtn_e ManagedDevice::_MoveToTrash(const Job& job, Deletion& deletion) const {
    const std::string folder = job.JobFolderPath();
    Trash& trash = *_card.TrashFolder();
    if (!EmptyTrashForDeletion(trash))
        return JOBS_RTN_FS_ERROR;
    // A card that has been pulled must not come back as a folder of the unit, into which jobs then vanish.
    auto place = _card.IsThere() ? trash.MakePlaceFor(job.JobFilePath()) : std::nullopt;
    if (!place && _card.IsThere())
        place = trash.TakeWhole();
    if (!place) {
        syslog(LOG_ERR, "rename() - can't create folder %s failed", trash.Path().c_str());
        return JOBS_RTN_FS_ERROR;
    }
    if (rename(folder.c_str(), place->Path().c_str()) != 0) {
        syslog(LOG_ERR, "rename() - delete - from %s to %s failed", folder.c_str(), place->Path().c_str());
        return JOBS_RTN_FS_ERROR;
    }
    deletion = {folder, std::move(*place)};
    return JOBS_RTN_SUCCEEDED;
}

/// The files go once the card knows that the folders have moved: else a power cut could leave a job whose clusters are
/// free.
void ManagedDevice::_FinishDeletions(std::vector<Deletion>& deletions) const {
    if (deletions.empty())
        return;
    const std::string& trash = _card.TrashFolder()->Path();
    // The entries in the trash last: a job found in both places would be taken for garbage in the one and listed in the
    // other. Each by the sync of the folder itself, without which FAT writes an entry that leads nowhere.
    bool isSafe = !SyncFolder(_card.MountPoint());
    for (const Deletion& deletion : deletions)
        isSafe = !SyncFolder(deletion.place.Path()) && isSafe;
    isSafe = !SyncFolder(trash) && isSafe;
    if (!isSafe)
        syslog(LOG_WARNING, "%s - Could not sync %s, which keeps what was deleted", deleteName, trash.c_str());
    TreeRemoval removal(_card.MountPoint());
    for (const auto& [folder, place] : deletions) {
        syslog(LOG_INFO, "rename() - delete - from %s to %s ok", folder.c_str(), place.Path().c_str());
        if (!isSafe || removal.RemoveAll(place.Path()))
            continue;
        syslog(LOG_WARNING, "%s - Could not delete hidden Trash folder: %s", deleteName, folder.c_str());
        DeletePlainly(place.Path());
    }
    removal.Finish();
    deletions.clear();
}

// Moving and copying --------------------------------------------------------------------------------------------------

jobsDaemonRtn_e ManagedDevice::MoveJob(ManagedDevice& destDevice, const std::string& jobID, bool emitStats) {
    return MoveCopyInternal(destDevice, jobID, true, emitStats);
}

jobsDaemonRtn_e ManagedDevice::CopyJob(ManagedDevice& destDevice, const std::string& jobID, bool emitStats) {
    return MoveCopyInternal(destDevice, jobID, false, emitStats);
}

jobsDaemonRtn_e ManagedDevice::MoveCopyInternal(ManagedDevice& destDevice, const std::string& jobID, bool isMove,
                                                bool emitStats) {
    std::vector<Transfer> transfers;
    const jobsDaemonRtn_e begun = _BeginTransfer(transfers, destDevice, jobID, isMove);
    return begun == JOBS_RTN_SUCCEEDED ? _FinishTransfers(transfers, emitStats).front() : begun;
}

jobsDaemonRtn_e ManagedDevice::_BeginTransfer(std::vector<Transfer>& transfers, ManagedDevice& destDevice,
                                              const std::string& jobID, bool isMove) {
    syslog(LOG_INFO, "%s", isMove ? "MoveJob" : "CopyJob");
    syslog(LOG_INFO, "%s", "MoveCopyInternal");
    Transfer transfer(*this, destDevice, jobID, isMove);
    jobsDaemonRtn_e result = transfer.CheckDevices();
    if (result == JOBS_RTN_SUCCEEDED && !(transfer.job = _FindJobOrLog(jobID, "MoveCopyInternal")))
        result = JOBS_RTN_JOB_ID_NOT_FOUND;
    if (result == JOBS_RTN_SUCCEEDED)
        result = transfer.TakeJob();
    if (result == JOBS_RTN_SUCCEEDED)
        result = transfer.CheckDestination();
    if (result == JOBS_RTN_SUCCEEDED)
        result = transfer.Stage();
    if (result == JOBS_RTN_SUCCEEDED)
        transfers.push_back(std::move(transfer));
    else
        transfer.LogFailure(result);
    return result;
}

/// The sources of a move go only when the copies are on the medium: the card may be pulled at the next moment.
std::vector<jobsDaemonRtn_e> ManagedDevice::_FinishTransfers(std::vector<Transfer>& transfers, bool emitStats) {
    std::vector<jobsDaemonRtn_e> codes = Transfer::Land(transfers, emitStats);
    std::vector<Deletion> deletions;
    for (size_t i = 0; i < transfers.size(); ++i) {
        Transfer& transfer = transfers[i];
        if (codes[i] == JOBS_RTN_SUCCEEDED && transfer.isMove)
            codes[i] = transfer.DeleteSource(deletions);
        if (codes[i] != JOBS_RTN_SUCCEEDED)
            transfer.LogFailure(codes[i]);
        else if (transfer.isMove && emitStats)
            _jobListStatsChanged.Raise(*this, true);
    }
    _FinishDeletions(deletions);
    transfers.clear();
    return codes;
}

} // namespace JobsManagerD
