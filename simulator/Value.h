#pragma once

#include <cstdint>
#include <string>
#include <systemd/sd-bus.h>
#include <variant>
#include <vector>

namespace Simulator {

/// A structure of one text, "(s)" on the wire.
struct Structure {
    std::string text;
    bool operator==(const Structure&) const = default;
};

/// A value that knows its type on the bus by the type that it holds.
using Value = std::variant<bool, uint8_t, uint16_t, int32_t, uint32_t, int64_t, uint64_t, double, std::string,
                           std::vector<std::string>, Structure>;

/// Values by name, in the order in which they go out.
using Properties = std::vector<std::pair<std::string, Value>>;

std::string SignatureOf(const Value& value);

/// Appends the value, itself or in a variant. Throws std::system_error.
void Append(sd_bus_message* message, const Value& value);
void AppendVariant(sd_bus_message* message, const Value& value);

/// Appends an `a{sv}`. Throws std::system_error.
void AppendProperties(sd_bus_message* message, const Properties& properties);

/// Reads all arguments of a message of types y, b, s and as. Throws std::system_error for others.
std::vector<Value> ReadArguments(sd_bus_message* message);

} // namespace Simulator
