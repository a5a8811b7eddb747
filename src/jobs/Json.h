#pragma once

#include "jobs/JsonMode.h"

#include <nlohmann/json.hpp>

#include <cmath>
#include <limits>
#include <string>

namespace JobsManagerD {

/// True only when `value` is an object that holds `key`.
bool HasKey(const nlohmann::json& value, const char* key);

bool IsNonEmptyString(const nlohmann::json& value);

/// An object as its compact dump, a non-empty string as it stands, anything else as the empty text.
std::string JsonValueAsText(const nlohmann::json& value);

/// One line without indentation, keys in ascending byte order. Bytes that are no UTF-8 are replaced by U+FFFD.
std::string CompactDump(const nlohmann::json& value);

/// Strict parse of a whole text. Throws nlohmann::json::exception; a number that no type holds and a nesting that the
/// recursive parts of the library could not come back from count as errors too.
nlohmann::json ParseJson(const std::string& text);

/// The form in which client data goes out. It is parsed, so that a client's object stays an object; a text that is no
/// JSON is a string. In a job file, a value that the reader would refuse there (a number, a boolean, null, an empty
/// text) is kept as the raw text instead.
nlohmann::json UserDataToJson(const std::string& userData, jsonMode mode);

/// The number of a JSON value as `Number`, with the conversion of the language for integers. A fraction outside the
/// range gives the nearest limit. Throws nlohmann::json::type_error for anything that is no number.
template <typename Number>
Number JsonNumber(const nlohmann::json& value) {
    if (!value.is_number())
        throw nlohmann::json::type_error::create(302, std::string("type must be number, but is ") + value.type_name(),
                                                 &value);
    if (!value.is_number_float())
        return value.get<Number>();
    const double number = value.get<double>();
    constexpr double lowest = static_cast<double>(std::numeric_limits<Number>::lowest());
    constexpr double highest = static_cast<double>(std::numeric_limits<Number>::max());
    if (std::isnan(number) || number <= lowest)
        return std::numeric_limits<Number>::lowest();
    return number >= highest ? std::numeric_limits<Number>::max() : static_cast<Number>(number);
}

} // namespace JobsManagerD
