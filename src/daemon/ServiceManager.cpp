#include "daemon/ServiceManager.h"

#include <systemd/sd-daemon.h>

namespace JobsManagerD::ServiceManager {

void TellReady() { sd_notify(0, "READY=1"); }

void TellDevices(const std::vector<std::string>& deviceIDs) {
    std::string list;
    for (const std::string& id : deviceIDs)
        list += (list.empty() ? "" : ", ") + id;
    sd_notifyf(0, "STATUS=Version %s, %s%s", TARN_VERSION,
               deviceIDs.empty() ? "no devices" : "devices: ", list.c_str());
}

int StartHeartbeat(sd_event* event) { return sd_event_set_watchdog(event, true); }

} // namespace JobsManagerD::ServiceManager
