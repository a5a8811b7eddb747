#pragma once

#include <memory>
#include <systemd/sd-bus.h>

namespace libjobsdaemon {

struct Release {
    void operator()(sd_bus* bus) const { sd_bus_flush_close_unref(bus); }
    void operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }
};

using BusHandle = std::unique_ptr<sd_bus, Release>;
using MessageHandle = std::unique_ptr<sd_bus_message, Release>;

class BusError {
public:
    BusError() = default;
    BusError(const BusError&) = delete;
    BusError& operator=(const BusError&) = delete;
    ~BusError() { sd_bus_error_free(&_error); }

    operator sd_bus_error*() { return &_error; }
    std::string Name() const { return _error.name ? _error.name : ""; }
    std::string Message() const { return _error.message ? _error.message : ""; }

private:
    sd_bus_error _error = SD_BUS_ERROR_NULL;
};

} // namespace libjobsdaemon
