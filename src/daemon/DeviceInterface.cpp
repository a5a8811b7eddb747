#include "daemon/DeviceInterface.h"

#include "daemon/JobsManagerDaemon.h"
#include "device/ManagedDevice.h"
#include "peers/buslink/Vtable.h"
#include "peers/buslink/Wire.h"

namespace JobsManagerD {
namespace {

/// A getter of one property: `read` gives its value. Runs under the bus lock, on whatever thread emits.
template <auto read>
int Get(sd_bus*, const char* path, const char*, const char*, sd_bus_message* reply, void* userData,
        sd_bus_error* error) {
    // The user data was given as the server that the daemon is.
    const auto& daemon = *static_cast<JobsManagerDaemon*>(userData);
    const JobsManagerDaemon::Device device = daemon.FindDeviceByObjectPath(path);
    if (!device)
        return sd_bus_error_set(error, SD_BUS_ERROR_FAILED, "Device not found");
    return Buslink::AppendAll(reply, read(*device));
}

std::string DeviceState(const ManagedDevice& device) { return device.GetStateString(); }
std::string CurrentJobID(const ManagedDevice& device) { return device.GetCurrentJobID(); }
/// Constant: a change notice of it tells clients that the job list changed.
bool JobListStatus(const ManagedDevice&) { return true; }
std::string JobListStats(const ManagedDevice& device) { return device.GetJobListStatsJSONstring(); }
std::string SearchStats(const ManagedDevice& device) { return device.GetSearchStatsJSONstring(); }

} // namespace

void BuildDeviceVtable(std::vector<sd_bus_vtable>& table) {
    using namespace buslink_utils::vtable;
    constexpr uint64_t flags = SD_BUS_VTABLE_PROPERTY_EMITS_CHANGE;
    AddStart(table);
    AddPropertyReadOnly(table, "DeviceState", "s", Get<DeviceState>, flags);
    AddPropertyReadOnly(table, "CurrentJobID", "s", Get<CurrentJobID>, flags);
    AddPropertyReadOnly(table, "JobListStatus", "b", Get<JobListStatus>, flags);
    AddPropertyReadOnly(table, "JobListStats", "s", Get<JobListStats>, flags);
    AddPropertyReadOnly(table, "SearchStats", "s", Get<SearchStats>, flags);
    AddEnd(table);
}

} // namespace JobsManagerD
