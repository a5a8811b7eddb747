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

Outcome DoLongWork(const Session& session, const LongWork& work) {
    const std::string device = session.ResolvedDevice();
    if (session.given.Has("no-wait"))
        return Done((session.service.*work.start)(device));
    EventLoop loop(session.service);
    ProgressBar bar(session.output.IsJson());
    Check((session.service.*work.start)(device));
    bool hasBegun = false;
    const auto take = [&](const Event& event) {
        RefuseRemoved(event, device);
        const std::string stats = ChangedText(event, device, "JobListStats");
        if (!stats.empty())
            bar.Draw(Line(work.state, stats));
        // What went before the call may still have been on its way.
        const std::string state = ChangedText(event, device, "DeviceState");
        hasBegun = hasBegun || state == work.state;
        return hasBegun && state == "Idle";
    };
    // Neither kind of work can be cancelled, so that Ctrl-C ends the waiting alone.
    loop.Run(take, [] { raise(SIGINT); });
    return {Parsed(Checked(session.service.GetJobListStats(device)).text)};
}

} // namespace

Outcome Devices(const Session& session) {
    const std::string target = session.service.TargetDeviceID();
    Json devices = Json::array();
    for (const Device& device : session.service.Devices())
        devices.push_back({{"id", device.id},
                           {"isTarget", device.id == target},
                           {"state", device.state},
                           {"currentJobID", device.currentJobID},
                           {"jobListStats", Parsed(device.jobListStats)},
                           {"searchStats", Parsed(device.searchStats)}});
    return {devices};
}

Outcome Target(const Session& session) {
    if (session.given.Has("DEVICE"))
        Check(session.service.SetTargetDeviceID(session.given.Text("DEVICE")));
    return {Json(session.service.GetTargetDeviceID())};
}

Outcome Index(const Session& session) { return DoLongWork(session, {&JobsManager::FindJobs, "Indexing"}); }

Outcome Convert(const Session& session) { return DoLongWork(session, {&JobsManager::ConvertJobs, "Converting"}); }

Outcome Cancel(const Session& session) { return Done(session.service.CancelCMD(session.Device())); }

Outcome Watch(const Session& session) {
    int32_t left = session.given.Number("count", -1);
    session.service.Subscribe();
    std::cerr << "Listening." << std::endl;
    while (true)
        for (const Event& event : session.service.WaitForEvents(std::chrono::hours(1))) {
            session.output.Tell(EventJson(event));
            if (--left == 0)
                return {};
        }
}

} // namespace TarnJobs::Runs
