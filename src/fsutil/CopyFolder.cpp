#include "fsutil/CopyFolder.h"

#include "fsutil/FatOrder.h"
#include "fsutil/FileDescriptor.h"
#include "fsutil/HiddenFiles.h"
#include "fsutil/SystemCalls.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <dirent.h>
#include <fcntl.h>
#include <filesystem>
#include <memory>
#include <string_view>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace JobsManagerD {
namespace {

constexpr size_t mostAtOnce = size_t{1} << 30;

/// A name inside an open folder.
struct Place {
    int folder;
    const char* name;
    /// As a target: what is there already is up to date.
    bool mayExist = false;
};

std::error_code LastError() { return {errno, std::generic_category()}; }

using MoveBytes = ssize_t (*)(int from, int to);

ssize_t MoveInsideKernel(int from, int to) { return copy_file_range(from, nullptr, to, nullptr, mostAtOnce, 0); }

ssize_t MoveThroughPipe(int from, int to) { return sendfile(to, from, nullptr, mostAtOnce); }

bool IsUnsupported(int error) { return error == EXDEV || error == EINVAL || error == ENOSYS || error == EOPNOTSUPP; }

/// The first way of copying works within one kind of filesystem, the second between any two. Ends at `size`, so that
/// the end of the file need not be asked for, or before it where the file has become shorter.
std::error_code CopyBytes(int from, int to, off64_t size) {
    MoveBytes move = MoveInsideKernel;
    while (size > 0) {
        const ssize_t moved = move(from, to);
        if (moved == 0)
            break;
        if (moved > 0)
            size -= moved;
        else if (errno != EINTR && (move == MoveThroughPipe || !IsUnsupported(errno)))
            return LastError();
        else if (errno != EINTR)
            move = MoveThroughPipe;
    }
    return {};
}

constexpr int asNewFile = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;

/// For a target that could not be made: no error when it may be there already, and is.
std::error_code ErrorUnlessThere(const Place& target) {
    return target.mayExist && errno == EEXIST ? std::error_code() : LastError();
}

/// Flags and markers are empty, and not even their owner may read them.
std::error_code CopyUnreadableFile(Place from, Place to) {
    struct stat64 status {};
    if (fstatat64(from.folder, from.name, &status, AT_SYMLINK_NOFOLLOW) != 0)
        return LastError();
    if (!S_ISREG(status.st_mode) || status.st_size != 0)
        return std::make_error_code(std::errc::permission_denied);
    return FileDescriptor(systemCalls.openAt(to.folder, to.name, asNewFile, status.st_mode & 0777))
               ? std::error_code()
               : ErrorUnlessThere(to);
}

std::error_code CopyFile(Place from, Place to) {
    const FileDescriptor source(
        systemCalls.openAt(from.folder, from.name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0));
    if (!source && errno == EACCES)
        return CopyUnreadableFile(from, to);
    struct stat64 status {};
    if (!source || fstat64(source.Get(), &status) != 0)
        return LastError();
    FileDescriptor target(systemCalls.openAt(to.folder, to.name, asNewFile, status.st_mode & 0777));
    if (!target)
        return ErrorUnlessThere(to);
    if (const std::error_code failure = CopyBytes(source.Get(), target.Get(), status.st_size))
        return failure;
    // A medium that cannot keep the time still keeps the file.
    const timespec times[] = {{0, UTIME_OMIT}, status.st_mtim};
    futimens(target.Get(), times);
    return target.Close() ? std::error_code() : LastError();
}

std::error_code CopyLink(Place from, Place to) {
    std::array<char, PATH_MAX> path{};
    const ssize_t length = readlinkat(from.folder, from.name, path.data(), path.size() - 1);
    if (length < 0)
        return LastError();
    return symlinkat(path.data(), to.folder, to.name) != 0 ? ErrorUnlessThere(to) : std::error_code();
}

std::error_code CopyContents(FileDescriptor from, int to, const std::vector<std::string>& but, bool mayExist);

std::error_code CopyFolder(Place from, Place to, mode_t mode) {
    // Its owner has to fill it.
    if (systemCalls.makeFolder(to.folder, to.name, (mode & 0777) | S_IRWXU) != 0)
        if (errno != EEXIST)
            return LastError();
    constexpr int flags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
    FileDescriptor source(systemCalls.openAt(from.folder, from.name, flags, 0));
    const FileDescriptor target(systemCalls.openAt(to.folder, to.name, flags, 0));
    if (!source || !target)
        return LastError();
    return CopyContents(std::move(source), target.Get(), {}, to.mayExist);
}

std::error_code CopyItem(Place from, Place to, unsigned char listedType) {
    if (listedType == DT_REG)
        return CopyFile(from, to);
    struct stat64 status {};
    if (fstatat64(from.folder, from.name, &status, AT_SYMLINK_NOFOLLOW) != 0)
        return LastError();
    switch (status.st_mode & S_IFMT) {
    case S_IFREG:
        return CopyFile(from, to);
    case S_IFDIR:
        return CopyFolder(from, to, status.st_mode);
    case S_IFLNK:
        return CopyLink(from, to);
    default:
        return std::make_error_code(std::errc::not_supported);
    }
}

std::error_code CopyContents(FileDescriptor from, int to, const std::vector<std::string>& but, bool mayExist) {
    const int folder = from.Get();
    const std::unique_ptr<DIR, int (*)(DIR*)> listing(fdopendir(folder), closedir);
    if (!listing)
        return LastError();
    from.Release();
    for (;;) {
        errno = 0;
        const dirent64* const entry = readdir64(listing.get());
        if (!entry)
            return errno == 0 ? std::error_code() : LastError();
        const std::string_view name = entry->d_name;
        if (name == "." || name == ".." || std::ranges::find(but, name) != but.end())
            continue;
        const Place target{to, entry->d_name, mayExist};
        if (const std::error_code failure = CopyItem({folder, entry->d_name}, target, entry->d_type))
            return failure;
    }
}

std::error_code Copy(const std::string& from, const std::string& to, const CopiedApart& apart, bool mayExist) {
    constexpr int flags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;
    FileDescriptor source(systemCalls.openAt(AT_FDCWD, from.c_str(), flags, 0));
    const FileDescriptor target(systemCalls.openAt(AT_FDCWD, to.c_str(), flags, 0));
    if (!source || !target)
        return LastError();
    const std::error_code failure = apart.copy ? apart.copy(target.Get()) : std::error_code();
    return failure ? failure : CopyContents(std::move(source), target.Get(), apart.names, mayExist);
}

/// Removes from a copy what the original has no more, or has otherwise.
void RemoveStale(const fs::path& from, const fs::path& to, const std::vector<std::string>& but) {
    std::error_code ignored;
    for (const fs::directory_entry& copy : fs::directory_iterator(to, ignored)) {
        const fs::path name = copy.path().filename();
        const fs::directory_entry original(from / name, ignored);
        const bool isFolder = copy.symlink_status(ignored).type() == fs::file_type::directory;
        const bool isSame = original.symlink_status(ignored).type() == copy.symlink_status(ignored).type() &&
                            std::ranges::find(but, name.string()) == but.end() &&
                            (isFolder || (original.file_size(ignored) == copy.file_size(ignored) &&
                                          original.last_write_time(ignored) == copy.last_write_time(ignored)));
        if (!isSame)
            fs::remove_all(copy.path(), ignored);
        else if (isFolder)
            RemoveStale(original.path(), copy.path(), {});
    }
}

} // namespace

std::error_code CopyFolderContents(const std::string& from, const std::string& to, const CopiedApart& apart) {
    // Its folders may have been made before.
    return Copy(from, to, apart, false);
}

std::error_code MakeFoldersOf(const std::string& from, const std::string& to, const std::string& bystander) {
    if (!IsOnFat(to))
        return {};
    std::error_code failure;
    for (fs::recursive_directory_iterator entry(from, failure), end; !failure && entry != end;
         entry.increment(failure)) {
        if (entry->symlink_status(failure).type() != fs::file_type::directory)
            continue;
        const fs::path folder = to / entry->path().lexically_relative(from);
        if (fs::create_directory(folder, failure))
            failure = SyncNewFolder(folder.parent_path(), bystander);
    }
    return failure;
}

std::error_code RefreshFolderContents(const std::string& from, const std::string& to, const CopiedApart& apart) {
    RemoveStale(from, to, apart.names);
    return Copy(from, to, apart, true);
}

} // namespace JobsManagerD
