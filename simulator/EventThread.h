#pragma once

#include "simulator/Handles.h"

#include <deque>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <thread>

namespace Simulator {

/// A thread with an event loop of its own. Everything that lives on the loop is only touched by work that runs there.
class EventThread {
public:
    /// Throws std::system_error.
    EventThread();
    EventThread(const EventThread&) = delete;
    EventThread& operator=(const EventThread&) = delete;
    ~EventThread();

    /// For work on the loop's thread, and for releasing what hangs on it once the thread has ended.
    sd_event* Loop() const { return _event.get(); }

    /// Runs `work` on the loop's thread and gives back its result, or throws what it threw. On the loop's own thread,
    /// and after Stop(), it runs at once.
    template <typename Work>
    auto Run(Work work) -> std::invoke_result_t<Work>;

    /// Ends the loop and joins the thread. What was asked of it before is done first.
    void Stop();

private:
    static int _OnWake(sd_event_source*, int descriptor, uint32_t, void* userData) noexcept;
    void _Post(std::function<void()> work);

    Event _event;
    EventSource _wakeSource;
    int _wakeDescriptor = -1;
    std::mutex _mutex; ///< guards _queue
    std::deque<std::function<void()>> _queue;
    std::thread _thread;
};

template <typename Work>
auto EventThread::Run(Work work) -> std::invoke_result_t<Work> {
    if (!_thread.joinable() || std::this_thread::get_id() == _thread.get_id())
        return work();
    // Shared: the loop's thread may still be leaving the task when the caller has its result.
    const auto task = std::make_shared<std::packaged_task<std::invoke_result_t<Work>()>>(std::move(work));
    auto result = task->get_future();
    _Post([task] { (*task)(); });
    return result.get();
}

} // namespace Simulator
