#include "fsutil/Sync.h"

#include "fsutil/FileDescriptor.h"
#include "fsutil/SystemCalls.h"

#include <cerrno>
#include <fcntl.h>

namespace JobsManagerD {
namespace {

std::error_code SyncOpened(const std::string& path, int flags, int (*sync)(int descriptor)) {
    const FileDescriptor opened(OpenWithoutWaiting(path, O_RDONLY | O_NOFOLLOW | flags));
    return opened && sync(opened.Get()) == 0 ? std::error_code() : std::error_code(errno, std::generic_category());
}

} // namespace

std::error_code SyncFile(const std::string& path) { return SyncOpened(path, 0, systemCalls.sync); }

std::error_code SyncFolder(const std::string& path) { return SyncOpened(path, O_DIRECTORY, systemCalls.sync); }

std::error_code SyncFilesystem(const std::string& path) {
    return SyncOpened(path, O_DIRECTORY, systemCalls.syncFilesystem);
}

std::error_code SyncNewJob(const std::string& mediaFolder, const std::string& jobFolder,
                           const std::string& mountPoint) {
    for (const std::string& folder : {mediaFolder, jobFolder, mountPoint})
        if (const std::error_code failure = SyncFolder(folder))
            return failure;
    return {};
}

} // namespace JobsManagerD
