#include "simulator/SyncService.h"

namespace Simulator {

SyncService::SyncService(EventThread& loop, std::string busAddress)
    : PeerService(loop, std::move(busAddress), "com.corvane.common.SyncDaemon1") {
    AddObject({RootPath(), RootInterface(), {}});
}

void SyncService::_Emit(const std::string& member, const std::string& path) {
    EmitSignal(RootPath(), RootInterface(), member, {path});
}

} // namespace Simulator
