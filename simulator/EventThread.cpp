#include "simulator/EventThread.h"

#include <sys/eventfd.h>
#include <unistd.h>

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
    _Post([this] { sd_event_exit(_event.get(), 0); });
    _thread.join();
}

void EventThread::_Post(std::function<void()> work) {
    const std::lock_guard lock(_mutex);
    _queue.push_back(std::move(work));
    eventfd_write(_wakeDescriptor, 1);
}

int EventThread::_OnWake(sd_event_source*, int descriptor, uint32_t, void* userData) noexcept {
    auto& self = *static_cast<EventThread*>(userData);
    eventfd_t count = 0;
    eventfd_read(descriptor, &count);
    std::deque<std::function<void()>> queue;
    {
        const std::lock_guard lock(self._mutex);
        queue.swap(self._queue);
    }
    for (const auto& work : queue)
        work();
    return 0;
}

} // namespace Simulator
