#pragma once

#include "libjobsdaemon/JobsManager.h"

#include <csignal>
#include <functional>

namespace TarnJobs {

/// The new value, if the event is the change of this property of the device; else the empty text.
std::string ChangedText(const libjobsdaemon::Event& event, const std::string& device, const std::string& property);

/// Throws DeviceGone when the event is the loss of the device.
void CheckDeviceStays(const libjobsdaemon::Event& event, const std::string& device);

/// Waits for events of the service while Ctrl-C comes in as one, too, instead of ending the program.
class EventLoop {
public:
    /// Subscribes to the events. Until its end Ctrl-C is held back.
    explicit EventLoop(libjobsdaemon::JobsManager& service);
    EventLoop(const EventLoop&) = delete;
    EventLoop& operator=(const EventLoop&) = delete;
    ~EventLoop();

    /// What happens while the loop waits. `take` gets the events until it is done with them, which it says by true. At
    /// the first Ctrl-C `onInterrupt` runs; the second one ends the program. `onSecond` runs when a second brought
    /// nothing. Throws ServiceNotRunning when the service ends.
    struct Hands {
        std::function<bool(const libjobsdaemon::Event&)> take;
        std::function<void()> onInterrupt;
        std::function<void()> onSecond;
    };
    void Run(const Hands& hands);

private:
    bool _WasInterrupted() const;
    /// False when a second brought nothing.
    bool _Wait() const;

    libjobsdaemon::JobsManager& _service;
    sigset_t _before{};
    int _interruptDescriptor = -1;
};

} // namespace TarnJobs
