#pragma once

#include "peers/buslink/DbusServer.h"

#include <mutex>

namespace JobsManagerD {

/// The way from a device's signals to the bus. It outlives the server: a task that still runs when the service leaves
/// shares it, and finds it closed.
class SignalRoad {
public:
    explicit SignalRoad(Buslink::DbusServer& server) : _server(&server) {}

    /// Waits for an emission that is under way.
    void Close() {
        const std::lock_guard lock(_mutex);
        _server = nullptr;
    }

    /// As `DbusServer::WithBus`; does nothing, with success, once closed.
    template <typename Use>
    int WithBus(Use use) {
        const std::lock_guard lock(_mutex);
        return _server ? _server->WithBus(use) : 0;
    }

private:
    std::mutex _mutex;
    Buslink::DbusServer* _server;
};

} // namespace JobsManagerD
