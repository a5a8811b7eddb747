#include "daemon/Handlers.h"
#include "daemon/MethodCall.h"

#include <optional>
#include <utility>

namespace JobsManagerD {

JobsManagerDaemon::Device DeviceOf(const JobsManagerDaemon& daemon, const Text& dev) {
    return daemon.FindDevice(dev.empty() ? daemon.TargetDeviceID() : dev);
}

CodeAndCounts CodeAndMediaCounts(int32_t code, const MediaCounts& counts) {
    return {code, counts.total, counts.autologs, counts.images, counts.photoTalks, counts.videos};
}

namespace Handlers {

std::tuple<int32_t, bool> GetJobLocked(JobsManagerDaemon& daemon, const Text& dev, const Text& job) {
    return CodeAnd<bool>([&](bool& locked) {
        return OnJob(daemon, dev, job,
                     [&](ManagedDevice& device, const Text& id) { return device.GetJobLocked(id, locked); });
    });
}

CodeAndText GetJobContact(JobsManagerDaemon& daemon, const Text& dev, const Text& job, uint8_t contactId) {
    return CodeAnd<Text>([&](Text& text) {
        return OnJob(daemon, dev, job, [&](ManagedDevice& device, const Text& id) {
            return device.GetJobContactJSONstring(id, contactId, text);
        });
    });
}

std::tuple<int32_t, uint8_t> AddJobContact(JobsManagerDaemon& daemon, const Text& dev, const Text& job,
                                           const Text& contact) {
    uint8_t contactId = 0;
    const int32_t code = OnJob(daemon, dev, job, [&](ManagedDevice& device, const Text& id) {
        return device.AddJobContactByJSONstring(id, contact, contactId);
    });
    return {code, contactId};
}

CodeAndCounts GetJobMediaCounts(JobsManagerDaemon& daemon, const Text& dev, const Text& job) {
    MediaCounts counts;
    const int32_t code = OnJob(
        daemon, dev, job, [&](ManagedDevice& device, const Text& id) { return device.GetJobMediaCounts(id, counts); });
    return CodeAndMediaCounts(code, counts);
}

std::tuple<int32_t, int32_t> GetMediaIsIncludedInReport(JobsManagerDaemon& daemon, const Text& dev, const Text& job,
                                                        const Text& media) {
    return CodeAnd<bool>([&](bool& included) {
        return OnJob(daemon, dev, job, [&](ManagedDevice& device, const Text& id) {
            return device.GetMediaIsIncludedInReport(id, media, included);
        });
    });
}

int32_t SetMediaIsIncludedInReport(JobsManagerDaemon& daemon, const Text& dev, const Text& job, const Text& media,
                                   int32_t included) {
    return OnJob(daemon, dev, job, [&](ManagedDevice& device, const Text& id) {
        return device.SetMediaIsIncludedInReport(id, media, included != 0);
    });
}

int32_t DeleteMediaItem(JobsManagerDaemon& daemon, const Text& dev, const Text& job, const Text& media) {
    return OnJob(daemon, dev, job, [&](ManagedDevice& device, const Text& id) {
        const WriteActiveMark mark(device, "SingleJobSynchronous");
        return device.DeleteMediaItem(id, media);
    });
}

/// The job does not default to the current one, which could not be deleted anyway.
int32_t DeleteJob(JobsManagerDaemon& daemon, const Text& dev, const Text& job) {
    return OnDevice(daemon, dev, [&](ManagedDevice& device) {
        const WriteActiveMark mark(device, "SingleJobSynchronous");
        return device.DeleteJob(job, true);
    });
}

/// Both marks are cleared in the order in which they were set.
int32_t MoveJob(JobsManagerDaemon& daemon, const Text& src, const Text& dst, const Text& job) {
    return OnTwoDevices(daemon, src, dst, [&](ManagedDevice& source, ManagedDevice& destination) {
        std::optional<WriteActiveMark> sourceMark(std::in_place, source, "SingleJobSynchronous");
        const WriteActiveMark destinationMark(destination, "SingleJobSynchronous");
        const int32_t code = source.MoveJob(destination, job, true);
        sourceMark.reset();
        return code;
    });
}

int32_t CopyJob(JobsManagerDaemon& daemon, const Text& src, const Text& dst, const Text& job) {
    return OnTwoDevices(daemon, src, dst, [&](ManagedDevice& source, ManagedDevice& destination) {
        const WriteActiveMark mark(destination, "SingleJobSynchronous");
        return source.CopyJob(destination, job, true);
    });
}

void CancelCMD(JobsManagerDaemon& daemon, Later<int32_t> answer, const Text& dev) {
    if (const JobsManagerDaemon::Device device = DeviceOf(daemon, dev))
        device->CancelCMD(daemon.OnLoop([answer] { answer(JOBS_RTN_SUCCEEDED); }));
    else
        answer(JOBS_RTN_DEVICE_NOT_FOUND);
}

} // namespace Handlers
} // namespace JobsManagerD
