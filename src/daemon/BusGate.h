#pragma once

#include "codes/Mutex.h"
#include "peers/buslink/DbusServer.h"

namespace JobsManagerD {

/// The gate between a device's signals and the bus. It outlives the server: a task that still runs when the service
/// leaves shares it, and finds it closed.
///
/// Threads: any may emit. The main thread closes the gate, once, before the server goes.
class BusGate {
public:
    explicit BusGate(Buslink::DbusServer& server) : _server(&server) {}

    /// Waits for an emission that is under way.
    void Close() EXCLUDES(_mutex) {
        const Locks::LockGuard lock(_mutex);
        _server = nullptr;
    }

    /// As `DbusServer::WithBus`; does nothing, with success, once closed.
    template <typename Use>
    int WithBus(Use use) EXCLUDES(_mutex) {
        const Locks::LockGuard lock(_mutex);
        return _server ? _server->WithBus(use) : 0;
    }

private:
    /// Taken before the bus lock.
    Locks::Mutex _mutex;
    Buslink::DbusServer* _server GUARDED_BY(_mutex);
};

} // namespace JobsManagerD
