#pragma once

#include <memory>
#include <string>
#include <systemd/sd-bus.h>
#include <unistd.h>
#include <utility>

namespace libjobsdaemon {

struct Release {
    void operator()(sd_bus* bus) const { sd_bus_flush_close_unref(bus); }
    void operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }
};

using BusHandle = std::unique_ptr<sd_bus, Release>;
using MessageHandle = std::unique_ptr<sd_bus_message, Release>;

class Descriptor {
public:
    explicit Descriptor(int number) : _number(number) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() {
        if (_number >= 0)
            close(_number);
    }

    int Number() const { return _number; }

private:
    const int _number;
};

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
    sd_bus_error _error{nullptr, nullptr, 0};
};

} // namespace libjobsdaemon
