#pragma once

#include <string>
#include <sys/time.h>

namespace JobsManagerD {

/// Seconds since `start`, with microsecond resolution. With `reset`, `start` becomes now.
double GetElapsedTime(timeval& start, bool reset);

/// The present time as text, at most 79 bytes; empty when it would be longer. An empty `format` becomes
/// "%Y-%m-%dT%H:%M:%SZ" in UTC and "%Y-%m-%d-%H-%M-%S" in local time; conversions as in strftime.
std::string GetFormattedTime(bool utc, std::string& format);

/// The present time in UTC as timestamps hold it: "%Y-%m-%dT%H:%M:%SZ".
std::string UtcTimeText();

/// The present local time as names of files and folders hold it: "%Y-%m-%d-%H-%M-%S".
std::string LocalTimeText();

} // namespace JobsManagerD
