#pragma once

#include "libjobsdaemon/ReturnCodes.h"

#include <cstdint>
#include <string>
#include <variant>

// What the service tells of its own accord.

namespace libjobsdaemon {

/// A job was changed and saved, or was found by a sync.
struct JobChanged {
    std::string deviceID;
    std::string summary; ///< JSON
};

/// An operation on many jobs. Its events come from the device that the jobs lay on.
enum class Operation { Delete, Move, Copy };

struct ListProgress {
    Operation operation;
    std::string deviceID;
    std::string destination; ///< device ID; empty for a deletion
    int32_t percent;
    int32_t done;
    int32_t total;
};

/// One job could not be done; the operation goes on.
struct ListError {
    Operation operation;
    std::string deviceID;
    std::string destination;
    std::string jobID;
    jobsDaemonRtn_e code;
};

/// The operation has ended. It always does, also when it was cancelled.
struct ListFinished {
    Operation operation;
    std::string deviceID;
    std::string destination;
    bool isCancelled;
    int32_t done;
    int32_t total;
};

/// A property of a device has a new value; with an empty device ID it is one of the service, "TargetDeviceID".
struct PropertyChanged {
    std::string deviceID;
    std::string name;
    std::variant<std::string, bool> value;
};

struct DeviceAdded {
    std::string deviceID;
};

struct DeviceRemoved {
    std::string deviceID;
};

/// The service has come onto the bus, or has left it.
struct ServiceStarted {};
struct ServiceStopped {};

using Event = std::variant<JobChanged, ListProgress, ListError, ListFinished, PropertyChanged, DeviceAdded,
                           DeviceRemoved, ServiceStarted, ServiceStopped>;

} // namespace libjobsdaemon
