#include "simulator/EventThread.h"

#include <sys/eventfd.h>
#include <utility>

namespace Simulator {

EventThread::EventThread() {
    Check(sd_event_new(Out(_event)), "make an event loop");
    Check(
        sd_event_add_io(_event.get(), Out(_wakeSource), eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK), EPOLLIN, _OnWake, this),
        "wait for work");
    Check(sd_event_source_set_io_fd_own(_wakeSource.get(), true), "own the eventfd");
    _wakeDescriptor = sd_event_source_get_io_fd(_wakeSource.get());
    _thread = std::thread([this] { sd_event_loop(_event.get()); });
}

EventThread::~EventThread() { Stop(); }

void EventThread::Stop() {
    if (!_thread.joinable())
        return;
    Run([this] { sd_event_exit(_event.get(), 0); });
    _thread.join();
}

void EventThread::_RunAndWait(const std::function<void()>& work) {
    Task task{work};
    std::unique_lock lock(_mutex);
    _queue.push_back(&task);
    eventfd_write(_wakeDescriptor, 1);
    _finished.wait(lock, [&task] { return task.isDone; });
}

int EventThread::_OnWake(sd_event_source*, int descriptor, uint32_t, void* userData) noexcept {
    auto& self = *static_cast<EventThread*>(userData);
    eventfd_t count = 0;
    eventfd_read(descriptor, &count);
    std::unique_lock lock(self._mutex);
    for (Task* const task : std::exchange(self._queue, {})) {
        lock.unlock();
        task->work();
        lock.lock();
        task->isDone = true;
        self._finished.notify_all();
    }
    return 0;
}

} // namespace Simulator
