#pragma once

#include "device/ManagedDevice.h"
#include "search/SearchTerm.h"

#include <nlohmann/json.hpp>

namespace JobsManagerD {

/// The last search: what was asked, and what was found.
struct ManagedDevice::SearchRecord {
    nlohmann::json field;
    SearchTerm term;
    /// 0 means no limit.
    uint16_t matchLimit = 0;
    /// Each a JSON object as compact text, which takes far less memory than the values.
    std::vector<std::string> results;
};

} // namespace JobsManagerD
