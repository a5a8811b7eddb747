#pragma once

#include "libjobsdaemon/Events.h"

#include <string>
#include <systemd/sd-bus.h>
#include <vector>

namespace libjobsdaemon {

inline constexpr char serviceName[] = "com.corvane.common.JobsManagerDaemon1";
inline constexpr char managerPath[] = "/com/corvane/common/JobsManagerDaemon1";
inline constexpr char managerInterface[] = "com.corvane.common.JobsManagerDaemon1";
inline constexpr char deviceInterface[] = "com.corvane.common.JobsManagerDaemon1.Device";
inline constexpr char propertiesInterface[] = "org.freedesktop.DBus.Properties";
inline constexpr char objectManagerInterface[] = "org.freedesktop.DBus.ObjectManager";

/// The device ID at the end of an object's path; empty for the manager's own path.
std::string DeviceOfPath(const std::string& path);

/// Appends what a signal tells. A signal that is not known, or has another form, tells nothing.
void ReadEvents(sd_bus_message* signal, std::vector<Event>& events);

} // namespace libjobsdaemon
