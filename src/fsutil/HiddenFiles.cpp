#include "fsutil/HiddenFiles.h"

#include "fsutil/FileDescriptor.h"
#include "fsutil/Paths.h"
#include "fsutil/SystemCalls.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <linux/msdos_fs.h>
#include <sys/statfs.h>
#include <syslog.h>

namespace JobsManagerD {
namespace {

bool AddHiddenAttribute(int descriptor, const std::string& path) {
    uint32_t attributes = 0;
    if (systemCalls.getFatAttributes(descriptor, &attributes) < 0) {
        syslog(LOG_ERR, "MakeHidden: Failed to read FAT attributes - %s", path.c_str());
        return false;
    }
    attributes |= ATTR_HIDDEN;
    if (systemCalls.setFatAttributes(descriptor, &attributes) < 0) {
        syslog(LOG_ERR, "MakeHidden: Failed to write FAT attributes - %s", path.c_str());
        return false;
    }
    return true;
}

} // namespace

bool IsOnFat(const std::string& path) {
    struct statfs64 status {};
    return systemCalls.statFilesystem(path.c_str(), &status) == 0 && status.f_type == MSDOS_SUPER_MAGIC;
}

bool MakeHidden(const std::string& path) {
    FileDescriptor file(OpenWithoutWaiting(path, O_RDONLY | O_APPEND | O_NOFOLLOW));
    if (!file) {
        syslog(LOG_ERR, "MakeHidden: Failed to open file - %s", path.c_str());
        return false;
    }
    const bool hidden = AddHiddenAttribute(file.Get(), path);
    if (!file.Close())
        syslog(LOG_ERR, "MakeHidden: Failed to close file - %s", path.c_str());
    return hidden;
}

int CheckHidden(const std::string& path) {
    if (FileName(path).at(0) == '.')
        return 1;
    if (!IsOnFat(path))
        return 0;

    FileDescriptor file(OpenWithoutWaiting(path, O_RDONLY | O_APPEND));
    if (!file) {
        syslog(LOG_ERR, "CheckHidden: Failed to open file - %s", path.c_str());
        return -1;
    }
    uint32_t attributes = 0;
    if (systemCalls.getFatAttributes(file.Get(), &attributes) < 0) {
        syslog(LOG_ERR, "CheckHidden: Failed to read FAT attributes - %s", path.c_str());
        return -1;
    }
    if (attributes & ATTR_HIDDEN)
        return 1;
    if (!file.Close())
        syslog(LOG_ERR, "CheckHidden: Failed to close file - %s", path.c_str());
    return 0;
}

bool CreateHiddenFile(const std::string& path) {
    constexpr unsigned writeAndSearchByOwner = 0300;
    FileDescriptor file(OpenWithoutWaiting(path, O_CREAT | O_WRONLY | O_TRUNC | O_NOFOLLOW, writeAndSearchByOwner));
    if (!file)
        return false;
    if (IsOnFat(DirectoryPart(path))) {
        uint32_t attributes = 0;
        if (systemCalls.getFatAttributes(file.Get(), &attributes) < 0)
            return false;
        attributes |= ATTR_HIDDEN;
        if (systemCalls.setFatAttributes(file.Get(), &attributes) < 0)
            return false;
    }
    return file.Close();
}

} // namespace JobsManagerD
