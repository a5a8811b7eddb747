#pragma once

#include <atomic>
#include <cstdint>

namespace JobsManagerD {

/// How much clients hear of changes of a job list, the setting `signalJobListChanges`.
enum class JobListSignals {
    /// Every change.
    all,
    /// The end of a multi-job operation, not its steps.
    onChangeCompletion,
    /// Nothing.
    none,
};

/// Written on the main thread, read by any.
extern std::atomic<JobListSignals> signalJobListChanges;

} // namespace JobsManagerD
