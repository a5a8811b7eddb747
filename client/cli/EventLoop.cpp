#include "EventLoop.h"

#include "ExitCodes.h"

#include <algorithm>
#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

using namespace libjobsdaemon;

namespace TarnJobs {

std::string ChangedText(const Event& event, const std::string& device, const std::string& property) {
    const auto* const changed = std::get_if<PropertyChanged>(&event);
    if (!changed || changed->deviceID != device || changed->name != property)
        return "";
    const auto* const text = std::get_if<std::string>(&changed->value);
    return text ? *text : "";
}

void CheckDeviceStays(const Event& event, const std::string& device) {
    const auto* const removed = std::get_if<DeviceRemoved>(&event);
    if (removed && removed->deviceID == device)
        throw DeviceGone(device);
}

EventLoop::EventLoop(JobsManager& service) : _service(service) {
    sigset_t interrupt;
    sigemptyset(&interrupt);
    sigaddset(&interrupt, SIGINT);
    sigprocmask(SIG_BLOCK, &interrupt, &_before);
    _interruptDescriptor = signalfd(-1, &interrupt, SFD_CLOEXEC | SFD_NONBLOCK);
    _service.Subscribe();
}

EventLoop::~EventLoop() {
    close(_interruptDescriptor);
    sigprocmask(SIG_SETMASK, &_before, nullptr);
}

void EventLoop::Run(const Hands& hands) {
    while (true) {
        for (const Event& event : _service.Process()) {
            if (hands.take(event))
                return;
            if (std::holds_alternative<ServiceStopped>(event))
                throw ServiceNotRunning("the jobs service ended meanwhile");
        }
        if (!_Wait())
            hands.onSecond();
        if (_WasInterrupted()) {
            sigprocmask(SIG_SETMASK, &_before, nullptr);
            hands.onInterrupt();
        }
    }
}

bool EventLoop::_WasInterrupted() const {
    signalfd_siginfo information;
    return read(_interruptDescriptor, &information, sizeof information) > 0;
}

bool EventLoop::_Wait() const {
    pollfd sources[] = {{_service.Fd(), _service.PollEvents(), 0}, {_interruptDescriptor, POLLIN, 0}};
    const std::chrono::microseconds second = std::chrono::seconds(1);
    const auto own = _service.Timeout();
    const auto wait = std::min(second, own.value_or(second));
    const timespec limit{wait.count() / 1000000, wait.count() % 1000000 * 1000};
    return ppoll(sources, std::size(sources), &limit, nullptr) != 0 || wait < second;
}

} // namespace TarnJobs
