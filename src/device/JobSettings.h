#pragma once

#include <atomic>
#include <string>

namespace JobsManagerD {

// Process-wide job settings, written by the daemon on the main thread.

/// For the main thread alone.
extern std::string defaultJobName;
/// A time format as strftime takes it. For the main thread alone.
extern std::string jobNameSuffixFormat;

/// Least time between two progress reports of a task, in seconds. Read by the tasks at each comparison.
extern std::atomic<double> multiJobIndexUpdatePeriod;
extern std::atomic<double> multiJobMoveCopyUpdatePeriod;
extern std::atomic<double> multiJobConvertUpdatePeriod;
extern std::atomic<double> multiJobDeleteUpdatePeriod;

} // namespace JobsManagerD
