#pragma once

#include "Handles.h"
#include "libjobsdaemon/JobsManager.h"

namespace libjobsdaemon {

/// The connection of a JobsManager to its bus.
class JobsManager::Connection {
public:
    /// Throws NotConnected.
    explicit Connection(const std::string& busAddress);

    /// Calls the service and waits for its reply. Throws an Error for everything but a reply.
    MessageHandle Call(const std::string& path, const char* interface, const char* method,
                       const std::vector<Wire::Value>& arguments);
    void Subscribe();
    /// Handles all that has arrived, without waiting. Throws NotConnected.
    std::vector<Event> Process();

    sd_bus* Bus() const { return _bus.get(); }
    void SetTimeout(std::chrono::microseconds timeout) { _timeout = timeout; }

private:
    static int _OnSignal(sd_bus_message* signal, void* userData, sd_bus_error*) noexcept;

    BusHandle _bus;
    std::chrono::microseconds _timeout = std::chrono::seconds(25);
    std::vector<Event> _events; ///< come in, and not yet taken
    bool _isSubscribed = false;
};

} // namespace libjobsdaemon
