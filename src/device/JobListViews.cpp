#include "device/SearchRecord.h"

#include "jobs/Json.h"

#include <syslog.h>

using nlohmann::json;

namespace JobsManagerD {

std::string ManagedDevice::GetJobListStatsJSONstring() const {
    return CompactDump({{"nRuvoJobs", nRuvoJobs.load()},
                        {"nTamsyJobs", nTamsyJobs.load()},
                        {"nTamsyJobsAtReIndex", nTamsyJobsAtReIndex.load()}});
}

std::string ManagedDevice::GetSearchStatsJSONstring() const {
    const std::lock_guard lock(_searchMutex);
    return CompactDump({{"nMatches", _search->results.size()},
                        {"field", _search->field},
                        {"matchCriterion", MatchCriterionText(_search->matchCriterion)},
                        {"caseSensitive", _search->caseSensitive},
                        {"matchLimit", _search->matchLimit}});
}

jobsDaemonRtn_e ManagedDevice::GetJobSummaryJSONstring(const std::string& jobID, std::string& text) const {
    const std::shared_ptr<Job> job = _FindJobOrLog(jobID, "GetJobSummaryJSONstring");
    if (!job)
        return JOBS_RTN_JOB_ID_NOT_FOUND;
    text = job->SummaryJSONstring();
    return JOBS_RTN_SUCCEEDED;
}

jobsDaemonRtn_e ManagedDevice::GetMediaID(const std::string& filePath, std::string& mediaID) const {
    const std::shared_ptr<Job> current = _CurrentJob();
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
