#include "daemon/DeviceInterface.h"

#include "daemon/JobsManagerDaemon.h"
#include "device/ManagedDevice.h"
#include "peers/buslink/Vtable.h"

#include <vector>

namespace JobsManagerD {
namespace {

/// A getter of one property: `read` gives its value.
template <auto read>
int Get(sd_bus*, const char* path, const char*, const char* property, sd_bus_message* reply, void* userData,
        sd_bus_error* error) {
    auto& daemon = *static_cast<JobsManagerDaemon*>(userData);
    const JobsManagerDaemon::Device device = daemon.FindDeviceByObjectPath(path);
    if (!device)
        return sd_bus_error_set(error, SD_BUS_ERROR_FAILED, "Device not found");
    return daemon.AnswerProperty(reply, property, error, [&device] { return read(*device); });
}

std::string DeviceState(const ManagedDevice& device) { return device.GetStateString(); }
std::string CurrentJobID(const ManagedDevice& device) { return device.GetCurrentJobID(); }
/// Constant: a change notice of it tells clients that the job list changed.
bool JobListStatus(const ManagedDevice&) { return true; }
std::string JobListStats(const ManagedDevice& device) { return device.GetJobListStatsJSONstring(); }
std::string SearchStats(const ManagedDevice& device) { return device.GetSearchStatsJSONstring(); }

std::vector<sd_bus_vtable> BuildTable() {
    using namespace buslink_utils::vtable;
    constexpr uint64_t flags = SD_BUS_VTABLE_PROPERTY_EMITS_CHANGE;
    std::vector<sd_bus_vtable> table;
    AddStart(table);
    AddPropertyReadOnly(table, "DeviceState", "s", Get<DeviceState>, flags);
    AddPropertyReadOnly(table, "CurrentJobID", "s", Get<CurrentJobID>, flags);
    AddPropertyReadOnly(table, "JobListStatus", "b", Get<JobListStatus>, flags);
    AddPropertyReadOnly(table, "JobListStats", "s", Get<JobListStats>, flags);
    AddPropertyReadOnly(table, "SearchStats", "s", Get<SearchStats>, flags);
    AddEnd(table);
    return table;
}

} // namespace

const sd_bus_vtable* DeviceVtable() {
    // Never freed: the bus reads it as long as there is an object.
    static const auto& table = *new std::vector<sd_bus_vtable>(BuildTable());
    return table.data();
}

} // namespace JobsManagerD
