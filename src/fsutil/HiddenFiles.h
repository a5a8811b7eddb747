#pragma once

#include <string>

namespace JobsManagerD {

/// True when `path` lies on a FAT file system; false also when the kernel cannot tell.
bool IsOnFat(const std::string& path);

/// Sets the FAT hidden attribute of a file or folder. The caller has made sure that it lies on FAT: elsewhere the
/// attribute cannot be read and the result is false. Logs its failures.
bool MakeHidden(const std::string& path);

/// 1 hidden (by a leading dot or by the FAT attribute), 0 not hidden, -1 when it cannot be told, which is logged.
/// Throws std::out_of_range for a path without a file name.
int CheckHidden(const std::string& path);

/// Creates an empty marker file, with the FAT hidden attribute where there is one. A symbolic link of that name is a
/// failure. Logs nothing.
bool CreateHiddenFile(const std::string& path);

} // namespace JobsManagerD
