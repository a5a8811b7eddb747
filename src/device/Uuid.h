#pragma once

#include <string>

namespace JobsManagerD {

/// A random ID for a job or a media item: 36 characters of lower-case hexadecimal digits in the grouping 8-4-4-4-12.
/// The version digit is 4; the variant bits are 110, so that the fourth group begins with c or d.
std::string GenerateUuid();

} // namespace JobsManagerD
