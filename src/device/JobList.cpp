#include "device/JobList.h"

#include <algorithm>

namespace JobsManagerD {

JobList::Entry JobList::Find(const std::string& jobID) const {
    const auto found = _byId.find(jobID);
    return found == _byId.end() ? nullptr : *found;
}

void JobList::Append(Entry job) {
    _byId.insert(job);
    _jobs.push_back(std::move(job));
}

void JobList::Replace(const Entry& present, Entry job) {
    const auto place = std::ranges::find(_jobs, present);
    if (place == _jobs.end())
        return;
    _byId.erase(present);
    _byId.insert(job);
    *place = std::move(job);
}

void JobList::Clear() {
    _byId.clear();
    _jobs.clear();
}

} // namespace JobsManagerD
