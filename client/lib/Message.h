#pragma once

#include "Handles.h"
#include "libjobsdaemon/Wire.h"

#include <map>
#include <string>
#include <variant>
#include <vector>

namespace libjobsdaemon {

/// Properties by name; those of other types than text and boolean are left out.
using Properties = std::map<std::string, std::variant<std::string, bool>>;

/// Appends a value. Gives a negative errno when a text cannot travel: bytes that are no UTF-8, or a NUL.
int Append(sd_bus_message* message, const Wire::Value& value);

/// Reads the arguments of a message of exactly this signature: basic types, or one structure of them. False for a
/// message of another signature.
bool ReadAll(sd_bus_message* message, const std::string& signature, std::vector<Wire::Value>& values);

/// Reads the `a{sv}`, or the `a{sa{sv}}`, at the message's present position. Throws UnexpectedReply.
Properties ReadProperties(sd_bus_message* message);
std::map<std::string, Properties> ReadInterfaces(sd_bus_message* message);

/// Throws UnexpectedReply for a negative result of reading.
int CheckRead(int result);

} // namespace libjobsdaemon
