#pragma once

#include "peers/buslink/Utf8.h"

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <systemd/sd-bus.h>
#include <tuple>
#include <vector>

// C++ values on the bus. Functions of a message: they belong to the thread that has it.

namespace Buslink {

/// The bus drops the connection that sends a message above its limit, which is 32 MiB. So much may the values of one
/// message take; the rest is for its header.
inline constexpr size_t largestMessage = size_t{31} * 1024 * 1024;

/// What may still be put into a message. The values of a message that several calls fill, such as the properties of a
/// device, share one.
class Room {
public:
    /// False, and nothing is taken, when there is not that much left.
    bool Take(size_t bytes) {
        if (bytes > _left)
            return false;
        _left -= bytes;
        return true;
    }

private:
    size_t _left = largestMessage;
};

/// The signature of a type, put together by the compiler.
class SignatureText {
public:
    constexpr SignatureText() = default;
    constexpr SignatureText(const char* text) {
        while (*text != '\0')
            _letters.at(_size++) = *text++;
    }

    constexpr SignatureText operator+(const SignatureText& other) const {
        SignatureText sum = *this;
        for (size_t i = 0; i < other._size; ++i)
            sum._letters.at(sum._size++) = other._letters.at(i);
        return sum;
    }
    constexpr bool operator==(std::string_view text) const { return std::string_view(c_str(), _size) == text; }
    constexpr const char* c_str() const { return _letters.data(); }

private:
    /// One more than any signature needs, for the final zero.
    std::array<char, 32> _letters{};
    size_t _size = 0;
};

/// How a C++ type travels: its signature, and reading from and appending to a message. Reading and appending return
/// what sd-bus returns; appending -EMSGSIZE for what there is no room for. A tuple is a structure.
template <typename T>
struct Wire;

/// A type whose memory is what sd-bus reads and writes.
template <typename T, char code>
struct BasicWire {
    static constexpr SignatureText Signature() {
        const char text[] = {code, '\0'};
        return text;
    }
    static int Read(sd_bus_message* message, T& value) { return sd_bus_message_read_basic(message, code, &value); }
    static int Append(sd_bus_message* message, T value, Room& room) {
        return room.Take(sizeof value) ? sd_bus_message_append_basic(message, code, &value) : -EMSGSIZE;
    }
};

// The basic types by their codes.
template <>
struct Wire<uint8_t> : BasicWire<uint8_t, 'y'> {};
template <>
struct Wire<uint16_t> : BasicWire<uint16_t, 'q'> {};
template <>
struct Wire<int32_t> : BasicWire<int32_t, 'i'> {};
template <>
struct Wire<uint32_t> : BasicWire<uint32_t, 'u'> {};
template <>
struct Wire<int64_t> : BasicWire<int64_t, 'x'> {};
template <>
struct Wire<uint64_t> : BasicWire<uint64_t, 't'> {};
template <>
struct Wire<double> : BasicWire<double, 'd'> {};

/// As an int on the wire.
template <>
struct Wire<bool> {
    static constexpr SignatureText Signature() { return "b"; }
    static int Read(sd_bus_message* message, bool& value) {
        int number = 0;
        const int result = sd_bus_message_read_basic(message, 'b', &number);
        value = number != 0;
        return result;
    }
    static int Append(sd_bus_message* message, bool value, Room& room) {
        const int number = value;
        return room.Take(sizeof number) ? sd_bus_message_append_basic(message, 'b', &number) : -EMSGSIZE;
    }
};

/// Bytes that are no UTF-8 go out as U+FFFD, which takes three bytes. A text brings its length and a final zero.
template <>
struct Wire<std::string> {
    static constexpr SignatureText Signature() { return "s"; }
    static int Read(sd_bus_message* message, std::string& value) {
        const char* text = nullptr;
        const int result = sd_bus_message_read_basic(message, 's', &text);
        value = result > 0 ? text : "";
        return result;
    }
    static int Append(sd_bus_message* message, const std::string& value, Room& room) {
        constexpr size_t overhead = 8;
        const std::string text = ValidUtf8(value);
        return room.Take(text.size() + overhead) ? sd_bus_message_append_basic(message, 's', text.c_str()) : -EMSGSIZE;
    }
};

/// Texts alone come as arrays. Reading replaces what was there.
template <>
struct Wire<std::vector<std::string>> {
    static constexpr SignatureText Signature() { return "as"; }
    static int Read(sd_bus_message* message, std::vector<std::string>& value) {
        value.clear();
        int result = sd_bus_message_enter_container(message, 'a', "s");
        for (std::string text; result > 0 && (result = Wire<std::string>::Read(message, text)) > 0;)
            value.push_back(text);
        return result < 0 ? result : sd_bus_message_exit_container(message);
    }
    static int Append(sd_bus_message* message, const std::vector<std::string>& value, Room& room) {
        int result = sd_bus_message_open_container(message, 'a', "s");
        for (const std::string& text : value)
            result = result < 0 ? result : Wire<std::string>::Append(message, text, room);
        return result < 0 ? result : sd_bus_message_close_container(message);
    }
};

/// Reads one value after the other until one fails. A value that is missing is a failure, -ENODATA. Positive on
/// success.
template <typename... Types>
int ReadAll([[maybe_unused]] sd_bus_message* message, Types&... values) {
    int result = 1;
    ((result = result <= 0 ? result : Wire<Types>::Read(message, values)), ...);
    return result == 0 ? -ENODATA : result;
}

/// For a message of which the values are a part: the others share the room.
template <typename... Types>
int AppendWithin([[maybe_unused]] Room& room, [[maybe_unused]] sd_bus_message* message, const Types&... values) {
    int result = 0;
    ((result = result < 0 ? result : Wire<Types>::Append(message, values, room)), ...);
    return result;
}

/// The values are all that the message holds.
template <typename... Types>
int AppendAll(sd_bus_message* message, const Types&... values) {
    Room room;
    return AppendWithin(room, message, values...);
}

/// Of values that stand side by side, as the arguments of a call do.
template <typename... Types>
constexpr SignatureText SignatureOfAll() {
    return (SignatureText() + ... + Wire<Types>::Signature());
}

/// A structure of its members.
template <typename... Types>
struct Wire<std::tuple<Types...>> {
    static constexpr SignatureText Contents() { return SignatureOfAll<Types...>(); }
    static constexpr SignatureText Signature() { return SignatureText("(") + Contents() + ")"; }
    static int Read(sd_bus_message* message, std::tuple<Types...>& value) {
        int result = sd_bus_message_enter_container(message, 'r', Contents().c_str());
        if (result > 0)
            result = std::apply([message](Types&... members) { return ReadAll(message, members...); }, value);
        return result < 0 ? result : sd_bus_message_exit_container(message);
    }
    static int Append(sd_bus_message* message, const std::tuple<Types...>& value, Room& room) {
        int result = sd_bus_message_open_container(message, 'r', Contents().c_str());
        if (result >= 0)
            result = std::apply(
                [message, &room](const Types&... members) { return AppendWithin(room, message, members...); }, value);
        return result < 0 ? result : sd_bus_message_close_container(message);
    }
};

} // namespace Buslink
