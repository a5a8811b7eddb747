#include "daemon/Handlers.h"

#include <syslog.h>

namespace JobsManagerD::Handlers {
namespace {

CodeAndText Stats(JobsManagerDaemon& daemon, const char* method, const Text& dev,
                  std::string (ManagedDevice::*getStats)() const) {
    syslog(LOG_DEBUG, "%s - Device %s", method, (dev.empty() ? daemon.TargetDeviceID() : dev).c_str());
    return CodeAnd<Text>([&](Text& text) {
        return OnDevice(daemon, dev, [&](ManagedDevice& device) {
            text = (device.*getStats)();
            return JOBS_RTN_SUCCEEDED;
        });
    });
}

} // namespace

CodeAndText GetJobList(JobsManagerDaemon& daemon, const Text& dev, uint8_t criterion, uint8_t order, uint16_t startIdx,
                       uint16_t limit) {
    return CodeAnd<Text>([&](Text& text) {
        return OnDevice(daemon, dev, [&](ManagedDevice& device) {
            return device.GetJobListSummariesJSONstring(criterion, order, startIdx, limit, text);
        });
    });
}

int32_t SearchJobs(JobsManagerDaemon& daemon, const Text& dev, const Text& fieldStructure, uint8_t criterion,
                   uint16_t matchLimit, bool isCaseSensitive) {
    const SearchTerm term{static_cast<matchCriterion_e>(criterion), Text(), isCaseSensitive};
    return OnDevice(daemon, dev,
                    [&](ManagedDevice& device) { return device.SearchJobs(fieldStructure, term, matchLimit); });
}

CodeAndText GetSearchResults(JobsManagerDaemon& daemon, const Text& dev, uint16_t startIdx, uint16_t limit) {
    return CodeAnd<Text>([&](Text& text) {
        return OnDevice(daemon, dev, [&](ManagedDevice& device) {
            return device.GetSearchResultsJSONstring(startIdx, limit, text);
        });
    });
}

CodeAndText GetJobListStats(JobsManagerDaemon& daemon, const Text& dev) {
    return Stats(daemon, "GetJobListStats", dev, &ManagedDevice::GetJobListStatsJSONstring);
}

CodeAndText GetSearchStats(JobsManagerDaemon& daemon, const Text& dev) {
    return Stats(daemon, "GetSearchStats", dev, &ManagedDevice::GetSearchStatsJSONstring);
}

} // namespace JobsManagerD::Handlers
