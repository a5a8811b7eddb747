#include "device/ManagedDevice.h"
#include "fsutil/Paths.h"
#include "peers/VideoDaemon.h"

#include <syslog.h>

using Videod::VideoDaemonDbusHandler;

namespace JobsManagerD {

jobsDaemonRtn_e ManagedDevice::_OpenJob(const std::shared_ptr<Job>& job, bool makeCurrent) {
    const JobLock lock = _LockJob(*job, "_OpenJob");
    if (!lock)
        return JOBS_RTN_DEVICE_BUSY;
    // A task may have deleted or moved it before we got the lock.
    if (!_FindJobOrLog(job->Id(), "_OpenJob"))
        return JOBS_RTN_JOB_ID_NOT_FOUND;
    if (!job->IsOpen()) {
        if (!makeCurrent)
            _FindAndCloseNonCurrentJob();
        const jobsDaemonRtn_e result = _LoadAndRepair(*job);
        if (result != JOBS_RTN_SUCCEEDED)
            return result;
    }
    if (makeCurrent) {
        _jobs.MakeCurrent(job);
        _jobOpened.Raise(*this);
    }
    return JOBS_RTN_SUCCEEDED;
}

jobsDaemonRtn_e ManagedDevice::_LoadAndRepair(Job& job) {
    const jobsDaemonRtn_e loaded = _card.Files().Load(job);
    if (loaded != JOBS_RTN_SUCCEEDED) {
        syslog(LOG_ERR, "ManagedDevice::_OpenJob. Failed to open job file: %s", job.JobFilePath().c_str());
        return loaded;
    }
    job.SetOpen(true);
    const bool isConverted = job.IsLegacy();
    if (isConverted)
        if (const jobsDaemonRtn_e converted = _ConvertOpenedJob(job); converted != JOBS_RTN_SUCCEEDED)
            return converted;
    if (_RepairDiscrepancies(job) || isConverted)
        _jobChanged.Raise(*this, job.SummaryJSONstring());
    return JOBS_RTN_SUCCEEDED;
}

/// A job of the earlier generation becomes one of this on its first opening. After a failure it stays open as it is,
/// but for one whose job file could not be written: that one is closed, so that the next opening tries again.
jobsDaemonRtn_e ManagedDevice::_ConvertOpenedJob(Job& job) {
    syslog(LOG_INFO, "ManagedDevice::_OpenJob. Job is a Tamsy job.  Converting to Ruvo: %s", job.JobFilePath().c_str());
    if (_IsCopiedLogged(job.Id(), "_OpenJob")) {
        job.ClearDetails();
        return JOBS_RTN_DEVICE_BUSY;
    }
    bool repairNeeded = false;
    const jobsDaemonRtn_e result = _ConvertJobToRuvo(job, repairNeeded);
    if (result != JOBS_RTN_SUCCEEDED) {
        syslog(LOG_ERR, "ManagedDevice::_OpenJob. Failed to create Ruvo job file when converting Tamsy job: %s",
               job.JobFilePath().c_str());
        if (result != JOBS_RTN_READ_ONLY_FS && job.IsLegacy())
            job.ClearDetails();
    } else if (repairNeeded) {
        _TriggerFileRepairScan(_deviceId, {job.JobFolderPath()});
    }
    return result;
}

/// The files on the medium are right: what the job file says otherwise is put right before the job is handed on. True
/// when there was something to put right.
bool ManagedDevice::_RepairDiscrepancies(Job& job) {
    if (!job.UpdateAllMediaFileSizes())
        return false;
    const std::string path = job.JobFilePath();
    syslog(LOG_DEBUG, "ManagedDevice::_OpenJob. Jobfile and filesystem discrepancies found for job: %s", path.c_str());
    if (UpdateJobFile(job, false, true) != JOBS_RTN_SUCCEEDED)
        syslog(LOG_ERR, "ManagedDevice::_OpenJob. Failed to update job file: %s", path.c_str());
    return true;
}

jobsDaemonRtn_e ManagedDevice::OpenJob(const std::string& jobID, bool makeCurrent) {
    const std::shared_ptr<Job> job = _FindJobOrLog(jobID, "OpenJob");
    return job ? _OpenJob(job, makeCurrent) : JOBS_RTN_JOB_ID_NOT_FOUND;
}

/// One queried job is kept open as a cache; the next query closes it.
void ManagedDevice::_FindAndCloseNonCurrentJob() {
    const std::shared_ptr<Job> chosen = _jobs.FindOpenInBackground();
    if (!chosen)
        return;
    syslog(LOG_INFO, "ManagedDevice::_FindAndCloseNonCurrentJob - Closing job with ID: %s", chosen->Id().c_str());
    CloseJob(chosen);
}

jobsDaemonRtn_e ManagedDevice::_CheckNoRecordingInto(const Job& job) const {
    struct Recording {
        int32_t (*getFilename)(std::string&);
        const char* message;
        int32_t state = 0;
    };
    // The autolog has always shared the line of the photoTalk.
    constexpr const char* photoTalkActive =
        "ManagedDevice::CloseJob - PhotoTalk recording active to file within job folder %s";
    Recording recordings[] = {
        {VideoDaemonDbusHandler::GetRecordingFilename,
         "ManagedDevice::CloseJob - Video recording active to file within job folder %s"},
        {VideoDaemonDbusHandler::GetPhotoTalkFilename, photoTalkActive},
        {VideoDaemonDbusHandler::GetAutoLogFilename, photoTalkActive},
    };
    if (VideoDaemonDbusHandler::GetRecordingState(recordings[0].state) < 0 ||
        VideoDaemonDbusHandler::GetPhotoTalkState(recordings[1].state) < 0 ||
        VideoDaemonDbusHandler::GetAutoLogState(recordings[2].state) < 0)
        return JOBS_RTN_DBUS_ERROR;

    for (const Recording& recording : recordings) {
        if (!VideoDaemonDbusHandler::IsActive(recording.state))
            continue;
        std::string filename;
        if (recording.getFilename(filename) < 0)
            return JOBS_RTN_DBUS_ERROR;
        if (VideoDaemonDbusHandler::IsWithin(filename, job.JobFolderPath())) {
            syslog(LOG_ERR, recording.message, filename.c_str());
            return JOBS_RTN_JOB_ACTIVE_RECORDING;
        }
    }
    return JOBS_RTN_SUCCEEDED;
}

jobsDaemonRtn_e ManagedDevice::CloseJob(const std::shared_ptr<Job>& job) {
    if (!job->IsOpen())
        return JOBS_RTN_SUCCEEDED;
    const std::string jobID = job->Id();
    if (IsCurrentJob(jobID)) {
        const jobsDaemonRtn_e result = _CheckNoRecordingInto(*job);
        if (result == JOBS_RTN_DBUS_ERROR)
            syslog(LOG_ERR, "ManagedDevice::CloseJob - Dbus comms error");
        if (result != JOBS_RTN_SUCCEEDED)
            return result;
    }
    job->ClearDetails();
    if (_jobs.EndCurrent(jobID))
        _jobClosed.Raise(*this, jobID);
    syslog(LOG_INFO, "ManagedDevice::CloseJob. Closed job with ID: %s", jobID.c_str());
    return JOBS_RTN_SUCCEEDED;
}

jobsDaemonRtn_e ManagedDevice::CloseJob(const std::string& jobID) {
    const std::shared_ptr<Job> job = _FindJobOrLog(jobID, "CloseJob");
    return job ? CloseJob(job) : JOBS_RTN_JOB_ID_NOT_FOUND;
}

jobsDaemonRtn_e ManagedDevice::UpdateJobFile(Job& job, bool notify, bool requireOpen) {
    if (_readOnly) {
        syslog(LOG_ERR, "%s - Filesystem is read-only", "UpdateJobFile");
        return JOBS_RTN_READ_ONLY_FS;
    }
    if (requireOpen && !job.IsOpen()) {
        syslog(LOG_ERR, "ManagedDevice::UpdateJobFile - Job not open");
        return JOBS_RTN_JOB_NOT_OPEN;
    }
    const jobsDaemonRtn_e format = _card.Files().CheckFormat(job, "UpdateJobFile");
    if (format != JOBS_RTN_SUCCEEDED)
        return format;

    job.ChangeSummary([](JobSummary& summary) { summary.version = currentJobVersion; });
    const WriteActiveMark mark(*this, "JobFileUpdate");
    const jobFileOpRtn_e result = _card.Files().Save(job);
    _jobs.Changed(job.Id());
    if (result != JOBFILE_OP_SUCCEEDED)
        syslog(LOG_ERR, "ManagedDevice::UpdateJobFile - Failed to update job file %s : %s", job.JobFilePath().c_str(),
               JobFileOpText(result));
    else if (notify)
        _jobChanged.Raise(*this, job.SummaryJSONstring());
    return ConvertFileOpRtn(result);
}

} // namespace JobsManagerD
