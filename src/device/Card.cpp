#include "device/Card.h"

#include "device/SharedByPath.h"
#include "fsutil/GuardedFs.h"

#include <sys/stat.h>
#include <sys/statvfs.h>
#include <syslog.h>

namespace JobsManagerD {
namespace {

/// Needs no path of its own: the paths of its files say where they lie.
struct SharedJobFiles : JobFiles {
    explicit SharedJobFiles(const std::string&) {}
};

} // namespace

void Card::SetMountPoint(const std::string& path) {
    _mountPoint = path;
    _trash = SharedByPath<Trash>(path);
    _jobFiles = SharedByPath<SharedJobFiles>(path);
    _isMountPoint = IsMountPoint(path);
    struct stat64 status {};
    if (stat64(path.c_str(), &status) == 0)
        _filesystem = status.st_dev;
}

bool Card::IsThere() const {
    if (_isTakenAway)
        return false;
    struct stat64 status {};
    return stat64(_mountPoint.c_str(), &status) == 0 && (!_isMountPoint || status.st_dev == _filesystem);
}

bool Card::FreeBytes(uint64_t& bytes) const {
    struct statvfs64 status {};
    if (statvfs64(_mountPoint.c_str(), &status) != 0) {
        syslog(LOG_ERR, "statvfs64 Unable to retrieve filesystem statistics for: %s", _mountPoint.c_str());
        return false;
    }
    bytes = uint64_t{status.f_bsize} * uint64_t{status.f_bavail};
    return true;
}

} // namespace JobsManagerD
