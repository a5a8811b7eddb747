#pragma once

#include "codes/Mutex.h"
#include "device/JobList.h"
#include "jobfiles/JobFiles.h"
#include "search/JobSearch.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace JobsManagerD {

/// What a client asked for, as the statistics tell it back.
struct SearchRequest {
    /// The field structure, as compact JSON.
    std::string field = "null";
    /// Without its text.
    SearchTerm term;
    /// 0 means no limit.
    uint16_t matchLimit = 0;
};

/// The searches of one device: the thread that searches, the last request and what has been found for it. A search
/// that is started while another runs takes its place, on the same thread, so that nobody waits for the end of a
/// thread; of the one that gave way neither results nor completion are told.
///
/// Threads: any. Nobody waits for a search, but Start for a completion that is just being told.
class DeviceSearch {
public:
    /// What a search needs of its device.
    struct Device {
        /// Keeps alive all that stands below, and the DeviceSearch, as long as the thread runs.
        std::shared_ptr<const void> owner;
        const JobFiles& files;
        /// All jobs, in the order of the results.
        std::function<std::vector<JobList::Entry>()> newestFirst;
        /// Called on the search thread once the results are there.
        std::function<void()> tellComplete;
    };

    DeviceSearch() = default;
    DeviceSearch(const DeviceSearch&) = delete;
    DeviceSearch& operator=(const DeviceSearch&) = delete;

    /// JOBS_RTN_DEVICE_BUSY when the system has no thread to give, or after Stop; everything then stays as it was.
    jobsDaemonRtn_e Start(JobSearch search, SearchRequest request, Device device);
    /// For good. Calls `whenDone` once no search runs: on the thread that ran the last one, or at once.
    void Stop(std::function<void()> whenDone);

    // What has been found until now, as compact JSON.

    std::string StatsJSONstring() const;
    /// A page of results. `limit` becomes the number of results in it; all from `startIdx` on when it was 0.
    jobsDaemonRtn_e ResultsJSONstring(uint16_t startIdx, uint16_t& limit, std::string& text) const;

private:
    /// One search, as long as it runs or waits for its turn.
    struct Run {
        JobSearch search;
        uint16_t matchLimit;
        Device device;
        std::atomic<bool> searchCancel{false};
    };

    bool _StartThread(std::shared_ptr<const void> owner) REQUIRES(_mutex);
    void _RunAll();
    std::shared_ptr<Run> _NextRun();
    void _SearchJobsTask(Run& run);
    void _SearchAll(Run& run);
    std::optional<std::string> SearchJob(const Run& run, const Job& job) const;
    bool _AddResult(const Run& run, std::string result);

    /// Held while a completion is told, so that none is told of a search that has given way. Taken before `_mutex`, and
    /// before what sends a signal.
    Locks::Mutex _completionMutex ACQUIRED_BEFORE(_mutex);

    mutable Locks::Mutex _mutex;
    bool _hasThread GUARDED_BY(_mutex) = false;
    bool _isStopped GUARDED_BY(_mutex) = false;
    std::vector<std::function<void()>> _whenDone GUARDED_BY(_mutex);
    /// The last search until it has ended, and the same once more as long as it has not begun.
    std::shared_ptr<Run> _run GUARDED_BY(_mutex);
    std::shared_ptr<Run> _next GUARDED_BY(_mutex);
    SearchRequest _request GUARDED_BY(_mutex);
    /// Compact texts, which take far less memory than values.
    std::vector<std::string> _searchResults GUARDED_BY(_mutex);
    size_t _resultBytes GUARDED_BY(_mutex) = 0;
};

} // namespace JobsManagerD
