#include "daemon/Handlers.h"
#include "daemon/MethodCall.h"

namespace JobsManagerD::Handlers {

void RequirePath(const Text& path, const char* what) {
    if (path.empty())
        throw MalformedCall(std::string("Invalid ") + what + " filepath");
}

MediaReadings ReadingsOf(bool hasRoll, int32_t roll, bool hasInclinometer, int32_t inclinometer, bool hasDistance,
                         int32_t absolute, int32_t relative) {
    MediaReadings readings;
    if (hasRoll)
        readings.cameraRollAngle = roll;
    if (hasInclinometer)
        readings.cameraInclinometerAngle = inclinometer;
    readings.distance = {hasDistance, absolute, relative};
    return readings;
}

CodeDeviceAndText GetNewMediaPathComponents(JobsManagerDaemon& daemon) {
    Text mediaFolder;
    Text fileStem;
    const int32_t code = OnCurrentJob(
        daemon, [&](ManagedDevice& device) { return device.GetNewMediaPathComponents(mediaFolder, fileStem); });
    return {code, mediaFolder, fileStem};
}

int32_t AddSnapshotMedia(JobsManagerDaemon& daemon, const Text& name, const Text& imagePath, bool hasRoll, int32_t roll,
                         bool hasInclinometer, int32_t inclinometer, bool hasDistance, int32_t absolute,
                         int32_t relative) {
    RequirePath(imagePath, "snapshot");
    const MediaReadings readings =
        ReadingsOf(hasRoll, roll, hasInclinometer, inclinometer, hasDistance, absolute, relative);
    return OnCurrentJob(daemon,
                        [&](ManagedDevice& device) { return device.AddSnapshotMediaItem(name, imagePath, readings); });
}

int32_t UpdateMediaFileSizes(JobsManagerDaemon& daemon, const Text& path) {
    RequirePath(path, "media");
    return OnCurrentJob(daemon, [&](ManagedDevice& device) { return device.UpdateMediaFileSizes(path); });
}

CodeAndCounts CurrentJobMediaCounts(JobsManagerDaemon& daemon) {
    MediaCounts counts;
    const int32_t code = OnCurrentJob(
        daemon, [&](ManagedDevice& device) { return device.GetJobMediaCounts(device.GetCurrentJobID(), counts); });
    return CodeAndMediaCounts(code, counts);
}

CodeAndText GetMediaID(JobsManagerDaemon& daemon, const Text& path) {
    RequirePath(path, "media");
    return CodeAnd<Text>([&](Text& mediaID) {
        return OnCurrentJob(daemon, [&](ManagedDevice& device) { return device.GetMediaID(path, mediaID); });
    });
}

} // namespace JobsManagerD::Handlers
