#pragma once

#include <chrono>

namespace Testing {

/// How long a test waits for an event before it counts as missing. Never the measure of anything: it is generous, for
/// a sanitizer build on a busy machine.
inline constexpr std::chrono::seconds deadline{60};

} // namespace Testing
