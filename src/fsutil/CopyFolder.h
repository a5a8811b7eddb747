#pragma once

#include "fsutil/Sync.h"

#include <functional>
#include <string>
#include <system_error>
#include <vector>

namespace JobsManagerD {

/// Files that lie in a folder itself, and are copied by somebody who knows more of them.
struct CopiedApart {
    std::vector<std::string> names;
    /// Copies those of the files that exist into the open folder.
    std::function<std::error_code(int folder)> copy;
};

/// Copies what a folder holds, with all that lies below, into another one, which exists and holds nothing of these
/// names. Files keep their modification time. Symbolic links are copied as links, never followed: they may lead off the
/// card, or round in a circle. An empty file that may not be read is made anew. The first failure ends the copy and is
/// returned; what was copied stays. A FIFO, a socket or a device among the files is such a failure.
std::error_code CopyFolderContents(const std::string& from, const std::string& to, const CopiedApart& apart = {});

/// Makes the folders of a copy before its files, where the filesystem of `to` needs them on the medium first: on FAT.
/// `to` has been made and is on the medium; for `bystander` see SyncNewFolder.
std::error_code MakeFoldersOf(const std::string& from, const std::string& to, const std::string& bystander);

/// Brings such a copy up to date with an original that has changed since: as copying anew, but files whose size and
/// modification time are the same stay.
std::error_code RefreshFolderContents(const std::string& from, const std::string& to, const CopiedApart& apart = {});

} // namespace JobsManagerD
