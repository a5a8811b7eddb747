#include "device/DeviceWorker.h"

#include "device/RunningTask.h"

#include <array>
#include <mutex>
#include <syslog.h>
#include <system_error>
#include <thread>
#include <utility>

using Locks::LockGuard;

namespace JobsManagerD {
namespace {

constexpr const char* copying = "DEVICE_STATE_COPYING_[FROM|TO]";

constexpr std::array<DeviceStateTraits, 8> states{{
    {DEVICE_STATE_IDLE, "DEVICE_STATE_IDLE", false, false},
    {DEVICE_STATE_INDEXING, "DEVICE_STATE_INDEXING", false, false},
    {DEVICE_STATE_CONVERTING, "DEVICE_STATE_CONVERTING", true, false},
    {DEVICE_STATE_DELETING, "DEVICE_STATE_DELETING", true, true},
    {DEVICE_STATE_MOVING_FROM, nullptr, true, true},
    {DEVICE_STATE_MOVING_TO, nullptr, true, true},
    {DEVICE_STATE_COPYING_FROM, copying, false, true},
    {DEVICE_STATE_COPYING_TO, copying, true, true},
}};

constexpr bool AreInOrder() {
    for (size_t i = 0; i < states.size(); ++i)
        if (static_cast<size_t>(states[i].state) != i)
            return false;
    return true;
}
static_assert(AreInOrder());

} // namespace

const DeviceStateTraits& TraitsOf(deviceState_e state) { return states.at(static_cast<size_t>(state)); }

void DeviceWorker::SetState(deviceState_e state, bool clearCancel) {
    _state = state;
    if (clearCancel)
        _cancel = false;
}

bool DeviceWorker::IsFree() const {
    const LockGuard lock(_mutex);
    return _state == DEVICE_STATE_IDLE && !_next;
}

bool DeviceWorker::HasSuccessor() const {
    const LockGuard lock(_mutex);
    return static_cast<bool>(_next);
}

bool DeviceWorker::Prepare(std::shared_ptr<void> owner) {
    const LockGuard lock(_mutex);
    _isExpected = true;
    if (_hasThread)
        return true;
    try {
        std::thread([this, owner = std::move(owner), running = std::make_unique<RunningTask>()] { _Run(); }).detach();
    } catch (const std::system_error& error) {
        syslog(LOG_ERR, "DeviceWorker::Prepare - no thread to be had: %s", error.what());
        _isExpected = false;
        return false;
    }
    _hasThread = true;
    return true;
}

void DeviceWorker::Start(Task task) {
    {
        const LockGuard lock(_mutex);
        _next = std::move(task);
        _isExpected = false;
    }
    _taskCame.notify_all();
}

void DeviceWorker::WhenDone(std::function<void()> whenDone) {
    {
        const LockGuard lock(_mutex);
        if (_hasThread) {
            _whenDone.push_back(std::move(whenDone));
            return;
        }
    }
    whenDone();
}

void DeviceWorker::_Run() {
    _threadId = std::this_thread::get_id();
    while (const Task task = _NextTask())
        task();
    std::vector<std::function<void()>> whenDone;
    {
        const LockGuard lock(_mutex);
        whenDone.swap(_whenDone);
    }
    for (const std::function<void()>& call : whenDone)
        call();
}

/// Empty when the thread is to end.
DeviceWorker::Task DeviceWorker::_NextTask() {
    std::unique_lock<Locks::Mutex> lock(_mutex);
    _mutex.AssertHeld();
    _taskCame.wait(lock, [this] {
        _mutex.AssertHeld();
        return _next || !_isExpected;
    });
    _hasThread = static_cast<bool>(_next);
    return std::exchange(_next, nullptr);
}

} // namespace JobsManagerD
