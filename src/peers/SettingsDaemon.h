#pragma once

#include "peers/buslink/DbusListener.h"
#include "peers/buslink/Properties.h"

#include <map>
#include <nlohmann/json_fwd.hpp>
#include <sigc++/signal.h>
#include <string>

namespace Settingsd {

/// The settings service. Change notices become signals, raised on the loop's thread. They carry each changed setting by
/// name, with its D-Bus type and its value; a notice that cannot be read is logged and dropped. A slot that takes a
/// value for another type than it has throws, which ends the process.
class SettingsDaemonDbusHandler : public Buslink::DbusListener {
public:
    using SectionSignal = sigc::signal<void, buslink_utils::TypedPropertyMap&>;

    explicit SettingsDaemonDbusHandler(sd_event* event);

    /// Starts hearing the service's change notices. Negative errno on failure, which is logged.
    int32_t Listen();

    /// The signal of one section. Throws std::out_of_range for a section that the service does not have.
    SectionSignal& SectionChanged(const std::string& section) { return _sections.at(section); }

    /// Raised for every change, before the section's own signal.
    sigc::signal<void, const std::string&, buslink_utils::TypedPropertyMap&> settingsChanged;

    /// Reads a setting with a blocking round trip on a connection of its own; on any thread. For bool, std::string,
    /// uint32_t and nlohmann::json. Negative errno on failure, which is logged.
    template <typename T>
    static int32_t GetSetting(const std::string& section, const std::string& key, T& value);

private:
    static int _OnPropertiesChanged(sd_bus_message* message, void* userData, sd_bus_error*) noexcept;
    int _RaiseChanges(const std::string& section, sd_bus_message* message);

    std::map<std::string, SectionSignal> _sections;
};

} // namespace Settingsd
