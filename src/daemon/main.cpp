#include "daemon/JobsManagerDaemon.h"
#include "daemon/ServiceManager.h"
#include "device/RunningTask.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <iostream>
#include <systemd/sd-event.h>

namespace {

/// The signals are blocked before any thread exists, so that they are only ever taken by the loop, which they end.
int32_t TakeSignals(sd_event* event) {
    sigset_t signals;
    if (sigemptyset(&signals) < 0 || sigaddset(&signals, SIGTERM) < 0 || sigaddset(&signals, SIGINT) < 0 ||
        sigprocmask(SIG_BLOCK, &signals, nullptr) < 0)
        return -errno;
    const int result = sd_event_add_signal(event, nullptr, SIGTERM, nullptr, nullptr);
    return result < 0 ? result : sd_event_add_signal(event, nullptr, SIGINT, nullptr, nullptr);
}

int32_t Serve(JobsManagerD::JobsManagerDaemon& daemon, sd_event* event) {
    int32_t result = TakeSignals(event);
    if (result >= 0)
        result = daemon.Init();
    if (result < 0)
        return result;
    JobsManagerD::ServiceManager::TellReady();
    daemon.TellDevices();
    JobsManagerD::ServiceManager::StartHeartbeat(event);
    std::cout << "Jobs Manager Daemon enter main loop\n" << std::flush;
    return sd_event_loop(event);
}

int32_t Run() {
    std::cout << "Jobs Manager Daemon started" << std::endl;
    sd_event* event = nullptr;
    const int created = sd_event_default(&event);
    JobsManagerD::JobsManagerDaemon daemon(event);
    int32_t exitCode = -1;
    if (created < 0)
        std::cout << "Failed to create event loop, exiting ...";
    else
        exitCode = Serve(daemon, event);
    std::cout << "Jobs Manager Daemon exiting (exit code:" << exitCode << ") ...\n" << std::flush;
    if (event)
        sd_event_unref(event);
    return exitCode;
}

} // namespace

int main() {
    const int32_t exitCode = Run();
    // A task that still runs ends with the process, and must find all it uses until then.
    if (JobsManagerD::RunningTask::Any())
        std::_Exit(exitCode);
    return exitCode;
}
