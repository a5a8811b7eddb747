#include "Connection.h"

#include "EventReader.h"
#include "Message.h"

#include <charconv>

// A method called by its name. Its types are those that the service tells of itself, so that a newer service can be
// called, too.

namespace libjobsdaemon {
namespace {

constexpr char introspectable[] = "org.freedesktop.DBus.Introspectable";

[[noreturn]] void ThrowUnfit(const std::string& text) { throw MalformedCall(SD_BUS_ERROR_INVALID_ARGS, text); }

/// The value of an attribute of the XML element that begins at a place.
std::string Attribute(const std::string& xml, size_t at, const std::string& name) {
    const std::string element = xml.substr(at, xml.find('>', at) - at);
    const size_t found = element.find(name + "=\"");
    if (found == std::string::npos)
        return "";
    const size_t begin = found + name.size() + 2;
    return element.substr(begin, element.find('"', begin) - begin);
}

/// The types that a method takes. Throws MalformedCall when the interface has no such method.
std::vector<std::string> TypesOf(const std::string& xml, const std::string& method) {
    const size_t interface = xml.find(std::string("<interface name=\"") + managerInterface + "\">");
    const size_t begin =
        interface == std::string::npos ? interface : xml.find("<method name=\"" + method + "\"", interface);
    if (begin == std::string::npos || begin > xml.find("</interface>", interface))
        throw MalformedCall(SD_BUS_ERROR_UNKNOWN_METHOD, "the service has no method \"" + method + "\"");
    const size_t end = xml.find("</method>", begin);
    std::vector<std::string> types;
    for (size_t at = xml.find("<arg", begin); at < end; at = xml.find("<arg", at + 1))
        if (Attribute(xml, at, "direction") == "in")
            types.push_back(Attribute(xml, at, "type"));
    return types;
}

template <typename Number>
Wire::Value NumberOf(const std::string& text) {
    Number number{};
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || stop != end)
        ThrowUnfit("\"" + text + "\" is no number of the kind that stands here");
    return number;
}

Wire::Value ValueOf(const std::string& type, const std::string& text) {
    if (type == "s")
        return text;
    if (type == "y")
        return NumberOf<uint8_t>(text);
    if (type == "q")
        return NumberOf<uint16_t>(text);
    if (type == "i")
        return NumberOf<int32_t>(text);
    if (type == "u")
        return NumberOf<uint32_t>(text);
    if (type != "b")
        ThrowUnfit("a value of the type \"" + type + "\" cannot be given as a text");
    if (text != "true" && text != "false")
        ThrowUnfit("\"" + text + "\" is neither true nor false");
    return text == "true";
}

std::vector<Wire::Value> ValuesOf(const std::vector<std::string>& types, const std::vector<std::string>& texts) {
    const bool hasList = !types.empty() && types.back() == "as";
    const size_t count = types.size() - (hasList ? 1 : 0);
    if (hasList ? texts.size() < count : texts.size() != count)
        ThrowUnfit("the method takes " + std::to_string(count) + (hasList ? " arguments and a list" : " arguments"));
    std::vector<Wire::Value> values;
    for (size_t at = 0; at < count; ++at)
        values.push_back(ValueOf(types[at], texts[at]));
    if (hasList)
        values.emplace_back(std::vector<std::string>(texts.begin() + static_cast<std::ptrdiff_t>(count), texts.end()));
    return values;
}

} // namespace

std::vector<Wire::Value> JobsManager::CallByName(const Text& method, const Texts& arguments) {
    const MessageHandle description = _Link().Call({serviceName, managerPath, introspectable}, "Introspect", {});
    const char* xml = nullptr;
    CheckRead(sd_bus_message_read_basic(description.get(), 's', &xml));
    const std::vector<Wire::Value> values = ValuesOf(TypesOf(xml, method), arguments);
    const MessageHandle reply = _Link().Call({serviceName, managerPath, managerInterface}, method.c_str(), values);
    std::vector<Wire::Value> answer;
    ReadAll(reply.get(), sd_bus_message_get_signature(reply.get(), true), answer);
    return answer;
}

} // namespace libjobsdaemon
