#include "peers/buslink/DbusListener.h"

#include <cerrno>
#include <syslog.h>

namespace Buslink {
namespace {

/// The bus looks at who sent a signal only where it goes to all. What is addressed to this connection may come from
/// anybody, in the name of any service.
int DropAddressedSignals(sd_bus_message* message, void*, sd_bus_error*) {
    return sd_bus_message_is_signal(message, nullptr, nullptr) > 0 && sd_bus_message_get_destination(message) ? 1 : 0;
}

} // namespace

int32_t DbusConnector::Connect() {
    if (_bus)
        return 0;
    int result = sd_bus_open_user(Out(_bus));
    if (result >= 0)
        result = sd_bus_add_filter(_bus.get(), nullptr, DropAddressedSignals, nullptr);
    if (result >= 0)
        result = sd_bus_match_signal(_bus.get(), nullptr, "org.freedesktop.DBus.Local", "/org/freedesktop/DBus/Local",
                                     "org.freedesktop.DBus.Local", "Disconnected", _OnLost, this);
    if (result >= 0)
        result = sd_bus_attach_event(_bus.get(), _event, SD_EVENT_PRIORITY_NORMAL);
    return result;
}

int DbusConnector::_OnLost(sd_bus_message*, void* userData, sd_bus_error*) {
    const auto& self = *static_cast<DbusConnector*>(userData);
    syslog(LOG_ERR, "The listener of %s lost the message bus", self._peer.c_str());
    return sd_event_exit(self._event, -ECONNRESET);
}

void DbusConnector::Disconnect() { _bus.reset(); }

int32_t DbusListener::ListenSignals(const std::vector<std::string>& keys, void* userData) {
    int32_t result = 0;
    for (const std::string& key : keys) {
        const SignalEntry& entry = signals.at(key);
        result = ListenSignal(entry.service, entry.path, entry.interface, entry.member, entry.handler, userData);
        if (result < 0)
            break;
    }
    return result;
}

int32_t DbusListener::ListenSignal(const std::string& service, const std::string& path, const std::string& interface,
                                   const std::string& member, sd_bus_message_handler_t handler, void* userData) {
    const int32_t result = Connect();
    if (result < 0)
        return result;
    NamePeer(service);
    return sd_bus_match_signal(Bus(), nullptr, service.c_str(), path.empty() ? nullptr : path.c_str(),
                               interface.c_str(), member.c_str(), handler, userData);
}

} // namespace Buslink
