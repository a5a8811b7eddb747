#pragma once

#include <any>
#include <cstdint>
#include <map>
#include <string>
#include <systemd/sd-bus.h>
#include <utility>
#include <vector>

namespace buslink_utils {

/// Values by property name. By D-Bus type they are held as: `b` bool, `s` std::string, `i` int32_t, `u` uint32_t,
/// `x` int64_t, `t` uint64_t, `d` double, `as` std::vector<std::string>, `(s)` std::string.
using PropertyMap = std::map<std::string, std::any>;

/// The same, each value with its D-Bus signature.
using TypedPropertyMap = std::map<std::string, std::pair<std::string, std::any>>;

/// Reads a property with a blocking call. A null `bus` means the calling thread's own connection, so that any thread
/// may ask. For bool, std::string, int32_t, uint32_t, int64_t, uint64_t, double, std::vector<std::string> and
/// nlohmann::json, which travels as a text. Negative errno on failure, with the reason in `error`.
template <typename T>
int32_t GetProperty(sd_bus* bus, const char* service, const char* path, const char* interface, const char* name,
                    T& value, std::string& error);

/// Reads an `a{sv}` from the message's present position. Values of types that the map does not hold are left out.
/// Negative errno on failure.
int32_t ParseProperties(sd_bus_message* message, PropertyMap& properties);
int32_t ParsePropertiesWithType(sd_bus_message* message, TypedPropertyMap& properties);

} // namespace buslink_utils
