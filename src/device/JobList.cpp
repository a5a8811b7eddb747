#include "device/JobList.h"

namespace JobsManagerD {

JobList::Entry JobList::Find(const std::string& jobID) const {
    const auto found = _places.find(jobID);
    return found == _places.end() ? nullptr : _jobs[found->second];
}

void JobList::Append(Entry job) {
    _places.try_emplace(job->Id(), _jobs.size());
    _jobs.push_back(std::move(job));
}

} // namespace JobsManagerD
