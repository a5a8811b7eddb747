#include "peers/buslink/Vtable.h"

#include <cstring>

namespace buslink_utils::vtable {

sd_bus_vtable Entry(uint8_t type, uint64_t flags) {
    sd_bus_vtable entry;
    std::memset(&entry, 0, sizeof entry);
    entry.type = type;
    entry.flags = flags & ((uint64_t{1} << 56) - 1);
    return entry;
}

void AddStart(std::vector<sd_bus_vtable>& table) {
    sd_bus_vtable entry = Entry(_SD_BUS_VTABLE_START, 0);
    entry.x.start.element_size = sizeof(sd_bus_vtable);
    entry.x.start.features = _SD_BUS_VTABLE_PARAM_NAMES;
    entry.x.start.vtable_format_reference = &sd_bus_object_vtable_format;
    table.push_back(entry);
}

void AddPropertyReadOnly(std::vector<sd_bus_vtable>& table, const char* name, const char* signature,
                         sd_bus_property_get_t getter, uint64_t flags) {
    sd_bus_vtable entry = Entry(_SD_BUS_VTABLE_PROPERTY, flags);
    entry.x.property.member = name;
    entry.x.property.signature = signature;
    entry.x.property.get = getter;
    table.push_back(entry);
}

void AddEnd(std::vector<sd_bus_vtable>& table) { table.push_back(Entry(_SD_BUS_VTABLE_END, 0)); }

} // namespace buslink_utils::vtable
