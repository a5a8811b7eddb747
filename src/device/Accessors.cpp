#include "device/Accessors.h"

#include "fsutil/Times.h"

#include <nlohmann/json.hpp>
#include <syslog.h>
#include <type_traits>

namespace JobsManagerD {
namespace {

/// What clients get for a result of a job's own operation.
jobsDaemonRtn_e ReturnCodeOf(jobRtn_e result) {
    switch (result) {
    case JOB_RTN_INVALID_JSON:
        return JOBS_RTN_INVALID_JSON;
    case JOB_RTN_INVALID_FIELDS:
        return JOBS_RTN_JSON_INVALID_FIELDS;
    case JOB_RTN_LIST_FULL:
        return JOBS_RTN_LIST_FULL;
    case JOB_RTN_ENTRY_NOT_FOUND:
        return JOBS_RTN_ENTRY_NOT_FOUND;
    case JOB_RTN_ENTRY_EXISTS:
        return JOBS_RTN_ENTRY_EXISTS;
    default:
        return JOBS_RTN_SUCCEEDED;
    }
}

/// Runs one step on a job; a step without a result always succeeds.
template <typename Step>
jobsDaemonRtn_e Run(Step& step, Job& job) {
    if constexpr (std::is_void_v<std::invoke_result_t<Step&, Job&>>) {
        step(job);
        return JOBS_RTN_SUCCEEDED;
    } else {
        return ReturnCodeOf(step(job));
    }
}

} // namespace

// The four shapes: read a job, change a job, read a media item, change a media item. ----------------------------------

/// Opens the job when it is closed. A task may close it before it can be held; what the task does to it then decides
/// whether it can be opened again.
jobsDaemonRtn_e ManagedDevice::Accessors::_OpenForUse(Opened& opened) {
    Job& job = *opened.job;
    for (;;) {
        const jobsDaemonRtn_e result = job.IsOpen() ? JOBS_RTN_SUCCEEDED : _device._OpenJob(opened.job, false);
        if (result != JOBS_RTN_SUCCEEDED)
            return result;
        opened.use = std::unique_lock<Locks::Mutex>(job.DetailsLock());
        if (job.IsOpen())
            return JOBS_RTN_SUCCEEDED;
        opened.use.unlock();
    }
}

jobsDaemonRtn_e ManagedDevice::Accessors::OpenJob(const Names& names, const std::string& jobID, Opened& opened) {
    opened.job = _device._FindJobOrLog(jobID, names.method);
    if (!opened.job)
        return JOBS_RTN_JOB_ID_NOT_FOUND;
    const jobsDaemonRtn_e result = _OpenForUse(opened);
    if (result != JOBS_RTN_SUCCEEDED)
        syslog(LOG_ERR, "%s%s - Failed to open job with ID: %s", names.prefix, names.method, jobID.c_str());
    return result;
}

template <typename Read>
jobsDaemonRtn_e ManagedDevice::Accessors::ReadJob(const Names& names, const std::string& jobID, Read read) {
    Opened opened;
    const jobsDaemonRtn_e result = OpenJob(names, jobID, opened);
    return result == JOBS_RTN_SUCCEEDED ? Run(read, *opened.job) : result;
}

template <typename Change>
jobsDaemonRtn_e ManagedDevice::Accessors::ChangeJob(const Names& names, const std::string& jobID, Change change) {
    Opened opened;
    jobsDaemonRtn_e result = OpenJob(names, jobID, opened);
    if (result == JOBS_RTN_SUCCEEDED)
        result = Run(change, *opened.job);
    return result == JOBS_RTN_SUCCEEDED ? SaveJob(names, *opened.job) : result;
}

jobsDaemonRtn_e ManagedDevice::Accessors::SaveJob(const Names& names, Job& job) {
    job.SetModifiedTime(UtcTimeText());
    const jobsDaemonRtn_e result = _device.UpdateJobFile(job, true, true);
    if (result != JOBS_RTN_SUCCEEDED)
        syslog(LOG_ERR, "%s%s - Failed to update job file", names.prefix, names.savedAs);
    return result;
}

jobsDaemonRtn_e ManagedDevice::Accessors::_GetMediaItem(const std::string& mediaID, Opened& opened) {
    const jobsDaemonRtn_e result = _OpenForUse(opened);
    if (result != JOBS_RTN_SUCCEEDED) {
        syslog(LOG_ERR, "ManagedDevice::GetMediaItem - Failed to open job with ID: %s", opened.job->Id().c_str());
        return result;
    }
    opened.media = opened.job->GetMediaItem(mediaID);
    return opened.media ? JOBS_RTN_SUCCEEDED : JOBS_RTN_MEDIA_ID_NOT_FOUND;
}

jobsDaemonRtn_e ManagedDevice::Accessors::OpenMedia(const std::string& jobID, const std::string& mediaID,
                                                    Opened& opened) {
    opened.job = _device._FindJobOrLog(jobID, "GetMediaItem");
    return opened.job ? _GetMediaItem(mediaID, opened) : JOBS_RTN_JOB_ID_NOT_FOUND;
}

template <typename Read>
jobsDaemonRtn_e ManagedDevice::Accessors::ReadMedia(const char* method, const std::string& jobID,
                                                    const std::string& mediaID, Read read) {
    Opened opened;
    const jobsDaemonRtn_e result = OpenMedia(jobID, mediaID, opened);
    if (result == JOBS_RTN_SUCCEEDED)
        read(*opened.media);
    else
        syslog(LOG_ERR, "ManagedDevice::%s - GetMediaItem returned error code: %i", method, result);
    return result;
}

jobsDaemonRtn_e ManagedDevice::Accessors::OpenMediaToChange(const char* method, const std::string& jobID,
                                                            const std::string& mediaID, Opened& opened) {
    opened.job = _device._FindJobOrLog(jobID, method);
    if (!opened.job)
        return JOBS_RTN_JOB_ID_NOT_FOUND;
    const jobsDaemonRtn_e result = _GetMediaItem(mediaID, opened);
    if (result != JOBS_RTN_SUCCEEDED)
        syslog(LOG_ERR, "ManagedDevice::%s - GetMediaItem returned error code: %i", method, result);
    return result;
}

jobsDaemonRtn_e ManagedDevice::Accessors::SaveMedia(const char* method, Job& job) {
    const jobsDaemonRtn_e result = _device.UpdateJobFile(job, true, true);
    if (result != JOBS_RTN_SUCCEEDED)
        syslog(LOG_ERR, "ManagedDevice::%s - UpdateJobFile returned error code: %i", method, result);
    return result;
}

// Texts that are a row of their table
// ----------------------------------------------------------------------------------

jobsDaemonRtn_e ManagedDevice::GetText(const TextField<JobDetails>& field, const std::string& jobID,
                                       std::string& text) {
    return Accessors(*this).ReadJob({field.getter, field.logPrefix}, jobID,
                                    [&field, &text](const Job& job) { text = job.Details().*field.text; });
}

jobsDaemonRtn_e ManagedDevice::SetText(const TextField<JobDetails>& field, const std::string& jobID,
                                       const std::string& text) {
    return Accessors(*this).ChangeJob({field.setter, field.logPrefix}, jobID,
                                      [&field, &text](Job& job) { job.Details().*field.text = text; });
}

jobsDaemonRtn_e ManagedDevice::GetText(const TextField<Media>& field, const std::string& jobID,
                                       const std::string& mediaID, std::string& text) {
    return Accessors(*this).ReadMedia(field.getter, jobID, mediaID,
                                      [&field, &text](const Media& media) { text = media.*field.text; });
}

jobsDaemonRtn_e ManagedDevice::SetText(const TextField<Media>& field, const std::string& jobID,
                                       const std::string& mediaID, const std::string& text) {
    Accessors accessors(*this);
    Accessors::Opened opened;
    const jobsDaemonRtn_e result = accessors.OpenMediaToChange(field.setter, jobID, mediaID, opened);
    if (result != JOBS_RTN_SUCCEEDED)
        return result;
    Media& media = *opened.media;
    media.*field.text = text;
    media.timestamp.modifiedTime = UtcTimeText();
    opened.job->SetModifiedTime(media.timestamp.modifiedTime);
    return accessors.SaveMedia(field.setter, *opened.job);
}

// Other values of jobs
// -------------------------------------------------------------------------------------------------

jobsDaemonRtn_e ManagedDevice::GetJobName(const std::string& jobID, std::string& name) {
    return Accessors(*this).ReadJob("GetJobName", jobID, [&name](Job& job) { name = job.Summary().name; });
}

jobsDaemonRtn_e ManagedDevice::GetJobLocked(const std::string& jobID, bool& locked) {
    return Accessors(*this).ReadJob("GetJobLocked", jobID, [&locked](Job& job) { locked = job.IsLocked(); });
}

jobsDaemonRtn_e ManagedDevice::GetJobAddressJSONstring(const std::string& jobID, std::string& text) {
    return Accessors(*this).ReadJob("GetJobAddressJSONstring", jobID,
                                    [&text](Job& job) { text = job.AddressJSONstring(); });
}

jobsDaemonRtn_e ManagedDevice::GetJobCustomerJSONstring(const std::string& jobID, std::string& text) {
    return Accessors(*this).ReadJob("GetJobCustomerJSONstring", jobID,
                                    [&text](Job& job) { text = job.CustomerJSONstring(); });
}

jobsDaemonRtn_e ManagedDevice::GetJobContactJSONstring(const std::string& jobID, uint8_t contactId, std::string& text) {
    return Accessors(*this).ReadJob("GetJobContactJSONstring", jobID,
                                    [contactId, &text](Job& job) { return job.ContactJSONstring(contactId, text); });
}

jobsDaemonRtn_e ManagedDevice::GetJobContactsJSONstring(const std::string& jobID, std::string& text) {
    return Accessors(*this).ReadJob("GetJobContactsJSONstring", jobID,
                                    [&text](Job& job) { text = job.ContactsJSONstring(); });
}

jobsDaemonRtn_e ManagedDevice::GetJobFolderPath(const std::string& jobID, std::string& path) {
    return Accessors(*this).ReadJob("GetJobFolderPath", jobID, [&path](Job& job) { path = job.JobFolderPath(); });
}

jobsDaemonRtn_e ManagedDevice::GetJobMediaCounts(const std::string& jobID, MediaCounts& counts) {
    return Accessors(*this).ReadJob("GetJobMediaCounts", jobID,
                                    [&counts](Job& job) { counts = job.Summary().mediaCounts; });
}

jobsDaemonRtn_e ManagedDevice::SetJobName(const std::string& jobID, const std::string& name) {
    return Accessors(*this).ChangeJob("SetJobName", jobID, [&name](Job& job) {
        job.ChangeSummary([&name](JobSummary& summary) { summary.name = name; });
    });
}

jobsDaemonRtn_e ManagedDevice::SetJobLocked(const std::string& jobID, bool locked) {
    return Accessors(*this).ChangeJob("SetJobLocked", jobID, [locked](Job& job) {
        job.ChangeSummary([locked](JobSummary& summary) { summary.locked = locked; });
    });
}

jobsDaemonRtn_e ManagedDevice::SetJobAddressByJSONstring(const std::string& jobID, const std::string& text) {
    return Accessors(*this).ChangeJob("SetJobAddressByJSONstring", jobID,
                                      [&text](Job& job) { return job.SetAddressByJSONstring(text); });
}

jobsDaemonRtn_e ManagedDevice::ClearJobAddress(const std::string& jobID) {
    // The log has always named the setter when the save fails.
    return Accessors(*this).ChangeJob({"ClearJobAddress", "SetJobAddressByJSONstring"}, jobID,
                                      [](Job& job) { job.ClearAddress(); });
}

jobsDaemonRtn_e ManagedDevice::SetJobCustomerByJSONstring(const std::string& jobID, const std::string& text) {
    return Accessors(*this).ChangeJob("SetJobCustomerByJSONstring", jobID,
                                      [&text](Job& job) { return job.SetCustomerByJSONstring(text); });
}

jobsDaemonRtn_e ManagedDevice::ClearJobCustomer(const std::string& jobID) {
    return Accessors(*this).ChangeJob("ClearJobCustomer", jobID, [](Job& job) { job.ClearCustomer(); });
}

jobsDaemonRtn_e ManagedDevice::AddJobContactByJSONstring(const std::string& jobID, const std::string& text,
                                                         uint8_t& contactId) {
    return Accessors(*this).ChangeJob("AddJobContactByJSONstring", jobID, [&text, &contactId](Job& job) {
        return job.AddContactByJSONstring(text, contactId);
    });
}

jobsDaemonRtn_e ManagedDevice::UpdateJobContactByJSONstring(const std::string& jobID, const std::string& text) {
    return Accessors(*this).ChangeJob("UpdateJobContactByJSONstring", jobID,
                                      [&text](Job& job) { return job.UpdateContactByJSONstring(text); });
}

jobsDaemonRtn_e ManagedDevice::RemoveJobContact(const std::string& jobID, uint8_t contactId) {
    return Accessors(*this).ChangeJob("RemoveJobContact", jobID,
                                      [contactId](Job& job) { return job.RemoveContact(contactId); });
}

jobsDaemonRtn_e ManagedDevice::RemoveJobContacts(const std::string& jobID) {
    return Accessors(*this).ReadJob("RemoveJobContacts", jobID, [](Job& job) { job.Details().contacts.clear(); });
}

jobsDaemonRtn_e ManagedDevice::SetDefaultContactByJSONstring(const nlohmann::json& json, uint32_t contactSource) {
    const std::shared_ptr<Job> current = _jobs.Current();
    if (!current)
        return JOBS_RTN_SUCCEEDED;
    const Locks::LockGuard use(current->DetailsLock());
    // A list that is full or holds the same contact already is saved as it is.
    const jobRtn_e result = current->SetCompanyContactByJSONstring(json, contactSource);
    if (result == JOB_RTN_INVALID_FIELDS || result == JOB_RTN_ENTRY_NOT_FOUND)
        return ReturnCodeOf(result);
    return Accessors(*this).SaveJob("SetDefaultContactByJSONstring", *current);
}

// Other values of media
// ------------------------------------------------------------------------------------------------

jobsDaemonRtn_e ManagedDevice::GetMediaIsIncludedInReport(const std::string& jobID, const std::string& mediaID,
                                                          bool& included) {
    return Accessors(*this).ReadMedia("GetMediaIsIncludedInReport", jobID, mediaID,
                                      [&included](const Media& media) { included = media.isIncludedInReport; });
}

jobsDaemonRtn_e ManagedDevice::SetMediaIsIncludedInReport(const std::string& jobID, const std::string& mediaID,
                                                          bool included) {
    constexpr const char* method = "SetMediaIsIncludedInReport";
    Accessors accessors(*this);
    Accessors::Opened opened;
    const jobsDaemonRtn_e result = accessors.OpenMediaToChange(method, jobID, mediaID, opened);
    if (result != JOBS_RTN_SUCCEEDED || opened.media->isIncludedInReport == included)
        return result;
    opened.media->isIncludedInReport = included;
    return accessors.SaveMedia(method, *opened.job);
}

} // namespace JobsManagerD
