#include "device/FixedClock.h"

#include <atomic>
#include <ctime>

namespace {

/// Seconds of the epoch; negative while the clock runs.
std::atomic<time_t> fixedTime{-1};

} // namespace

namespace Testing {

FixedClock::~FixedClock() { fixedTime = -1; }

void FixedClock::Set(const std::string& utcTime) {
    tm parts{};
    strptime(utcTime.c_str(), "%Y-%m-%dT%H:%M:%SZ", &parts);
    fixedTime = timegm(&parts);
}

std::string FixedClock::Local(const char* format) {
    const time_t now = fixedTime;
    tm parts{};
    localtime_r(&now, &parts);
    char text[80];
    return {text, strftime(text, sizeof text, format, &parts)};
}

} // namespace Testing

/// Takes the place of the C library's, from which the service takes all times that it writes down.
extern "C" time_t time(time_t* result) noexcept {
    time_t now = fixedTime;
    if (now < 0) {
        timespec running{};
        clock_gettime(CLOCK_REALTIME, &running);
        now = running.tv_sec;
    }
    if (result)
        *result = now;
    return now;
}
