#include "peers/StorageDaemon.h"

#include "codes/LogLine.h"
#include "peers/buslink/ObjectManager.h"
#include "peers/buslink/PeerConnection.h"
#include "peers/buslink/Wire.h"

#include <syslog.h>

using buslink_utils::PropertyMap;

namespace Storaged {
namespace {

constexpr const char* service = "com.corvane.common.StorageDaemon1";
constexpr const char* rootPath = "/com/corvane/common/StorageDaemon1";
constexpr const char* rootInterface = service;
constexpr const char* deviceInterface = "com.corvane.common.StorageDaemon1.Device";

/// Reads a property; a failure is logged with the line, which takes the caller's signature and the reason.
template <typename T>
int32_t ReadProperty(const std::string& path, const char* interface, const char* name, T& value,
                     JobsManagerD::LogLine<const char*, const char*> line, const char* caller) {
    std::string error;
    const int32_t result = buslink_utils::GetProperty(nullptr, service, path.c_str(), interface, name, value, error);
    if (result < 0)
        line.Write(LOG_ERR, caller, error.c_str());
    return result;
}

/// "/mnt/SD1" holds "/mnt/SD1" and "/mnt/SD1/a", but not "/mnt/SD10/a".
bool LiesIn(const std::string& folder, const std::string& filename) {
    return filename.starts_with(folder) &&
           (filename.size() == folder.size() || folder.ends_with('/') || filename[folder.size()] == '/');
}

StorageDaemonDbusHandler& Handler(void* userData) { return *static_cast<StorageDaemonDbusHandler*>(userData); }

int OnInterface(sd_bus_message* message, std::string& objectPath, std::string& interface, void* userData) noexcept {
    if (interface != deviceInterface)
        return sd_bus_message_skip(message, "a{sv}");
    PropertyMap properties;
    const int32_t result = buslink_utils::ParseProperties(message, properties);
    if (result < 0) {
        syslog(LOG_ERR, "ParseProperties failed:%d", result);
        return result;
    }
    Handler(userData).interfaceAdded.emit(objectPath, properties);
    return 0;
}

int OnInterfacesAdded(sd_bus_message* message, void* userData, sd_bus_error*) noexcept {
    syslog(LOG_DEBUG, "[StorageDaemonDbusHandler] Interface Added");
    buslink_utils::object_manager::ParseInterfaceAdded(message, OnInterface, userData);
    return 0;
}

int OnObjectRemoved(std::string& objectPath, void* userData) noexcept {
    Handler(userData).interfaceRemoved.emit(objectPath);
    return 0;
}

int OnInterfacesRemoved(sd_bus_message* message, void* userData, sd_bus_error*) noexcept {
    syslog(LOG_DEBUG, "[StorageDaemonDbusHandler] Interface Removed");
    buslink_utils::object_manager::ParseInterfaceRemoved(message, OnObjectRemoved, userData);
    return 0;
}

int OnPropertiesChanged(sd_bus_message* message, void* userData, sd_bus_error*) noexcept {
    const std::string path = sd_bus_message_get_path(message);
    std::string interface;
    if (Buslink::ReadAll(message, interface) < 0) {
        syslog(LOG_ERR, "Failed to read interface");
        return 0;
    }
    if (interface != deviceInterface)
        return sd_bus_message_skip(message, "a{sv}") < 0 ? -1 : 0;
    PropertyMap properties;
    const int32_t result = buslink_utils::ParseProperties(message, properties);
    if (result < 0)
        syslog(LOG_ERR, "ParseProperties failed:%d", result);
    else
        Handler(userData).propertiesChanged.emit(path, properties);
    return 0;
}

} // namespace

StorageDaemonDbusHandler::StorageDaemonDbusHandler(sd_event* event) : DbusListener(event) {
    const char* const objectManager = "org.freedesktop.DBus.ObjectManager";
    signals["InterfacesAdded"] = {service, rootPath, objectManager, "InterfacesAdded", OnInterfacesAdded};
    signals["InterfacesRemoved"] = {service, rootPath, objectManager, "InterfacesRemoved", OnInterfacesRemoved};
    signals["PropertiesChanged"] = {service, "", "org.freedesktop.DBus.Properties", "PropertiesChanged",
                                    OnPropertiesChanged};
}

int32_t StorageDaemonDbusHandler::Listen() {
    return ListenSignals({"InterfacesAdded", "InterfacesRemoved", "PropertiesChanged"}, this);
}

int32_t StorageDaemonDbusHandler::GetPrimaryDevice(std::string& id) {
    return ReadProperty(rootPath, rootInterface, "PrimaryDevice", id,
                        "%s: buslink_utils::GetProperty PROP_PRIMARY_DEVICE failed %s", __PRETTY_FUNCTION__);
}

int32_t StorageDaemonDbusHandler::GetAvailableDevices(std::vector<std::string>& ids) {
    return ReadProperty(rootPath, rootInterface, "AvailableDevices", ids,
                        "%s: buslink_utils::GetProperty PROP_AVAILABLE_DEVICES failed %s", __PRETTY_FUNCTION__);
}

int32_t StorageDaemonDbusHandler::GetMountPoint(const std::string& path, std::string& mountPoint) {
    return ReadProperty(path, deviceInterface, "MountPoint", mountPoint,
                        "%s: buslink_utils::GetProperty PROP_MOUNTPOINT failed %s", __PRETTY_FUNCTION__);
}

int32_t StorageDaemonDbusHandler::GetId(const std::string& path, std::string& id) {
    // The log has always named the other property here.
    return ReadProperty(path, deviceInterface, "Id", id, "%s: buslink_utils::GetProperty PROP_READ_ONLY failed %s",
                        __PRETTY_FUNCTION__);
}

int32_t StorageDaemonDbusHandler::GetReadOnly(const std::string& path, bool& readOnly) {
    return ReadProperty(path, deviceInterface, "ReadOnly", readOnly,
                        "%s: buslink_utils::GetProperty PROP_READ_ONLY failed %s", __PRETTY_FUNCTION__);
}

int32_t StorageDaemonDbusHandler::GetMounted(const std::string& path, bool& mounted) {
    return ReadProperty(path, deviceInterface, "IsMounted", mounted,
                        "%s: buslink_utils::GetProperty PROP_IS_MOUNTED failed %s", __PRETTY_FUNCTION__);
}

int32_t StorageDaemonDbusHandler::GetStorageObjectPaths(std::vector<std::string>& paths) {
    std::vector<buslink_utils::object_manager::ManagedObject> objects;
    const int32_t result = Buslink::PeerConnection::With([&objects](sd_bus* bus) {
        objects.clear();
        return buslink_utils::object_manager::GetManagedObjects(bus, service, rootPath, objects);
    });
    if (result >= 0)
        for (const auto& object : objects)
            paths.push_back(object.path);
    return result;
}

int32_t StorageDaemonDbusHandler::SetWriteActive(const std::string& path, uint8_t reserved, bool active) {
    std::string reason;
    const int32_t result = Buslink::PeerConnection::With([&](sd_bus* bus) {
        Buslink::BusError error;
        const int called = sd_bus_call_method(bus, service, path.c_str(), deviceInterface, "SetWriteActive", error,
                                              nullptr, "yb", reserved, static_cast<int>(active));
        reason = error.Text(called);
        return called;
    });
    if (result < 0)
        syslog(LOG_ERR, "%s: sd_bus_call_method failed r = %d, reason = %s", "SetWriteActive", result, reason.c_str());
    return result;
}

int32_t StorageDaemonDbusHandler::GetPathFromFilename(const std::string& filename, std::string& objectPath) {
    objectPath.clear();
    std::vector<std::string> paths;
    const int32_t result = GetStorageObjectPaths(paths);
    if (result < 0) {
        syslog(LOG_ERR, "Storage.GetStorageObjectPaths() failed %d", result);
        return -1;
    }
    for (const std::string& path : paths) {
        std::string mountPoint;
        if (GetMountPoint(path, mountPoint) < 0 || mountPoint.empty() || !LiesIn(mountPoint, filename))
            continue;
        objectPath = path;
        return 0;
    }
    return -1;
}

bool StorageDaemonDbusHandler::GetDeviceIdFromFilename(const std::string& filename, std::string& deviceId) {
    std::string objectPath;
    if (GetPathFromFilename(filename, objectPath) < 0)
        return false;
    deviceId = objectPath.substr(objectPath.rfind('/') + 1);
    return true;
}

} // namespace Storaged
