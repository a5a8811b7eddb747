#pragma once

#include "peers/buslink/Properties.h"

#include <string>
#include <vector>

// The client's side of org.freedesktop.DBus.ObjectManager. Results are negative errno on failure.

namespace buslink_utils::object_manager {

struct ManagedObject {
    std::string path;
    /// Interface names with their properties, in the order of the reply.
    std::vector<std::pair<std::string, PropertyMap>> interfaces;
};

/// Appends the objects below `path` in the order of the reply. Blocks for a round trip on `bus`; what was read before a
/// failure stays.
int32_t GetManagedObjects(sd_bus* bus, const std::string& service, const std::string& path,
                          std::vector<ManagedObject>& objects);

using InterfaceAddedCallback = int (*)(sd_bus_message* message, std::string& objectPath, std::string& interface,
                                       void* userData);
using InterfaceRemovedCallback = int (*)(std::string& objectPath, void* userData);

/// Reads an InterfacesAdded message. The callback reads or skips the `a{sv}` of each interface.
int32_t ParseInterfaceAdded(sd_bus_message* message, InterfaceAddedCallback callback, void* userData);

/// Reads the path of an InterfacesRemoved message and calls back once.
int32_t ParseInterfaceRemoved(sd_bus_message* message, InterfaceRemovedCallback callback, void* userData);

} // namespace buslink_utils::object_manager
