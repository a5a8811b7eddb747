#pragma once

#include "codes/ReturnCodes.h"

#include <string>

namespace JobsManagerD {

/// What texts are compared with, and how.
struct SearchTerm {
    matchCriterion_e criterion = MATCH_CONTAINS;
    std::string text;
    bool isCaseSensitive = false;
};

} // namespace JobsManagerD
