#pragma once

#include <mutex>
#include <sigc++/signal.h>

namespace JobsManagerD {

/// A sigc signal that any thread may raise. Sigc's own bookkeeping is not atomic, so one thread at a time raises it.
/// Slots run on the raising thread and do not raise the same signal again.
template <typename... Arguments>
class RaisedSignal {
public:
    void Connect(const sigc::slot<void, Arguments...>& slot) {
        const std::lock_guard lock(_mutex);
        _signal.connect(slot);
    }

    void Raise(Arguments... arguments) {
        const std::lock_guard lock(_mutex);
        _signal.emit(arguments...);
    }

private:
    std::mutex _mutex;
    sigc::signal<void, Arguments...> _signal;
};

} // namespace JobsManagerD
