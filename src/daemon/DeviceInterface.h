#pragma once

#include <systemd/sd-bus.h>
#include <vector>

namespace JobsManagerD {

/// Fills the table of a device's bus object: five read-only properties. The getters take the daemon as user data and
/// find the device by the path of its object.
void BuildDeviceVtable(std::vector<sd_bus_vtable>& table);

} // namespace JobsManagerD
