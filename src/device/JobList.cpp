#include "device/JobList.h"

#include <algorithm>

namespace JobsManagerD {

JobList::Entry JobList::Find(const std::string& jobID) const {
    const auto found = _byId.find(jobID);
    return found == _byId.end() ? nullptr : found->job;
}

void JobList::Append(Entry job, bool countsAsLegacy) {
    // A list that nobody reads must not grow by its holes.
    if (_jobs.size() > 2 * _byId.size())
        _CloseHoles();
    if (!_byId.insert({job, _nextNumber, countsAsLegacy}).second)
        return;
    _jobs.push_back(std::move(job));
    _numbers.push_back(_nextNumber++);
}

void JobList::Replace(const Entry& present, Entry job) {
    const auto found = _byId.find(present->Id());
    if (found == _byId.end())
        return;
    Known known = *found;
    _byId.erase(found);
    _EntryOf(known.number) = job;
    known.job = std::move(job);
    _byId.insert(std::move(known));
}

bool JobList::Remove(const std::string& jobID) {
    const auto found = _byId.find(jobID);
    if (found == _byId.end())
        return false;
    _EntryOf(found->number) = nullptr;
    _byId.erase(found);
    return true;
}

bool JobList::IsCountedAsLegacy(const std::string& jobID) const {
    const auto found = _byId.find(jobID);
    return found != _byId.end() && found->countsAsLegacy;
}

void JobList::CountAsLegacy(const std::string& jobID, bool countsAsLegacy) {
    if (const auto found = _byId.find(jobID); found != _byId.end())
        found->countsAsLegacy = countsAsLegacy;
}

void JobList::Clear() {
    _byId.clear();
    _jobs.clear();
    _numbers.clear();
    _nextNumber = 0;
}

const std::vector<JobList::Entry>& JobList::Entries() const {
    if (_jobs.size() != _byId.size())
        _CloseHoles();
    return _jobs;
}

JobList::Entry& JobList::_EntryOf(uint32_t number) {
    return _jobs[static_cast<size_t>(std::ranges::lower_bound(_numbers, number) - _numbers.begin())];
}

void JobList::_CloseHoles() const {
    size_t kept = 0;
    for (size_t i = 0; i < _jobs.size(); ++i) {
        if (!_jobs[i])
            continue;
        if (kept != i) {
            _jobs[kept] = std::move(_jobs[i]);
            _numbers[kept] = _numbers[i];
        }
        ++kept;
    }
    _jobs.resize(kept);
    _numbers.resize(kept);
}

} // namespace JobsManagerD
