#pragma once

#include "jobs/Job.h"

#include <memory>
#include <string>
#include <unordered_set>
#include <vector>

namespace JobsManagerD {

/// The jobs of a device in the order of insertion, with an index by ID. Finding, replacing and removing one among
/// 65,535 costs what it costs among ten: a removed job leaves a hole, and whoever next wants all jobs closes the
/// holes. A job with the ID of an earlier one is not taken. Not locked: the owner guards it, also for reading.
class JobList {
public:
    using Entry = std::shared_ptr<Job>;

    /// The first job with that ID, or null.
    Entry Find(const std::string& jobID) const;
    void Append(Entry job, bool countsAsLegacy);
    /// Puts a job of the same ID in the place of one in the list.
    void Replace(const Entry& present, Entry job);
    /// False when there is none.
    bool Remove(const std::string& jobID);
    /// Whether the job is counted among those of the earlier generation. False for a job that is not there.
    bool IsCountedAsLegacy(const std::string& jobID) const;
    void CountAsLegacy(const std::string& jobID, bool countsAsLegacy);
    void Clear();

    size_t Size() const { return _byId.size(); }
    const std::vector<Entry>& Entries() const;

private:
    /// A job with its number, which stays the same while others come and go.
    struct Known {
        Entry job;
        uint32_t number;
        mutable bool countsAsLegacy = false;
    };
    struct HashOfId {
        using is_transparent = void;
        size_t operator()(const std::string& id) const { return std::hash<std::string>()(id); }
        size_t operator()(const Known& known) const { return (*this)(known.job->Id()); }
    };
    struct SameId {
        using is_transparent = void;
        bool operator()(const Known& left, const Known& right) const { return left.job->Id() == right.job->Id(); }
        bool operator()(const std::string& id, const Known& known) const { return id == known.job->Id(); }
        bool operator()(const Known& known, const std::string& id) const { return id == known.job->Id(); }
    };

    Entry& _EntryOf(uint32_t number);
    void _CloseHoles() const;

    std::unordered_set<Known, HashOfId, SameId> _byId;
    uint32_t _nextNumber = 0;
    // In the order of insertion, one as long as the other: the jobs, null where one was removed, and their ascending
    // numbers.
    mutable std::vector<Entry> _jobs;
    mutable std::vector<uint32_t> _numbers;
};

} // namespace JobsManagerD
