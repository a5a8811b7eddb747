#pragma once

#include <systemd/sd-bus.h>

namespace JobsManagerD {

/// The table of a device's bus object: five read-only properties, the same for every device. The getters take the
/// daemon as user data and find the device by the path of its object; they run under the bus lock, on whatever thread
/// emits. A device that is not there, and a value too large for its message, are bus errors.
const sd_bus_vtable* DeviceVtable();

} // namespace JobsManagerD
