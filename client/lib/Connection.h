#pragma once

#include "Handles.h"
#include "libjobsdaemon/JobsManager.h"

#include <map>

namespace libjobsdaemon {

/// Where a call goes.
struct Target {
    const char* service;
    std::string path;
    const char* interface;
};

/// The connection of a JobsManager to its bus.
class JobsManager::Connection {
public:
    /// Both throw NotConnected.
    static std::unique_ptr<Connection> To(const std::string& busAddress);
    static std::unique_ptr<Connection> OfUser(const std::string& user);

    explicit Connection(BusHandle bus);

    /// Calls a method and waits for its reply. Throws an Error for everything but a reply.
    MessageHandle Call(const Target& target, const char* method, const std::vector<Wire::Value>& arguments);
    void Subscribe();
    /// Handles all that has arrived, without waiting. Throws NotConnected.
    std::vector<Event> Process();
    std::optional<std::chrono::microseconds> Timeout() const;

    int Fd() const { return _pollable.Number(); }
    void SetTimeout(std::chrono::microseconds timeout);
    void SetTimeout(const std::string& method, std::chrono::microseconds timeout) { _timeouts[method] = timeout; }

private:
    static int _OnSignal(sd_bus_message* signal, void* userData, sd_bus_error*) noexcept;

    uint64_t _TimeoutOf(const char* method) const;
    /// Has `_pollable` look at what the bus wants to be polled for now; to be called whenever that may have changed.
    void _Watch();

    BusHandle _bus;
    const Descriptor _pollable; ///< an epoll descriptor, so that loops see one descriptor whatever the bus does
    const Descriptor _lost;     ///< always readable; in `_pollable` once the connection is lost
    std::chrono::microseconds _timeout = std::chrono::seconds(25);
    /// Of methods that have one of their own.
    std::map<std::string, std::chrono::microseconds, std::less<>> _timeouts{{"CopyJob", std::chrono::hours(1)},
                                                                            {"MoveJob", std::chrono::hours(1)},
                                                                            {"DeleteJob", std::chrono::hours(1)},
                                                                            {"CancelCMD", std::chrono::hours(1)},
                                                                            {"CreateJob", std::chrono::minutes(2)}};
    std::vector<Event> _events; ///< come in, and not yet taken
    bool _isSubscribed = false;
};

} // namespace libjobsdaemon
