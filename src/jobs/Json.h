#pragma once

#include "jobs/JsonMode.h"

#include <nlohmann/json.hpp>

#include <cmath>
#include <limits>
#include <string>
#include <string_view>

namespace JobsManagerD {

/// True only when `value` is an object that holds `key`.
bool HasKey(const nlohmann::json& value, const char* key);

bool IsNonEmptyString(const nlohmann::json& value);

/// An object as its compact dump, a non-empty string as it stands, anything else as the empty text.
std::string JsonValueAsText(const nlohmann::json& value);

/// One line without indentation, keys in ascending byte order. Bytes that are no UTF-8 are replaced by U+FFFD.
std::string CompactDump(const nlohmann::json& value);

/// The deepest nesting that is read, by any parser: dumping and copying recurse, at some hundred bytes of stack a
/// level.
constexpr size_t deepestNesting = 1000;

/// What a document may take in memory beside its text, in bytes: that of a job with 40,000 media items. The text of a
/// file of 2 MiB never takes more.
constexpr size_t largestDocument = size_t{256} * 1024 * 1024;

/// At least what the document of that text takes in memory, in bytes.
size_t DocumentSize(const std::string& text);

/// Strict parse of a whole text. Throws nlohmann::json::exception; a number that no type holds, and a document that is
/// nested too deeply or takes too much memory, count as errors too.
nlohmann::json ParseJson(const std::string& text);

/// The same, with the same verdict, for a reader of the top level: of an object only the members are kept whose keys
/// are wanted, and of an array nothing. The rest takes no memory.
nlohmann::json ParseJson(const std::string& text, bool (*isWanted)(std::string_view key));

/// The form in which client data goes out, as a compact dump. It is parsed, so that a client's object stays an object;
/// a text that is no JSON is a string. In a job file, a value that the reader would refuse there (a number, a boolean,
/// null, an empty text) is kept as the raw text instead.
std::string UserDataToJson(const std::string& userData, jsonMode mode);

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
