#pragma once

#include "codes/Mutex.h"
#include "device/JobList.h"

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

namespace JobsManagerD {

/// The jobs of one device: the list with its index, the counters, the current job, which jobs are being copied, and
/// what has changed while somebody was reading jobs from the card. Each verb leads from one consistent state to the
/// next. A job has one object for as long as it is listed or current.
///
/// Threads: any. `_jobListMutex` guards everything here; no verb blocks on anything else, but for `WaitUntilCopied`.
class DeviceJobs {
public:
    using Entry = std::shared_ptr<Job>;

    struct Counts {
        uint16_t nRuvoJobs = 0;
        uint16_t nTamsyJobs = 0;
        /// Legacy jobs that the last index run saw; conversion does not reduce it.
        uint16_t nTamsyJobsAtReIndex = 0;
    };

    /// Somebody reads job files that clients may change at the same time. While one of these lives, changes are
    /// remembered, so that what was read before them is recognised as out of date.
    class Reading {
    public:
        explicit Reading(DeviceJobs& jobs);
        Reading(const Reading&) = delete;
        Reading& operator=(const Reading&) = delete;
        ~Reading();

        /// To be asked before a job is read, and given back with what was read.
        uint64_t Now() const;
        /// True when the job has changed since then.
        bool IsOutOfDate(const std::string& jobID, uint64_t readAt) const;

    private:
        DeviceJobs& _jobs;
    };

    /// A job that stays in its place on the card as long as this lives: it is being copied.
    class CopyMark {
    public:
        CopyMark() = default;
        CopyMark(DeviceJobs& jobs, std::string jobID);
        CopyMark(CopyMark&& other) noexcept;
        CopyMark& operator=(CopyMark&& other) noexcept;
        ~CopyMark();

    private:
        DeviceJobs* _jobs = nullptr;
        std::string _jobID;
    };

    // Queries. Null or empty when there is none.

    Entry Find(const std::string& jobID) const;
    Entry Current() const;
    std::string CurrentID() const;
    bool IsCurrent(const std::string& jobID) const;
    Counts Counters() const;
    size_t Size() const;
    /// In the order of the list.
    std::vector<Entry> All() const;
    /// The first open job that is not the current one.
    Entry FindOpenInBackground() const;
    /// The jobs at `start` to `start + count` in the order that `SortedPage` gives them. `count` 0 means all from
    /// `start` on. False when `start` lies behind the end; `size` is the number of jobs in any case.
    bool Page(uint8_t criterion, bool ascending, size_t start, size_t count, std::vector<Entry>& page,
              size_t& size) const;

    // Verbs

    /// A new job: listed, counted and current.
    void AddCreated(const Entry& job);
    void MakeCurrent(const Entry& job);
    /// False when it was not the current job.
    bool EndCurrent(const std::string& jobID);
    /// The job has left the card.
    void Forget(const std::string& jobID);
    /// The job has got its job file: it counts as one of the present generation from now on.
    void Converted(const std::string& jobID);
    /// The job differs from what was read from the card before.
    void Changed(const std::string& jobID);

    /// For an index run: all jobs but the current one leave the list. The current one counts as one of the present
    /// generation, since opening has converted it.
    void Clear();

    enum class Taken {
        listed,    ///< new in the list
        refreshed, ///< the job that was listed has taken over what was read
        kept,      ///< what is in memory is newer, or in use
        outOfDate, ///< not taken: read the folder again
    };
    /// Takes a job that was read from the card at `readAt`; null when it was not read beside clients.
    Taken TakeFound(const Entry& found, const Reading& reading, uint64_t readAt);

    /// False when the job is still being copied after that time.
    bool WaitUntilCopied(const std::string& jobID, std::chrono::milliseconds patience) const;
    void WaitUntilCopied(const std::string& jobID) const;

private:
    bool _IsOutOfDate(const std::string& jobID, uint64_t readAt) const REQUIRES(_jobListMutex);
    void _Changed(const std::string& jobID) REQUIRES(_jobListMutex);
    bool _IsCurrent(const std::string& jobID) const REQUIRES(_jobListMutex);

    mutable Locks::Mutex _jobListMutex;
    JobList _jobList GUARDED_BY(_jobListMutex);
    Entry _currentJob GUARDED_BY(_jobListMutex);
    Counts _counts GUARDED_BY(_jobListMutex);

    /// Numbers the changes.
    uint64_t _changes GUARDED_BY(_jobListMutex) = 0;
    int _readings GUARDED_BY(_jobListMutex) = 0;
    /// The last change of each job, while somebody reads.
    std::unordered_map<std::string, uint64_t> _lastChanges GUARDED_BY(_jobListMutex);

    std::unordered_map<std::string, int> _copies GUARDED_BY(_jobListMutex);
    mutable std::condition_variable_any _copyEnded;
};

} // namespace JobsManagerD
