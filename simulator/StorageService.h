#pragma once

#include "simulator/PeerService.h"

namespace Simulator {

struct CardState {
    bool isMounted = true;
    bool isReadOnly = false;
};

/// A call of SetWriteActive.
struct WriteActiveCall {
    std::string deviceId;
    uint8_t reserved;
    bool isActive;
    bool operator==(const WriteActiveCall&) const = default;
};

/// The storage service: one object per card, and the choice of devices at the root. Nothing is mounted; a mount point
/// is a folder that the user of the simulator has made.
class StorageService : public PeerService {
public:
    StorageService(EventThread& loop, std::string busAddress);

    /// The object appears as InterfacesAdded tells it; no mount is told.
    void AddCard(const std::string& id, const std::string& mountPoint, CardState state = {});
    /// The object appears unmounted, and then its mount is told.
    void InsertCard(const std::string& id, const std::string& mountPoint, bool isReadOnly = false);
    /// Tells IsMounted and MountPoint in one notice.
    void MountCard(const std::string& id);
    /// Tells IsMounted alone; the object stays.
    void UnmountCard(const std::string& id);
    /// The object goes without an unmount.
    void RemoveCard(const std::string& id);
    void SetReadOnly(const std::string& id, bool isReadOnly);

    /// Empty when no device is the primary one.
    void SetPrimaryDevice(const std::string& id);
    /// Device IDs, the most preferred first.
    void SetAvailableDevices(const std::vector<std::string>& ids);

    /// Changes a property without a notice, to any type. An empty ID means the root.
    void SetSilently(const std::string& id, const std::string& property, const Value& value);
    /// From now on the property is unknown.
    void DropProperty(const std::string& id, const std::string& property);
    /// Tells changes that did not happen, of any type.
    void RawPropertiesChanged(const std::string& id, const Properties& properties);

    /// In the order in which they came, refused ones too.
    std::vector<WriteActiveCall> WriteActiveCalls() const;

    /// Object path of the card; of the root for an empty ID.
    std::string CardPath(const std::string& id) const;

    static constexpr const char* deviceInterface = "com.corvane.common.StorageDaemon1.Device";
};

} // namespace Simulator
