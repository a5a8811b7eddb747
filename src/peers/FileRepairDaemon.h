#pragma once

#include "codes/ReturnCodes.h"

#include <cstdint>
#include <string>
#include <vector>

namespace FileRepairD {

/// The file repair service, which checks and mends media files.
class FileRepair {
public:
    /// Asks for a scan of folders, by their paths, on a device, and waits for the answer, not for the scan: at most the
    /// 25 s that the bus gives a peer. Any thread may call; one that others wait for should not. Returns 0, or a
    /// negative errno when the service could not be asked, which is logged; `result` is its answer.
    static int32_t CheckDevice(const std::string& deviceId, fileRepairDaemonRtn_e& result,
                               const std::vector<std::string>& folders);
};

} // namespace FileRepairD
