#include "device/WriteActive.h"

#include "device/SharedByPath.h"
#include "peers/StorageDaemon.h"

#include <algorithm>

using Storaged::StorageDaemonDbusHandler;

namespace JobsManagerD {

void WriteActive::SetStoragePath(const std::string& path) { _reasons = SharedByPath<Reasons>(path); }

void WriteActive::Set(const std::string& reason, bool active) {
    Follow(reason, [active] { return active; });
}

void WriteActive::Follow(const std::string& reason, const std::function<bool()>& isActive) {
    const Locks::LockGuard lock(_reasons->_writeActiveMutex);
    const bool active = isActive();
    auto& reasons = _reasons->_writeActiveReasons;
    const auto present = std::ranges::find(reasons, std::pair<const WriteActive*, std::string>(this, reason));
    if (active == (present != reasons.end()))
        return;
    if (active) {
        if (reasons.empty())
            StorageDaemonDbusHandler::SetWriteActive(_reasons->storagePath, 0, true);
        reasons.emplace_back(this, reason);
        return;
    }
    reasons.erase(present);
    if (reasons.empty())
        StorageDaemonDbusHandler::SetWriteActive(_reasons->storagePath, 0, false);
}

} // namespace JobsManagerD
