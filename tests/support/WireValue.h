#pragma once

#include "simulator/Value.h"

#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <systemd/sd-bus.h>
#include <tuple>
#include <vector>

namespace Testing {

/// A value off the bus as JSON: a dictionary is an object in its order on the wire, a structure or array is an array,
/// and a variant is what it holds.
using WireValue = nlohmann::ordered_json;

/// The arguments of a message, free of the connection that it came over.
struct WireArguments {
    std::string signature;
    WireValue values = WireValue::array();
    /// The types held by the variants, in their order in the message.
    std::vector<std::string> variantTypes;

    /// Reads a message from its start. Throws std::system_error.
    static WireArguments Of(sd_bus_message* message);

    /// The arguments, or the members of the one structure, as these types: one alone or a tuple. Throws
    /// std::runtime_error when the signature is another.
    template <typename... Types>
    auto Read() const;
};

template <typename... Types>
auto WireArguments::Read() const {
    const std::string expected = (std::string() + ... + Simulator::SignatureOf(Types{}));
    const bool isStructure = signature == "(" + expected + ")";
    if (!isStructure && signature != expected)
        throw std::runtime_error("expected '" + expected + "', not '" + signature + "': " + values.dump());
    const WireValue& read = isStructure ? values.at(0) : values;
    const auto members = [&read]<size_t... at>(std::index_sequence<at...>) {
        return std::tuple<Types...>(read.at(at).template get<Types>()...);
    }
    (std::index_sequence_for<Types...>());
    if constexpr (sizeof...(Types) == 1)
        return std::get<0>(members);
    else
        return members;
}

} // namespace Testing
