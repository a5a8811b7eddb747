#include "simulator/Value.h"

#include "simulator/Handles.h"

#include <cerrno>

namespace Simulator {
namespace {

struct Appender {
    sd_bus_message* message;

    int operator()(bool value) const {
        const int number = value;
        return sd_bus_message_append_basic(message, 'b', &number);
    }
    int operator()(const std::string& text) const { return sd_bus_message_append_basic(message, 's', text.c_str()); }
    int operator()(const std::vector<std::string>& texts) const {
        int result = sd_bus_message_open_container(message, 'a', "s");
        for (const std::string& text : texts)
            result = result < 0 ? result : (*this)(text);
        return result < 0 ? result : sd_bus_message_close_container(message);
    }
    int operator()(const Structure& structure) const {
        return sd_bus_message_append(message, "(s)", structure.text.c_str());
    }
    template <typename Number>
    int operator()(Number number) const {
        return sd_bus_message_append_basic(message, SignatureOf(number)[0], &number);
    }
};

Value ReadTexts(sd_bus_message* message) {
    std::vector<std::string> texts;
    Check(sd_bus_message_enter_container(message, 'a', "s"), "read a list");
    const char* text = nullptr;
    while (Check(sd_bus_message_read_basic(message, 's', &text), "read a list's text") > 0)
        texts.emplace_back(text);
    Check(sd_bus_message_exit_container(message), "read a list");
    return texts;
}

template <typename Raw, typename Held>
Value ReadBasic(sd_bus_message* message, char type) {
    Raw value{};
    Check(sd_bus_message_read_basic(message, type, &value), "read an argument");
    return Held(value);
}

Value ReadValue(sd_bus_message* message, char type) {
    switch (type) {
    case 'y':
        return ReadBasic<uint8_t, uint8_t>(message, type);
    case 'b':
        return ReadBasic<int, bool>(message, type);
    case 's':
        return ReadBasic<const char*, std::string>(message, type);
    case 'a':
        return ReadTexts(message);
    default:
        throw std::system_error(EOPNOTSUPP, std::generic_category(), std::string("argument of type ") + type);
    }
}

} // namespace

std::string SignatureOf(const Value& value) {
    static constexpr const char* signatures[] = {"b", "y", "q", "i", "u", "x", "t", "d", "s", "as", "(s)"};
    static_assert(std::size(signatures) == std::variant_size_v<Value>);
    return signatures[value.index()];
}

void Append(sd_bus_message* message, const Value& value) { Check(std::visit(Appender{message}, value), "append"); }

void AppendVariant(sd_bus_message* message, const Value& value) {
    Check(sd_bus_message_open_container(message, 'v', SignatureOf(value).c_str()), "append a variant");
    Append(message, value);
    Check(sd_bus_message_close_container(message), "append a variant");
}

void AppendProperties(sd_bus_message* message, const Properties& properties) {
    Check(sd_bus_message_open_container(message, 'a', "{sv}"), "append properties");
    for (const auto& [name, value] : properties) {
        Check(sd_bus_message_open_container(message, 'e', "sv"), "append a property");
        Append(message, name);
        AppendVariant(message, value);
        Check(sd_bus_message_close_container(message), "append a property");
    }
    Check(sd_bus_message_close_container(message), "append properties");
}

std::vector<Value> ReadArguments(sd_bus_message* message) {
    std::vector<Value> arguments;
    char type = 0;
    const char* contents = nullptr;
    while (Check(sd_bus_message_peek_type(message, &type, &contents), "look at an argument") > 0)
        arguments.push_back(ReadValue(message, type));
    return arguments;
}

} // namespace Simulator
