#include "device/JobSettings.h"
#include "device/ManagedDevice.h"
#include "device/RunningTask.h"
#include "device/Uuid.h"
#include "fsutil/GuardedFs.h"
#include "fsutil/HiddenFiles.h"
#include "fsutil/Paths.h"
#include "fsutil/Times.h"
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

/// What a conversion has done so far.
struct ManagedDevice::Conversion {
    uint16_t converted = 0;
    std::vector<std::string> foldersToRepair;
};

jobsDaemonRtn_e ManagedDevice::ConvertDeviceJobs() {
    syslog(LOG_INFO, "ManagedDevice::ConvertDeviceJobs Start");
    if (_state != DEVICE_STATE_IDLE) {
        syslog(LOG_INFO, "ManagedDevice::ConvertDeviceJobs Cancelled - Device busy. State: %d", GetState());
        return JOBS_RTN_DEVICE_BUSY;
    }
    if (_readOnly) {
        syslog(LOG_ERR, "%s - Filesystem is read-only", "ConvertDeviceJobs");
        return JOBS_RTN_READ_ONLY_FS;
    }
    SetState(DEVICE_STATE_CONVERTING, true);
    _CloseLegacyJobs();
    _StartWorker([](ManagedDevice& device) { device._JobConversionTask(); });
    return JOBS_RTN_SUCCEEDED;
}

/// An opening whose conversion failed leaves a job of the earlier generation open. Its details are this thread's;
/// closed, the job can be the worker's.
void ManagedDevice::_CloseLegacyJobs() {
    const std::lock_guard lock(_jobListMutex);
    for (const auto& job : _jobList.Entries())
        if (job->IsOpen() && job->IsLegacy())
            job->ClearDetails();
}

std::vector<std::string> ManagedDevice::_LegacyJobIds() const {
    std::vector<std::string> ids;
    const std::lock_guard lock(_jobListMutex);
    for (const auto& job : _jobList.Entries())
        if (job->IsLegacy())
            ids.push_back(job->Id());
    return ids;
}

void ManagedDevice::_JobConversionTask() {
    using Clock = std::chrono::steady_clock;
    const auto secondsSince = [](Clock::time_point start) {
        return std::chrono::duration<double>(Clock::now() - start).count();
    };
    syslog(LOG_INFO, "%s Started Job Conversion Task", taskName);
    const std::vector<std::string> ids = _LegacyJobIds();
    const Clock::time_point start = Clock::now();
    Clock::time_point lastReport = start;
    Conversion conversion;
    uint16_t processed = 0;
    uint16_t lastReported = 0;
    for (const std::string& id : ids) {
        if (_cancel) {
            syslog(LOG_INFO, "%s *** Job Conversion cancelled...", taskName);
            break;
        }
        ++processed;
        if (!_ConvertListedJob(id, conversion))
            continue;
        if (secondsSince(lastReport) > multiJobConvertUpdatePeriod && conversion.converted != lastReported &&
            processed < ids.size()) {
            _jobListStatsChanged.Raise(*this, false);
            lastReport = Clock::now();
            lastReported = conversion.converted;
        }
    }
    if (conversion.converted != 0)
        _jobListStatsChanged.Raise(*this, true);
    const double seconds = secondsSince(start);
    if (!_cancel)
        syslog(LOG_INFO, "%s *** Job Conversion complete", taskName);
    SetState(DEVICE_STATE_IDLE, true);
    syslog(LOG_INFO, "%s", dashes);
    syslog(LOG_INFO, "Conversion of %d Tamsy jobs took %fs", conversion.converted, seconds);
    syslog(LOG_INFO, "%s", dashes);
    if (!conversion.foldersToRepair.empty())
        _TriggerFileRepairScanAside(_deviceId, conversion.foldersToRepair);
}

/// False for a job that was not there to be converted. Clients opening the same job wait for its lock.
bool ManagedDevice::_ConvertListedJob(const std::string& id, Conversion& conversion) {
    const std::shared_ptr<Job> job = _FindJobOrLog(id, taskName);
    if (!job)
        return false;
    const std::lock_guard lock(job->Lock());
    if (!job->IsLegacy()) {
        syslog(LOG_ERR, "%s. Job already converted: %s -> %s", taskName, id.c_str(), job->JobFilePath().c_str());
        return false;
    }
    if (_LoadJob(*job) != JOBS_RTN_SUCCEEDED)
        return false;
    bool artefactsFound = false;
    if (_ConvertJobToRuvo(*job, artefactsFound) != JOBS_RTN_SUCCEEDED) {
        syslog(LOG_ERR, "%s. Failed to convert Tamsy job: %s - %s", taskName, id.c_str(), job->JobFilePath().c_str());
    } else {
        ++conversion.converted;
        if (artefactsFound)
            conversion.foldersToRepair.push_back(job->JobFolderPath());
    }
    job->ClearDetails();
    return true;
}

jobsDaemonRtn_e ManagedDevice::_ConvertJobToRuvo(Job& job, bool& artefactsFound) {
    if (_readOnly) {
        syslog(LOG_ERR, "%s - Filesystem is read-only", "_ConvertJobToRuvo");
        return JOBS_RTN_READ_ONLY_FS;
    }
    const std::string oldPath = job.JobFilePath();
    job.SetJobFilePath(DirectoryPart(oldPath) + "/" + JobFileName());
    FillRequiredFields(job);
    artefactsFound = job.ConvertBrokenFileArtefacts();
    const jobsDaemonRtn_e result = UpdateJobFile(job, false, false);
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
    if (!TryFsCreateDirectory(mediaFolder, error) || error) {
        syslog(LOG_ERR, "ManagedDevice::_ConvertJobToRuvo - Failed to create media folder %s.", mediaFolder.c_str());
        return JOBS_RTN_FS_ERROR;
    }
    --nTamsyJobs;
    ++nRuvoJobs;
    return JOBS_RTN_SUCCEEDED;
}

std::string ManagedDevice::_GetConvertedFlagPath(const std::string& path) {
    const std::string name = FileName(path);
    const std::string hiddenPath = name.starts_with('.') ? path : DirectoryPart(path) + "/." + name;
    return hiddenPath + "-converted";
}

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
