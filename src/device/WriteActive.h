#pragma once

#include "codes/Mutex.h"

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace JobsManagerD {

/// The reasons for which one device's card is being written. A reason counts once; the storage service hears of the
/// first one that any device object of the card adds, and of the last one that is removed.
///
/// Threads: any, once the path is set. The lock is held over the call to the storage service, which has to hear the two
/// in order.
class WriteActive {
public:
    /// Bus path of the card at the storage service.
    void SetStoragePath(const std::string& path);

    /// Adds the reason, or removes it.
    void Set(const std::string& reason, bool active);
    /// The same, by what `isActive` says once it is this caller's turn.
    void Follow(const std::string& reason, const std::function<bool()>& isActive);

private:
    /// What all device objects of one card share.
    struct Reasons {
        explicit Reasons(std::string path) : storagePath(std::move(path)) {}

        const std::string storagePath;
        Locks::Mutex _writeActiveMutex;
        std::vector<std::pair<const WriteActive*, std::string>> _writeActiveReasons GUARDED_BY(_writeActiveMutex);
    };

    std::shared_ptr<Reasons> _reasons;
};

} // namespace JobsManagerD
