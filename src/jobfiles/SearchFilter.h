#pragma once

#include "jobfiles/SearchTerm.h"
#include "jobs/FastJson.h"

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace JobsManagerD {

/// Rules out the job files that cannot hold a hit, without building their documents: those in which no text anywhere
/// contains the term, whatever its case and the criterion, and no private notes do with any key that a search decodes
/// them with. What it does not rule out, the search itself decides. One object per thread.
class SearchFilter {
public:
    explicit SearchFilter(const std::string& term);

    /// False for a file that cannot be read or that the fast parser refuses.
    bool RulesOut(const std::string& jobFilePath);

private:
    bool _MayHold(const simdjson::dom::element& value);
    bool _MayHold(const simdjson::dom::object& object);
    bool _MayHoldInNotes(const simdjson::dom::array& bytes) const;
    bool _MayHoldInMedia(const simdjson::dom::element& media);
    bool _Contains(std::string_view text) const;

    /// Folded to lower case.
    std::string _term;
    /// How far a window may move whose last byte is the index.
    std::array<size_t, 256> _skip{};
    /// With which private notes may be decoded at the present place.
    std::vector<std::string> _keys;
    FastJsonParser _parser;
    std::string _text;
};

} // namespace JobsManagerD
