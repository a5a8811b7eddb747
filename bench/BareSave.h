#pragma once

#include <string>

namespace Bench {

/// The system calls of a save and nothing else: the file is copied to its backup, which is synced, then truncated,
/// written and synced. Throws std::system_error.
void BareSave(const std::string& path, const std::string& contents);

} // namespace Bench
