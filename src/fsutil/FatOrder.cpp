#include "fsutil/FatOrder.h"

#include "fsutil/GuardedFs.h"
#include "fsutil/HiddenFiles.h"
#include "fsutil/Sync.h"

#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace JobsManagerD {
namespace {

/// Far below what a process may have open.
constexpr size_t mostHeld = 256;

int OpenForRemoval(int folder, const char* name) {
    return openat(folder, name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
}

bool IsFolder(const FileDescriptor& file) {
    struct stat64 status {};
    return file && fstat64(file.Get(), &status) == 0 && S_ISDIR(status.st_mode);
}

} // namespace

std::error_code SyncNewFolder(const std::string& parent, const std::string& bystander) {
    if (!IsOnFat(parent))
        return {};
    if (!bystander.empty())
        SyncFile(bystander);
    // The kernel keeps the first contents of a folder with the one above it, ahead of the entry.
    return SyncFolder(parent);
}

TreeRemoval::TreeRemoval(std::string mountPoint) : _mountPoint(std::move(mountPoint)), _isOnFat(IsOnFat(_mountPoint)) {}

bool TreeRemoval::RemoveAll(const std::string& path) {
    if (_isOnFat && _Remove(AT_FDCWD, path.c_str()))
        return true;
    bool error = false;
    return TryFsRemoveAll(path, error) && !error;
}

void TreeRemoval::RemoveEmptyFolder(const std::string& path) {
    FileDescriptor folder(_isOnFat ? OpenForRemoval(AT_FDCWD, path.c_str()) : -1);
    if (rmdir(path.c_str()) == 0 && folder)
        _Hold(std::move(folder));
}

bool TreeRemoval::_Remove(int folder, const char* name) {
    FileDescriptor file(OpenForRemoval(folder, name));
    const bool isFolder = IsFolder(file);
    if (isFolder && !_RemoveContents(file.Get()))
        return false;
    if (unlinkat(folder, name, isFolder ? AT_REMOVEDIR : 0) != 0)
        return false;
    if (file)
        _Hold(std::move(file));
    return true;
}

bool TreeRemoval::_RemoveContents(int folder) {
    const std::unique_ptr<DIR, int (*)(DIR*)> listing(fdopendir(dup(folder)), closedir);
    if (!listing)
        return false;
    while (const dirent64* const entry = readdir64(listing.get())) {
        const std::string_view name = entry->d_name;
        if (name != "." && name != ".." && !_Remove(folder, entry->d_name))
            return false;
    }
    return true;
}

void TreeRemoval::_Hold(FileDescriptor removed) {
    _held.push_back(std::move(removed));
    if (_held.size() >= mostHeld)
        Finish();
}

/// Without the syncs having succeeded the clusters are given back all the same: a medium that fails keeps nothing in
/// order.
void TreeRemoval::Finish() {
    if (_held.empty())
        return;
    SyncFilesystem(_mountPoint);
    SyncFolder(_mountPoint);
    _held.clear();
}

} // namespace JobsManagerD
