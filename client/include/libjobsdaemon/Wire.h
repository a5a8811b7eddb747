#pragma once

#include "libjobsdaemon/Values.h"

#include <string>
#include <tuple>
#include <type_traits>
#include <variant>
#include <vector>

// How the methods' types become values of a message, and answers come out of them. For JobsManager alone.

namespace libjobsdaemon::Wire {

/// A value of a message: b, y, q, i, u, s, as.
using Value = std::variant<bool, uint8_t, uint16_t, int32_t, uint32_t, std::string, std::vector<std::string>>;

template <typename T>
void Append(std::vector<Value>& values, const T& value) {
    if constexpr (std::is_enum_v<T>)
        values.emplace_back(static_cast<std::underlying_type_t<T>>(value));
    else
        values.emplace_back(value);
}

inline void Append(std::vector<Value>& values, const RecordingFiles& files) {
    for (const std::string* path : {&files.main, &files.recovery, &files.third, &files.miscData})
        values.emplace_back(*path);
}

inline void Append(std::vector<Value>& values, const Readings& readings) {
    for (const Angle* angle : {&readings.roll, &readings.inclinometer}) {
        values.emplace_back(angle->isPresent);
        values.emplace_back(angle->degrees);
    }
    values.emplace_back(readings.distance.isPresent);
    values.emplace_back(readings.distance.absolute);
    values.emplace_back(readings.distance.relative);
}

template <typename T>
constexpr char CodeOf() {
    if constexpr (std::is_enum_v<T>)
        return CodeOf<std::underlying_type_t<T>>();
    else if constexpr (std::is_same_v<T, bool>)
        return 'b';
    else if constexpr (std::is_same_v<T, uint8_t>)
        return 'y';
    else if constexpr (std::is_same_v<T, int32_t>)
        return 'i';
    else {
        static_assert(std::is_same_v<T, std::string>, "no answer has this type");
        return 's';
    }
}

template <typename T>
T Take(const Value& value) {
    if constexpr (std::is_enum_v<T>)
        return static_cast<T>(std::get<std::underlying_type_t<T>>(value));
    else
        return std::get<T>(value);
}

/// An answer of several values, which is one structure on the wire.
template <typename Result, typename = void>
struct Form {
    static std::string Signature() { return {CodeOf<Result>()}; }
    static Result Read(const std::vector<Value>& values) { return Take<Result>(values.at(0)); }
};

template <typename Result>
struct Form<Result, std::void_t<typename Result::Members>> {
    template <typename Types>
    struct Of;

    template <typename... Types>
    struct Of<std::tuple<Types...>> {
        static std::string Signature() { return {'(', CodeOf<Types>()..., ')'}; }
        static Result Read(const std::vector<Value>& values) {
            size_t at = 0;
            return Result{Take<Types>(values.at(at++))...};
        }
    };

    static std::string Signature() { return Of<typename Result::Members>::Signature(); }
    static Result Read(const std::vector<Value>& values) { return Of<typename Result::Members>::Read(values); }
};

template <typename Result>
std::string ReplySignature() {
    return Form<Result>::Signature();
}

template <typename Result>
Result Read(const std::vector<Value>& values) {
    return Form<Result>::Read(values);
}

} // namespace libjobsdaemon::Wire
