#include "device/AccessorNames.h"
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
jobsDaemonRtn_e ManagedDevice::_OpenForUse(OpenedJob& opened) {
    Job& job = *opened.job;
    for (;;) {
        const jobsDaemonRtn_e result = job.IsOpen() ? JOBS_RTN_SUCCEEDED : _OpenJob(opened.job, false);
        if (result != JOBS_RTN_SUCCEEDED)
            return result;
        opened.use = std::unique_lock<Locks::Mutex>(job.DetailsLock());
        if (job.IsOpen())
            return JOBS_RTN_SUCCEEDED;
        opened.use.unlock();
    }
}

jobsDaemonRtn_e ManagedDevice::_FindOpenJob(const AccessorNames& names, const std::string& jobID, OpenedJob& opened) {
    opened.job = _FindJobOrLog(jobID, names.method);
    if (!opened.job)
        return JOBS_RTN_JOB_ID_NOT_FOUND;
    const jobsDaemonRtn_e result = _OpenForUse(opened);
    if (result != JOBS_RTN_SUCCEEDED)
        syslog(LOG_ERR, "%s%s - Failed to open job with ID: %s", names.prefix, names.method, jobID.c_str());
    return result;
}

template <typename Read>
jobsDaemonRtn_e ManagedDevice::_ReadJob(const AccessorNames& names, const std::string& jobID, Read read) {
    OpenedJob opened;
    const jobsDaemonRtn_e result = _FindOpenJob(names, jobID, opened);
    return result == JOBS_RTN_SUCCEEDED ? Run(read, *opened.job) : result;
}

template <typename Change>
jobsDaemonRtn_e ManagedDevice::_ChangeJob(const AccessorNames& names, const std::string& jobID, Change change) {
    OpenedJob opened;
    jobsDaemonRtn_e result = _FindOpenJob(names, jobID, opened);
    if (result == JOBS_RTN_SUCCEEDED)
        result = Run(change, *opened.job);
    return result == JOBS_RTN_SUCCEEDED ? _SaveChange(names, *opened.job) : result;
}

jobsDaemonRtn_e ManagedDevice::_SaveChange(const AccessorNames& names, Job& job) {
    job.SetModifiedTime(UtcTimeText());
    const jobsDaemonRtn_e result = UpdateJobFile(job, true, true);
    if (result != JOBS_RTN_SUCCEEDED)
        syslog(LOG_ERR, "%s%s - Failed to update job file", names.prefix, names.savedAs);
    return result;
}

jobsDaemonRtn_e ManagedDevice::GetMediaItem(OpenedJob& opened, const std::string& mediaID,
                                            std::shared_ptr<Media>& media) {
    const jobsDaemonRtn_e result = _OpenForUse(opened);
    if (result != JOBS_RTN_SUCCEEDED) {
        syslog(LOG_ERR, "ManagedDevice::GetMediaItem - Failed to open job with ID: %s", opened.job->Id().c_str());
        return result;
    }
    media = opened.job->GetMediaItem(mediaID);
    return media ? JOBS_RTN_SUCCEEDED : JOBS_RTN_MEDIA_ID_NOT_FOUND;
}

jobsDaemonRtn_e ManagedDevice::GetMediaItem(const std::string& jobID, const std::string& mediaID, OpenedJob& opened,
                                            std::shared_ptr<Media>& media) {
    opened.job = _FindJobOrLog(jobID, "GetMediaItem");
    return opened.job ? GetMediaItem(opened, mediaID, media) : JOBS_RTN_JOB_ID_NOT_FOUND;
}

template <typename Read>
jobsDaemonRtn_e ManagedDevice::_ReadMedia(const char* method, const std::string& jobID, const std::string& mediaID,
                                          Read read) {
    OpenedJob opened;
    std::shared_ptr<Media> media;
    const jobsDaemonRtn_e result = GetMediaItem(jobID, mediaID, opened, media);
    if (result == JOBS_RTN_SUCCEEDED)
        read(*media);
    else
        syslog(LOG_ERR, "ManagedDevice::%s - GetMediaItem returned error code: %i", method, result);
    return result;
}

jobsDaemonRtn_e ManagedDevice::_FindMediaToChange(const char* method, const std::string& jobID,
                                                  const std::string& mediaID, OpenedJob& opened,
                                                  std::shared_ptr<Media>& media) {
    opened.job = _FindJobOrLog(jobID, method);
    if (!opened.job)
        return JOBS_RTN_JOB_ID_NOT_FOUND;
    const jobsDaemonRtn_e result = GetMediaItem(opened, mediaID, media);
    if (result != JOBS_RTN_SUCCEEDED)
        syslog(LOG_ERR, "ManagedDevice::%s - GetMediaItem returned error code: %i", method, result);
    return result;
}

jobsDaemonRtn_e ManagedDevice::_SaveMediaChange(const char* method, Job& job) {
    const jobsDaemonRtn_e result = UpdateJobFile(job, true, true);
    if (result != JOBS_RTN_SUCCEEDED)
        syslog(LOG_ERR, "ManagedDevice::%s - UpdateJobFile returned error code: %i", method, result);
    return result;
}

jobsDaemonRtn_e ManagedDevice::_SetMediaText(const char* method, const std::string& jobID, const std::string& mediaID,
                                             std::string Media::*field, const std::string& text) {
    OpenedJob opened;
    std::shared_ptr<Media> media;
    const jobsDaemonRtn_e result = _FindMediaToChange(method, jobID, mediaID, opened, media);
    if (result != JOBS_RTN_SUCCEEDED)
        return result;
    (*media).*field = text;
    media->timestamp.modifiedTime = UtcTimeText();
    opened.job->SetModifiedTime(media->timestamp.modifiedTime);
    return _SaveMediaChange(method, *opened.job);
}

// Jobs ---------------------------------------------------------------------------------------------------------------

jobsDaemonRtn_e ManagedDevice::GetJobName(const std::string& jobID, std::string& name) {
    return _ReadJob("GetJobName", jobID, [&name](Job& job) { name = job.Summary().name; });
}

jobsDaemonRtn_e ManagedDevice::GetJobNotes(const std::string& jobID, std::string& notes) {
    return _ReadJob("GetJobNotes", jobID, [&notes](Job& job) { notes = job.Details().notes; });
}

jobsDaemonRtn_e ManagedDevice::GetJobPrivateNotes(const std::string& jobID, std::string& notes) {
    return _ReadJob("GetJobPrivateNotes", jobID, [&notes](Job& job) { notes = job.Details().privateNotes; });
}

jobsDaemonRtn_e ManagedDevice::GetJobUserData(const std::string& jobID, std::string& userData) {
    return _ReadJob(AccessorNames::WithoutClass("GetJobUserData"), jobID,
                    [&userData](Job& job) { userData = job.Details().userData; });
}

jobsDaemonRtn_e ManagedDevice::GetJobLocked(const std::string& jobID, bool& locked) {
    return _ReadJob("GetJobLocked", jobID, [&locked](Job& job) { locked = job.IsLocked(); });
}

jobsDaemonRtn_e ManagedDevice::GetJobAddressJSONstring(const std::string& jobID, std::string& text) {
    return _ReadJob("GetJobAddressJSONstring", jobID, [&text](Job& job) { text = job.AddressJSONstring(); });
}

jobsDaemonRtn_e ManagedDevice::GetJobCustomerJSONstring(const std::string& jobID, std::string& text) {
    return _ReadJob("GetJobCustomerJSONstring", jobID, [&text](Job& job) { text = job.CustomerJSONstring(); });
}

jobsDaemonRtn_e ManagedDevice::GetJobContactJSONstring(const std::string& jobID, uint8_t contactId, std::string& text) {
    return _ReadJob("GetJobContactJSONstring", jobID,
                    [contactId, &text](Job& job) { return job.ContactJSONstring(contactId, text); });
}

jobsDaemonRtn_e ManagedDevice::GetJobContactsJSONstring(const std::string& jobID, std::string& text) {
    return _ReadJob("GetJobContactsJSONstring", jobID, [&text](Job& job) { text = job.ContactsJSONstring(); });
}

jobsDaemonRtn_e ManagedDevice::GetJobFolderPath(const std::string& jobID, std::string& path) {
    return _ReadJob("GetJobFolderPath", jobID, [&path](Job& job) { path = job.JobFolderPath(); });
}

jobsDaemonRtn_e ManagedDevice::GetJobMediaCounts(const std::string& jobID, MediaCounts& counts) {
    return _ReadJob("GetJobMediaCounts", jobID, [&counts](Job& job) { counts = job.Summary().mediaCounts; });
}

jobsDaemonRtn_e ManagedDevice::SetJobName(const std::string& jobID, const std::string& name) {
    return _ChangeJob("SetJobName", jobID,
                      [&name](Job& job) { job.ChangeSummary([&name](JobSummary& summary) { summary.name = name; }); });
}

jobsDaemonRtn_e ManagedDevice::SetJobNotes(const std::string& jobID, const std::string& notes) {
    return _ChangeJob("SetJobNotes", jobID, [&notes](Job& job) { job.Details().notes = notes; });
}

jobsDaemonRtn_e ManagedDevice::SetJobPrivateNotes(const std::string& jobID, const std::string& notes) {
    return _ChangeJob("SetJobPrivateNotes", jobID, [&notes](Job& job) { job.Details().privateNotes = notes; });
}

jobsDaemonRtn_e ManagedDevice::SetJobUserData(const std::string& jobID, const std::string& userData) {
    return _ChangeJob(AccessorNames::WithoutClass("SetJobUserData"), jobID,
                      [&userData](Job& job) { job.Details().userData = userData; });
}

jobsDaemonRtn_e ManagedDevice::SetJobLocked(const std::string& jobID, bool locked) {
    return _ChangeJob("SetJobLocked", jobID, [locked](Job& job) {
        job.ChangeSummary([locked](JobSummary& summary) { summary.locked = locked; });
    });
}

jobsDaemonRtn_e ManagedDevice::SetJobAddressByJSONstring(const std::string& jobID, const std::string& text) {
    return _ChangeJob("SetJobAddressByJSONstring", jobID,
                      [&text](Job& job) { return job.SetAddressByJSONstring(text); });
}

jobsDaemonRtn_e ManagedDevice::ClearJobAddress(const std::string& jobID) {
    // The log has always named the setter when the save fails.
    return _ChangeJob({"ClearJobAddress", "SetJobAddressByJSONstring"}, jobID, [](Job& job) { job.ClearAddress(); });
}

jobsDaemonRtn_e ManagedDevice::SetJobCustomerByJSONstring(const std::string& jobID, const std::string& text) {
    return _ChangeJob("SetJobCustomerByJSONstring", jobID,
                      [&text](Job& job) { return job.SetCustomerByJSONstring(text); });
}

jobsDaemonRtn_e ManagedDevice::ClearJobCustomer(const std::string& jobID) {
    return _ChangeJob("ClearJobCustomer", jobID, [](Job& job) { job.ClearCustomer(); });
}

jobsDaemonRtn_e ManagedDevice::AddJobContactByJSONstring(const std::string& jobID, const std::string& text,
                                                         uint8_t& contactId) {
    return _ChangeJob("AddJobContactByJSONstring", jobID,
                      [&text, &contactId](Job& job) { return job.AddContactByJSONstring(text, contactId); });
}

jobsDaemonRtn_e ManagedDevice::UpdateJobContactByJSONstring(const std::string& jobID, const std::string& text) {
    return _ChangeJob("UpdateJobContactByJSONstring", jobID,
                      [&text](Job& job) { return job.UpdateContactByJSONstring(text); });
}

jobsDaemonRtn_e ManagedDevice::RemoveJobContact(const std::string& jobID, uint8_t contactId) {
    return _ChangeJob("RemoveJobContact", jobID, [contactId](Job& job) { return job.RemoveContact(contactId); });
}

jobsDaemonRtn_e ManagedDevice::RemoveJobContacts(const std::string& jobID) {
    return _ReadJob("RemoveJobContacts", jobID, [](Job& job) { job.Details().contacts.clear(); });
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
    return _SaveChange("SetDefaultContactByJSONstring", *current);
}

// Media --------------------------------------------------------------------------------------------------------------

jobsDaemonRtn_e ManagedDevice::GetMediaName(const std::string& jobID, const std::string& mediaID, std::string& name) {
    return _ReadMedia("GetMediaName", jobID, mediaID, [&name](const Media& media) { name = media.name; });
}

jobsDaemonRtn_e ManagedDevice::GetMediaNotes(const std::string& jobID, const std::string& mediaID, std::string& notes) {
    return _ReadMedia("GetMediaNotes", jobID, mediaID, [&notes](const Media& media) { notes = media.notes; });
}

jobsDaemonRtn_e ManagedDevice::GetMediaPrivateNotes(const std::string& jobID, const std::string& mediaID,
                                                    std::string& notes) {
    return _ReadMedia("GetMediaPrivateNotes", jobID, mediaID,
                      [&notes](const Media& media) { notes = media.privateNotes; });
}

jobsDaemonRtn_e ManagedDevice::GetMediaData(const std::string& jobID, const std::string& mediaID,
                                            std::string& userData) {
    return _ReadMedia("GetMediaData", jobID, mediaID, [&userData](const Media& media) { userData = media.userData; });
}

jobsDaemonRtn_e ManagedDevice::GetMediaIsIncludedInReport(const std::string& jobID, const std::string& mediaID,
                                                          bool& included) {
    return _ReadMedia("GetMediaIsIncludedInReport", jobID, mediaID,
                      [&included](const Media& media) { included = media.isIncludedInReport; });
}

jobsDaemonRtn_e ManagedDevice::SetMediaName(const std::string& jobID, const std::string& mediaID,
                                            const std::string& name) {
    return _SetMediaText("SetMediaName", jobID, mediaID, &Media::name, name);
}

jobsDaemonRtn_e ManagedDevice::SetMediaNotes(const std::string& jobID, const std::string& mediaID,
                                             const std::string& notes) {
    return _SetMediaText("SetMediaNotes", jobID, mediaID, &Media::notes, notes);
}

jobsDaemonRtn_e ManagedDevice::SetMediaPrivateNotes(const std::string& jobID, const std::string& mediaID,
                                                    const std::string& notes) {
    return _SetMediaText("SetMediaPrivateNotes", jobID, mediaID, &Media::privateNotes, notes);
}

jobsDaemonRtn_e ManagedDevice::SetMediaData(const std::string& jobID, const std::string& mediaID,
                                            const std::string& userData) {
    return _SetMediaText("SetMediaData", jobID, mediaID, &Media::userData, userData);
}

jobsDaemonRtn_e ManagedDevice::SetMediaIsIncludedInReport(const std::string& jobID, const std::string& mediaID,
                                                          bool included) {
    constexpr const char* method = "SetMediaIsIncludedInReport";
    OpenedJob opened;
    std::shared_ptr<Media> media;
    const jobsDaemonRtn_e result = _FindMediaToChange(method, jobID, mediaID, opened, media);
    if (result != JOBS_RTN_SUCCEEDED || media->isIncludedInReport == included)
        return result;
    media->isIncludedInReport = included;
    return _SaveMediaChange(method, *opened.job);
}

} // namespace JobsManagerD
