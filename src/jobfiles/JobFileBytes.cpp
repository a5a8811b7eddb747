#include "jobfiles/JobFileBytes.h"

#include "fsutil/GuardedFs.h"
#include "fsutil/Paths.h"
#include "fsutil/SafeFileWrite.h"
#include "fsutil/Sync.h"
#include "fsutil/SystemCalls.h"

#include <cerrno>
#include <fcntl.h>
#include <optional>
#include <sys/stat.h>
#include <syslog.h>

namespace JobsManagerD {
namespace {

/// Most job files fit, with the room behind them that parsing takes.
constexpr size_t usualFileSize = 16 * 1024;

bool IsStill(const std::string& path, const ReadState& state, JobText& bytes) {
    ReadState now;
    now.reading = ReadFile(path, bytes.text);
    now.Remember(bytes);
    return now.reading == state.reading && now.fingerprint == state.fingerprint;
}

/// A file that is on its way into another folder.
struct Parcel {
    std::string name;
    std::string text;
    mode_t mode = 0;
    timespec modified{};
};

std::error_code LastError() { return {errno, std::generic_category()}; }

std::optional<Parcel> Pack(const std::string& path) {
    Parcel parcel{FileName(path), {}};
    struct stat64 status {};
    if (ReadFile(path, parcel.text) != FileReading::whole || lstat64(path.c_str(), &status) != 0)
        return std::nullopt;
    parcel.mode = status.st_mode & 0777;
    parcel.modified = status.st_mtim;
    return parcel;
}

std::error_code Unpack(const Parcel& parcel, int folder) {
    constexpr int flags = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
    FileDescriptor file(systemCalls.openAt(folder, parcel.name.c_str(), flags, parcel.mode));
    if (!file || !WriteAll(file.Get(), parcel.text))
        return LastError();
    // A medium that cannot keep the time still keeps the file.
    const timespec times[] = {{0, UTIME_OMIT}, parcel.modified};
    futimens(file.Get(), times);
    return file.Close() ? std::error_code() : LastError();
}

} // namespace

void ReadState::Remember(const JobText& bytes) {
    fingerprint = reading == FileReading::whole ? std::hash<std::string>()(bytes.text) : 0;
}

ReadState JobFileBytes::Read(const std::string& path, JobText& bytes) const {
    bytes.Drop();
    bytes.text.reserve(usualFileSize);
    ReadState state;
    for (size_t longest : {largeJobFile, longestFile}) {
        if (longest == longestFile)
            bytes.turn.Take();
        const PathLocks::Held lock(_locks, path);
        state.reading = ReadFile(path, bytes.text, longest);
        state.tornBy = _TornBy(path);
        if (state.reading != FileReading::tooLong)
            break;
    }
    if (state.reading == FileReading::tooLong)
        syslog(LOG_ERR, "JobFileBytes::Read - %s is longer than %zu bytes", path.c_str(), longestFile);
    if (state.reading != FileReading::whole)
        bytes.Drop();
    return state;
}

bool JobFileBytes::Write(const std::string& path, const std::string& contents) {
    const PathLocks::Held lock(_locks, path);
    const bool wasTorn = _TornBy(path) != 0;
    bool isTorn = wasTorn;
    const bool written = SafeFileWrite(path, contents, isTorn);
    if (isTorn || wasTorn)
        _MarkTorn(path, isTorn);
    return written;
}

void JobFileBytes::FoundWhole(const std::string& path, const ReadState& state) {
    if (state.tornBy == 0)
        return;
    const PathLocks::Held lock(_locks, path);
    if (_TornBy(path) == state.tornBy)
        _MarkTorn(path, false);
}

bool JobFileBytes::Recover(const std::string& path, const ReadState& broken, const ReadState& good, JobText& bytes) {
    const PathLocks::Held lock(_locks, path);
    if (!IsStill(path, broken, bytes) || !IsStill(BackupPath(path), good, bytes))
        return false;
    _PutBackupInPlace(path);
    return true;
}

void JobFileBytes::_PutBackupInPlace(const std::string& path) {
    const std::string backup = BackupPath(path);
    syslog(LOG_ERR, "JobFileHandlerJSON::SafeJobOpen - error in job file... falling back to backup");
    const bool isInPlace = systemCalls.rename(backup.c_str(), path.c_str()) == 0;
    // While the good text is in the backup alone, nothing may be copied over it.
    _MarkTorn(path, !isInPlace);
    if (!isInPlace)
        return;
    // On the medium first: a new backup may take the room of the old one there.
    const bool isSafe = !SyncFile(path) && !SyncFolder(DirectoryPart(path));
    bool error = false;
    if (isSafe && TryFsCopyFile(path, backup, error) && !SyncFile(backup))
        return;
    syslog(LOG_ERR, "JobFileHandlerJSON::SafeJobOpen - failed to copy to backup file");
    systemCalls.remove(backup.c_str());
}

std::error_code JobFileBytes::CopyTo(const std::string& path, int folder) const {
    std::optional<Parcel> file;
    std::optional<Parcel> backup;
    {
        const PathLocks::Held lock(_locks, path);
        file = Pack(path);
        backup = Pack(BackupPath(path));
    }
    if (!file)
        return std::make_error_code(std::errc::io_error);
    if (const std::error_code failure = Unpack(*file, folder))
        return failure;
    return backup ? Unpack(*backup, folder) : std::error_code();
}

void JobFileBytes::_MarkTorn(const std::string& path, bool isTorn) {
    const Locks::LockGuard lock(_tornMutex);
    if (isTorn)
        _torn[path] = ++_tears;
    else
        _torn.erase(path);
}

uint64_t JobFileBytes::_TornBy(const std::string& path) const {
    const Locks::LockGuard lock(_tornMutex);
    const auto found = _torn.find(path);
    return found == _torn.end() ? 0 : found->second;
}

} // namespace JobsManagerD
