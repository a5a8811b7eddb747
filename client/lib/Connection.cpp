#include "Connection.h"

#include "EventReader.h"
#include "Message.h"

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>

namespace libjobsdaemon {
namespace {

std::string TextOf(int result) { return std::generic_category().message(-result); }

void CheckConnection(int result) {
    if (result < 0)
        throw NotConnected("the bus cannot be reached: " + TextOf(result));
}

BusHandle Open(const std::string& address) {
    sd_bus* raw = nullptr;
    if (address.empty()) {
        CheckConnection(sd_bus_open_user(&raw));
        return BusHandle(raw);
    }
    CheckConnection(sd_bus_new(&raw));
    BusHandle bus(raw);
    CheckConnection(sd_bus_set_address(raw, address.c_str()));
    CheckConnection(sd_bus_set_bus_client(raw, true));
    CheckConnection(sd_bus_start(raw));
    return bus;
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
        throw NotConnected("the connection to the bus is lost");
    throw MalformedCall(name, error.Message().empty() ? TextOf(result) : error.Message());
}

} // namespace

JobsManager::Connection::Connection(const std::string& busAddress) : _bus(Open(busAddress)) {}

MessageHandle JobsManager::Connection::Call(const std::string& path, const char* interface, const char* method,
                                            const std::vector<Wire::Value>& arguments) {
    sd_bus_message* raw = nullptr;
    int result = sd_bus_message_new_method_call(_bus.get(), &raw, serviceName, path.c_str(), interface, method);
    const MessageHandle call(raw);
    CheckConnection(result);
    for (const Wire::Value& argument : arguments)
        if ((result = Append(call.get(), argument)) < 0)
            throw MalformedCall(SD_BUS_ERROR_INVALID_ARGS, "an argument cannot travel: " + TextOf(result));
    BusError error;
    const bool isEndless = _timeout == std::chrono::microseconds::zero();
    const uint64_t timeout = isEndless ? UINT64_MAX : static_cast<uint64_t>(_timeout.count());
    result = sd_bus_call(_bus.get(), call.get(), timeout, error, &raw);
    if (result < 0)
        ThrowCallError(result, error);
    return MessageHandle(raw);
}

void JobsManager::Connection::Subscribe() {
    if (std::exchange(_isSubscribed, true))
        return;
    const std::string ofService =
        std::string("type='signal',sender='") + serviceName + "',path_namespace='" + managerPath + "'";
    const std::string ofBus = std::string("type='signal',sender='org.freedesktop.DBus',member='NameOwnerChanged',"
                                          "arg0='") +
                              serviceName + "'";
    for (const std::string& rule : {ofService, ofBus})
        CheckConnection(sd_bus_add_match(_bus.get(), nullptr, rule.c_str(), _OnSignal, this));
}

int JobsManager::Connection::_OnSignal(sd_bus_message* signal, void* userData, sd_bus_error*) noexcept {
    try {
        ReadEvents(signal, static_cast<Connection*>(userData)->_events);
    } catch (const UnexpectedReply&) { // of a form that this library does not know
    }
    return 0;
}

std::vector<Event> JobsManager::Connection::Process() {
    for (int result = 1; result > 0;) {
        result = sd_bus_process(_bus.get(), nullptr);
        if (result < 0)
            throw NotConnected("the connection to the bus is lost: " + TextOf(result));
    }
    return std::exchange(_events, {});
}

} // namespace libjobsdaemon
