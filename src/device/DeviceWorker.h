#pragma once

#include "codes/Mutex.h"
#include "codes/ReturnCodes.h"

#include <atomic>
#include <condition_variable>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

namespace JobsManagerD {

/// What holds while a device is in a state.
struct DeviceStateTraits {
    deviceState_e state;
    /// In the line that refuses another task. Moving has a name of its own for each caller: null.
    const char* busyName;
    /// The storage service is to hold the card as being written. Copying from a card and indexing it do not write.
    bool writes;
    /// A client may cancel it.
    bool isCancellable;
};

/// By the number of the state.
const DeviceStateTraits& TraitsOf(deviceState_e state);

/// What a device is doing, and the one thread that does it. A task that is started while another still runs begins
/// when that has ended, on the same thread, so that nobody waits for the end of a thread.
///
/// Threads: any. The state and the cancel flag are atomic; callbacks run outside the lock.
class DeviceWorker {
public:
    using Task = std::function<void()>;

    DeviceWorker() = default;
    DeviceWorker(const DeviceWorker&) = delete;
    DeviceWorker& operator=(const DeviceWorker&) = delete;

    deviceState_e State() const { return _state; }
    void SetState(deviceState_e state, bool clearCancel);
    /// Neither a state nor a task that waits for its turn.
    bool IsFree() const;
    const std::atomic<bool>& CancelFlag() const { return _cancel; }
    bool IsCancelled() const { return _cancel; }
    void Cancel() { _cancel = true; }
    /// A task waits for the end of the one that runs.
    bool HasSuccessor() const;
    /// The caller is a task.
    bool IsThisThread() const { return _threadId == std::this_thread::get_id(); }

    /// Makes sure that there is a thread for the next task, which has to follow. It keeps `owner`, in which this object
    /// lies, alive. False when the system has no thread to give.
    bool Prepare(std::shared_ptr<void> owner);
    /// Hands the task to the thread.
    void Start(Task task);
    /// Calls `whenDone` once no task runs or waits: on the thread that ran the last one, or at once.
    void WhenDone(std::function<void()> whenDone);

private:
    void _Run();
    Task _NextTask();

    std::atomic<deviceState_e> _state{DEVICE_STATE_IDLE};
    std::atomic<bool> _cancel{false};
    std::atomic<std::thread::id> _threadId;

    mutable Locks::Mutex _mutex;
    std::condition_variable_any _taskCame;
    bool _hasThread GUARDED_BY(_mutex) = false;
    /// The thread has been made for a task that is still to come.
    bool _isExpected GUARDED_BY(_mutex) = false;
    Task _next GUARDED_BY(_mutex);
    std::vector<std::function<void()>> _whenDone GUARDED_BY(_mutex);
};

} // namespace JobsManagerD
