#pragma once

#include "jobs/Job.h"

#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

namespace JobsManagerD {

/// The jobs of a device in the order of insertion, with an index by ID, so that finding one among 65,535 costs what
/// finding one among ten does. Not locked: the owner guards it.
class JobList {
public:
    using Entry = std::shared_ptr<Job>;

    /// The first job with that ID, or null.
    Entry Find(const std::string& jobID) const;
    void Append(Entry job);

    size_t Size() const { return _jobs.size(); }
    auto begin() const { return _jobs.begin(); }
    auto end() const { return _jobs.end(); }

private:
    std::vector<Entry> _jobs;
    /// Place of the first job of each ID.
    std::unordered_map<std::string, size_t> _places;
};

} // namespace JobsManagerD
