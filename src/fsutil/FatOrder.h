#pragma once

#include "fsutil/FileDescriptor.h"

#include <string>
#include <system_error>
#include <vector>

namespace JobsManagerD {

// FAT has no journal, and the kernel writes a card back in the order of its blocks: the table first, then folders near
// the front, then those behind. Two states must not be found after a power cut, since the kernel turns the card
// read-only when it meets them: an entry that names a folder whose contents have not been written, and an entry whose
// clusters are free. What stands here keeps both from arising; on other filesystems it adds nothing.

/// Puts a folder that was made just now on the medium: the table, then the folder's contents, then its entry. `parent`
/// is the folder above it. The sync of `bystander` brings the table along: a file or folder that is not new and whose
/// entry does not stand in `parent`; without one, a power cut could come between.
std::error_code SyncNewFolder(const std::string& parent, const std::string& bystander);

/// Removes folders with all they hold. What is removed stays open, and so keeps its clusters, until the medium knows
/// that the entries are gone.
///
/// Threads: one at a time.
class TreeRemoval {
public:
    /// `mountPoint` is where the filesystem of all that will be removed is mounted.
    explicit TreeRemoval(std::string mountPoint);
    TreeRemoval(const TreeRemoval&) = delete;
    TreeRemoval& operator=(const TreeRemoval&) = delete;
    ~TreeRemoval() { Finish(); }

    /// False, with a log line, when something stays. Symbolic links are removed, not followed.
    bool RemoveAll(const std::string& path);
    /// Removes a folder if it is empty; anything else stays, silently.
    void RemoveEmptyFolder(const std::string& path);
    /// Syncs the filesystem and gives the clusters back.
    void Finish();

private:
    bool _Remove(int folder, const char* name);
    bool _RemoveContents(int folder);
    void _Hold(FileDescriptor removed);

    const std::string _mountPoint;
    const bool _isOnFat;
    std::vector<FileDescriptor> _held;
};

} // namespace JobsManagerD
