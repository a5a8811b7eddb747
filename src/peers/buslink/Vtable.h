#pragma once

#include <cstdint>
#include <systemd/sd-bus.h>
#include <vector>

// Tables of bus objects, put together at run time: the macros of sd-bus are for tables that the compiler knows whole.
// The bus keeps a pointer to a table and to its texts, which must stay as long as the object.

namespace buslink_utils::vtable {

/// An entry of one kind with all else cleared.
sd_bus_vtable Entry(uint8_t type, uint64_t flags);

/// The first entry of every table, and, below, the last.
void AddStart(std::vector<sd_bus_vtable>& table);
/// `flags` as SD_BUS_VTABLE_PROPERTY_EMITS_CHANGE. The getter gets the user data of the object.
void AddPropertyReadOnly(std::vector<sd_bus_vtable>& table, const char* name, const char* signature,
                         sd_bus_property_get_t getter, uint64_t flags);
void AddEnd(std::vector<sd_bus_vtable>& table);

} // namespace buslink_utils::vtable
