#include "device/JobOrder.h"
#include "device/JsonPage.h"
#include "device/ManagedDevice.h"
#include "jobs/Json.h"

#include <syslog.h>

using nlohmann::json;

namespace JobsManagerD {
namespace {

/// Room in a message for what is told beside the field structure.
constexpr size_t largestField = largestText - 4096;

} // namespace

jobsDaemonRtn_e ManagedDevice::SearchJobs(const std::string& fieldStructure, const SearchTerm& term,
                                          uint16_t matchLimit) {
    json field;
    try {
        field = ParseJson(fieldStructure);
    } catch (const json::exception& exception) {
        syslog(LOG_ERR, "%s - Failed to parse field structure: %s\n%s", "SearchJobs", exception.what(),
               fieldStructure.c_str());
        return JOBS_RTN_INVALID_JSON;
    }
    std::string text = CompactDump(field);
    if (field.empty()) {
        syslog(LOG_ERR, "%s - Field structure does not contain a searchTerm: %s", "SearchJobs", text.c_str());
        return JOBS_RTN_MISSING_FIELDS;
    }
    if (!field.is_object() && !field.is_string()) {
        syslog(LOG_ERR, "%s - Field structure must be object or string: %s", "SearchJobs", text.c_str());
        return JOBS_RTN_MISSING_FIELDS;
    }
    if (text.size() > largestField) {
        syslog(LOG_ERR, "%s - Field structure of %zu bytes is too large to be told back", "SearchJobs", text.size());
        return JOBS_RTN_INVALID_JSON;
    }
    const auto newestFirst = [this] {
        std::vector<JobList::Entry> jobs;
        size_t size = 0;
        _jobs.Page(SORT_BY_MODIFIED_TIME, false, 0, 0, jobs, size);
        return jobs;
    };
    return _search.Start(JobSearch(field, term), {std::move(text), term, matchLimit},
                         {shared_from_this(), _card.Files(), newestFirst, [this] { _jobSearchComplete.Raise(*this); }});
}

} // namespace JobsManagerD
