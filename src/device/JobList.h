#pragma once

#include "jobs/Job.h"

#include <memory>
#include <string>
#include <unordered_set>
#include <vector>

namespace JobsManagerD {

/// The jobs of a device in the order of insertion, with an index by ID, so that finding one among 65,535 costs what
/// finding one among ten does. Of two equal IDs the earlier job is found. Not locked: the owner guards it.
class JobList {
public:
    using Entry = std::shared_ptr<Job>;

    /// The first job with that ID, or null.
    Entry Find(const std::string& jobID) const;
    void Append(Entry job);
    /// Puts a job of the same ID in the place of one in the list.
    void Replace(const Entry& present, Entry job);
    void Clear();

    size_t Size() const { return _jobs.size(); }
    const std::vector<Entry>& Entries() const { return _jobs; }
    auto begin() const { return _jobs.begin(); }
    auto end() const { return _jobs.end(); }

private:
    struct HashOfId {
        using is_transparent = void;
        size_t operator()(const std::string& id) const { return std::hash<std::string>()(id); }
        size_t operator()(const Entry& job) const { return (*this)(job->Id()); }
    };
    struct SameId {
        using is_transparent = void;
        bool operator()(const Entry& left, const Entry& right) const { return left->Id() == right->Id(); }
        bool operator()(const std::string& id, const Entry& job) const { return id == job->Id(); }
        bool operator()(const Entry& job, const std::string& id) const { return id == job->Id(); }
    };

    std::vector<Entry> _jobs;
    std::unordered_set<Entry, HashOfId, SameId> _byId;
};

} // namespace JobsManagerD
