#pragma once

#include "device/ManagedDevice.h"

#include <nlohmann/json.hpp>

namespace JobsManagerD {

/// The last search: what was asked, and what was found.
struct ManagedDevice::SearchRecord {
    nlohmann::json field;
    matchCriterion_e matchCriterion = MATCH_CONTAINS;
    bool caseSensitive = false;
    /// 0 means no limit.
    uint16_t matchLimit = 0;
    std::vector<nlohmann::json> results;
};

} // namespace JobsManagerD
