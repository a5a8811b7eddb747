#pragma once

#include "support/TemporaryFolder.h"

#include <string>
#include <sys/types.h>

namespace Testing {

/// A message bus for this test process alone. It ends with the process.
class PrivateBus {
public:
    /// Starts the bus at the first call, which must come before there are other threads. From then on
    /// sd_bus_open_user opens it. Throws std::exception.
    static PrivateBus& Instance();

    PrivateBus(const PrivateBus&) = delete;
    PrivateBus& operator=(const PrivateBus&) = delete;
    ~PrivateBus();

    const std::string& Address() const { return _address; }

private:
    PrivateBus();

    TemporaryFolder _folder;
    std::string _address;
    pid_t _process = -1;
};

} // namespace Testing
