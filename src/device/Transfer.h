#pragma once

#include "device/ManagedDevice.h"

#include <system_error>

namespace JobsManagerD {

/// One job on its way to another device, in the steps of its journey. The first step that fails ends it, with nothing
/// left at the destination and the job whole at the source.
///
/// Threads: the worker's of the source, or the main thread.
struct ManagedDevice::Transfer {
    Transfer(ManagedDevice& sourceDevice, ManagedDevice& destDevice, std::string id, bool moves)
        : source(sourceDevice), destination(destDevice), jobID(std::move(id)), isMove(moves) {}

    jobsDaemonRtn_e CheckDevices() const;
    /// Keeps the job in its place: closed and locked for a move, in use by clients for a copy.
    jobsDaemonRtn_e TakeJob();
    jobsDaemonRtn_e CheckDestination() const;
    /// Copies the job into the trash of the destination.
    jobsDaemonRtn_e Stage();
    /// Puts staged jobs of one destination in their places and into its list. One code for each.
    static std::vector<jobsDaemonRtn_e> Land(std::vector<Transfer>& transfers, bool emitStats);
    jobsDaemonRtn_e DeleteSource(std::vector<Deletion>& deletions);
    void LogFailure(jobsDaemonRtn_e code) const;

    ManagedDevice& source;
    ManagedDevice& destination;
    std::string jobID;
    bool isMove;
    std::shared_ptr<Job> job;

private:
    jobsDaemonRtn_e _ReleaseForMove();
    std::error_code _CopyAsOneState() const;
    jobsDaemonRtn_e _PutInPlace() const;
    jobsDaemonRtn_e _GiveUp() const;
    std::string _JobFileAtDestination() const;

    JobLock _lock;
    DeviceJobs::CopyMark _copyMark;
    std::string _from;
    std::string _to;
    Trash::Place _staging;
};

} // namespace JobsManagerD
