#pragma once

#include <string>

namespace Testing {

/// While it lives, the calendar of this process stands still. Clocks that measure waiting go on.
class FixedClock {
public:
    /// UTC, as job files hold it: "2024-05-01T08:00:00Z".
    explicit FixedClock(const std::string& utcTime) { Set(utcTime); }
    FixedClock(const FixedClock&) = delete;
    FixedClock& operator=(const FixedClock&) = delete;
    ~FixedClock();

    void Set(const std::string& utcTime);
    /// The same moment in local time, by a format of strftime.
    static std::string Local(const char* format = "%Y-%m-%d-%H-%M-%S");
};

} // namespace Testing
