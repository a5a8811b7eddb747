#include "fsutil/Times.h"

#include <array>
#include <ctime>

namespace JobsManagerD {

double GetElapsedTime(timeval& start, bool reset) {
    timeval now{};
    gettimeofday(&now, nullptr);
    timeval elapsed{};
    timersub(&now, &start, &elapsed);
    if (reset)
        start = now;
    return static_cast<double>(elapsed.tv_sec) + static_cast<double>(elapsed.tv_usec) / 1000000.0;
}

std::string GetFormattedTime(bool utc, std::string& format) {
    if (format.empty())
        format = utc ? "%Y-%m-%dT%H:%M:%SZ" : "%Y-%m-%d-%H-%M-%S";
    const time_t now = time(nullptr);
    tm parts{};
    if (utc)
        gmtime_r(&now, &parts);
    else
        localtime_r(&now, &parts);
    std::array<char, 80> text{};
    return {text.data(), strftime(text.data(), text.size(), format.c_str(), &parts)};
}

std::string UtcTimeText() {
    std::string format;
    return GetFormattedTime(true, format);
}

std::string LocalTimeText() {
    std::string format;
    return GetFormattedTime(false, format);
}

} // namespace JobsManagerD
