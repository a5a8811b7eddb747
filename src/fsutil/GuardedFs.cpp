#include "fsutil/GuardedFs.h"

#include "fsutil/FileDescriptor.h"

#include <cerrno>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace JobsManagerD {
namespace {

template <typename Call>
bool Guarded(const char* message, const std::string& path, bool& error, Call call) {
    std::error_code code;
    const auto result = call(path, code);
    error = static_cast<bool>(code);
    if (!error)
        return result;
    syslog(LOG_ERR, message, path.c_str(), code.message().c_str());
    return false;
}

/// As the library answers it, but without taking the path to pieces: an index run asks twice for every job.
bool Exists(const std::string& path, std::error_code& code) {
    struct stat64 status {};
    if (stat64(path.c_str(), &status) == 0)
        return true;
    if (errno != ENOENT && errno != ENOTDIR)
        code.assign(errno, std::generic_category());
    return false;
}

bool RemoveEntry(const std::string& path) {
    struct stat64 status {};
    if (lstat64(path.c_str(), &status) != 0) {
        syslog(LOG_ERR, "%s: Failed to lstat for filepath %s (%d)", "DeleteDir", path.c_str(), errno);
        return false;
    }
    if (S_ISDIR(status.st_mode))
        return DeleteDir(path);
    if (unlink(path.c_str()) == 0)
        return true;
    syslog(LOG_ERR, "%s: Failed to unlink for filepath %s", "DeleteDir", path.c_str());
    return false;
}

bool RemoveEntries(const std::string& path) {
    // A link in the place of the folder leads elsewhere.
    FileDescriptor descriptor(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    const std::unique_ptr<DIR, int (*)(DIR*)> folder(descriptor ? fdopendir(descriptor.Get()) : nullptr, closedir);
    if (!folder) {
        syslog(LOG_ERR, "%s: Failed to open directory %s", "DeleteDir", path.c_str());
        return false;
    }
    descriptor.Release();
    while (const dirent64* entry = readdir64(folder.get())) {
        const std::string name = entry->d_name;
        if (name != "." && name != ".." && !RemoveEntry(path + "/" + name))
            return false;
    }
    return true;
}

} // namespace

bool TryFsExists(const std::string& path, bool& error) {
    return Guarded("TryFsExists - Filesystem error checking for existence of %s: %s.", path, error, Exists);
}

bool TryFsIsDirectory(const std::string& path, bool& error) {
    return Guarded("TryFsIsDirectory - error %s: %s", path, error,
                   [](const fs::path& p, std::error_code& code) { return fs::is_directory(p, code); });
}

bool TryFsIsRegularFile(const std::string& path, bool& error) {
    return Guarded("TryFsIsRegularFile - error %s: %s", path, error,
                   [](const fs::path& p, std::error_code& code) { return fs::is_regular_file(p, code); });
}

bool TryFsCreateDirectory(const std::string& path, bool& error) {
    return Guarded("TryFsCreateDirectory - error %s: %s", path, error,
                   [](const fs::path& p, std::error_code& code) { return fs::create_directory(p, code); });
}

bool TryFsRemove(const std::string& path, bool& error) {
    return Guarded("TryFsRemove - error removing %s: %s", path, error,
                   [](const fs::path& p, std::error_code& code) { return fs::remove(p, code); });
}

bool TryFsRemoveAll(const std::string& path, bool& error) {
    return Guarded("TryFsRemoveAll - error removing %s: %s", path, error,
                   [](const fs::path& p, std::error_code& code) { return fs::remove_all(p, code) > 0; });
}

bool TryFsCopyFile(const std::string& from, const std::string& to, bool& error, fs::copy_options options) {
    std::error_code code;
    const bool copied = fs::copy_file(from, to, options, code);
    error = static_cast<bool>(code);
    if (error)
        syslog(LOG_ERR, "TryFsCopyFile - error copying %s to %s: %s", from.c_str(), to.c_str(), code.message().c_str());
    return copied && !error;
}

uint64_t GetFileSizeBytes(const std::string& path, bool& error, bool quiet) {
    const bool exists = TryFsExists(path, error);
    if (error) {
        syslog(LOG_ERR, "GetFileSizeBytes - TryFsExists exception for file %s", path.c_str());
        return 0;
    }
    if (!exists) {
        if (!quiet)
            syslog(LOG_ERR, "GetFileSizeBytes - Failed existence check on file %s", path.c_str());
        return 0;
    }
    struct stat64 status {};
    error = stat64(path.c_str(), &status) != 0;
    if (error) {
        syslog(LOG_ERR, "GetFileSizeBytes - stat64 exception for file %s", path.c_str());
        return 0;
    }
    return static_cast<uint64_t>(status.st_size);
}

bool IsMountPoint(const std::string& path) {
    struct stat64 there {};
    struct stat64 above {};
    return stat64(path.c_str(), &there) == 0 && stat64((path + "/..").c_str(), &above) == 0 &&
           there.st_dev != above.st_dev;
}

time_t GetFileModificationTime(const std::string& path, bool& error) {
    if (!TryFsExists(path, error))
        return 0;
    struct stat64 status {};
    error = stat64(path.c_str(), &status) != 0;
    return error ? 0 : status.st_mtime;
}

bool DeleteDir(const std::string& path) {
    if (!RemoveEntries(path))
        return false;
    if (rmdir(path.c_str()) == 0)
        return true;
    syslog(LOG_ERR, "%s: Failed to rmdir for %s", "DeleteDir", path.c_str());
    return false;
}

} // namespace JobsManagerD
