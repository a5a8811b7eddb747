#include "device/JobSettings.h"
#include "device/ManagedDevice.h"
#include "device/Uuid.h"
#include "fsutil/GuardedFs.h"
#include "fsutil/Paths.h"
#include "fsutil/Sync.h"
#include "fsutil/Times.h"
#include "jobs/JobFolder.h"
#include "peers/PositionSource.h"
#include "peers/SettingsDaemon.h"

#include <nlohmann/json.hpp>
#include <syslog.h>

namespace JobsManagerD {
namespace {

std::string DefaultJobName() {
    if (jobNameSuffixFormat.empty())
        return defaultJobName;
    std::string format = jobNameSuffixFormat;
    const std::string suffix = GetFormattedTime(false, format);
    return defaultJobName.empty() ? suffix : defaultJobName + "_" + suffix;
}

std::shared_ptr<Job> NewJob(const std::string& jobFilePath, std::string& jobName, const std::string& utcTime) {
    auto job = std::make_shared<Job>(jobFilePath);
    JobSummary summary;
    summary.id = GenerateUuid();
    syslog(LOG_INFO, "ManagedDevice::CreateJob - Job ID: %s", summary.id.c_str());
    summary.source = GetThisUnitInfo();
    syslog(LOG_INFO, "ManagedDevice::CreateJob - Job Source: %s, %s, %s", summary.source.model.c_str(),
           summary.source.serial.c_str(), summary.source.version.c_str());
    summary.position = GetCurrentPosition();
    const std::string location =
        summary.position.IsSet() ? summary.position.latitude + ", " + summary.position.longitude : "Unknown";
    syslog(LOG_INFO, "ManagedDevice::CreateJob - Job Location: Lat, Lon: %s", location.c_str());
    if (jobName.empty()) {
        jobName = DefaultJobName();
        job->SetHasDefaultName(true);
    }
    summary.name = jobName;
    summary.version = currentJobVersion;
    summary.timestamp = {utcTime, utcTime};
    job->SetSummary(std::move(summary));
    return job;
}

/// A new job names the company as its first contact. A failure costs the contact, not the job.
void AddCompanyContact(Job& job) {
    nlohmann::json companyContact;
    const int32_t read = Settingsd::SettingsDaemonDbusHandler::GetSetting("contacts", "companyContact", companyContact);
    if (read < 0) {
        syslog(LOG_ERR,
               "%s Settingsd::SettingsDaemonDbusHandler::GetSetting failed for "
               "SETTINGS_SECTION_CONTACTS_COMPANY_CONTACT.  Return value %i",
               "CreateJob", read);
        return;
    }
    const jobRtn_e result = job.SetCompanyContactByJSONstring(companyContact, companyContactSource);
    if (result != JOB_RTN_SUCCEEDED)
        syslog(LOG_ERR, "ManagedDevice::CreateJob - SetDefaultContactByJSONstring returned error code: %i.", result);
}

/// The path of the folder that was made, or empty. Only the time text is made unique: when that fails, a name that was
/// given stands alone.
std::string NewJobFolder(const Card& card, const std::string& jobName, const std::string& localTime) {
    const std::string& mountPoint = card.MountPoint();
    std::string stem = jobName.empty() ? std::string() : jobName + "-";
    stem += GetUniqueFileStem(mountPoint, localTime, mostStemAttempts);
    if (stem.empty()) {
        syslog(LOG_ERR, "ManagedDevice::CreateJob - Failed to create unique job folder name from basis %s/%s",
               mountPoint.c_str(), localTime.c_str());
        return {};
    }
    std::string folder = mountPoint + "/" + stem;
    bool error = false;
    if (!card.IsThere() || !LiesUnder(mountPoint, folder) || !TryFsCreateDirectory(folder, error) || error) {
        syslog(LOG_ERR, "ManagedDevice::CreateJob - Failed to create job folder %s", folder.c_str());
        return {};
    }
    return folder;
}

} // namespace

/// Makes the media folder and the job file, and sees to it that they are on the medium. On failure the whole job folder
/// is removed again.
jobsDaemonRtn_e ManagedDevice::_FillJobFolder(Job& job) {
    const std::string folder = job.JobFolderPath();
    bool error = false;
    job.SetMediaFolder(JobFolder::defaultMediaFolder);
    const std::string mediaFolder = job.MediaFolderPath();
    if (!TryFsCreateDirectory(mediaFolder, error) || error) {
        syslog(LOG_ERR, "ManagedDevice::CreateJob - Failed to create media folder %s.  Removing job folder.",
               mediaFolder.c_str());
        TryFsRemoveAll(folder, error);
        return JOBS_RTN_FS_ERROR;
    }
    jobsDaemonRtn_e result = UpdateJobFile(job, false, false);
    // The card may have gone after the folder was made: then all of this lies on the unit's own disk.
    if (result == JOBS_RTN_SUCCEEDED && (SyncNewJob(mediaFolder, folder, _card.MountPoint()) || !_card.IsThere()))
        result = JOBS_RTN_FS_ERROR;
    if (result != JOBS_RTN_SUCCEEDED) {
        syslog(LOG_ERR, "ManagedDevice::CreateJob - UpdateJobFile returned error code: %i.  Removing job folder.",
               result);
        TryFsRemoveAll(folder, error);
    }
    return result;
}

jobsDaemonRtn_e ManagedDevice::CreateJob(std::string& jobName) {
    if (_readOnly)
        return JOBS_RTN_READ_ONLY_FS;
    const std::string localTime = LocalTimeText();
    const std::string utcTime = UtcTimeText();
    const std::string folder = NewJobFolder(_card, jobName, localTime);
    if (folder.empty())
        return JOBS_RTN_FS_ERROR;

    const std::string jobFilePath = JobFolder(folder).NewJobFile();
    syslog(LOG_INFO, "ManagedDevice::CreateJob - jobFilepath %s", jobFilePath.c_str());
    syslog(LOG_INFO, "ManagedDevice::CreateJob - Job timestamp : Creation: %s ; Modification: %s", utcTime.c_str(),
           utcTime.c_str());
    const std::shared_ptr<Job> job = NewJob(jobFilePath, jobName, utcTime);
    AddCompanyContact(*job);
    const jobsDaemonRtn_e result = _FillJobFolder(*job);
    if (result != JOBS_RTN_SUCCEEDED)
        return result;

    job->SetOpen(true);
    _jobs.AddCreated(job);
    _jobCreated.Raise(*this);
    return JOBS_RTN_SUCCEEDED;
}

} // namespace JobsManagerD
