#pragma once

#include "device/Trash.h"
#include "jobfiles/JobFiles.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <sys/types.h>

namespace JobsManagerD {

/// The medium of one device, from the moment it was mounted until it is taken away. A card that comes back is another
/// one, which shares the trash folder and the locks of the job files with those before it.
///
/// Threads: any, once the mount point is set.
class Card {
public:
    /// To be called once, before the card is shared.
    void SetMountPoint(const std::string& path);

    const std::string& MountPoint() const { return _mountPoint; }
    const std::shared_ptr<Trash>& TrashFolder() const { return _trash; }
    const JobFiles& Files() const { return *_jobFiles; }

    /// False once the medium is no longer mounted: what would be written then lands on the unit's own disk, or on the
    /// card that comes next.
    bool IsThere() const;
    /// The storage service has told of its removal.
    void TakeAway() { _isTakenAway = true; }
    bool IsTakenAway() const { return _isTakenAway; }

    /// Bytes that are free for an ordinary user. False, with a line, when the card cannot tell.
    bool FreeBytes(uint64_t& bytes) const;

private:
    std::string _mountPoint;
    std::shared_ptr<Trash> _trash;
    std::shared_ptr<const JobFiles> _jobFiles;
    /// A filesystem of its own was mounted there when the device came, as it is but for a unit that is simulated.
    bool _isMountPoint = false;
    dev_t _filesystem = 0;
    std::atomic<bool> _isTakenAway{false};
};

} // namespace JobsManagerD
