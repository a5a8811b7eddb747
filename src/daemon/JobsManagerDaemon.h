#pragma once

#include "codes/ReturnCodes.h"
#include "peers/SettingsDaemon.h"
#include "peers/StorageDaemon.h"
#include "peers/SyncDaemon.h"
#include "peers/buslink/DbusServer.h"

#include <memory>
#include <string>
#include <vector>

namespace JobsManagerD {

class ManagedDevice;
class BusGate;

/// Bus name of the service, and name of the interface of its one object with methods.
constexpr const char* managerInterface = "com.corvane.common.JobsManagerDaemon1";
constexpr const char* managerPath = "/com/corvane/common/JobsManagerDaemon1";
constexpr const char* deviceInterface = "com.corvane.common.JobsManagerDaemon1.Device";

/// The central object of the process: the bus service, the registry of mounted devices, the target device and the
/// device of the current job.
///
/// Threads: everything runs on the main thread but the emissions, which run on the thread that raised a device's
/// signal. The registry is changed under the bus lock, since property getters walk it on any emitting thread; the main
/// thread, its only writer, reads it without. The main thread waits for no thread of a device.
class JobsManagerDaemon : public Buslink::DbusServer {
public:
    using Device = std::shared_ptr<ManagedDevice>;

    /// Does not touch the bus.
    explicit JobsManagerDaemon(sd_event* event);
    ~JobsManagerDaemon();

    /// Takes the service to where it can serve, before the loop runs. Negative errno on failure, with nothing undone.
    int32_t Init();

    // Registry (DeviceRegistry.cpp) ----------------------------------------------------------------------------------

    /// Non-negative on success, -1 when a storage property cannot be read, -2 when a bus step fails.
    int32_t RegisterManagedDeviceDbusObject(const std::string& storageObjectPath);
    /// Closes the device's current job and cancels its threads. The device leaves the registry and the bus when they
    /// have ended, at once when none runs. Meanwhile nothing new reaches it: it is not to be found by its ID, and a
    /// mount of the same storage object waits until it has left. Always 0.
    int32_t DeviceRemoved(const std::string& storageObjectPath);
    void StoragePropertiesChanged(const std::string& storageObjectPath, buslink_utils::PropertyMap& properties);
    void SyncDestinationSynced(const std::string& path);
    void JobFileSynced(const std::string& path);

    /// Tells the service manager which devices there are; once it is told that the service is ready, the registry does
    /// so whenever they change.
    void TellDevices() const;

    // Null when there is none. The ID of a device that is leaving finds nothing.
    Device FindDevice(const std::string& deviceID) const;
    Device FindDeviceByStoragePath(const std::string& storagePath) const;
    Device FindDeviceByObjectPath(const std::string& objectPath) const;

    // Target and current job -----------------------------------------------------------------------------------------

    const std::string& TargetDeviceID() const { return targetDeviceID; }
    /// Stores the ID and tells clients, also when it is the same.
    void ChangeTargetDevice(const std::string& deviceID);
    void SelectTargetDevice();
    /// At most one job in the whole system is current; null when none is.
    Device CurrentJobDevice() const;
    void SetCurrentJobDevice(const Device& device) { currentJobDevice = device; }

    // Settings (Settings.cpp) ----------------------------------------------------------------------------------------

    void JobSettingsChanged(buslink_utils::TypedPropertyMap& properties);
    void JobContactsSettingsChanged(buslink_utils::TypedPropertyMap& properties);

private:
    /// A device with what the daemon keeps beside it.
    struct RegisteredDevice {
        Device device;
        /// Its object on the bus; changed under the bus lock.
        Buslink::Slot slot;
        /// Its card has gone; its threads are still ending.
        bool isLeaving = false;
        /// Its card has come back meanwhile.
        bool isExpected = false;
    };

    int32_t ConnectSignals();
    int32_t _StartServing();
    int32_t _ListenToPeers();
    int32_t _ReadJobSettings();
    int32_t _RegisterMountedDevices();
    void _StorageRemoved(const std::string& storageObjectPath);
    void _StorageMounted(const std::string& storageObjectPath, const buslink_utils::PropertyMap& properties);
    int32_t _ReadStorageProperties(ManagedDevice& device) const;
    int32_t _PutOnBus(const ManagedDevice& device, Buslink::Slot& slot);
    RegisteredDevice* _FindRegistered(const std::string& storagePath);
    void _FinishRemoval(const std::string& storageObjectPath);
    void _AddMountedDevice(const std::string& storageObjectPath);
    void _ConnectDeviceSignals(ManagedDevice& device);
    void _IndexSyncedFolder(const std::string& path, const char* slot, const char* destination) const;
    Device _DeviceHolding(const std::string& path, const char* slot, const char* destination) const;
    std::string _PreferredDevice() const;
    void EmitTargetDeviceChanged();

    std::shared_ptr<BusGate> busGate;
    Storaged::StorageDaemonDbusHandler storage;
    Settingsd::SettingsDaemonDbusHandler settings;
    SyncD::SyncDaemonDbusHandler sync;
    std::string targetDeviceID;
    Device currentJobDevice;
    std::vector<RegisteredDevice> devices;
};

} // namespace JobsManagerD
