#include "EventJson.h"
#include "EventLoop.h"
#include "ExitCodes.h"
#include "ProgressBar.h"
#include "Runs.h"

#include <csignal>
#include <iostream>

using namespace libjobsdaemon;

namespace TarnJobs::Runs {
namespace {

/// Work that shows in the state of the device, from the call on until the device is idle again.
struct LongWork {
    jobsDaemonRtn_e (JobsManager::*start)(const std::string&);
    const char* state;
};

std::string Line(const char* state, const std::string& stats) {
    const Json counts = Parsed(stats);
    return std::string(state) + "  " + counts.value("nRuvoJobs", Json(0)).dump() + " jobs, " +
           counts.value("nTamsyJobs", Json(0)).dump() + " older ones";
}

Outcome DoLongWork(const Invocation& invocation, const LongWork& work) {
    const std::string device = invocation.ResolvedDevice();
    if (invocation.given.Has("no-wait"))
        return Done((invocation.service.*work.start)(device));
    EventLoop loop(invocation.service);
    ProgressBar bar(invocation.output.IsJson());
    Check((invocation.service.*work.start)(device));
    bool hasBegun = false;
    const auto take = [&](const Event& event) {
        CheckDeviceStays(event, device);
        const std::string stats = ChangedText(event, device, "JobListStats");
        if (!stats.empty())
            bar.Draw(Line(work.state, stats));
        // What went before the call may still have been on its way.
        const std::string state = ChangedText(event, device, "DeviceState");
        hasBegun = hasBegun || state == work.state;
        return hasBegun && state == "Idle";
    };
    // Neither kind of work can be cancelled, so that Ctrl-C ends the waiting alone.
    loop.Run({take, [] { raise(SIGINT); }, [&bar] { bar.Redraw(); }});
    return Relayed(invocation.service.GetJobListStats(device));
}

} // namespace

Json DevicesJson(JobsManager& service) {
    const std::string target = service.TargetDeviceID();
    Json devices = Json::array();
    for (const Device& device : service.Devices())
        devices.push_back({{"id", device.id},
                           {"isTarget", device.id == target},
                           {"state", device.state},
                           {"currentJobID", device.currentJobID},
                           {"jobListStats", Parsed(device.jobListStats)},
                           {"searchStats", Parsed(device.searchStats)}});
    return devices;
}

Outcome Devices(const Invocation& invocation) { return {.result = DevicesJson(invocation.service)}; }

Outcome Target(const Invocation& invocation) {
    if (invocation.given.Has("DEVICE"))
        Check(invocation.service.SetTargetDeviceID(invocation.given.Text("DEVICE")));
    return {.result = invocation.service.GetTargetDeviceID()};
}

Outcome Index(const Invocation& invocation) { return DoLongWork(invocation, {&JobsManager::FindJobs, "Indexing"}); }

Outcome Convert(const Invocation& invocation) {
    return DoLongWork(invocation, {&JobsManager::ConvertJobs, "Converting"});
}

Outcome Cancel(const Invocation& invocation) { return Done(invocation.service.CancelCMD(invocation.Device())); }

Outcome Watch(const Invocation& invocation) {
    const std::string device = invocation.Device();
    const std::string kind = invocation.given.Text("event");
    int32_t left = invocation.given.Number("count", -1);
    invocation.service.Subscribe();
    std::cerr << "Listening." << std::endl;
    while (true)
        for (const Event& event : invocation.service.WaitForEvents(std::chrono::hours(1))) {
            Json told{{"time", MomentNow()}};
            told.update(EventJson(event));
            const bool isWanted =
                (device.empty() || told.value("device", "") == device) && (kind.empty() || told["event"] == kind);
            if (!isWanted)
                continue;
            invocation.output.Tell({.result = told});
            if (--left == 0)
                return {};
        }
}

} // namespace TarnJobs::Runs
