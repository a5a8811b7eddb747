#pragma once

#include <memory>
#include <string>
#include <systemd/sd-bus.h>

// Owners of what libsystemd hands out as raw pointers. A handle belongs to one thread at a time; messages may go from
// one to another, a connection and its slots stay with whoever holds the connection's lock.

namespace Buslink {

/// Lets go of each kind; connections are flushed and closed.
struct Release {
    void operator()(sd_bus* connection) const { sd_bus_flush_close_unref(connection); }
    void operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }
    void operator()(sd_bus_slot* slot) const { sd_bus_slot_unref(slot); }
    void operator()(sd_event_source* source) const { sd_event_source_disable_unref(source); }
};

using Connection = std::unique_ptr<sd_bus, Release>;
using Message = std::unique_ptr<sd_bus_message, Release>;
using Slot = std::unique_ptr<sd_bus_slot, Release>;
/// Disabled before it goes, so that it does not fire any more.
using EventSource = std::unique_ptr<sd_event_source, Release>;

/// Fills a handle from a call that hands out a raw pointer: `call(Out(message))`.
template <typename Handle>
class Out {
public:
    explicit Out(Handle& handle) : _handle(handle) {}
    Out(const Out&) = delete;
    Out& operator=(const Out&) = delete;
    ~Out() { _handle.reset(_raw); }
    operator typename Handle::pointer *() { return &_raw; }

private:
    Handle& _handle;
    typename Handle::pointer _raw = nullptr;
};

/// The error of one call, freed at the end. Stands where a call takes a sd_bus_error*.
class BusError {
public:
    BusError() = default;
    BusError(const BusError&) = delete;
    BusError& operator=(const BusError&) = delete;
    ~BusError() { sd_bus_error_free(&_error); }
    operator sd_bus_error*() { return &_error; }

    /// The message of the bus error; when none came, the system's text for `result`, a negative errno.
    std::string Text(int result) const;

private:
    sd_bus_error _error{nullptr, nullptr, 0};
};

} // namespace Buslink
