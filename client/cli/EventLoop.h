#pragma once

#include "libjobsdaemon/JobsManager.h"

#include <csignal>
#include <functional>

namespace TarnJobs {

/// The new value, if the event is the change of this property of the device; else the empty text.
std::string ChangedText(const libjobsdaemon::Event& event, const std::string& device, const std::string& property);

/// Throws Refused when the event is the loss of the device.
void RefuseRemoved(const libjobsdaemon::Event& event, const std::string& device);

/// Waits for events of the service while Ctrl-C comes in as one, too, instead of ending the program.
class EventLoop {
public:
    /// Subscribes to the events. Until its end Ctrl-C is held back.
    explicit EventLoop(libjobsdaemon::JobsManager& service);
    EventLoop(const EventLoop&) = delete;
    EventLoop& operator=(const EventLoop&) = delete;
    ~EventLoop();

    /// Hands events over until `take` is done with them, which it says by true. At the first Ctrl-C runs `onInterrupt`;
    /// the second one ends the program. Throws ServiceNotRunning when the service ends.
    void Run(const std::function<bool(const libjobsdaemon::Event&)>& take, const std::function<void()>& onInterrupt);

private:
    bool _WasInterrupted() const;
    void _Wait() const;

    libjobsdaemon::JobsManager& _service;
    sigset_t _before{};
    int _interruptDescriptor = -1;
};

} // namespace TarnJobs
