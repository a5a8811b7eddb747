#pragma once

#include "codes/Mutex.h"

#include <functional>
#include <utility>
#include <vector>

namespace JobsManagerD {

/// Tells who waits for the end of a thread, instead of holding them up.
///
/// Threads: `Began` comes before the thread is started, `Ended` is the last that the thread does; anybody may wait.
class ThreadEnd {
public:
    void Began() EXCLUDES(_mutex) {
        const Locks::LockGuard lock(_mutex);
        _isRunning = true;
    }

    void Ended() EXCLUDES(_mutex) {
        std::vector<std::function<void()>> waiting;
        {
            const Locks::LockGuard lock(_mutex);
            _isRunning = false;
            waiting.swap(_waiting);
        }
        for (const auto& tell : waiting)
            tell();
    }

    /// Calls `tell` once: on the thread that ends, or at once when none runs.
    void WhenEnded(std::function<void()> tell) EXCLUDES(_mutex) {
        {
            const Locks::LockGuard lock(_mutex);
            if (_isRunning) {
                _waiting.push_back(std::move(tell));
                return;
            }
        }
        tell();
    }

private:
    Locks::Mutex _mutex;
    bool _isRunning GUARDED_BY(_mutex) = false;
    std::vector<std::function<void()>> _waiting GUARDED_BY(_mutex);
};

} // namespace JobsManagerD
