#pragma once

#include "simulator/Handles.h"

#include <condition_variable>
#include <exception>
#include <functional>
#include <mutex>
#include <optional>
#include <thread>
#include <type_traits>
#include <vector>

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
    /// Work that a caller waits for.
    struct Task {
        const std::function<void()>& work;
        bool isDone = false;
    };

    static int _OnWake(sd_event_source*, int descriptor, uint32_t, void* userData) noexcept;
    void _RunAndWait(const std::function<void()>& work);

    Event _event;
    EventSource _wakeSource;
    int _wakeDescriptor = -1;
    std::mutex _mutex; ///< guards _queue and the state of its tasks
    std::condition_variable _finished;
    std::vector<Task*> _queue;
    std::thread _thread;
};

template <typename Work>
auto EventThread::Run(Work work) -> std::invoke_result_t<Work> {
    if (!_thread.joinable() || std::this_thread::get_id() == _thread.get_id())
        return work();
    // The result is the caller's own: once the caller goes on, the loop's thread holds no part of it, nor of what was
    // thrown.
    constexpr bool isVoid = std::is_void_v<std::invoke_result_t<Work>>;
    std::optional<std::conditional_t<isVoid, bool, std::invoke_result_t<Work>>> result;
    std::exception_ptr thrown;
    _RunAndWait([&] {
        try {
            if constexpr (isVoid)
                work();
            else
                result = work();
        } catch (...) {
            thrown = std::current_exception();
        }
    });
    if (thrown)
        std::rethrow_exception(std::move(thrown));
    if constexpr (!isVoid)
        return std::move(*result);
}

} // namespace Simulator
