#include "device/FailingFilesystem.h"

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

/// Calls left until the one that fails; 0 when none is to.
std::atomic<int> callsLeft{0};

bool FailsNow() {
    if (callsLeft <= 0 || --callsLeft != 0)
        return false;
    callsLeft = -1;
    errno = EIO;
    return true;
}

/// Calls the C library's function of that name, unless the call is to fail.
template <typename Function, typename Result, typename... Arguments>
Result Forward(Function*, const char* name, Result failure, Arguments... arguments) {
    return FailsNow() ? failure : reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name))(arguments...);
}

/// Of writes and syncs those that go to files count: sockets and events are written to all the time.
bool IsFile(int descriptor) {
    struct stat64 status {};
    return callsLeft > 0 && fstat64(descriptor, &status) == 0 && S_ISREG(status.st_mode);
}

using Open = int (*)(int, const char*, int, mode_t);

/// Opening for reading is not counted: the process opens much that has nothing to do with a card.
int ForwardOpen(const char* name, int folder, const char* path, int flags, mode_t mode) {
    if ((flags & O_CREAT) != 0 && FailsNow())
        return -1;
    return reinterpret_cast<Open>(dlsym(RTLD_NEXT, name))(folder, path, flags, mode);
}

} // namespace

namespace Testing {

FailingFilesystem::FailingFilesystem(int number) { callsLeft = number; }
FailingFilesystem::~FailingFilesystem() { callsLeft = 0; }
bool FailingFilesystem::HasFailed() const { return callsLeft < 0; }

} // namespace Testing

// These take the places of the C library's, for the C++ library's path functions too.
extern "C" {

int mkdir(const char* path, mode_t mode) noexcept { return Forward(&mkdir, "mkdir", -1, path, mode); }

int mkdirat(int folder, const char* path, mode_t mode) noexcept {
    return Forward(&mkdirat, "mkdirat", -1, folder, path, mode);
}

int rename(const char* from, const char* to) noexcept { return Forward(&rename, "rename", -1, from, to); }

int unlink(const char* path) noexcept { return Forward(&unlink, "unlink", -1, path); }

int unlinkat(int folder, const char* path, int flags) noexcept {
    return Forward(&unlinkat, "unlinkat", -1, folder, path, flags);
}

int rmdir(const char* path) noexcept { return Forward(&rmdir, "rmdir", -1, path); }

ssize_t copy_file_range(int from, off64_t* fromOffset, int to, off64_t* toOffset, size_t length, unsigned flags) {
    return Forward(&copy_file_range, "copy_file_range", ssize_t{-1}, from, fromOffset, to, toOffset, length, flags);
}

ssize_t sendfile64(int to, int from, off64_t* offset, size_t length) noexcept {
    return Forward(&sendfile64, "sendfile64", ssize_t{-1}, to, from, offset, length);
}

ssize_t write(int descriptor, const void* from, size_t size) {
    static const auto forward = reinterpret_cast<decltype(&write)>(dlsym(RTLD_NEXT, "write"));
    return IsFile(descriptor) && FailsNow() ? -1 : forward(descriptor, from, size);
}

int ftruncate64(int descriptor, off64_t size) noexcept {
    return Forward(&ftruncate64, "ftruncate64", -1, descriptor, size);
}

int fsync(int descriptor) { return Forward(&fsync, "fsync", -1, descriptor); }

int syncfs(int descriptor) noexcept { return Forward(&syncfs, "syncfs", -1, descriptor); }

DIR* fdopendir(int descriptor) { return Forward(&fdopendir, "fdopendir", static_cast<DIR*>(nullptr), descriptor); }

int openat(int folder, const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    return ForwardOpen("openat64", folder, path, flags, mode);
}
}
