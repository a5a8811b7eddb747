#pragma once

#include <memory>
#include <system_error>
#include <systemd/sd-bus.h>
#include <systemd/sd-event.h>

namespace Simulator {

struct Release {
    void operator()(sd_bus* connection) const { sd_bus_flush_close_unref(connection); }
    void operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }
    void operator()(sd_event* event) const { sd_event_unref(event); }
    void operator()(sd_event_source* source) const { sd_event_source_disable_unref(source); }
};

/// Flushed and closed at the end.
using Connection = std::unique_ptr<sd_bus, Release>;
using Message = std::unique_ptr<sd_bus_message, Release>;
using Event = std::unique_ptr<sd_event, Release>;
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

/// Passes a result on; a negative one, being a negated errno, is thrown as std::system_error.
inline int Check(int result, const char* what) {
    if (result < 0)
        throw std::system_error(-result, std::generic_category(), what);
    return result;
}

} // namespace Simulator
