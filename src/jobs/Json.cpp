#include "jobs/Json.h"

#include <algorithm>
#include <vector>

using nlohmann::json;

namespace JobsManagerD {
namespace {

/// A job file wraps user data in the job, its media list and an item, and must still be read.
constexpr size_t deepestUserData = deepestNesting - 3;

/// What the library allocates for each part of a document, with what the allocator adds, in bytes.
constexpr size_t objectCost = 64;
constexpr size_t arrayCost = 48;
constexpr size_t memberCost = 112;
/// A growing array holds its old half and room to grow beside its elements.
constexpr size_t elementCost = 48;
constexpr size_t stringCost = 48;

struct Extent {
    size_t depth = 0;
    size_t bytes = 0;
};

/// Of a text that need not be JSON. Ends where the nesting exceeds `deepest`.
Extent Measure(const std::string& text, size_t deepest) {
    Extent extent{0, text.size()};
    std::vector<char> open;
    for (size_t i = 0; i < text.size(); ++i) {
        switch (text[i]) {
        case '"':
            extent.bytes += stringCost;
            while (++i < text.size() && text[i] != '"')
                i += text[i] == '\\';
            break;
        case '{':
        case '[':
            extent.bytes += text[i] == '{' ? objectCost : arrayCost + elementCost;
            open.push_back(text[i]);
            extent.depth = std::max(extent.depth, open.size());
            if (extent.depth > deepest)
                return extent;
            break;
        case '}':
        case ']':
            if (!open.empty())
                open.pop_back();
            break;
        case ':':
            extent.bytes += memberCost;
            break;
        case ',':
            extent.bytes += open.empty() || open.back() == '[' ? elementCost : 0;
            break;
        default:
            break;
        }
    }
    return extent;
}

void RequireReadable(const std::string& text) {
    const Extent extent = Measure(text, deepestNesting);
    if (extent.depth > deepestNesting)
        throw json::parse_error::create(101, text.size(), "nesting is too deep", nullptr);
    if (extent.bytes > largestDocument)
        throw json::parse_error::create(101, text.size(), "the document takes too much memory", nullptr);
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

size_t DocumentSize(const std::string& text) { return Measure(text, deepestNesting).bytes; }

json ParseJson(const std::string& text) {
    RequireReadable(text);
    return json::parse(text);
}

json ParseJson(const std::string& text, bool (*isWanted)(std::string_view key)) {
    RequireReadable(text);
    return json::parse(text, [isWanted](int depth, json::parse_event_t event, json& parsed) {
        if (event == json::parse_event_t::key)
            return depth != 1 || isWanted(parsed.get_ref<const std::string&>());
        return event != json::parse_event_t::array_start || depth > 0;
    });
}

std::string UserDataToJson(const std::string& userData, jsonMode mode) {
    const Extent extent = Measure(userData, deepestUserData);
    if (extent.depth > deepestUserData || extent.bytes > largestDocument)
        return CompactDump(userData);
    const json value = json::parse(userData, nullptr, false);
    const bool kept = !value.is_discarded() && (mode == JSON_MODE_CLIENT || IsReadableUserData(value));
    return CompactDump(kept ? value : json(userData));
}

} // namespace JobsManagerD
