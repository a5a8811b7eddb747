#pragma once

#include "simulator/FileRepairService.h"
#include "simulator/SettingsService.h"
#include "simulator/StorageService.h"
#include "simulator/SyncService.h"
#include "simulator/VideoService.h"

#include <array>

namespace Simulator {

/// The peers of the jobs service on one bus, served by one thread. Any thread may use the services.
class SimulatedUnit {
public:
    /// Takes the bus names. An empty address means the user bus, as sd_bus_open_user finds it. Throws
    /// std::system_error.
    explicit SimulatedUnit(const std::string& busAddress = "");
    SimulatedUnit(const SimulatedUnit&) = delete;
    SimulatedUnit& operator=(const SimulatedUnit&) = delete;
    ~SimulatedUnit();

    StorageService& Storage() { return _storage; }
    SettingsService& Settings() { return _settings; }
    SyncService& Sync() { return _sync; }
    VideoService& Video() { return _video; }
    FileRepairService& FileRepair() { return _fileRepair; }

private:
    void _GoAway();

    EventThread _loop;
    StorageService _storage;
    SettingsService _settings;
    SyncService _sync;
    VideoService _video;
    FileRepairService _fileRepair;
    const std::array<PeerService*, 5> _services{&_storage, &_settings, &_sync, &_video, &_fileRepair};
};

} // namespace Simulator
