#include "peers/buslink/MainLoop.h"

#include <cerrno>
#include <exception>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <syslog.h>
#include <unistd.h>
#include <utility>

using Locks::LockGuard;

namespace Buslink {

MainLoop::~MainLoop() { Close(); }

int32_t MainLoop::Attach(sd_event* event) {
    const int descriptor = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (descriptor < 0)
        return -errno;
    int result = sd_event_add_io(event, Out(_source), descriptor, EPOLLIN, _OnWake, this);
    if (result < 0) {
        close(descriptor);
        return result;
    }
    result = sd_event_source_set_io_fd_own(_source.get(), true);
    const LockGuard lock(_mutex);
    _descriptor = descriptor;
    _thread = std::this_thread::get_id();
    if (!_queue.empty())
        eventfd_write(_descriptor, 1);
    return result;
}

void MainLoop::Close() {
    std::vector<Work> dropped;
    const EventSource source = std::move(_source);
    const LockGuard lock(_mutex);
    _isClosed = true;
    _descriptor = -1;
    _thread = {};
    dropped.swap(_queue);
}

void MainLoop::Post(Work work) {
    const LockGuard lock(_mutex);
    if (_isClosed)
        return;
    _queue.push_back(std::move(work));
    if (_descriptor >= 0)
        eventfd_write(_descriptor, 1);
}

void MainLoop::Run(Work work) {
    if (_IsLoopThread())
        work();
    else
        Post(std::move(work));
}

bool MainLoop::_IsLoopThread() {
    const LockGuard lock(_mutex);
    return _thread == std::this_thread::get_id();
}

void MainLoop::Wake() {
    const LockGuard lock(_mutex);
    // The loop's own thread prepares its sources before it polls.
    if (_descriptor >= 0 && _thread != std::this_thread::get_id())
        eventfd_write(_descriptor, 1);
}

int MainLoop::_OnWake(sd_event_source*, int descriptor, uint32_t, void* userData) {
    eventfd_t ignored = 0;
    eventfd_read(descriptor, &ignored);
    static_cast<MainLoop*>(userData)->_RunQueued();
    return 0;
}

void MainLoop::_RunQueued() {
    std::vector<Work> queue;
    {
        const LockGuard lock(_mutex);
        queue.swap(_queue);
    }
    for (const Work& work : queue)
        try {
            work();
        } catch (const std::exception& exception) {
            syslog(LOG_ERR, "Work for the main loop failed: %s", exception.what());
        }
}

} // namespace Buslink
