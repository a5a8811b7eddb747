#include "device/ManagedDevice.h"

#include "device/RunningTask.h"
#include "device/SearchRecord.h"
#include "fsutil/GuardedFs.h"
#include "jobfiles/JobFileHandlerJDB3.h"
#include "jobfiles/JobFileHandlerJSON.h"
#include "peers/StorageDaemon.h"

#include <algorithm>
#include <filesystem>
#include <sys/statvfs.h>
#include <syslog.h>

namespace JobsManagerD {
namespace {

/// Copying from a device and indexing it do not write to it.
bool WritesToDevice(deviceState_e state) {
    switch (state) {
    case DEVICE_STATE_CONVERTING:
    case DEVICE_STATE_DELETING:
    case DEVICE_STATE_MOVING_FROM:
    case DEVICE_STATE_MOVING_TO:
    case DEVICE_STATE_COPYING_TO:
        return true;
    case DEVICE_STATE_IDLE:
    case DEVICE_STATE_INDEXING:
    case DEVICE_STATE_COPYING_FROM:
        break;
    }
    return false;
}

bool IsCancellable(deviceState_e state) { return state >= DEVICE_STATE_DELETING && state <= DEVICE_STATE_COPYING_TO; }

} // namespace

ManagedDevice::ManagedDevice() : _search(std::make_unique<SearchRecord>()) {}

ManagedDevice::~ManagedDevice() {
    // A thread shares ownership, so that it can only be at its very end, or be the one that runs this.
    for (std::thread* thread : {&_workerThread, &_searchThread})
        if (thread->joinable())
            thread->detach();
}

void ManagedDevice::SetMountPoint(const std::string& path) {
    _mountPoint = path;
    _isMountPoint = IsMountPoint(path);
}

void ManagedDevice::RegisterFileHandlers() {
    _fileHandlers.push_back(std::make_shared<JobFileHandlerJSON>());
    _fileHandlers.push_back(std::make_shared<JobFileHandlerJDB3>());
}

std::shared_ptr<JobFileHandler> ManagedDevice::_FindFileHandler(const std::string& extension) const {
    for (const auto& handler : _fileHandlers)
        if (handler->GetFileExtension() == extension)
            return handler;
    return nullptr;
}

void ManagedDevice::SetState(deviceState_e state, bool clearCancel) {
    _state = state;
    if (clearCancel)
        _cancel = false;
    _deviceStateUpdate.Raise(*this);
    // By now the next task may have begun, on another thread: the mark follows the state that holds.
    const std::lock_guard lock(_writeActiveMutex);
    _MarkWriteActive("MultiJobAsynchronous", WritesToDevice(_state));
}

bool ManagedDevice::CheckFileSpace(uint64_t bytes) const {
    syslog(LOG_INFO, "%s", "CheckFileSpace");
    struct statvfs64 status {};
    if (statvfs64(_mountPoint.c_str(), &status) != 0) {
        syslog(LOG_ERR, "statvfs64 Unable to retrieve filesystem statistics for: %s", _mountPoint.c_str());
        return false;
    }
    return bytes < uint64_t{status.f_bsize} * uint64_t{status.f_bavail};
}

void ManagedDevice::_SetWriteActive(const std::string& reason, bool active) {
    const std::lock_guard lock(_writeActiveMutex);
    _MarkWriteActive(reason, active);
}

void ManagedDevice::_MarkWriteActive(const std::string& reason, bool active) {
    const auto present = std::ranges::find(_writeActiveReasons, reason);
    if (active == (present != _writeActiveReasons.end()))
        return;
    if (active) {
        if (_writeActiveReasons.empty())
            Storaged::StorageDaemonDbusHandler::SetWriteActive(_storagePath, 0, true);
        _writeActiveReasons.push_back(reason);
        return;
    }
    _writeActiveReasons.erase(present);
    if (_writeActiveReasons.empty())
        Storaged::StorageDaemonDbusHandler::SetWriteActive(_storagePath, 0, false);
}

void ManagedDevice::_JoinThread(std::thread& thread) {
    if (thread.joinable())
        thread.join();
}

void ManagedDevice::_StartWorker(std::function<void(ManagedDevice&)> task) {
    _JoinThread(_workerThread);
    _workerEnd.Began();
    _workerThread = std::thread([self = shared_from_this(), task = std::move(task)] {
        const RunningTask running;
        task(*self);
        self->_workerEnd.Ended();
    });
}

std::string ManagedDevice::GetTrashPath() const {
    return (std::filesystem::path(_mountPoint) / ".DeletedJobs").lexically_normal();
}

void ManagedDevice::_Cancel() {
    _StopThreads();
    _JoinThread(_workerThread);
    _JoinThread(_searchThread);
    syslog(LOG_INFO, "ManagedDevice::Cancel - Complete.");
}

void ManagedDevice::_StopThreads() {
    syslog(LOG_INFO, "ManagedDevice::_Cancel - Setting cancel flags.");
    _cancel = true;
    _searchCancel = true;
    syslog(LOG_INFO, "ManagedDevice::_Cancel - Waiting for any active threads to close.");
}

void ManagedDevice::Cancel(std::function<void()> whenDone) {
    _StopThreads();
    _workerEnd.WhenEnded([self = shared_from_this(), whenDone = std::move(whenDone)] {
        self->_searchEnd.WhenEnded([whenDone] {
            syslog(LOG_INFO, "ManagedDevice::Cancel - Complete.");
            whenDone();
        });
    });
}

void ManagedDevice::CancelCMD(std::function<void()> whenDone) {
    syslog(LOG_INFO, "ManagedDevice::CancelCMD.");
    if (!IsCancellable(_state)) {
        syslog(LOG_INFO, "ManagedDevice::CancelCMD no cancellable async activity (multi copy/move/delete) on device");
        whenDone();
        return;
    }
    syslog(LOG_INFO, "ManagedDevice::CancelCMD - Setting cancel flags.");
    _cancel = true;
    syslog(LOG_INFO, "ManagedDevice::CancelCMD - Waiting for any active threads to close.");
    _workerEnd.WhenEnded([whenDone = std::move(whenDone)] {
        syslog(LOG_INFO, "ManagedDevice::CancelCMD - Complete.");
        whenDone();
    });
}

std::shared_ptr<Job> ManagedDevice::_CurrentJob() const {
    const std::lock_guard lock(_currentJobMutex);
    return _currentJob;
}

void ManagedDevice::_SetCurrentJob(std::shared_ptr<Job> job) {
    const std::lock_guard lock(_currentJobMutex);
    _currentJob = std::move(job);
}

std::string ManagedDevice::GetCurrentJobID() const {
    const std::shared_ptr<Job> current = _CurrentJob();
    return current ? current->Id() : std::string();
}

bool ManagedDevice::HasCurrentJob() const { return _CurrentJob() != nullptr; }

bool ManagedDevice::IsCurrentJob(const std::string& jobID) const {
    const std::shared_ptr<Job> current = _CurrentJob();
    return current && current->Id() == jobID;
}

std::shared_ptr<Job> ManagedDevice::FindJob(const std::string& jobID) const {
    const std::lock_guard lock(_jobListMutex);
    return _jobList.Find(jobID);
}

std::shared_ptr<Job> ManagedDevice::_FindJobOrLog(const std::string& jobID, const char* method) const {
    std::shared_ptr<Job> job = FindJob(jobID);
    if (!job)
        syslog(LOG_ERR, "%s - No job found on device %s with ID: %s.", method, _deviceId.c_str(), jobID.c_str());
    return job;
}

} // namespace JobsManagerD
