#include "fsutil/SystemCalls.h"

#include <cstdio>
#include <dirent.h>
#include <fcntl.h>
#include <linux/msdos_fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <unistd.h>

namespace JobsManagerD {

const SystemCalls kernelCalls{
    [](int descriptor, uint32_t* attributes) { return ioctl(descriptor, FAT_IOCTL_GET_ATTRIBUTES, attributes); },
    [](int descriptor, const uint32_t* attributes) { return ioctl(descriptor, FAT_IOCTL_SET_ATTRIBUTES, attributes); },
    [](const char* path, struct statfs64* result) { return statfs64(path, result); },
    [](int folder, const char* path, int flags, unsigned mode) { return openat(folder, path, flags, mode); },
    [](int folder, void* entries, size_t size) { return getdents64(folder, entries, size); },
    [](int descriptor, void* to, size_t size) { return read(descriptor, to, size); },
    [](int descriptor, const void* from, size_t size) { return write(descriptor, from, size); },
    [](int folder, const char* path, unsigned mode) { return mkdirat(folder, path, mode); },
    [](const char* from, const char* to) { return rename(from, to); },
    [](const char* path) { return unlink(path); },
    [](int descriptor) { return fsync(descriptor); },
    [](int descriptor) { return syncfs(descriptor); },
};

SystemCalls systemCalls = kernelCalls;

} // namespace JobsManagerD
