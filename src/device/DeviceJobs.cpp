#include "device/DeviceJobs.h"

#include "device/JobOrder.h"

#include <algorithm>
#include <mutex>
#include <utility>

using Locks::LockGuard;

namespace JobsManagerD {

DeviceJobs::Reading::Reading(DeviceJobs& jobs) : _jobs(jobs) {
    const LockGuard lock(_jobs._jobListMutex);
    ++_jobs._readings;
}

DeviceJobs::Reading::~Reading() {
    const LockGuard lock(_jobs._jobListMutex);
    if (--_jobs._readings == 0)
        _jobs._lastChanges.clear();
}

uint64_t DeviceJobs::Reading::Now() const {
    const LockGuard lock(_jobs._jobListMutex);
    return _jobs._changes;
}

bool DeviceJobs::Reading::IsOutOfDate(const std::string& jobID, uint64_t readAt) const {
    const LockGuard lock(_jobs._jobListMutex);
    return _jobs._IsOutOfDate(jobID, readAt);
}

DeviceJobs::CopyMark::CopyMark(DeviceJobs& jobs, std::string jobID) : _jobs(&jobs), _jobID(std::move(jobID)) {
    const LockGuard lock(_jobs->_jobListMutex);
    ++_jobs->_copies[_jobID];
}

DeviceJobs::CopyMark::CopyMark(CopyMark&& other) noexcept { *this = std::move(other); }

DeviceJobs::CopyMark& DeviceJobs::CopyMark::operator=(CopyMark&& other) noexcept {
    std::swap(_jobs, other._jobs);
    std::swap(_jobID, other._jobID);
    return *this;
}

DeviceJobs::CopyMark::~CopyMark() {
    if (!_jobs)
        return;
    {
        const LockGuard lock(_jobs->_jobListMutex);
        const auto mark = _jobs->_copies.find(_jobID);
        if (--mark->second == 0)
            _jobs->_copies.erase(mark);
    }
    _jobs->_copyEnded.notify_all();
}

DeviceJobs::Entry DeviceJobs::Find(const std::string& jobID) const {
    const LockGuard lock(_jobListMutex);
    return _jobList.Find(jobID);
}

DeviceJobs::Entry DeviceJobs::Current() const {
    const LockGuard lock(_jobListMutex);
    return _currentJob;
}

std::string DeviceJobs::CurrentID() const {
    const LockGuard lock(_jobListMutex);
    return _currentJob ? _currentJob->Id() : std::string();
}

bool DeviceJobs::IsCurrent(const std::string& jobID) const {
    const LockGuard lock(_jobListMutex);
    return _IsCurrent(jobID);
}

DeviceJobs::Counts DeviceJobs::Counters() const {
    const LockGuard lock(_jobListMutex);
    return _counts;
}

size_t DeviceJobs::Size() const {
    const LockGuard lock(_jobListMutex);
    return _jobList.Size();
}

std::vector<DeviceJobs::Entry> DeviceJobs::All() const {
    const LockGuard lock(_jobListMutex);
    return _jobList.Entries();
}

DeviceJobs::Entry DeviceJobs::FindOpenInBackground() const {
    const LockGuard lock(_jobListMutex);
    const std::vector<Entry>& jobs = _jobList.Entries();
    const auto found = std::ranges::find_if(jobs, [this](const Entry& job) {
        _jobListMutex.AssertHeld();
        return job->IsOpen() && !_IsCurrent(job->Id());
    });
    return found == jobs.end() ? nullptr : *found;
}

bool DeviceJobs::Page(uint8_t criterion, bool ascending, size_t start, size_t count, std::vector<Entry>& page,
                      size_t& size) const {
    const LockGuard lock(_jobListMutex);
    size = _jobList.Size();
    if (start != 0 && start >= size)
        return false;
    const size_t rest = size - start;
    page = SortedPage(_jobList.Entries(), criterion, ascending, start, count == 0 ? rest : std::min(count, rest));
    return true;
}

void DeviceJobs::AddCreated(const Entry& job) {
    const LockGuard lock(_jobListMutex);
    // An index run may have met its folder before the job was ready.
    if (const Entry listed = _jobList.Find(job->Id())) {
        _jobList.Replace(listed, job);
    } else {
        _jobList.Append(job, false);
        ++_counts.nRuvoJobs;
    }
    _currentJob = job;
    _Changed(job->Id());
}

void DeviceJobs::MakeCurrent(const Entry& job) {
    const LockGuard lock(_jobListMutex);
    _currentJob = job;
}

bool DeviceJobs::EndCurrent(const std::string& jobID) {
    const LockGuard lock(_jobListMutex);
    if (!_IsCurrent(jobID))
        return false;
    _currentJob = nullptr;
    return true;
}

void DeviceJobs::Forget(const std::string& jobID) {
    const LockGuard lock(_jobListMutex);
    const bool wasLegacy = _jobList.IsCountedAsLegacy(jobID);
    if (_jobList.Remove(jobID))
        --(wasLegacy ? _counts.nTamsyJobs : _counts.nRuvoJobs);
    _Changed(jobID);
}

void DeviceJobs::Converted(const std::string& jobID) {
    const LockGuard lock(_jobListMutex);
    if (_jobList.IsCountedAsLegacy(jobID)) {
        _jobList.CountAsLegacy(jobID, false);
        --_counts.nTamsyJobs;
        ++_counts.nRuvoJobs;
    }
    _Changed(jobID);
}

void DeviceJobs::Changed(const std::string& jobID) {
    const LockGuard lock(_jobListMutex);
    _Changed(jobID);
}

void DeviceJobs::Clear() {
    const LockGuard lock(_jobListMutex);
    _jobList.Clear();
    _counts = {};
    if (!_currentJob)
        return;
    _jobList.Append(_currentJob, false);
    _counts.nRuvoJobs = 1;
}

DeviceJobs::Taken DeviceJobs::TakeFound(const Entry& found, const Reading&, uint64_t readAt) {
    const std::string jobID = found->Id();
    const LockGuard lock(_jobListMutex);
    const bool isOutOfDate = _IsOutOfDate(jobID, readAt);
    if (const Entry listed = _jobList.Find(jobID)) {
        if (_IsCurrent(jobID))
            return Taken::kept;
        if (!isOutOfDate)
            listed->SetSyncStatus(found->IsSynced());
        if (isOutOfDate || listed->IsOpen())
            return Taken::kept;
        listed->TakeOver(*found);
        return Taken::refreshed;
    }
    if (isOutOfDate)
        return Taken::outOfDate;
    if (_IsCurrent(jobID))
        _currentJob->SetSyncStatus(found->IsSynced());
    const bool isLegacy = found->IsLegacy();
    _jobList.Append(_IsCurrent(jobID) ? _currentJob : found, isLegacy);
    if (isLegacy) {
        ++_counts.nTamsyJobs;
        ++_counts.nTamsyJobsAtReIndex;
    } else {
        ++_counts.nRuvoJobs;
    }
    return Taken::listed;
}

bool DeviceJobs::WaitUntilCopied(const std::string& jobID, std::chrono::milliseconds patience) const {
    std::unique_lock<Locks::Mutex> lock(_jobListMutex);
    return _copyEnded.wait_for(lock, patience, [this, &jobID] {
        _jobListMutex.AssertHeld();
        return !_copies.contains(jobID);
    });
}

void DeviceJobs::WaitUntilCopied(const std::string& jobID) const {
    while (!WaitUntilCopied(jobID, std::chrono::hours(1))) {
    }
}

bool DeviceJobs::_IsOutOfDate(const std::string& jobID, uint64_t readAt) const {
    const auto change = _lastChanges.find(jobID);
    return change != _lastChanges.end() && change->second > readAt;
}

void DeviceJobs::_Changed(const std::string& jobID) {
    ++_changes;
    if (_readings > 0)
        _lastChanges[jobID] = _changes;
}

bool DeviceJobs::_IsCurrent(const std::string& jobID) const { return _currentJob && _currentJob->Id() == jobID; }

} // namespace JobsManagerD
