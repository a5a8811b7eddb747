#include "device/ManagedDevice.h"

#include <syslog.h>

namespace JobsManagerD {
namespace {

/// How long a call waits for a job that a task is moving or deleting.
constexpr std::chrono::seconds patience{1};

} // namespace

void ManagedDevice::SetStoragePath(const std::string& path) {
    _storagePath = path;
    _writeActive.SetStoragePath(path);
}

void ManagedDevice::SetState(deviceState_e state, bool clearCancel) {
    _worker.SetState(state, clearCancel);
    if (!_hasLeft)
        _deviceStateUpdate.Raise(*this);
    // By now the next task may have begun, on another thread: the mark follows the state that holds.
    _writeActive.Follow("MultiJobAsynchronous", [this] { return TraitsOf(_worker.State()).writes; });
}

bool ManagedDevice::CheckFileSpace(uint64_t bytes) const {
    syslog(LOG_INFO, "%s", "CheckFileSpace");
    uint64_t free = 0;
    return _card.FreeBytes(free) && bytes < free;
}

void ManagedDevice::Cancel(std::function<void()> whenDone) {
    syslog(LOG_INFO, "ManagedDevice::_Cancel - Setting cancel flags.");
    _worker.Cancel();
    _card.TakeAway();
    syslog(LOG_INFO, "ManagedDevice::_Cancel - Waiting for any active threads to close.");
    _search.Stop([self = shared_from_this(), whenDone = std::move(whenDone)]() mutable {
        ManagedDevice& device = *self;
        device._worker.WhenDone([self = std::move(self), whenDone = std::move(whenDone)] {
            syslog(LOG_INFO, "ManagedDevice::Cancel - Complete.");
            self->_hasLeft = true;
            whenDone();
        });
    });
}

void ManagedDevice::CancelCMD(std::function<void()> whenDone) {
    syslog(LOG_INFO, "ManagedDevice::CancelCMD.");
    if (!TraitsOf(_worker.State()).isCancellable) {
        syslog(LOG_INFO, "ManagedDevice::CancelCMD no cancellable async activity (multi copy/move/delete) on device");
        whenDone();
        return;
    }
    syslog(LOG_INFO, "ManagedDevice::CancelCMD - Setting cancel flags.");
    _worker.Cancel();
    syslog(LOG_INFO, "ManagedDevice::CancelCMD - Waiting for any active threads to close.");
    _worker.WhenDone([whenDone = std::move(whenDone)] {
        syslog(LOG_INFO, "ManagedDevice::CancelCMD - Complete.");
        whenDone();
    });
}

jobsDaemonRtn_e ManagedDevice::_PrepareTask() {
    return _worker.Prepare(shared_from_this()) ? JOBS_RTN_SUCCEEDED : JOBS_RTN_DEVICE_BUSY;
}

std::shared_ptr<Job> ManagedDevice::_FindJobOrLog(const std::string& jobID, const char* method) const {
    std::shared_ptr<Job> job = FindJob(jobID);
    if (!job)
        syslog(LOG_ERR, "%s - No job found on device %s with ID: %s.", method, _deviceId.c_str(), jobID.c_str());
    return job;
}

ManagedDevice::JobLock ManagedDevice::_LockJob(Job& job, const char* method) const {
    JobLock lock(job.Lock(), std::defer_lock);
    if (_worker.IsThisThread())
        lock.lock();
    else if (job.Lock().TryLockFor(patience))
        lock = JobLock(job.Lock(), std::adopt_lock);
    else
        syslog(LOG_WARNING, "%s - A task is working on the job (%s).", method, job.Id().c_str());
    return lock;
}

bool ManagedDevice::_IsCopiedLogged(const std::string& jobID, const char* method) const {
    if (_worker.IsThisThread()) {
        _jobs.WaitUntilCopied(jobID);
        return false;
    }
    if (_jobs.WaitUntilCopied(jobID, patience))
        return false;
    syslog(LOG_WARNING, "%s - The job is being copied (%s).", method, jobID.c_str());
    return true;
}

} // namespace JobsManagerD
