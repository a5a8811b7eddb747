#pragma once

#include "jobfiles/SearchTerm.h"
#include "jobs/FastJson.h"

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
    /// Where in the term its rarest character stands, and the one or two forms of that.
    size_t _pivotPlace = 0;
    std::string _pivots;
    /// With which private notes may be decoded at the present place.
    std::vector<std::string> _keys;
    FastJsonParser _parser;
    std::string _text;
    /// False when no string of the present file contains the term.
    bool _stringsMayHold = true;
};

} // namespace JobsManagerD
