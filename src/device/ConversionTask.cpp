#include "device/JobSettings.h"
#include "device/ManagedDevice.h"
#include "device/RunningTask.h"
#include "device/Uuid.h"
#include "fsutil/FatOrder.h"
#include "fsutil/GuardedFs.h"
#include "fsutil/HiddenFiles.h"
#include "fsutil/Sync.h"
#include "fsutil/Times.h"
#include "jobs/JobFolder.h"
#include "peers/FileRepairDaemon.h"

#include <chrono>
#include <syslog.h>
#include <system_error>
#include <thread>

namespace JobsManagerD {
namespace {

constexpr const char* taskName = "_JobConversionTask";
constexpr const char* dashes = "----------------------------------------------- ";

/// A database may lack what the reader of a job file insists on: the job, or the item, would be lost at the next
/// reading.
void FillRequiredFields(Job& job) {
    const auto fill = [](Source& source) {
        for (std::string Source::*text : {&Source::model, &Source::serial, &Source::version})
            if ((source.*text).empty())
                source.*text = "unknown";
    };
    job.ChangeSummary([&fill](JobSummary& summary) { fill(summary.source); });
    for (const auto& item : job.Details().media) {
        fill(item->source);
        if (item->id.empty())
            item->id = GenerateUuid();
    }
}

} // namespace

/// The conversion of all jobs of a card, one at a time, each under its lock and back to a summary before the next.
class ManagedDevice::Conversion {
public:
    explicit Conversion(ManagedDevice& device) : _device(device) {}
    void Run();

private:
    using Clock = std::chrono::steady_clock;

    std::vector<std::string> _LegacyJobIds() const;
    bool _ConvertListedJob(const std::string& id);
    void _ReportProgress(size_t processed, size_t total);

    ManagedDevice& _device;
    uint16_t _converted = 0;
    uint16_t _lastReported = 0;
    Clock::time_point _lastReport = Clock::now();
    std::vector<std::string> _foldersToRepair;
};

jobsDaemonRtn_e ManagedDevice::ConvertDeviceJobs() {
    syslog(LOG_INFO, "ManagedDevice::ConvertDeviceJobs Start");
    if (!_worker.IsFree()) {
        syslog(LOG_INFO, "ManagedDevice::ConvertDeviceJobs Cancelled - Device busy. State: %d", GetState());
        return JOBS_RTN_DEVICE_BUSY;
    }
    if (_readOnly) {
        syslog(LOG_ERR, "%s - Filesystem is read-only", "ConvertDeviceJobs");
        return JOBS_RTN_READ_ONLY_FS;
    }
    if (const jobsDaemonRtn_e prepared = _PrepareTask(); prepared != JOBS_RTN_SUCCEEDED)
        return prepared;
    SetState(DEVICE_STATE_CONVERTING, true);
    _CloseLegacyJobs();
    _worker.Start([this] { Conversion(*this).Run(); });
    return JOBS_RTN_SUCCEEDED;
}

/// An opening whose conversion failed leaves a job of the earlier generation open. Its details are this thread's;
/// closed, the job can be the worker's.
void ManagedDevice::_CloseLegacyJobs() {
    for (const auto& job : _jobs.All()) {
        if (!job->IsOpen() || !job->IsLegacy())
            continue;
        job->ClearDetails();
        if (_jobs.EndCurrent(job->Id()))
            _jobClosed.Raise(*this, job->Id());
    }
}

std::vector<std::string> ManagedDevice::Conversion::_LegacyJobIds() const {
    std::vector<std::string> ids;
    for (const auto& job : _device._jobs.All())
        if (job->IsLegacy())
            ids.push_back(job->Id());
    return ids;
}

void ManagedDevice::Conversion::Run() {
    syslog(LOG_INFO, "%s Started Job Conversion Task", taskName);
    const std::vector<std::string> ids = _LegacyJobIds();
    const Clock::time_point start = Clock::now();
    _lastReport = start;
    size_t processed = 0;
    for (const std::string& id : ids) {
        if (_device._worker.IsCancelled()) {
            syslog(LOG_INFO, "%s *** Job Conversion cancelled...", taskName);
            break;
        }
        ++processed;
        if (_ConvertListedJob(id))
            _ReportProgress(processed, ids.size());
    }
    if (_converted != 0)
        _device._jobListStatsChanged.Raise(_device, true);
    const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
    if (!_device._worker.IsCancelled())
        syslog(LOG_INFO, "%s *** Job Conversion complete", taskName);
    _device.SetState(DEVICE_STATE_IDLE, true);
    syslog(LOG_INFO, "%s", dashes);
    syslog(LOG_INFO, "Conversion of %d Tamsy jobs took %fs", _converted, seconds);
    syslog(LOG_INFO, "%s", dashes);
    if (!_foldersToRepair.empty())
        _TriggerFileRepairScanAside(_device._deviceId, _foldersToRepair);
}

void ManagedDevice::Conversion::_ReportProgress(size_t processed, size_t total) {
    const double sinceReport = std::chrono::duration<double>(Clock::now() - _lastReport).count();
    if (sinceReport <= multiJobConvertUpdatePeriod || _converted == _lastReported || processed >= total)
        return;
    _device._jobListStatsChanged.Raise(_device, false);
    _lastReport = Clock::now();
    _lastReported = _converted;
}

/// False for a job that was not there to be converted. Clients opening the same job wait for its lock.
bool ManagedDevice::Conversion::_ConvertListedJob(const std::string& id) {
    const std::shared_ptr<Job> job = _device._FindJobOrLog(id, taskName);
    if (!job)
        return false;
    const JobLock lock = _device._LockJob(*job, taskName);
    if (!job->IsLegacy()) {
        syslog(LOG_ERR, "%s. Job already converted: %s -> %s", taskName, id.c_str(), job->JobFilePath().c_str());
        return false;
    }
    if (_device._card.Files().Load(*job) != JOBS_RTN_SUCCEEDED)
        return false;
    bool artefactsFound = false;
    if (_device._ConvertJobToRuvo(*job, artefactsFound) != JOBS_RTN_SUCCEEDED) {
        syslog(LOG_ERR, "%s. Failed to convert Tamsy job: %s - %s", taskName, id.c_str(), job->JobFilePath().c_str());
    } else {
        ++_converted;
        if (artefactsFound)
            _foldersToRepair.push_back(job->JobFolderPath());
    }
    job->ClearDetails();
    return true;
}

/// The first job file of a job of the earlier generation. Without it the job stays what it was, and nothing of it
/// stays on the card.
jobsDaemonRtn_e ManagedDevice::_WriteFirstJobFile(Job& job, const std::string& oldPath) {
    const std::string newPath = job.JobFilePath();
    bool error = false;
    const bool wasThere = TryFsExists(newPath, error) || error;
    const jobsDaemonRtn_e result = UpdateJobFile(job, false, false);
    // The flag that hides the database must not reach the medium before the entry of the job file.
    if (result == JOBS_RTN_SUCCEEDED && !SyncFolder(job.JobFolderPath()))
        return result;
    if (!wasThere)
        TryFsRemove(newPath, error);
    job.SetJobFilePath(oldPath);
    job.ChangeSummary([](JobSummary& summary) { summary.version = legacyJobVersion; });
    return result == JOBS_RTN_SUCCEEDED ? JOBS_RTN_FS_ERROR : result;
}

jobsDaemonRtn_e ManagedDevice::_ConvertJobToRuvo(Job& job, bool& artefactsFound) {
    if (_readOnly) {
        syslog(LOG_ERR, "%s - Filesystem is read-only", "_ConvertJobToRuvo");
        return JOBS_RTN_READ_ONLY_FS;
    }
    const std::string oldPath = job.JobFilePath();
    job.SetJobFilePath(JobFolder::Of(oldPath).NewJobFile());
    FillRequiredFields(job);
    artefactsFound = job.ConvertBrokenFileArtefacts();
    const jobsDaemonRtn_e result = _WriteFirstJobFile(job, oldPath);
    if (result != JOBS_RTN_SUCCEEDED) {
        syslog(LOG_ERR, "%s - UpdateJobFile returned error code: %i", "_ConvertJobToRuvo", result);
        return result;
    }
    const std::string flagPath = _GetConvertedFlagPath(oldPath);
    if (!CreateHiddenFile(flagPath)) {
        syslog(LOG_ERR, "%s - Failed to create flag file: %s", "_ConvertJobToRuvo", flagPath.c_str());
        return JOBS_RTN_FS_ERROR;
    }
    // For media to come. Those that are there stay in the job folder, where the job goes on looking for them.
    const std::string mediaFolder = job.DefaultMediaFolderPath();
    bool error = false;
    if (!TryFsCreateDirectory(mediaFolder, error) || error || SyncNewFolder(job.JobFolderPath(), _card.MountPoint()) ||
        SyncNewJob(mediaFolder, job.JobFolderPath(), _card.MountPoint())) {
        syslog(LOG_ERR, "ManagedDevice::_ConvertJobToRuvo - Failed to create media folder %s.", mediaFolder.c_str());
        return JOBS_RTN_FS_ERROR;
    }
    _jobs.Converted(job.Id());
    return JOBS_RTN_SUCCEEDED;
}

std::string ManagedDevice::_GetConvertedFlagPath(const std::string& path) { return JobFolder::ConvertedFlag(path); }

/// Best effort: a scan that does not come about changes nothing.
void ManagedDevice::_TriggerFileRepairScan(const std::string& deviceId, const std::vector<std::string>& folders) {
    syslog(LOG_INFO,
           "JobsManagerD::_TriggerFileRepairScan() Calling FileRepairD::FileRepair::CheckDevice for folder(s):");
    for (const std::string& folder : folders)
        syslog(LOG_INFO, "%s", folder.c_str());
    FileRepairD::fileRepairDaemonRtn_e answer = FileRepairD::REPAIR_RTN_SUCCEEDED;
    const int32_t result = FileRepairD::FileRepair::CheckDevice(deviceId, answer, folders);
    if (result < 0)
        syslog(LOG_ERR,
               "JobsManagerD::triggerFileRepairScan() - Call to FileRepairD::FileRepair::CheckDevice failed with error "
               "code %i.",
               result);
    else if (answer != FileRepairD::REPAIR_RTN_SUCCEEDED)
        syslog(LOG_ERR, "JobsManagerD::triggerFileRepairScan() - FileRepairD::FileRepair::CheckDevice returned: %s.",
               FileRepairD::ReturnCodeText(answer).c_str());
}

/// The next task on the device must not wait for the service's answer. The thread has nothing of the device's.
void ManagedDevice::_TriggerFileRepairScanAside(const std::string& deviceId, const std::vector<std::string>& folders) {
    try {
        std::thread([deviceId, folders] {
            const RunningTask running;
            _TriggerFileRepairScan(deviceId, folders);
        }).detach();
    } catch (const std::system_error&) {
        _TriggerFileRepairScan(deviceId, folders);
    }
}

} // namespace JobsManagerD
