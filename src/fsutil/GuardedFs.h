#pragma once

#include <ctime>
#include <filesystem>
#include <string>

namespace JobsManagerD {

// The guarded filesystem calls. Each clears `error`, and on an error code of the filesystem library logs the path and
// the library's text, sets `error` and returns false. So false with a clear `error` is a plain no, and a set `error`
// means that the question could not be answered. Safe on any thread.

/// A missing file, also one under a missing folder, is a plain no.
bool TryFsExists(const std::string& path, bool& error);
bool TryFsIsDirectory(const std::string& path, bool& error);
bool TryFsIsRegularFile(const std::string& path, bool& error);
/// False with a clear `error` when the folder exists already.
bool TryFsCreateDirectory(const std::string& path, bool& error);
bool TryFsRemove(const std::string& path, bool& error);
/// True when at least one item was removed.
bool TryFsRemoveAll(const std::string& path, bool& error);
bool TryFsCopyFile(const std::string& from, const std::string& to, bool& error,
                   std::filesystem::copy_options options = std::filesystem::copy_options::none);

/// Size of a file in bytes. A missing file has size 0 and is no error; unless `quiet`, it is logged.
uint64_t GetFileSizeBytes(const std::string& path, bool& error, bool quiet);

/// True when another filesystem is mounted there than the one that holds its parent folder. Logs nothing.
bool IsMountPoint(const std::string& path);

/// When a file was last written, in whole seconds. A missing file gives 0 and is no error.
time_t GetFileModificationTime(const std::string& path, bool& error);

/// Removes a folder with all it holds by the plain system calls, for when `TryFsRemoveAll` has failed. Symbolic links
/// are removed, not followed. Stops at the first failure, which it logs.
bool DeleteDir(const std::string& path);

} // namespace JobsManagerD
