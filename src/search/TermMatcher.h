#pragma once

#include "search/SearchTerm.h"

#include <string>
#include <string_view>

namespace JobsManagerD {

/// Compares texts with a term. Without case only ASCII letters fold, and a NUL ends a text, in the term too; with case
/// a NUL is a character. An empty term is contained in and starts every text. Any thread may ask.
class TermMatcher {
public:
    explicit TermMatcher(SearchTerm term);

    /// False for a criterion outside the enumeration.
    bool Matches(std::string_view candidate) const;
    /// False only for a JSON text none of whose strings matches, which costs a fraction of looking at each of them.
    bool MayMatchIn(std::string_view jsonText) const;

private:
    bool _MatchesWithoutCase(std::string_view candidate) const;
    bool _IsContainedIn(std::string_view text) const;

    SearchTerm _term;
    /// Up to its first NUL, in lower case.
    std::string _folded;
    /// Where in `_folded` its rarest character stands, and the one or two forms of that.
    size_t _pivotPlace = 0;
    std::string _pivots;
};

} // namespace JobsManagerD
