#include "daemon/Handlers.h"

#include <optional>
#include <syslog.h>

namespace JobsManagerD::Handlers {
namespace {

/// Moves the target to the device of a call, and back again unless the call succeeds.
class TargetChange {
public:
    TargetChange(JobsManagerDaemon& daemon, const char* method, const Text& deviceID)
        : _daemon(daemon), _method(method), _previous(daemon.TargetDeviceID()) {
        if (deviceID == _previous)
            return;
        syslog(LOG_DEBUG, "%s TargetDeviceID changed to: %s", _method, deviceID.c_str());
        _daemon.ChangeTargetDevice(deviceID);
    }

    void Revert() const {
        if (_daemon.TargetDeviceID() == _previous)
            return;
        syslog(LOG_DEBUG, "%s TargetDeviceID reverted to: %s", _method, _previous.c_str());
        _daemon.ChangeTargetDevice(_previous);
    }

private:
    JobsManagerDaemon& _daemon;
    const char* _method;
    const Text _previous;
};

enum class Marks { nothing, writeActive };

/// What CreateJob and OpenJob share: `makeCurrent(device)` gives the device a current job, whose summary is the reply.
template <typename MakeCurrent>
CodeDeviceAndText MakeJobCurrent(JobsManagerDaemon& daemon, const char* method, const Text& dev, Marks marks,
                                 MakeCurrent makeCurrent) {
    const Text deviceID = dev.empty() ? daemon.TargetDeviceID() : dev;
    if (daemon.CurrentJobDevice())
        return {JOBS_RTN_CURRENT_JOB_OPEN, deviceID, Text()};
    const JobsManagerDaemon::Device device = daemon.FindDevice(deviceID);
    if (!device)
        return {JOBS_RTN_DEVICE_NOT_FOUND, deviceID, Text()};

    const TargetChange change(daemon, method, deviceID);
    std::optional<WriteActiveMark> mark;
    if (marks == Marks::writeActive)
        mark.emplace(*device, "SingleJobSynchronous");
    const int32_t made = makeCurrent(*device);
    if (made != JOBS_RTN_SUCCEEDED) {
        syslog(LOG_ERR, "%s %s failed: %s", method, method, ReturnCodeText(made).c_str());
        change.Revert();
        return {made, deviceID, Text()};
    }
    Text summary;
    const int32_t code = device->GetJobSummaryJSONstring(device->GetCurrentJobID(), summary);
    daemon.SetCurrentJobDevice(device);
    return {code, deviceID, summary};
}

} // namespace

Text GetCurrentJobID(JobsManagerDaemon& daemon) {
    const JobsManagerDaemon::Device device = daemon.CurrentJobDevice();
    return device ? device->GetCurrentJobID() : Text();
}

Text GetCurrentJobDeviceID(JobsManagerDaemon& daemon) {
    const JobsManagerDaemon::Device device = daemon.CurrentJobDevice();
    return device ? device->GetDeviceId() : Text();
}

Text GetTargetDeviceID(JobsManagerDaemon& daemon) { return daemon.TargetDeviceID(); }

int32_t SetTargetDeviceID(JobsManagerDaemon& daemon, const Text& deviceID) {
    if (daemon.CurrentJobDevice())
        return JOBS_RTN_CURRENT_JOB_OPEN;
    if (!daemon.FindDevice(deviceID))
        return JOBS_RTN_DEVICE_NOT_FOUND;
    if (deviceID != daemon.TargetDeviceID())
        daemon.ChangeTargetDevice(deviceID);
    return JOBS_RTN_SUCCEEDED;
}

CodeDeviceAndText CreateJob(JobsManagerDaemon& daemon, const Text& dev, const Text& jobName) {
    return MakeJobCurrent(daemon, "CreateJob", dev, Marks::writeActive,
                          [name = jobName](ManagedDevice& device) mutable { return device.CreateJob(name); });
}

CodeDeviceAndText OpenJob(JobsManagerDaemon& daemon, const Text& dev, const Text& job) {
    return MakeJobCurrent(daemon, "OpenJob", dev, Marks::nothing,
                          [&job](ManagedDevice& device) { return device.OpenJob(job, true); });
}

CodeAndText CloseJob(JobsManagerDaemon& daemon) {
    const JobsManagerDaemon::Device device = daemon.CurrentJobDevice();
    if (!device)
        return {JOBS_RTN_NO_CURRENT_JOB, Text()};
    const Text jobID = device->GetCurrentJobID();
    const int32_t code = device->CloseJob(jobID);
    if (code == JOBS_RTN_SUCCEEDED)
        daemon.SetCurrentJobDevice(nullptr);
    return {code, jobID};
}

} // namespace JobsManagerD::Handlers
