#include "Connection.h"

#include "EventReader.h"
#include "Message.h"

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <system_error>

namespace libjobsdaemon {
namespace {

std::string TextOf(int result) { return std::generic_category().message(-result); }

void CheckConnection(int result) {
    if (result < 0)
        throw NotConnected("the bus cannot be reached: " + TextOf(result), -result);
}

[[noreturn]] void ThrowLost(int result) {
    throw NotConnected("the connection to the bus is lost: " + TextOf(result), -result);
}

[[noreturn]] void ThrowCallError(int result, const BusError& error) {
    const std::string name = error.Name();
    const auto is = [&name](std::initializer_list<const char*> names) {
        return std::find(names.begin(), names.end(), name) != names.end();
    };
    if (is({SD_BUS_ERROR_SERVICE_UNKNOWN, SD_BUS_ERROR_NAME_HAS_NO_OWNER, SD_BUS_ERROR_NO_REPLY}))
        throw ServiceNotRunning("the jobs service is not running");
    if (is({SD_BUS_ERROR_TIMEOUT, "org.freedesktop.DBus.Error.TimedOut"}))
        throw TimedOut("the jobs service has not replied in time");
    const bool isLost = result == -ENOTCONN || result == -ECONNRESET || result == -EPIPE;
    if (isLost || is({SD_BUS_ERROR_DISCONNECTED}))
        ThrowLost(result);
    throw MalformedCall(name, error.Message().empty() ? TextOf(result) : error.Message());
}

/// The bus's clock counts microseconds of CLOCK_MONOTONIC.
std::chrono::microseconds Now() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return std::chrono::seconds(now.tv_sec) + std::chrono::microseconds(now.tv_nsec / 1000);
}

int CheckedDescriptor(int number) {
    CheckConnection(number < 0 ? -errno : 0);
    return number;
}

} // namespace

std::unique_ptr<JobsManager::Connection> JobsManager::Connection::To(const std::string& address) {
    sd_bus* raw = nullptr;
    if (address.empty()) {
        CheckConnection(sd_bus_open_user(&raw));
        return std::make_unique<Connection>(BusHandle(raw));
    }
    CheckConnection(sd_bus_new(&raw));
    BusHandle bus(raw);
    CheckConnection(sd_bus_set_address(raw, address.c_str()));
    CheckConnection(sd_bus_set_bus_client(raw, true));
    CheckConnection(sd_bus_start(raw));
    return std::make_unique<Connection>(std::move(bus));
}

std::unique_ptr<JobsManager::Connection> JobsManager::Connection::OfUser(const std::string& user) {
    sd_bus* raw = nullptr;
    CheckConnection(sd_bus_open_user_machine(&raw, (user + "@.host").c_str()));
    return std::make_unique<Connection>(BusHandle(raw));
}

JobsManager::Connection::Connection(BusHandle bus)
    : _bus(std::move(bus)), _pollable(CheckedDescriptor(epoll_create1(EPOLL_CLOEXEC))),
      _lost(CheckedDescriptor(eventfd(1, EFD_CLOEXEC))) {
    _Watch();
}

void JobsManager::Connection::SetTimeout(std::chrono::microseconds timeout) {
    _timeout = timeout;
    _timeouts.clear();
}

uint64_t JobsManager::Connection::_TimeoutOf(const char* method) const {
    const auto own = _timeouts.find(method);
    const std::chrono::microseconds timeout = own == _timeouts.end() ? _timeout : own->second;
    const bool isEndless = timeout == std::chrono::microseconds::zero();
    return isEndless ? UINT64_MAX : static_cast<uint64_t>(timeout.count());
}

MessageHandle JobsManager::Connection::Call(const Target& target, const char* method,
                                            const std::vector<Wire::Value>& arguments) {
    sd_bus_message* raw = nullptr;
    int result =
        sd_bus_message_new_method_call(_bus.get(), &raw, target.service, target.path.c_str(), target.interface, method);
    const MessageHandle call(raw);
    if (result < 0)
        ThrowLost(result);
    for (const Wire::Value& argument : arguments)
        if ((result = Append(call.get(), argument)) < 0)
            throw MalformedCall(SD_BUS_ERROR_INVALID_ARGS, "an argument cannot travel: " + TextOf(result));
    BusError error;
    result = sd_bus_call(_bus.get(), call.get(), _TimeoutOf(method), error, &raw);
    _Watch();
    if (result < 0)
        ThrowCallError(result, error);
    return MessageHandle(raw);
}

void JobsManager::Connection::Subscribe() {
    if (_isSubscribed)
        return;
    const std::string ofService =
        std::string("type='signal',sender='") + serviceName + "',path_namespace='" + managerPath + "'";
    const std::string ofBus = std::string("type='signal',sender='org.freedesktop.DBus',member='NameOwnerChanged',"
                                          "arg0='") +
                              serviceName + "'";
    for (const std::string& rule : {ofService, ofBus})
        CheckConnection(sd_bus_add_match(_bus.get(), nullptr, rule.c_str(), _OnSignal, this));
    _isSubscribed = true;
    _Watch();
}

int JobsManager::Connection::_OnSignal(sd_bus_message* signal, void* userData, sd_bus_error*) noexcept {
    try {
        ReadEvents(signal, static_cast<Connection*>(userData)->_events);
    } catch (const UnexpectedReply&) { // of a form that this library does not know
    }
    return 0;
}

std::vector<Event> JobsManager::Connection::Process() {
    int result = 1;
    while (result > 0)
        result = sd_bus_process(_bus.get(), nullptr);
    _Watch();
    if (result < 0 && _events.empty())
        ThrowLost(result);
    return std::exchange(_events, {});
}

std::optional<std::chrono::microseconds> JobsManager::Connection::Timeout() const {
    uint64_t until = UINT64_MAX;
    if (sd_bus_get_timeout(_bus.get(), &until) < 0 || until == UINT64_MAX)
        return std::nullopt;
    return std::max(std::chrono::microseconds(until) - Now(), std::chrono::microseconds::zero());
}

void JobsManager::Connection::_Watch() {
    const int fd = sd_bus_get_fd(_bus.get());
    const int events = sd_bus_get_events(_bus.get());
    const bool isLost = fd < 0 || events < 0;
    epoll_event wanted{};
    wanted.events = isLost ? EPOLLIN : static_cast<uint32_t>(events);
    const int watched = isLost ? _lost.Number() : fd;
    // While it connects, the bus may go on to another descriptor, even of the same number.
    if (epoll_ctl(_pollable.Number(), EPOLL_CTL_MOD, watched, &wanted) < 0)
        epoll_ctl(_pollable.Number(), EPOLL_CTL_ADD, watched, &wanted);
}

} // namespace libjobsdaemon
