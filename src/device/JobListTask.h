#pragma once

#include "codes/ReturnCodes.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace JobsManagerD {

/// What the tasks that go through a list of jobs differ in. Syncing a card costs the same for one small job as for
/// many, so the second half of the work is done for a window of jobs: few enough that a cancel need not wait for them.
struct JobListTask {
    const char* name;
    const char* jobLine; ///< "%s" takes the job's ID
    const char* endLine; ///< "%d" takes the jobs done, "%f" the seconds
    /// Least time between two progress reports, in seconds. Asked at each job.
    std::function<double()> period;
    /// A report waits until another job is done, so that a run of failures is not reported.
    bool reportsOnlyChanges;

    /// The first half of the work on a job. With a code other than success there is no second one.
    std::function<jobsDaemonRtn_e(const std::string& jobID)> begin;
    /// The second half for all jobs that have been begun, with a code for each, in their order.
    std::function<std::vector<jobsDaemonRtn_e>()> finish;
    std::function<void(int32_t percent, int32_t nDone, int32_t nTotal)> tellProgress;
    std::function<void(const std::string& jobID, jobsDaemonRtn_e code)> tellError;
    std::function<void(bool cancelled, int32_t nDone, int32_t nTotal)> tellFinish;
    /// Gives the devices back.
    std::function<void()> goIdle;
};

/// Does the work on one job after the other, in the order of the list, until `cancel` is set. A job that fails is told
/// and passed over. Blocks until all is done.
void RunJobListTask(const JobListTask& task, const std::vector<std::string>& jobIDs, const std::atomic<bool>& cancel);

} // namespace JobsManagerD
