#pragma once

#include "libjobsdaemon/Export.h"

namespace libjobsdaemon {

/// The version of the library that the program runs with, as "1.0.0".
[[nodiscard]] LIBJOBSDAEMON_EXPORT const char* LibraryVersion() noexcept;

} // namespace libjobsdaemon
