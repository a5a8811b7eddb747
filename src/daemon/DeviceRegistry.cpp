#include "daemon/DeviceInterface.h"
#include "daemon/JobsManagerDaemon.h"
#include "daemon/ServiceManager.h"
#include "device/ManagedDevice.h"
#include "fsutil/GuardedFs.h"
#include "fsutil/Paths.h"

#include <algorithm>
#include <syslog.h>

using buslink_utils::PropertyMap;
using Storaged::StorageDaemonDbusHandler;

namespace JobsManagerD {
namespace {

/// The first record whose device has the key; the end when none has.
template <typename Records>
auto FindBy(Records& records, const std::string& (ManagedDevice::*getKey)() const, const std::string& key) {
    return std::ranges::find_if(records, [&](const auto& record) { return ((*record.device).*getKey)() == key; });
}

/// A property of a type that the service does not expect throws std::bad_any_cast, which ends the process.
template <typename T>
T Value(const PropertyMap& properties, const char* name) {
    return std::any_cast<T>(properties.at(name));
}

} // namespace

JobsManagerDaemon::Device JobsManagerDaemon::FindDevice(const std::string& deviceID) const {
    const auto found = FindBy(devices, &ManagedDevice::GetDeviceId, deviceID);
    return found == devices.end() || found->isLeaving ? nullptr : found->device;
}

JobsManagerDaemon::Device JobsManagerDaemon::FindDeviceByStoragePath(const std::string& storagePath) const {
    const auto found = FindBy(devices, &ManagedDevice::GetStoragePath, storagePath);
    return found == devices.end() ? nullptr : found->device;
}

JobsManagerDaemon::RegisteredDevice* JobsManagerDaemon::_FindRegistered(const std::string& storagePath) {
    const auto found = FindBy(devices, &ManagedDevice::GetStoragePath, storagePath);
    return found == devices.end() ? nullptr : &*found;
}

JobsManagerDaemon::Device JobsManagerDaemon::FindDeviceByObjectPath(const std::string& objectPath) const {
    const auto found = FindBy(devices, &ManagedDevice::GetDbusPath, objectPath);
    return found == devices.end() ? nullptr : found->device;
}

int32_t JobsManagerDaemon::_ReadStorageProperties(ManagedDevice& device) const {
    const auto failed = [](const char* property) {
        syslog(LOG_ERR, "%s Failed to read StorageDevice Property '%s', exit", "RegisterManagedDeviceDbusObject",
               property);
        return -1;
    };
    const std::string& path = device.GetStoragePath();
    std::string mountPoint;
    if (StorageDaemonDbusHandler::GetMountPoint(path, mountPoint) < 0 || mountPoint.empty())
        return failed("MountPoint");
    device.SetMountPoint(mountPoint);
    std::string id;
    if (StorageDaemonDbusHandler::GetId(path, id) < 0)
        return failed("Id");
    device.SetDbusPath(std::string(managerPath) + "/" + id);
    device.SetDeviceId(id);
    bool readOnly = false;
    if (StorageDaemonDbusHandler::GetReadOnly(path, readOnly) < 0)
        return failed("ReadOnly");
    device.SetReadOnly(readOnly);
    return 0;
}

int32_t JobsManagerDaemon::_PutOnBus(const ManagedDevice& device, Buslink::Slot& slot) {
    syslog(LOG_INFO, "%s Creating d-bus object for device: %s.", "RegisterManagedDeviceDbusObject",
           device.GetDbusPath().c_str());
    const int result = WithBus([&](sd_bus* connection) {
        return sd_bus_add_object_vtable(connection, Buslink::Out(slot), device.GetDbusPath().c_str(), deviceInterface,
                                        DeviceVtable(), this);
    });
    if (result >= 0)
        return result;
    syslog(LOG_ERR, "%s Failed to create table, exit (%d)", "RegisterManagedDeviceDbusObject", result);
    return -2;
}

int32_t JobsManagerDaemon::RegisterManagedDeviceDbusObject(const std::string& storageObjectPath) {
    const auto device = std::make_shared<ManagedDevice>();
    device->SetStoragePath(storageObjectPath);
    Buslink::Slot slot;
    int32_t result = _ReadStorageProperties(*device);
    if (result >= 0)
        result = _PutOnBus(*device, slot);
    if (result < 0)
        return result;
    result = WithBus([&](sd_bus* connection) {
        devices.push_back({device, std::move(slot)});
        return sd_bus_emit_object_added(connection, device->GetDbusPath().c_str());
    });
    if (result < 0) {
        // The device stays registered and on the bus, without its signals.
        syslog(LOG_ERR, "%s Failed to emit obj added, exit (%d)", "RegisterManagedDeviceDbusObject", result);
        return -2;
    }
    _ConnectDeviceSignals(*device);
    return result;
}

int32_t JobsManagerDaemon::DeviceRemoved(const std::string& storageObjectPath) {
    RegisteredDevice* const registered = _FindRegistered(storageObjectPath);
    if (registered && registered->isExpected) {
        // The card that came back has gone again before it was registered.
        registered->isExpected = false;
        return 0;
    }
    if (!registered || registered->isLeaving) {
        syslog(LOG_ERR,
               "JobsManagerDaemon::DeviceRemoved - no corresponding Managed Device for removed storage device %s",
               storageObjectPath.c_str());
        return 0;
    }
    // When nothing runs, the record is gone before Cancel returns.
    const Device device = registered->device;
    if (device->HasCurrentJob()) {
        device->CloseJob(device->GetCurrentJobID());
        currentJobDevice = nullptr;
    }
    registered->isLeaving = true;
    device->Cancel(OnLoop([this, storageObjectPath] { _FinishRemoval(storageObjectPath); }));
    return 0;
}

/// The part of a removal that waits for the device's threads.
void JobsManagerDaemon::_FinishRemoval(const std::string& storageObjectPath) {
    const auto leaving = FindBy(devices, &ManagedDevice::GetStoragePath, storageObjectPath);
    const Device device = leaving->device;
    const bool isExpected = leaving->isExpected;
    syslog(LOG_INFO, "%s - Removing %s", "DeviceRemoved", device->GetDbusPath().c_str());
    WithBus([&](sd_bus* connection) {
        // The signal lists the interfaces that the object still has, from which clients know that the device goes.
        const int result = sd_bus_emit_object_removed(connection, device->GetDbusPath().c_str());
        devices.erase(leaving);
        return result;
    });
    if (device->GetDeviceId() == targetDeviceID)
        SelectTargetDevice();
    TellDevices();
    if (isExpected)
        _AddMountedDevice(storageObjectPath);
}

void JobsManagerDaemon::TellDevices() const {
    std::vector<std::string> ids;
    for (const RegisteredDevice& registered : devices)
        ids.push_back(registered.device->GetDeviceId());
    ServiceManager::TellDevices(ids);
}

void JobsManagerDaemon::_StorageRemoved(const std::string& storageObjectPath) {
    syslog(LOG_INFO, "Jobs Manager Daemon: Storage removed - Path %s", storageObjectPath.c_str());
    DeviceRemoved(storageObjectPath);
}

void JobsManagerDaemon::StoragePropertiesChanged(const std::string& storageObjectPath, PropertyMap& properties) {
    if (properties.contains("IsMounted")) {
        for (const auto& [name, value] : properties)
            syslog(LOG_INFO, "%s - storageObjPath: %s. Name %s", "StoragePropertiesChanged", storageObjectPath.c_str(),
                   name.c_str());
        if (Value<bool>(properties, "IsMounted")) {
            _StorageMounted(storageObjectPath, properties);
        } else {
            syslog(LOG_INFO, "Storage Unmounted.");
            DeviceRemoved(storageObjectPath);
        }
        return;
    }
    if (!properties.contains("ReadOnly"))
        return;
    if (const Device device = FindDeviceByStoragePath(storageObjectPath)) {
        const bool readOnly = Value<bool>(properties, "ReadOnly");
        device->SetReadOnly(readOnly);
        syslog(LOG_INFO, "Jobs Manager Daemon: Device %s filesystem read-only changed to %s",
               device->GetDeviceId().c_str(), readOnly ? "true" : "false");
    }
}

void JobsManagerDaemon::_StorageMounted(const std::string& storageObjectPath, const PropertyMap& properties) {
    syslog(LOG_INFO, "Storage Mounted.");
    if (!properties.contains("MountPoint"))
        return;
    syslog(LOG_INFO, "MountPoint: %s.", Value<std::string>(properties, "MountPoint").c_str());
    RegisteredDevice* const registered = _FindRegistered(storageObjectPath);
    if (!registered)
        _AddMountedDevice(storageObjectPath);
    else if (registered->isLeaving)
        registered->isExpected = true;
}

void JobsManagerDaemon::_AddMountedDevice(const std::string& storageObjectPath) {
    if (RegisterManagedDeviceDbusObject(storageObjectPath) < 0) {
        syslog(LOG_ERR, "JobsManagerDaemon::StoragePropertiesChanged - RegisterManagedDeviceDbusObject() failed on %s.",
               storageObjectPath.c_str());
        return;
    }
    TellDevices();
    if (targetDeviceID.empty())
        SelectTargetDevice();
    if (const Device device = FindDeviceByStoragePath(storageObjectPath))
        device->FindDeviceJobs();
}

void JobsManagerDaemon::ChangeTargetDevice(const std::string& deviceID) {
    targetDeviceID = deviceID;
    EmitTargetDeviceChanged();
}

void JobsManagerDaemon::SelectTargetDevice() {
    std::string primary;
    if (StorageDaemonDbusHandler::GetPrimaryDevice(primary) < 0) {
        syslog(LOG_ERR, "JobsManagerDaemon::SelectTargetDevice - Failed to read primary device (GetPrimaryDevice).  "
                        "Selecting target based on priority list");
        primary.clear();
    }
    if (!primary.empty()) {
        syslog(LOG_DEBUG, "JobsManagerDaemon::SelectTargetDevice - New Target is primary device with ID %s",
               primary.c_str());
        ChangeTargetDevice(primary);
        return;
    }
    const std::string preferred = _PreferredDevice();
    syslog(LOG_DEBUG, "JobsManagerDaemon::SelectTargetDevice - New Target ID %s.", preferred.c_str());
    ChangeTargetDevice(preferred);
}

/// The first device of the storage service's list that is registered here; empty when none is.
std::string JobsManagerDaemon::_PreferredDevice() const {
    std::vector<std::string> available;
    if (StorageDaemonDbusHandler::GetAvailableDevices(available) < 0) {
        syslog(LOG_ERR, "JobsManagerDaemon::SelectTargetDevice - Failed to read priority ordered device list "
                        "(GetAvailableDevices)");
        available.clear();
    }
    const auto found =
        std::ranges::find_if(available, [this](const std::string& id) { return FindDevice(id) != nullptr; });
    return found == available.end() ? std::string() : *found;
}

void JobsManagerDaemon::SyncDestinationSynced(const std::string& path) {
    _IndexSyncedFolder(path, "SyncDestinationSynced", "synced destination");
}

void JobsManagerDaemon::JobFileSynced(const std::string& path) {
    _IndexSyncedFolder(path, "JobFileSynced", "destination");
}

/// The sync service names a job's folder, or its file.
void JobsManagerDaemon::_IndexSyncedFolder(const std::string& path, const char* slot, const char* destination) const {
    const Device device = _DeviceHolding(path, slot, destination);
    if (!device)
        return;
    bool error = false;
    device->IndexDirectory(TryFsIsRegularFile(path, error) ? DirectoryPart(path) : path, true);
}

/// The device on which a path that the sync service names lies; null, after a log line, when there is none.
JobsManagerDaemon::Device JobsManagerDaemon::_DeviceHolding(const std::string& path, const char* slot,
                                                            const char* destination) const {
    std::string storagePath;
    const int32_t result = StorageDaemonDbusHandler::GetPathFromFilename(path, storagePath);
    if (result < 0) {
        syslog(LOG_ERR, "Storage.GetPathFromFilename() failed %d", result);
        syslog(LOG_ERR, "%s Storage device holding %s path %s not found", slot, destination, path.c_str());
        return nullptr;
    }
    const std::string deviceID = FileName(storagePath);
    Device device = FindDevice(deviceID);
    if (!device)
        syslog(LOG_ERR, "%s Managed device %s holding %s path %s not found", slot, deviceID.c_str(), destination,
               path.c_str());
    return device;
}

/// A device may close its current job by itself: one of the earlier generation before a conversion.
JobsManagerDaemon::Device JobsManagerDaemon::CurrentJobDevice() const {
    return currentJobDevice && currentJobDevice->HasCurrentJob() ? currentJobDevice : nullptr;
}

} // namespace JobsManagerD
