#pragma once

#include "simulator/PeerService.h"

namespace Simulator {

/// The sync service, which copies between devices on its own and tells what has arrived where. Each verb tells a path
/// on a storage device; nothing is copied.
class SyncService : public PeerService {
public:
    SyncService(EventThread& loop, std::string busAddress);

    void EmitDestinationSynced(const std::string& path) { _Emit("DestinationSynced", path); }
    void EmitJobFileSynced(const std::string& path) { _Emit("JobFileSynced", path); }
    void EmitSyncDestinationFull(const std::string& path) { _Emit("SyncDestinationFull", path); }

private:
    void _Emit(const std::string& member, const std::string& path);
};

} // namespace Simulator
