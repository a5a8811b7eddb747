#pragma once

#include <nlohmann/json_fwd.hpp>

namespace JobsManagerD {

// Validators of the JSON job file. Each logs one line of its own when it returns false, after the lines of the
// validators that it calls. A value that is no object is never valid.

bool HasValidSummaryFields(const nlohmann::json& value);
bool HasValidJobFields(const nlohmann::json& value);
bool HasValidJobDetailFields(const nlohmann::json& value);
bool HasValidMediaFields(const nlohmann::json& value);
bool HasValidMediaFileFields(const nlohmann::json& value);

} // namespace JobsManagerD
