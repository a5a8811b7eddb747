#pragma once

#include "codes/ReturnCodes.h"

#include <string>

namespace JobsManagerD {

/// What a text is compared with, and how. Without case only ASCII letters fold.
struct SearchTerm {
    matchCriterion_e criterion = MATCH_CONTAINS;
    std::string text;
    bool isCaseSensitive = false;

    /// An empty term is contained in and starts every text. False for a criterion outside the enumeration.
    bool Matches(const std::string& candidate) const;
};

} // namespace JobsManagerD
