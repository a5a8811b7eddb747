#pragma once

#include "peers/buslink/DbusListener.h"
#include "peers/buslink/Properties.h"

#include <sigc++/signal.h>

namespace Storaged {

/// The storage service, which owns mounting. Its signals are raised on the loop's thread; the static operations block
/// for a round trip on a connection of their own and may be called on any thread. They return a negative errno on
/// failure, which they log.
class StorageDaemonDbusHandler : public Buslink::DbusListener {
public:
    explicit StorageDaemonDbusHandler(sd_event* event);

    /// Starts hearing the service's signals.
    int32_t Listen();

    sigc::signal<void, const std::string&, buslink_utils::PropertyMap&> interfaceAdded;
    sigc::signal<void, const std::string&> interfaceRemoved;
    sigc::signal<void, const std::string&, buslink_utils::PropertyMap&> propertiesChanged;

    static int32_t GetPrimaryDevice(std::string& id);
    /// Device IDs, the most preferred first.
    static int32_t GetAvailableDevices(std::vector<std::string>& ids);
    static int32_t GetMountPoint(const std::string& path, std::string& mountPoint);
    static int32_t GetId(const std::string& path, std::string& id);
    static int32_t GetReadOnly(const std::string& path, bool& readOnly);
    static int32_t GetMounted(const std::string& path, bool& mounted);
    static int32_t GetStorageObjectPaths(std::vector<std::string>& paths);
    /// Tells the service that the device at `path` is being written, or no longer is.
    static int32_t SetWriteActive(const std::string& path, uint8_t reserved, bool active);
    /// The first storage object whose mount point is the file, or holds it; empty and -1 when there is none. Asks one
    /// question, and one more for each storage object.
    static int32_t GetPathFromFilename(const std::string& filename, std::string& objectPath);
    /// The ID of the device that holds the file. False, with `deviceId` as it was, when none does.
    static bool GetDeviceIdFromFilename(const std::string& filename, std::string& deviceId);
};

} // namespace Storaged
