#pragma once

#include <string>

namespace Buslink {

/// The text with each byte that is no UTF-8, or belongs to a noncharacter, replaced by U+FFFD: a message takes nothing
/// else.
std::string ValidUtf8(const std::string& text);

} // namespace Buslink
