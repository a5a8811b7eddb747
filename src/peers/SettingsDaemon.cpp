#include "peers/SettingsDaemon.h"

#include <nlohmann/json.hpp>
#include <syslog.h>

namespace Settingsd {
namespace {

constexpr const char* service = "com.corvane.common.Settings1";
constexpr const char* rootPath = "/com/corvane/common/Settings1";

constexpr const char* sections[] = {
    "boot",
    "system",
    "audio",
    "keyBeep",
    "display",
    "capture",
    "jobs",
    "sync",
    "sonde",
    "reel",
    "camera",
    "overlay",
    "video",
    "videoRecording",
    "autologRecording",
    "photoTalkRecording",
    "storage",
    "development",
    "bluetooth",
    "device",
    "network",
    "motionDetection",
    "contacts",
    "remoteCamera",
    "remoteDevices",
    "shutdown",
    "time",
    "gps",
    "cooling",
};

} // namespace

SettingsDaemonDbusHandler::SettingsDaemonDbusHandler(sd_event* event) : DbusListener(event) {
    for (const char* section : sections)
        _sections[section];
}

int32_t SettingsDaemonDbusHandler::Listen() {
    const int32_t connected = Connect();
    if (connected < 0) {
        syslog(LOG_ERR, "%s: Failed to connect to dbus", __PRETTY_FUNCTION__);
        return connected;
    }
    const int32_t result =
        ListenSignal(service, "", "org.freedesktop.DBus.Properties", "PropertiesChanged", _OnPropertiesChanged, this);
    if (result < 0) {
        syslog(LOG_ERR, "%s: Failed to register %s signal", __PRETTY_FUNCTION__, "PropertiesChanged");
        syslog(LOG_ERR, "LibBuslink::Storage: Failed to init signal listeners");
    }
    return result;
}

int SettingsDaemonDbusHandler::_OnPropertiesChanged(sd_bus_message* message, void* userData, sd_bus_error*) noexcept {
    const char* const messagePath = sd_bus_message_get_path(message);
    const std::string path = messagePath ? messagePath : "";
    const size_t slash = path.rfind('/');
    if (slash == std::string::npos) {
        syslog(LOG_ERR, "%s: Failed to find / in path", __PRETTY_FUNCTION__);
        return -1;
    }
    if (slash + 1 == path.size()) {
        syslog(LOG_ERR, "%s: Mallformed path string", __PRETTY_FUNCTION__);
        return -1;
    }
    if (sd_bus_message_skip(message, "s") < 0) {
        syslog(LOG_ERR, "%s: Failed to skip interface string", __PRETTY_FUNCTION__);
        return -1;
    }
    return static_cast<SettingsDaemonDbusHandler*>(userData)->_RaiseChanges(path.substr(slash + 1), message);
}

int SettingsDaemonDbusHandler::_RaiseChanges(const std::string& section, sd_bus_message* message) {
    buslink_utils::TypedPropertyMap properties;
    const int32_t result = buslink_utils::ParsePropertiesWithType(message, properties);
    if (result < 0) {
        syslog(LOG_ERR, "%s: ParsePropertiesWithType failed:%d", __PRETTY_FUNCTION__, result);
        return -1;
    }
    settingsChanged.emit(section, properties);
    if (const auto found = _sections.find(section); found != _sections.end())
        found->second.emit(properties);
    return 0;
}

template <typename T>
int32_t SettingsDaemonDbusHandler::GetSetting(const std::string& section, const std::string& key, T& value) {
    const std::string path = std::string(rootPath) + "/" + section;
    std::string error;
    const int32_t result =
        buslink_utils::GetProperty(nullptr, service, path.c_str(), service, key.c_str(), value, error);
    if (result < 0)
        syslog(LOG_ERR, "%s: ERROR buslink_utils::GetProperty %s failed %s", __PRETTY_FUNCTION__, key.c_str(),
               error.c_str());
    return result;
}

template int32_t SettingsDaemonDbusHandler::GetSetting(const std::string&, const std::string&, bool&);
template int32_t SettingsDaemonDbusHandler::GetSetting(const std::string&, const std::string&, std::string&);
template int32_t SettingsDaemonDbusHandler::GetSetting(const std::string&, const std::string&, uint32_t&);
template int32_t SettingsDaemonDbusHandler::GetSetting(const std::string&, const std::string&, nlohmann::json&);

} // namespace Settingsd
