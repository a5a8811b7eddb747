#include "fsutil/SystemCalls.h"

#include <linux/msdos_fs.h>
#include <sys/ioctl.h>
#include <sys/statfs.h>
#include <unistd.h>

namespace JobsManagerD {

const SystemCalls kernelCalls{
    [](int descriptor, uint32_t* attributes) { return ioctl(descriptor, FAT_IOCTL_GET_ATTRIBUTES, attributes); },
    [](int descriptor, const uint32_t* attributes) { return ioctl(descriptor, FAT_IOCTL_SET_ATTRIBUTES, attributes); },
    [](const char* path, struct statfs64* result) { return statfs64(path, result); },
    [](int descriptor) { return fsync(descriptor); },
};

SystemCalls systemCalls = kernelCalls;

} // namespace JobsManagerD
