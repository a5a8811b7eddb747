#pragma once

#include "daemon/JobsManagerDaemon.h"
#include "device/ManagedDevice.h"
#include "jobs/TextFields.h"

#include <string>
#include <tuple>
#include <vector>

// The shapes of the manager's handlers. A shape is a template over the device operation that does the work: it finds
// the device and the job that a call means, runs the operation, and gives the reply. So a new accessor is one row of
// the interface table. All on the main thread. A device whose card has gone counts as not there, also while its threads
// are still ending; a shape holds its device until it has answered.

namespace JobsManagerD {

using Text = std::string;
using CodeAndText = std::tuple<int32_t, std::string>;
/// Code, total, autologs, images, photoTalks, videos.
using CodeAndCounts = std::tuple<int32_t, int32_t, int32_t, int32_t, int32_t, int32_t>;

/// The device that a call means: an empty ID is the target. Null when there is none.
JobsManagerDaemon::Device DeviceOf(const JobsManagerDaemon& daemon, const Text& dev);

/// Runs `operation(device)` on the device that a call means.
template <typename Operation>
int32_t OnDevice(const JobsManagerDaemon& daemon, const Text& dev, Operation operation) {
    const JobsManagerDaemon::Device device = DeviceOf(daemon, dev);
    return device ? operation(*device) : JOBS_RTN_DEVICE_NOT_FOUND;
}

/// Runs `operation(device, job ID)` on the job that a call means: an empty ID is the device's current job.
template <typename Operation>
int32_t OnJob(const JobsManagerDaemon& daemon, const Text& dev, const Text& job, Operation operation) {
    return OnDevice(daemon, dev, [&](ManagedDevice& device) -> int32_t {
        const Text jobID = job.empty() ? device.GetCurrentJobID() : job;
        return jobID.empty() ? JOBS_RTN_NO_CURRENT_JOB : operation(device, jobID);
    });
}

/// Runs `operation(device)` on the device of the current job.
template <typename Operation>
int32_t OnCurrentJob(const JobsManagerDaemon& daemon, Operation operation) {
    const JobsManagerDaemon::Device device = daemon.CurrentJobDevice();
    return device ? operation(*device) : JOBS_RTN_NO_CURRENT_JOB;
}

/// A code with a value that stays as it was made unless the operation succeeds.
template <typename Value, typename Run>
auto CodeAnd(Run run) {
    Value value{};
    const int32_t code = run(value);
    return std::tuple<int32_t, Value>(code, code == JOBS_RTN_SUCCEEDED ? value : Value{});
}

/// In the order of the reply. With a code other than 0 the counts mean nothing.
CodeAndCounts CodeAndMediaCounts(int32_t code, const MediaCounts& counts);

// Jobs

/// `get(job ID, text&)` fills the text.
template <auto get>
CodeAndText GetJobText(JobsManagerDaemon& daemon, const Text& dev, const Text& job) {
    return CodeAnd<Text>([&](Text& text) {
        return OnJob(daemon, dev, job, [&](ManagedDevice& device, const Text& id) { return (device.*get)(id, text); });
    });
}

/// `set(job ID, value)`, and what needs no value.
template <auto set, typename Value = Text>
int32_t SetJobValue(JobsManagerDaemon& daemon, const Text& dev, const Text& job, const Value& value) {
    return OnJob(daemon, dev, job, [&](ManagedDevice& device, const Text& id) { return (device.*set)(id, value); });
}

template <auto change>
int32_t ChangeJob(JobsManagerDaemon& daemon, const Text& dev, const Text& job) {
    return OnJob(daemon, dev, job, [&](ManagedDevice& device, const Text& id) { return (device.*change)(id); });
}

// Media of a job, by the item's ID

template <auto get>
CodeAndText GetMediaText(JobsManagerDaemon& daemon, const Text& dev, const Text& job, const Text& media) {
    return CodeAnd<Text>([&](Text& text) {
        return OnJob(daemon, dev, job,
                     [&](ManagedDevice& device, const Text& id) { return (device.*get)(id, media, text); });
    });
}

// Texts that are rows of `jobTextFields` or of `mediaTextFields`, by their key there

template <FieldKey key>
CodeAndText GetJobField(JobsManagerDaemon& daemon, const Text& dev, const Text& job) {
    return CodeAnd<Text>([&](Text& text) {
        return OnJob(daemon, dev, job, [&](ManagedDevice& device, const Text& id) {
            return device.GetText(jobTextField<key>, id, text);
        });
    });
}

template <FieldKey key>
int32_t SetJobField(JobsManagerDaemon& daemon, const Text& dev, const Text& job, const Text& text) {
    return OnJob(daemon, dev, job,
                 [&](ManagedDevice& device, const Text& id) { return device.SetText(jobTextField<key>, id, text); });
}

template <FieldKey key>
CodeAndText GetMediaField(JobsManagerDaemon& daemon, const Text& dev, const Text& job, const Text& media) {
    return CodeAnd<Text>([&](Text& text) {
        return OnJob(daemon, dev, job, [&](ManagedDevice& device, const Text& id) {
            return device.GetText(mediaTextField<key>, id, media, text);
        });
    });
}

template <FieldKey key>
int32_t SetMediaField(JobsManagerDaemon& daemon, const Text& dev, const Text& job, const Text& media,
                      const Text& text) {
    return OnJob(daemon, dev, job, [&](ManagedDevice& device, const Text& id) {
        return device.SetText(mediaTextField<key>, id, media, text);
    });
}

// Whole devices: the rest of the call's arguments goes to the operation as it is.

template <auto run, typename... Arguments>
int32_t RunOnDevice(JobsManagerDaemon& daemon, const Text& dev, const Arguments&... arguments) {
    return OnDevice(daemon, dev, [&](ManagedDevice& device) { return (device.*run)(arguments...); });
}

/// Runs `operation(source, destination)`. Neither device takes the target's place.
template <typename Operation>
int32_t OnTwoDevices(const JobsManagerDaemon& daemon, const Text& src, const Text& dst, Operation operation) {
    const JobsManagerDaemon::Device source = daemon.FindDevice(src);
    const JobsManagerDaemon::Device destination = daemon.FindDevice(dst);
    return source && destination ? operation(*source, *destination) : JOBS_RTN_DEVICE_NOT_FOUND;
}

template <auto run, typename... Arguments>
int32_t RunOnTwoDevices(JobsManagerDaemon& daemon, const Text& src, const Text& dst, const Arguments&... arguments) {
    return OnTwoDevices(daemon, src, dst, [&](ManagedDevice& source, ManagedDevice& destination) {
        return (source.*run)(destination, arguments...);
    });
}

} // namespace JobsManagerD
