#include "peers/SyncDaemon.h"

#include "peers/buslink/Wire.h"

#include <syslog.h>

namespace SyncD {
namespace {

constexpr const char* service = "com.corvane.common.SyncDaemon1";
constexpr const char* rootPath = "/com/corvane/common/SyncDaemon1";

SyncDaemonDbusHandler& Handler(void* userData) { return *static_cast<SyncDaemonDbusHandler*>(userData); }

int OnPropertiesChanged(sd_bus_message* message, void* userData, sd_bus_error*) noexcept {
    std::string interface;
    if (Buslink::ReadAll(message, interface) < 0) {
        syslog(LOG_ERR, "Failed to read interface");
        return 0;
    }
    if (interface != service)
        return 0;
    buslink_utils::PropertyMap properties;
    const int32_t result = buslink_utils::ParseProperties(message, properties);
    if (result < 0)
        syslog(LOG_ERR, "ParseProperties failed:%d", result);
    else
        Handler(userData).propertiesChanged.emit(properties);
    return 0;
}

template <auto signal>
int OnPath(sd_bus_message* message, void* userData, sd_bus_error*) noexcept {
    std::string path;
    if (Buslink::ReadAll(message, path) > 0)
        (Handler(userData).*signal).emit(path);
    return 0;
}

struct ListenedSignal {
    const char* path;
    const char* interface;
    const char* member;
    sd_bus_message_handler_t handler;
    /// Name in the line of a failed registration; the log has always named the other one for the job file.
    const char* nameInLog;
};

constexpr ListenedSignal listenedSignals[] = {
    {"", "org.freedesktop.DBus.Properties", "PropertiesChanged", OnPropertiesChanged, "PropertiesChanged"},
    {rootPath, service, "DestinationSynced", OnPath<&SyncDaemonDbusHandler::destinationSynced>, "DestinationSynced"},
    {rootPath, service, "JobFileSynced", OnPath<&SyncDaemonDbusHandler::jobFileSynced>, "DestinationSynced"},
    {rootPath, service, "SyncDestinationFull", OnPath<&SyncDaemonDbusHandler::syncDestinationFull>,
     "SyncDestinationFull"},
};

} // namespace

int32_t SyncDaemonDbusHandler::Listen() {
    int32_t result = Connect();
    if (result < 0) {
        syslog(LOG_ERR, "SyncDaemonDbusHandler: Failed to connect to dbus");
        return result;
    }
    for (const ListenedSignal& signal : listenedSignals) {
        result = ListenSignal(service, signal.path, signal.interface, signal.member, signal.handler, this);
        if (result >= 0)
            continue;
        syslog(LOG_ERR, "SyncDaemonDbusHandler: Failed to register %s signal", signal.nameInLog);
        syslog(LOG_ERR, "SyncDaemonDbusHandler: Failed to init signal listeners");
        return result;
    }
    return result;
}

} // namespace SyncD
