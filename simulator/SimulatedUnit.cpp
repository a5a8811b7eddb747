#include "simulator/SimulatedUnit.h"

namespace Simulator {

SimulatedUnit::SimulatedUnit(const std::string& busAddress)
    : _storage(_loop, busAddress), _settings(_loop, busAddress), _sync(_loop, busAddress), _video(_loop, busAddress),
      _fileRepair(_loop, busAddress) {
    try {
        for (PeerService* service :
             std::initializer_list<PeerService*>{&_storage, &_settings, &_sync, &_video, &_fileRepair})
            service->ComeBack();
    } catch (...) {
        // The services may only go when the loop's thread has ended.
        _loop.Stop();
        throw;
    }
}

} // namespace Simulator
