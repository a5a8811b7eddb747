#include "daemon/Settings.h"

#include "daemon/JobsManagerDaemon.h"
#include "device/JobSettings.h"
#include "device/ManagedDevice.h"
#include "fsutil/Paths.h"
#include "jobs/Json.h"

#include <algorithm>
#include <syslog.h>
#include <variant>

using buslink_utils::TypedPropertyMap;

namespace JobsManagerD {

std::atomic<JobListSignals> signalJobListChanges{JobListSignals::none};

namespace {

JobListSignals JobListSignalsOf(const std::string& text) {
    if (text == "All")
        return JobListSignals::all;
    return text == "OnChangeCompletion" ? JobListSignals::onChangeCompletion : JobListSignals::none;
}

double Seconds(uint32_t milliseconds) { return milliseconds * 0.001; }

template <typename T>
using Store = void (*)(const T&);

/// A setting of section "jobs": how its value is stored, which also gives its type on the bus.
struct Setting {
    const char* key;
    std::variant<Store<bool>, Store<std::string>, Store<uint32_t>> store;
};

template <auto& variable>
void StorePeriod(const uint32_t& milliseconds) {
    variable = Seconds(milliseconds);
}

/// In the order in which they are read at the start.
const Setting jobSettings[] = {
    {"hideJobFiles", Store<bool>([](const bool& value) { hideJobFiles = value; })},
    {"defaultJobName", Store<std::string>([](const std::string& value) { defaultJobName = value; })},
    {"jobNameSuffixFormat", Store<std::string>([](const std::string& value) { jobNameSuffixFormat = value; })},
    {"signalJobListChanges",
     Store<std::string>([](const std::string& value) { signalJobListChanges = JobListSignalsOf(value); })},
    {"multiJobIndexUpdatePeriod", Store<uint32_t>(StorePeriod<multiJobIndexUpdatePeriod>)},
    {"multiJobMoveCopyUpdatePeriod", Store<uint32_t>(StorePeriod<multiJobMoveCopyUpdatePeriod>)},
    {"multiJobConvertUpdatePeriod", Store<uint32_t>(StorePeriod<multiJobConvertUpdatePeriod>)},
    {"multiJobDeleteUpdatePeriod", Store<uint32_t>(StorePeriod<multiJobDeleteUpdatePeriod>)},
};

const char* TypeText(Store<bool>) { return "b"; }
const char* TypeText(Store<std::string>) { return "s"; }
const char* TypeText(Store<uint32_t>) { return "u"; }

template <typename T>
int32_t ReadAndStore(const char* key, Store<T> store) {
    T value{};
    const int32_t result = Settingsd::SettingsDaemonDbusHandler::GetSetting("jobs", key, value);
    if (result >= 0)
        store(value);
    return result;
}

template <typename T>
void StoreChange(const std::pair<std::string, std::any>& change, Store<T> store) {
    if (change.first == TypeText(store))
        store(std::any_cast<T>(change.second));
}

} // namespace

int32_t JobsManagerDaemon::_ReadJobSettings() {
    for (const Setting& setting : jobSettings) {
        const int32_t result = std::visit([&](auto store) { return ReadAndStore(setting.key, store); }, setting.store);
        if (result < 0) {
            syslog(LOG_ERR, "%s Settingsd::SettingsDaemonDbusHandler::GetSetting failed for %s", "Init", setting.key);
            return result;
        }
    }
    return 0;
}

void JobsManagerDaemon::JobSettingsChanged(TypedPropertyMap& properties) {
    for (const auto& property : properties) {
        const auto* const setting = std::ranges::find(jobSettings, property.first, &Setting::key);
        if (setting != std::end(jobSettings))
            std::visit([&](auto store) { StoreChange(property.second, store); }, setting->store);
    }
}

void JobsManagerDaemon::JobContactsSettingsChanged(TypedPropertyMap& properties) {
    const auto found = properties.find("companyContact");
    if (!currentJobDevice || found == properties.end())
        return;
    const auto& [type, value] = found->second;
    // The notice wraps the text in a structure, the property does not.
    if (type != "(s)" && type != "s")
        return;
    nlohmann::json contact;
    try {
        contact = ParseJson(std::any_cast<std::string>(value));
    } catch (const nlohmann::json::exception& exception) {
        syslog(LOG_ERR, "%s: Error parsing json string for setting %s: %s", "JobContactsSettingsChanged",
               found->first.c_str(), exception.what());
        return;
    }
    // The request to save always travels as the source of the contact to replace.
    constexpr bool save = true;
    currentJobDevice->SetDefaultContactByJSONstring(contact, save);
}

} // namespace JobsManagerD
