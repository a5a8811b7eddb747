#pragma once

#include <string>

namespace Buslink {

/// The text with each byte that is no UTF-8 replaced by U+FFFD: the bus disconnects a client that sends anything else.
std::string ValidUtf8(const std::string& text);

} // namespace Buslink
