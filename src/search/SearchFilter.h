#pragma once

#include "search/SearchTerm.h"
#include "jobs/FastJson.h"

#include <string>
#include <string_view>

namespace JobsManagerD {

/// Rules out the job files that cannot hold a hit, without building their documents: those in which no text anywhere
/// contains the term, whatever its case and the criterion, and no private notes do with any key that a search decodes
/// them with. What it does not rule out, the search itself decides. Any thread may ask.
class SearchFilter {
public:
    explicit SearchFilter(const std::string& term);

    /// False for a file that cannot be read or that the fast parser refuses.
    bool RulesOut(const std::string& jobFilePath) const;

private:
    struct File;

    bool _MayHold(File& file, const simdjson::dom::element& value) const;
    bool _MayHold(File& file, const simdjson::dom::object& object) const;
    bool _MayHoldInNotes(const File& file, const simdjson::dom::array& bytes) const;
    bool _MayHoldInMedia(File& file, const simdjson::dom::element& media) const;
    bool _Contains(std::string_view text) const;

    /// Folded to lower case.
    std::string _term;
    /// Where in the term its rarest character stands, and the one or two forms of that.
    size_t _pivotPlace = 0;
    std::string _pivots;
};

} // namespace JobsManagerD
