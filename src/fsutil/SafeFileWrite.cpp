#include "fsutil/SafeFileWrite.h"

#include "fsutil/FileDescriptor.h"
#include "fsutil/GuardedFs.h"
#include "fsutil/HiddenFiles.h"
#include "fsutil/Paths.h"
#include "fsutil/SystemCalls.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <syslog.h>

namespace JobsManagerD {
namespace {

/// True when a plain file, or nothing, stands at `path`, so that writing there changes nothing else.
bool IsPlainFileOrNothing(const std::string& path) {
    struct stat64 status {};
    return lstat64(path.c_str(), &status) != 0 || S_ISREG(status.st_mode);
}

void SyncFile(const std::string& path) {
    if (const FileDescriptor file(OpenWithoutWaiting(path, O_RDONLY | O_NOFOLLOW)); file)
        systemCalls.sync(file.Get());
}

void KeepBackup(const std::string& path) {
    const std::string backup = BackupPath(path);
    bool error = false;
    if (!TryFsExists(path, error) || error)
        return;
    const bool copied = IsPlainFileOrNothing(path) && IsPlainFileOrNothing(backup) &&
                        TryFsCopyFile(path, backup, error, std::filesystem::copy_options::overwrite_existing);
    if (!copied || error) {
        syslog(LOG_ERR, "%s - Could not copy %s to %s", "SafeFileWrite", path.c_str(), backup.c_str());
        return;
    }
    SyncFile(backup);
    if (hideJobFiles && IsOnFat(backup) && !MakeHidden(backup))
        syslog(LOG_ERR, "%s - Couldn't set hidden bit on file %s - not on FAT based FS?", "SafeFileWrite",
               path.c_str());
}

bool Rewrite(const std::string& path, const std::string& contents) {
    constexpr unsigned readableAndWritable = 0666;
    const int flags = O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW;
    const FileDescriptor file(IsPlainFileOrNothing(path) ? OpenWithoutWaiting(path, flags, readableAndWritable) : -1);
    if (!file) {
        syslog(LOG_ERR, "%s - Could not open %s for truncating write", "SafeFileWrite", path.c_str());
        return false;
    }
    WriteAll(file.Get(), contents);
    systemCalls.sync(file.Get());
    return true;
}

} // namespace

bool SafeFileWrite(const std::string& path, const std::string& contents) {
    KeepBackup(path);
    const bool written = Rewrite(path, contents);
    if (hideJobFiles && IsOnFat(path) && !MakeHidden(path))
        syslog(LOG_ERR, "%s - Couldn't write set hidden bit on file %s - not on FAT based FS?", "SafeFileWrite",
               path.c_str());
    return written;
}

} // namespace JobsManagerD
