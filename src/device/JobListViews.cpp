#include "device/Accessors.h"
#include "device/JsonPage.h"
#include "fsutil/Paths.h"
#include "jobs/JsonText.h"

#include <syslog.h>

namespace JobsManagerD {
namespace {

/// Where the file server shows a job: the storage service's ID of the card, and the name of the job's folder.
std::string JobUrl(const ManagedDevice& device, const Job& job) {
    return FileName(device.GetStoragePath()) + "/" + FileName(job.JobFolderPath());
}

void WriteMediaPlaces(const ManagedDevice& device, const Job& job, JsonText& text) {
    const std::string& folder = job.Details().mediaFolder;
    const std::string url = JobUrl(device, job);
    text.Member("mediaFolderPath", job.MediaFolderPath());
    text.Member("mediaUrl", folder.empty() ? url : url + "/" + folder);
}

/// The object whose members `write` writes.
template <typename WriteMembers>
std::string ObjectText(WriteMembers write) {
    JsonText text;
    text.BeginObject();
    write(text);
    text.EndObject();
    return text.Take();
}

} // namespace

std::string ManagedDevice::GetJobListStatsJSONstring() const {
    const DeviceJobs::Counts counts = _jobs.Counters();
    return ObjectText([&counts](JsonText& text) {
        text.Member("nRuvoJobs", counts.nRuvoJobs);
        text.Member("nTamsyJobs", counts.nTamsyJobs);
        text.Member("nTamsyJobsAtReIndex", counts.nTamsyJobsAtReIndex);
    });
}

std::string ManagedDevice::GetSearchStatsJSONstring() const { return _search.StatsJSONstring(); }

jobsDaemonRtn_e ManagedDevice::GetJobListSummariesJSONstring(uint8_t criterion, uint8_t order, uint16_t startIdx,
                                                             uint16_t& limit, std::string& text) const {
    std::vector<DeviceJobs::Entry> page;
    size_t size = 0;
    if (!_jobs.Page(criterion, order != 0, startIdx, limit, page, size)) {
        syslog(LOG_ERR, "%s startIdx %u out of range - jobList has %u entries", "GetJobListSummariesJSONstring",
               startIdx, static_cast<unsigned>(size));
        return JOBS_RTN_INVALID_RANGE;
    }
    limit = static_cast<uint16_t>(page.size());
    return JoinPage(
        page, [](const JobList::Entry& job) { return job->SummaryJSONstring(); }, text);
}

jobsDaemonRtn_e ManagedDevice::GetSearchResultsJSONstring(uint16_t startIdx, uint16_t& limit, std::string& text) const {
    return _search.ResultsJSONstring(startIdx, limit, text);
}

jobsDaemonRtn_e ManagedDevice::GetJobJSONstring(const std::string& jobID, std::string& text) {
    Accessors::Opened opened;
    const jobsDaemonRtn_e result = Accessors(*this).OpenJob("GetJobJSONstring", jobID, opened);
    if (result != JOBS_RTN_SUCCEEDED)
        return result;
    text = ObjectText([this, &job = *opened.job](JsonText& object) {
        job.WriteMembers(object, JSON_MODE_CLIENT);
        object.Member("jobFolderPath", job.JobFolderPath());
        object.Member("jobUrl", JobUrl(*this, job));
        WriteMediaPlaces(*this, job, object);
    });
    return JOBS_RTN_SUCCEEDED;
}

jobsDaemonRtn_e ManagedDevice::GetMediaItemJSONstring(const std::string& jobID, const std::string& mediaID,
                                                      std::string& text) {
    Accessors::Opened opened;
    const jobsDaemonRtn_e result = Accessors(*this).OpenMedia(jobID, mediaID, opened);
    if (result != JOBS_RTN_SUCCEEDED)
        return result;
    text = ObjectText([this, &job = *opened.job, &media = *opened.media](JsonText& object) {
        WriteMembers(object, media, JSON_MODE_CLIENT);
        WriteMediaPlaces(*this, job, object);
    });
    return JOBS_RTN_SUCCEEDED;
}

jobsDaemonRtn_e ManagedDevice::GetJobSummaryJSONstring(const std::string& jobID, std::string& text) const {
    const std::shared_ptr<Job> job = _FindJobOrLog(jobID, "GetJobSummaryJSONstring");
    if (!job)
        return JOBS_RTN_JOB_ID_NOT_FOUND;
    text = job->SummaryJSONstring();
    return JOBS_RTN_SUCCEEDED;
}

jobsDaemonRtn_e ManagedDevice::GetMediaID(const std::string& filePath, std::string& mediaID) const {
    const std::shared_ptr<Job> current = _jobs.Current();
    if (!current) {
        syslog(LOG_ERR, "ManagedDevice::GetMediaID No current job");
        return JOBS_RTN_NO_CURRENT_JOB;
    }
    switch (current->GetMediaIdOfFile(filePath, mediaID)) {
    case JOB_RTN_SUCCEEDED:
        return JOBS_RTN_SUCCEEDED;
    case JOB_RTN_NOT_FOUND:
        return JOBS_RTN_MEDIA_ID_NOT_FOUND;
    default:
        return JOBS_RTN_FS_ERROR;
    }
}

} // namespace JobsManagerD
