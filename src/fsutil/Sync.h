#pragma once

#include <string>
#include <system_error>

namespace JobsManagerD {

// Each returns when what it names is on the medium, or the first failure. Blocks for as long as the medium takes.
// Symbolic links are not followed.

/// The bytes of a file.
std::error_code SyncFile(const std::string& path);

/// The entries of a folder. On FAT the sync of a file writes neither its folder's entry nor a new folder's contents.
std::error_code SyncFolder(const std::string& path);

/// All that was written to the filesystem that holds the folder `path`. On FAT this sends the card no flush: a
/// `SyncFile` has to come last.
std::error_code SyncFilesystem(const std::string& path);

/// A job that was made just now, after its first save: its media folder, its folder, the mount point.
std::error_code SyncNewJob(const std::string& mediaFolder, const std::string& jobFolder, const std::string& mountPoint);

} // namespace JobsManagerD
