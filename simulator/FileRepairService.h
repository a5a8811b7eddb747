#pragma once

#include "simulator/PeerService.h"

namespace Simulator {

/// A call of CheckDevice.
struct CheckDeviceCall {
    std::string objectPath;
    std::string pathArgument;
    std::vector<std::string> folders;
    bool operator==(const CheckDeviceCall&) const = default;
};

/// The file repair service. It answers for every device ID below its root, and repairs nothing.
class FileRepairService : public PeerService {
public:
    FileRepairService(EventThread& loop, std::string busAddress);

    /// The number that CheckDevice answers: 0 succeeded, 1 busy, 2 no such device, 3 too little power, 4 unknown.
    void SetResult(int32_t result);

    /// In the order in which they came, refused ones too.
    std::vector<CheckDeviceCall> CheckDeviceCalls() const;

private:
    int32_t _result = 0; ///< on the loop's thread only
};

} // namespace Simulator
