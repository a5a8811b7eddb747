#pragma once

#include <cstdint>
#include <systemd/sd-bus.h>
#include <vector>

namespace buslink_utils::vtable {

/// An entry of one kind with all else cleared.
sd_bus_vtable Entry(uint8_t type, uint64_t flags);

void AddStart(std::vector<sd_bus_vtable>& table);
void AddPropertyReadOnly(std::vector<sd_bus_vtable>& table, const char* name, const char* signature,
                         sd_bus_property_get_t getter, uint64_t flags);
void AddEnd(std::vector<sd_bus_vtable>& table);

} // namespace buslink_utils::vtable
