#include "Message.h"

#include "libjobsdaemon/Errors.h"

#include <cerrno>
#include <system_error>

namespace libjobsdaemon {
namespace {

int AppendText(sd_bus_message* message, const std::string& text) {
    // A C string would end at the NUL, and the service would be told something else.
    if (text.find('\0') != std::string::npos)
        return -EINVAL;
    return sd_bus_message_append_basic(message, 's', text.c_str());
}

/// Appends one value by its type.
struct Appender {
    sd_bus_message* message;

    int operator()(bool value) const {
        const int number = value;
        return sd_bus_message_append_basic(message, 'b', &number);
    }
    int operator()(uint8_t value) const { return sd_bus_message_append_basic(message, 'y', &value); }
    int operator()(uint16_t value) const { return sd_bus_message_append_basic(message, 'q', &value); }
    int operator()(int32_t value) const { return sd_bus_message_append_basic(message, 'i', &value); }
    int operator()(uint32_t value) const { return sd_bus_message_append_basic(message, 'u', &value); }
    int operator()(const std::string& value) const { return AppendText(message, value); }
    int operator()(const std::vector<std::string>& values) const {
        int result = sd_bus_message_open_container(message, 'a', "s");
        for (const std::string& value : values)
            result = result < 0 ? result : AppendText(message, value);
        return result < 0 ? result : sd_bus_message_close_container(message);
    }
};

template <typename Raw>
Raw ReadRaw(sd_bus_message* message, char type) {
    Raw value{};
    CheckRead(sd_bus_message_read_basic(message, type, &value));
    return value;
}

Wire::Value ReadBasic(sd_bus_message* message, char type) {
    switch (type) {
    case 'b':
        return ReadRaw<int>(message, type) != 0;
    case 'y':
        return ReadRaw<uint8_t>(message, type);
    case 'i':
        return ReadRaw<int32_t>(message, type);
    case 's':
        return std::string(ReadRaw<const char*>(message, type));
    default:
        throw UnexpectedReply(std::string("a value of type ") + type);
    }
}

void ReadProperty(sd_bus_message* message, Properties& properties) {
    const std::string name = ReadRaw<const char*>(message, 's');
    const char* contents = nullptr;
    CheckRead(sd_bus_message_peek_type(message, nullptr, &contents));
    const std::string type = contents;
    if (type != "s" && type != "b") {
        CheckRead(sd_bus_message_skip(message, "v"));
        return;
    }
    CheckRead(sd_bus_message_enter_container(message, 'v', type.c_str()));
    if (type == "b")
        properties[name] = ReadRaw<int>(message, 'b') != 0;
    else
        properties[name] = std::string(ReadRaw<const char*>(message, 's'));
    CheckRead(sd_bus_message_exit_container(message));
}

/// Runs `readEntry` in each entry of the dictionary at the present position.
template <typename ReadEntry>
void ReadDictionary(sd_bus_message* message, const std::string& entry, ReadEntry readEntry) {
    CheckRead(sd_bus_message_enter_container(message, 'a', ("{" + entry + "}").c_str()));
    while (CheckRead(sd_bus_message_enter_container(message, 'e', entry.c_str())) > 0) {
        readEntry();
        CheckRead(sd_bus_message_exit_container(message));
    }
    CheckRead(sd_bus_message_exit_container(message));
}

} // namespace

int CheckRead(int result) {
    if (result < 0)
        throw UnexpectedReply("the service's answer cannot be read: " + std::generic_category().message(-result));
    return result;
}

int Append(sd_bus_message* message, const Wire::Value& value) { return std::visit(Appender{message}, value); }

bool ReadAll(sd_bus_message* message, const std::string& signature, std::vector<Wire::Value>& values) {
    if (sd_bus_message_get_signature(message, true) != signature)
        return false;
    std::string types = signature;
    if (types.starts_with('(')) {
        types = types.substr(1, types.size() - 2);
        CheckRead(sd_bus_message_enter_container(message, 'r', types.c_str()));
    }
    for (const char type : types)
        values.push_back(ReadBasic(message, type));
    return true;
}

Properties ReadProperties(sd_bus_message* message) {
    Properties properties;
    ReadDictionary(message, "sv", [&] { ReadProperty(message, properties); });
    return properties;
}

std::map<std::string, Properties> ReadInterfaces(sd_bus_message* message) {
    std::map<std::string, Properties> interfaces;
    ReadDictionary(message, "sa{sv}", [&] {
        const std::string name = ReadRaw<const char*>(message, 's');
        interfaces[name] = ReadProperties(message);
    });
    return interfaces;
}

} // namespace libjobsdaemon
