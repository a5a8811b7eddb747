#pragma once

#include <simdjson.h>
#include <string>

namespace JobsManagerD {

/// Parses many JSON texts fast, one after the other, keeping its storage in between. What it accepts has the meaning
/// that `ParseJson` gives it, but for a key that is given twice: both are seen, and the later one counts. What it
/// refuses may still be JSON: `ParseJson` is the judge. One object per
/// thread. A text takes up to 14 times its length: large ones are for `ParseJson`.
class FastJsonParser {
public:
    /// The document, valid until the next call; an error when the text is refused. The text is extended and restored.
    simdjson::simdjson_result<simdjson::dom::element> Parse(std::string& text);

private:
    simdjson::dom::parser _parser;
};

} // namespace JobsManagerD
