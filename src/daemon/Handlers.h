#pragma once

#include "daemon/HandlerShapes.h"

// The manager's handlers that are more than a shape, named after their methods. They run on the main thread and answer
// with what goes out: a code of jobsDaemonRtn_e first, then values that stay empty unless the code is 0. An empty
// device ID is the target; an empty job ID is the device's current job, where nothing else is said.

namespace JobsManagerD {

template <typename Result>
class Later;

} // namespace JobsManagerD

namespace JobsManagerD::Handlers {

/// Code, device ID as it was understood, text.
using CodeDeviceAndText = std::tuple<int32_t, std::string, std::string>;

// Target and current job (TargetHandlers.cpp). An ID that there is none of is an empty text.
Text GetCurrentJobID(JobsManagerDaemon& daemon);
Text GetCurrentJobDeviceID(JobsManagerDaemon& daemon);
Text GetTargetDeviceID(JobsManagerDaemon& daemon);
int32_t SetTargetDeviceID(JobsManagerDaemon& daemon, const Text& deviceID);
/// These two make the job current and take the target to its device, and back again when they fail. 15 while another
/// job is current, before anything else. The text is the job's summary as JSON. An empty job ID is no job.
CodeDeviceAndText CreateJob(JobsManagerDaemon& daemon, const Text& dev, const Text& jobName);
CodeDeviceAndText OpenJob(JobsManagerDaemon& daemon, const Text& dev, const Text& job);
/// The text is the job's ID, also when it could not be closed.
CodeAndText CloseJob(JobsManagerDaemon& daemon);

// Jobs and media by ID (JobHandlers.cpp)
std::tuple<int32_t, bool> GetJobLocked(JobsManagerDaemon& daemon, const Text& dev, const Text& job);
CodeAndText GetJobContact(JobsManagerDaemon& daemon, const Text& dev, const Text& job, uint8_t contactId);
std::tuple<int32_t, uint8_t> AddJobContact(JobsManagerDaemon& daemon, const Text& dev, const Text& job,
                                           const Text& contact);
CodeAndCounts GetJobMediaCounts(JobsManagerDaemon& daemon, const Text& dev, const Text& job);
std::tuple<int32_t, int32_t> GetMediaIsIncludedInReport(JobsManagerDaemon& daemon, const Text& dev, const Text& job,
                                                        const Text& media);
int32_t SetMediaIsIncludedInReport(JobsManagerDaemon& daemon, const Text& dev, const Text& job, const Text& media,
                                   int32_t included);
int32_t DeleteMediaItem(JobsManagerDaemon& daemon, const Text& dev, const Text& job, const Text& media);
int32_t DeleteJob(JobsManagerDaemon& daemon, const Text& dev, const Text& job);
/// These two take as long as the copying, and nobody is served meanwhile; the list calls are the ones for long work.
/// They need both devices by name, and the job by its ID.
int32_t MoveJob(JobsManagerDaemon& daemon, const Text& src, const Text& dst, const Text& job);
int32_t CopyJob(JobsManagerDaemon& daemon, const Text& src, const Text& dst, const Text& job);
/// Answers when the task has ended, after its last signal.
void CancelCMD(JobsManagerDaemon& daemon, Later<int32_t> answer, const Text& dev);

// Finding, listing and searching (ListHandlers.cpp)
/// A page of summaries as a JSON array; no limit when it is 0.
CodeAndText GetJobList(JobsManagerDaemon& daemon, const Text& dev, uint8_t criterion, uint8_t order, uint16_t startIdx,
                       uint16_t limit);
CodeAndText GetJobListStats(JobsManagerDaemon& daemon, const Text& dev);
/// Answers when the search has started. `fieldStructure` is JSON.
int32_t SearchJobs(JobsManagerDaemon& daemon, const Text& dev, const Text& fieldStructure, uint8_t criterion,
                   uint16_t matchLimit, bool isCaseSensitive);
CodeAndText GetSearchResults(JobsManagerDaemon& daemon, const Text& dev, uint16_t startIdx, uint16_t limit);
CodeAndText GetSearchStats(JobsManagerDaemon& daemon, const Text& dev);

// Media of the current job (MediaHandlers.cpp)
/// Code, media folder, file stem.
CodeDeviceAndText GetNewMediaPathComponents(JobsManagerDaemon& daemon);
/// Roll and inclinometer in degrees, distances as the reel counts them.
int32_t AddSnapshotMedia(JobsManagerDaemon& daemon, const Text& name, const Text& imagePath, bool hasRoll, int32_t roll,
                         bool hasInclinometer, int32_t inclinometer, bool hasDistance, int32_t absolute,
                         int32_t relative);
int32_t UpdateMediaFileSizes(JobsManagerDaemon& daemon, const Text& path);
CodeAndCounts CurrentJobMediaCounts(JobsManagerDaemon& daemon);
CodeAndText GetMediaID(JobsManagerDaemon& daemon, const Text& path);

/// Names of a recording's files, as the error of an empty path gives them.
struct RecordingFiles {
    const char* main;
    const char* third;
};
inline constexpr char audioWithImage[] = "photoTalk";
inline constexpr char autolog[] = "autolog";
inline constexpr char image[] = "image";
inline constexpr char thumbnail[] = "thumbnail";
inline constexpr char video[] = "video";

using AddRecording = jobsDaemonRtn_e (ManagedDevice::*)(const Text& name, const Text& mainPath,
                                                        const Text& recoveryPath, const Text& thirdPath,
                                                        const Text& miscPath, const MediaReadings& readings);

/// What the four registrations share: the paths are looked at before anything else. Throws MalformedCall, whose text
/// names the file, for an empty one.
void RequirePath(const Text& path, const char* what);
/// A reading that is not present is left out.
MediaReadings ReadingsOf(bool hasRoll, int32_t roll, bool hasInclinometer, int32_t inclinometer, bool hasDistance,
                         int32_t absolute, int32_t relative);

template <AddRecording add, RecordingFiles files>
int32_t AddRecordingMedia(JobsManagerDaemon& daemon, const Text& name, const Text& mainPath, const Text& recoveryPath,
                          const Text& thirdPath, const Text& miscPath, bool hasRoll, int32_t roll, bool hasInclinometer,
                          int32_t inclinometer, bool hasDistance, int32_t absolute, int32_t relative) {
    RequirePath(mainPath, files.main);
    RequirePath(recoveryPath, "recovery");
    RequirePath(thirdPath, files.third);
    const MediaReadings readings =
        ReadingsOf(hasRoll, roll, hasInclinometer, inclinometer, hasDistance, absolute, relative);
    return OnCurrentJob(daemon, [&](ManagedDevice& device) {
        return (device.*add)(name, mainPath, recoveryPath, thirdPath, miscPath, readings);
    });
}

} // namespace JobsManagerD::Handlers
