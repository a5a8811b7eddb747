#pragma once

#include "codes/Mutex.h"
#include "peers/buslink/Handles.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

namespace Buslink {

/// The way back from any thread to the thread of an event loop: functions that are posted run there, one after the
/// other, in the order in which they were posted.
///
/// Threads: `Post` and `Wake` may be called on any thread at any time. Whoever may outlive the loop's owner, such as a
/// worker thread, shares ownership; the rest belongs to the loop's thread.
class MainLoop {
public:
    using Work = std::function<void()>;

    MainLoop() = default;
    MainLoop(const MainLoop&) = delete;
    MainLoop& operator=(const MainLoop&) = delete;
    ~MainLoop();

    /// Begins to run what has been posted, before and from now on. Negative errno on failure.
    int32_t Attach(sd_event* event);
    /// Nothing runs any more: what is still queued is dropped, and so is what comes later. Any number of times.
    void Close();

    /// Has `work` run on the loop's thread, never before this returns when called there. An exception out of it is
    /// logged as an error, and the loop goes on. Dropped once the loop is closed, or has ended.
    void Post(Work work);
    /// As `Post`, but at once when called on the loop's own thread; an exception then goes to the caller.
    void Run(Work work);
    /// Has the loop prepare its sources and poll anew, should it be polling.
    void Wake();

private:
    static int _OnWake(sd_event_source* source, int descriptor, uint32_t events, void* userData);
    void _RunQueued();
    bool _IsLoopThread();

    Locks::Mutex _mutex;
    std::vector<Work> _queue GUARDED_BY(_mutex);
    bool _isClosed GUARDED_BY(_mutex) = false;
    /// An eventfd, owned by the source that watches it; negative while there is none.
    int _descriptor GUARDED_BY(_mutex) = -1;
    std::thread::id _thread GUARDED_BY(_mutex);
    EventSource _source;
};

} // namespace Buslink
