#include "daemon/Handlers.h"

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

int32_t CancelCMD(JobsManagerDaemon& daemon, const Text& dev) {
    return OnDevice(daemon, dev, [](ManagedDevice& device) {
        device.CancelCMD();
        return JOBS_RTN_SUCCEEDED;
    });
}

} // namespace Handlers
} // namespace JobsManagerD
