#pragma once

#include <string>
#include <system_error>

namespace JobsManagerD {

/// Copies what a folder holds, with all that lies below, into another one, which exists and holds nothing of these
/// names. Files keep their modification time. Symbolic links are copied as links, never followed: they may lead off the
/// card, or round in a circle. The first failure ends the copy and is returned; what was copied stays. A FIFO, a
/// socket or a device among the files is such a failure.
std::error_code CopyFolderContents(const std::string& from, const std::string& to);

/// Returns when all that was written to the filesystem that holds `path` is on the medium.
std::error_code SyncFilesystem(const std::string& path);

} // namespace JobsManagerD
