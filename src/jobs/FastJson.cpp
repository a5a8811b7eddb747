#include "jobs/FastJson.h"

#include "jobs/Json.h"

namespace dom = simdjson::dom;

namespace JobsManagerD {
namespace {

/// A parser that has seen a larger text gives its storage back.
constexpr size_t keptCapacity = 1024 * 1024;

} // namespace

simdjson::simdjson_result<dom::element> FastJsonParser::Parse(std::string& text) {
    if (_parser.capacity() > keptCapacity)
        _parser = dom::parser();
    // It keeps its depth when it grows, and accepts no nesting that `ParseJson` refuses.
    if (_parser.capacity() == 0)
        if (const auto error = _parser.allocate(dom::MINIMAL_DOCUMENT_CAPACITY, deepestNesting))
            return error;
    const size_t length = text.size();
    text.resize(length + simdjson::SIMDJSON_PADDING);
    auto result = _parser.parse(text.data(), length, false);
    text.resize(length);
    return result;
}

} // namespace JobsManagerD
