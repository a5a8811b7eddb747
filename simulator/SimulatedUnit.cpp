#include "simulator/SimulatedUnit.h"

namespace Simulator {

SimulatedUnit::SimulatedUnit(const std::string& busAddress)
    : _storage(_loop, busAddress), _settings(_loop, busAddress), _sync(_loop, busAddress), _video(_loop, busAddress),
      _fileRepair(_loop, busAddress) {
    try {
        for (PeerService* const service : _services)
            service->ComeBack();
    } catch (...) {
        _GoAway();
        throw;
    }
}

SimulatedUnit::~SimulatedUnit() { _GoAway(); }

void SimulatedUnit::_GoAway() {
    for (PeerService* const service : _services)
        service->GoAway();
    // The services may only be destroyed when the loop's thread has ended.
    _loop.Stop();
}

} // namespace Simulator
