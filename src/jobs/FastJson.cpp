#include "jobs/FastJson.h"

namespace dom = simdjson::dom;

namespace JobsManagerD {
namespace {

/// A parser that has seen a larger text gives its storage back.
constexpr size_t keptCapacity = 1024 * 1024;

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

} // namespace JobsManagerD
