#include "peers/buslink/Properties.h"

#include "jobs/Json.h"
#include "peers/buslink/Handles.h"
#include "peers/buslink/PeerConnection.h"
#include "peers/buslink/Wire.h"

#include <algorithm>

using Buslink::BusError;
using Buslink::Message;
using Buslink::Out;
using Buslink::PeerConnection;
using Buslink::Wire;

namespace buslink_utils {
namespace {

template <typename T>
int ReadVariant(sd_bus_message* message, T& value) {
    int result = sd_bus_message_enter_container(message, 'v', Wire<T>::Signature().c_str());
    if (result > 0)
        result = Wire<T>::Read(message, value);
    return result < 0 ? result : sd_bus_message_exit_container(message);
}

/// A text, or a text in a structure of its own: the settings service uses both for one setting.
int ReadTextVariant(sd_bus_message* message, std::string& value) {
    const char* contents = nullptr;
    int result = sd_bus_message_peek_type(message, nullptr, &contents);
    if (result <= 0 || std::string_view(contents) != "(s)")
        return result < 0 ? result : ReadVariant(message, value);
    std::tuple<std::string> wrapped;
    result = ReadVariant(message, wrapped);
    value = std::get<0>(wrapped);
    return result;
}

int ReadVariant(sd_bus_message* message, nlohmann::json& value) {
    std::string text;
    const int result = ReadTextVariant(message, text);
    if (result < 0)
        return result;
    try {
        value = JobsManagerD::ParseJson(text);
        return result;
    } catch (const nlohmann::json::exception&) {
        return -EBADMSG;
    }
}

template <typename T>
int ReadAny(sd_bus_message* message, std::any& value) {
    T held{};
    const int result = ReadVariant(message, held);
    value = held;
    return result;
}

int ReadAnyText(sd_bus_message* message, std::any& value) {
    std::string held;
    const int result = ReadTextVariant(message, held);
    value = held;
    return result;
}

struct HeldType {
    std::string_view signature;
    int (*read)(sd_bus_message*, std::any&);
};

constexpr HeldType heldTypes[] = {
    {"b", ReadAny<bool>},     {"s", ReadAnyText},       {"(s)", ReadAnyText},
    {"i", ReadAny<int32_t>},  {"u", ReadAny<uint32_t>}, {"x", ReadAny<int64_t>},
    {"t", ReadAny<uint64_t>}, {"d", ReadAny<double>},   {"as", ReadAny<std::vector<std::string>>},
};

int ReadProperty(sd_bus_message* message, TypedPropertyMap& properties) {
    std::string name;
    int result = Wire<std::string>::Read(message, name);
    const char* contents = nullptr;
    if (result > 0)
        result = sd_bus_message_peek_type(message, nullptr, &contents);
    if (result <= 0)
        return result == 0 ? -ENODATA : result;

    const std::string signature = contents;
    const auto* const held = std::ranges::find(heldTypes, signature, &HeldType::signature);
    if (held == std::end(heldTypes))
        return sd_bus_message_skip(message, "v");
    std::any value;
    result = held->read(message, value);
    if (result >= 0)
        properties[name] = {signature, std::move(value)};
    return result;
}

} // namespace

int32_t ParsePropertiesWithType(sd_bus_message* message, TypedPropertyMap& properties) {
    int result = sd_bus_message_enter_container(message, 'a', "{sv}");
    while (result >= 0 && (result = sd_bus_message_enter_container(message, 'e', "sv")) > 0) {
        result = ReadProperty(message, properties);
        if (result >= 0)
            result = sd_bus_message_exit_container(message);
    }
    return result < 0 ? result : sd_bus_message_exit_container(message);
}

int32_t ParseProperties(sd_bus_message* message, PropertyMap& properties) {
    TypedPropertyMap typed;
    const int32_t result = ParsePropertiesWithType(message, typed);
    for (auto& [name, value] : typed)
        properties[name] = std::move(value.second);
    return result;
}

template <typename T>
int32_t GetProperty(sd_bus* bus, const char* service, const char* path, const char* interface, const char* name,
                    T& value, std::string& error) {
    if (!bus) {
        error.clear();
        const int32_t result = PeerConnection::With(
            [&](sd_bus* own) { return GetProperty(own, service, path, interface, name, value, error); });
        if (result < 0 && error.empty())
            error = BusError().Text(result);
        return result;
    }
    BusError busError;
    Message reply;
    int result = sd_bus_call_method(bus, service, path, "org.freedesktop.DBus.Properties", "Get", busError, Out(reply),
                                    "ss", interface, name);
    if (result >= 0)
        result = ReadVariant(reply.get(), value);
    if (result < 0)
        error = busError.Text(result);
    return result;
}

template int32_t GetProperty(sd_bus*, const char*, const char*, const char*, const char*, bool&, std::string&);
template int32_t GetProperty(sd_bus*, const char*, const char*, const char*, const char*, std::string&, std::string&);
template int32_t GetProperty(sd_bus*, const char*, const char*, const char*, const char*, int32_t&, std::string&);
template int32_t GetProperty(sd_bus*, const char*, const char*, const char*, const char*, uint32_t&, std::string&);
template int32_t GetProperty(sd_bus*, const char*, const char*, const char*, const char*, int64_t&, std::string&);
template int32_t GetProperty(sd_bus*, const char*, const char*, const char*, const char*, uint64_t&, std::string&);
template int32_t GetProperty(sd_bus*, const char*, const char*, const char*, const char*, double&, std::string&);
template int32_t GetProperty(sd_bus*, const char*, const char*, const char*, const char*, std::vector<std::string>&,
                             std::string&);
template int32_t GetProperty(sd_bus*, const char*, const char*, const char*, const char*, nlohmann::json&,
                             std::string&);

} // namespace buslink_utils
