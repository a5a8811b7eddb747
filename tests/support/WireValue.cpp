#include "support/WireValue.h"

#include "simulator/Handles.h"

using Simulator::Check;

namespace Testing {
namespace {

/// Reads values from a message's present position.
class Reader {
public:
    Reader(sd_bus_message* message, std::vector<std::string>& variantTypes)
        : _message(message), _variantTypes(variantTypes) {}

    /// All values up to the end of the container.
    WireValue ReadAll() {
        WireValue values = WireValue::array();
        while (!_AtEnd())
            values.push_back(_Read());
        return values;
    }

private:
    bool _AtEnd() const { return Check(sd_bus_message_at_end(_message, false), "look ahead") > 0; }

    WireValue _Read() {
        char type = 0;
        const char* contents = nullptr;
        Check(sd_bus_message_peek_type(_message, &type, &contents), "look at a value");
        if (type == 'a' || type == 'r' || type == 'v')
            return _ReadContainer(type, contents);
        return _ReadBasic(type);
    }

    WireValue _ReadContainer(char type, const std::string& contents) {
        Check(sd_bus_message_enter_container(_message, type, contents.c_str()), "enter a container");
        WireValue value;
        if (type == 'v') {
            _variantTypes.push_back(contents);
            value = _Read();
        } else {
            value = contents.starts_with('{') ? _ReadDictionary(contents.substr(1, contents.size() - 2)) : ReadAll();
        }
        Check(sd_bus_message_exit_container(_message), "leave a container");
        return value;
    }

    WireValue _ReadDictionary(const std::string& entry) {
        WireValue dictionary = WireValue::object();
        while (Check(sd_bus_message_enter_container(_message, 'e', entry.c_str()), "enter a dictionary entry") > 0) {
            const WireValue key = _Read();
            dictionary[key.is_string() ? key.get<std::string>() : key.dump()] = _Read();
            Check(sd_bus_message_exit_container(_message), "leave a dictionary entry");
        }
        return dictionary;
    }

    template <typename Raw>
    WireValue _ReadAs(char type) {
        Raw value{};
        Check(sd_bus_message_read_basic(_message, type, &value), "read a value");
        return value;
    }

    WireValue _ReadBasic(char type) {
        switch (type) {
        case 'b':
            return _ReadAs<int>(type) != 0;
        case 'y':
            return _ReadAs<uint8_t>(type);
        case 'n':
            return _ReadAs<int16_t>(type);
        case 'q':
            return _ReadAs<uint16_t>(type);
        case 'i':
            return _ReadAs<int32_t>(type);
        case 'u':
            return _ReadAs<uint32_t>(type);
        case 'x':
            return _ReadAs<int64_t>(type);
        case 't':
            return _ReadAs<uint64_t>(type);
        case 'd':
            return _ReadAs<double>(type);
        default:
            return _ReadAs<const char*>(type);
        }
    }

    sd_bus_message* const _message;
    std::vector<std::string>& _variantTypes;
};

} // namespace

WireArguments WireArguments::Of(sd_bus_message* message) {
    WireArguments arguments;
    arguments.signature = sd_bus_message_get_signature(message, true);
    Check(sd_bus_message_rewind(message, true), "read from the start");
    arguments.values = Reader(message, arguments.variantTypes).ReadAll();
    return arguments;
}

} // namespace Testing
