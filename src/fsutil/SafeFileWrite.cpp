#include "fsutil/SafeFileWrite.h"

#include "fsutil/FileDescriptor.h"
#include "fsutil/GuardedFs.h"
#include "fsutil/HiddenFiles.h"
#include "fsutil/Paths.h"
#include "fsutil/SystemCalls.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <optional>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

namespace JobsManagerD {
namespace {

constexpr unsigned readableAndWritable = 0666;

enum class Backup {
    /// It holds what the file holds, on the medium.
    kept,
    /// There is none, or an older one, and nobody can help it.
    none,
    /// The medium takes no more.
    failed,
};

/// What the file held before, as far as it is known.
struct Before {
    bool exists = false;
    std::optional<std::string> text;
};

/// True when a plain file, or nothing, stands at `path`, so that writing there changes nothing else.
bool IsPlainFileOrNothing(const std::string& path) {
    struct stat64 status {};
    return lstat64(path.c_str(), &status) != 0 || S_ISREG(status.st_mode);
}

bool WriteAndSync(int file, const std::string& text) { return WriteAll(file, text) && systemCalls.sync(file) == 0; }

Backup WriteBackup(const std::string& path, const std::string& backup, const std::string& text) {
    const auto reported = [&](int error) {
        syslog(LOG_ERR, "TryFsCopyFile - error copying %s to %s: %s", path.c_str(), backup.c_str(), strerror(error));
        return error;
    };
    const FileDescriptor file(
        OpenWithoutWaiting(backup, O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW, readableAndWritable));
    if (!file)
        return reported(errno) == ENOSPC ? Backup::failed : Backup::none;
    if (WriteAndSync(file.Get(), text))
        return Backup::kept;
    reported(errno);
    // Half a backup helps nobody, and takes room that the medium may be short of.
    systemCalls.remove(backup.c_str());
    return Backup::failed;
}

Backup KeepBackup(const std::string& path, Before& before) {
    bool error = false;
    const bool exists = TryFsExists(path, error);
    // One that cannot be asked for is left where it is.
    before.exists = exists || error;
    if (!exists)
        return Backup::none;
    const std::string backup = BackupPath(path);
    std::string text;
    const bool isReadable = ReadFile(path, text) == FileReading::whole;
    if (isReadable)
        before.text = std::move(text);
    const Backup kept =
        isReadable && IsPlainFileOrNothing(backup) ? WriteBackup(path, backup, *before.text) : Backup::none;
    if (kept != Backup::kept)
        syslog(LOG_ERR, "%s - Could not copy %s to %s", "SafeFileWrite", path.c_str(), backup.c_str());
    else if (hideJobFiles && IsOnFat(backup) && !MakeHidden(backup))
        syslog(LOG_ERR, "%s - Couldn't set hidden bit on file %s - not on FAT based FS?", "SafeFileWrite",
               path.c_str());
    return kept;
}

/// True when what stood at `path` stands there again, on the medium.
bool PutBack(const std::string& path, int file, const Before& before) {
    if (!before.exists)
        return systemCalls.remove(path.c_str()) == 0;
    return before.text && lseek64(file, 0, SEEK_SET) == 0 && WriteAll(file, *before.text) &&
           ftruncate64(file, static_cast<off64_t>(before.text->size())) == 0 && systemCalls.sync(file) == 0;
}

bool Rewrite(const std::string& path, const std::string& contents, Backup backup, const Before& before, bool& isTorn) {
    // Truncation gives the file's room away, to a recording beside it perhaps. Where no backup holds the old text, it
    // must be possible to put it back.
    const bool isOnlyCopy = before.text && backup != Backup::kept;
    const int flags = O_WRONLY | O_CREAT | O_NOFOLLOW | (isOnlyCopy ? 0 : O_TRUNC);
    const FileDescriptor file(IsPlainFileOrNothing(path) ? OpenWithoutWaiting(path, flags, readableAndWritable) : -1);
    if (!file) {
        syslog(LOG_ERR, "%s - Could not open %s for truncating write", "SafeFileWrite", path.c_str());
        return false;
    }
    const bool written = WriteAll(file.Get(), contents) &&
                         (!isOnlyCopy || ftruncate64(file.Get(), static_cast<off64_t>(contents.size())) == 0) &&
                         systemCalls.sync(file.Get()) == 0;
    if (!written)
        syslog(LOG_ERR, "%s - Exception writing to %s", "SafeFileWrite", path.c_str());
    isTorn = !written && !PutBack(path, file.Get(), before);
    return written;
}

} // namespace

bool SafeFileWrite(const std::string& path, const std::string& contents, bool& isTorn) {
    if (contents.size() > longestFile) {
        syslog(LOG_ERR, "%s - %zu bytes are too long for %s", "SafeFileWrite", contents.size(), path.c_str());
        return false;
    }
    Before before{true, std::nullopt};
    const Backup backup = isTorn ? Backup::kept : KeepBackup(path, before);
    if (backup == Backup::failed)
        return false;
    const bool written = Rewrite(path, contents, backup, before, isTorn);
    if (hideJobFiles && IsOnFat(path) && !MakeHidden(path))
        syslog(LOG_ERR, "%s - Couldn't write set hidden bit on file %s - not on FAT based FS?", "SafeFileWrite",
               path.c_str());
    return written;
}

} // namespace JobsManagerD
