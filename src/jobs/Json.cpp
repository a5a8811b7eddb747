#include "jobs/Json.h"

#include <utility>
#include <vector>

using nlohmann::json;

namespace JobsManagerD {
namespace {

/// Dumping and copying recurse, at some hundred bytes of stack a level.
constexpr size_t deepestNesting = 1000;
/// A job file wraps user data in the job, its media list and an item, and must still be read.
constexpr size_t deepestUserData = deepestNesting - 3;

bool IsNestedTooDeeply(const std::string& text, size_t deepest) {
    size_t depth = 0;
    bool inString = false;
    for (size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (inString) {
            if (c == '\\')
                ++i;
            else if (c == '"')
                inString = false;
        } else if (c == '"') {
            inString = true;
        } else if (c == '[' || c == '{') {
            if (++depth > deepest)
                return true;
        } else if ((c == ']' || c == '}') && depth > 0) {
            --depth;
        }
    }
    return false;
}

bool IsReadableUserData(const json& value) { return value.is_object() || value.is_array() || IsNonEmptyString(value); }

} // namespace

bool HasKey(const json& value, const char* key) { return value.is_object() && value.contains(key); }

bool IsNonEmptyString(const json& value) { return value.is_string() && !value.get_ref<const std::string&>().empty(); }

std::string JsonValueAsText(const json& value) {
    if (value.is_object())
        return CompactDump(value);
    return IsNonEmptyString(value) ? value.get<std::string>() : std::string();
}

std::string CompactDump(const json& value) { return value.dump(-1, ' ', false, json::error_handler_t::replace); }

json ParseJson(const std::string& text) {
    if (IsNestedTooDeeply(text, deepestNesting))
        throw json::parse_error::create(101, text.size(), "nesting is too deep", nullptr);
    return json::parse(text);
}

json UserDataToJson(const std::string& userData, jsonMode mode) {
    if (IsNestedTooDeeply(userData, deepestUserData))
        return userData;
    json value = json::parse(userData, nullptr, false);
    const bool kept = !value.is_discarded() && (mode == JSON_MODE_CLIENT || IsReadableUserData(value));
    return kept ? value : json(userData);
}

} // namespace JobsManagerD
