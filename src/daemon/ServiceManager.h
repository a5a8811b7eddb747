#pragma once

#include <string>
#include <systemd/sd-event.h>
#include <vector>

// What the service manager hears of a service that it started and that asked for it; nothing happens otherwise. Each
// word is a notification of its own. On the main thread.

namespace JobsManagerD::ServiceManager {

/// The start has succeeded. This is the first that the service manager hears.
void TellReady();

/// The status line: version and devices.
void TellDevices(const std::vector<std::string>& deviceIDs);

/// From now on the loop gives a sign of life in the rhythm that the service manager wants, as long as it turns: a call
/// that takes its time, such as the copying of one job, keeps it from turning. Negative errno on failure.
int StartHeartbeat(sd_event* event);

} // namespace JobsManagerD::ServiceManager
