#include "jobs/FastJson.h"

#include "jobs/Json.h"

using nlohmann::json;
namespace dom = simdjson::dom;

namespace JobsManagerD {
namespace {

/// A parser that has seen a larger text gives its storage back.
constexpr size_t keptCapacity = 1024 * 1024;

json ArrayToJson(const dom::array& array) {
    json result = json::array();
    for (const dom::element element : array)
        result.push_back(ToJson(element));
    return result;
}

json ObjectToJson(const dom::object& object) {
    json result = json::object();
    for (const dom::key_value_pair field : object)
        result[std::string(field.key)] = ToJson(field.value);
    return result;
}

/// The general library holds every number that is not negative as an unsigned one.
json IntegerToJson(int64_t number) { return number < 0 ? json(number) : json(static_cast<uint64_t>(number)); }

} // namespace

simdjson::simdjson_result<dom::element> FastJsonParser::Parse(std::string& text) {
    if (_parser.capacity() > keptCapacity)
        _parser = dom::parser();
    const size_t length = text.size();
    text.resize(length + simdjson::SIMDJSON_PADDING);
    auto result = _parser.parse(text.data(), length, false);
    text.resize(length);
    return result;
}

json ToJson(const dom::element& element) {
    switch (element.type()) {
    case dom::element_type::ARRAY: {
        const dom::array array = element.get_array().value_unsafe();
        return ArrayToJson(array);
    }
    case dom::element_type::OBJECT: {
        const dom::object object = element.get_object().value_unsafe();
        return ObjectToJson(object);
    }
    case dom::element_type::INT64:
        return IntegerToJson(element.get_int64().value_unsafe());
    case dom::element_type::UINT64:
        return element.get_uint64().value_unsafe();
    case dom::element_type::DOUBLE:
        return element.get_double().value_unsafe();
    case dom::element_type::STRING:
        return std::string(element.get_string().value_unsafe());
    case dom::element_type::BOOL:
        return element.get_bool().value_unsafe();
    case dom::element_type::NULL_VALUE:
        break;
    }
    return nullptr;
}

} // namespace JobsManagerD
