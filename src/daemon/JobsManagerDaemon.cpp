#include "daemon/JobsManagerDaemon.h"

#include "codes/LogLine.h"
#include "daemon/BusGate.h"
#include "daemon/ManagerInterface.h"
#include "device/ManagedDevice.h"
#include "peers/PositionSource.h"

#include <sigc++/functors/mem_fun.h>
#include <syslog.h>

namespace JobsManagerD {
namespace {

/// Logs a failed step of the start. The line takes the step's place in the log, and its result where it has one.
int32_t Checked(int32_t result, LogLine<const char*, int32_t> line) {
    if (result < 0)
        line.Write(LOG_ERR, "Init", result);
    return result;
}

} // namespace

JobsManagerDaemon::JobsManagerDaemon(sd_event* event)
    : DbusServer(managerInterface, managerPath, managerInterface, false, false, event),
      busGate(std::make_shared<BusGate>(*this)), storage(event), settings(event), sync(event) {}

JobsManagerDaemon::~JobsManagerDaemon() {
    busGate->Close();
    WithBus([this](sd_bus*) {
        devices.clear();
        return 0;
    });
}

int32_t JobsManagerDaemon::Init() {
    syslog(LOG_INFO, "%s", "Init");
    AddManagerInterface(*this);
    for (const auto step :
         {&JobsManagerDaemon::_StartServing, &JobsManagerDaemon::_ListenToPeers, &JobsManagerDaemon::_ReadJobSettings})
        if (const int32_t result = (this->*step)(); result < 0)
            return result;

    syslog(LOG_INFO, "%s Create and register Managed Device Dbus objects for all mounted storage devices", "Init");
    const int32_t result = _RegisterMountedDevices();
    if (result < 0)
        return result;
    SelectTargetDevice();
    GetThisUnitInfo();
    syslog(LOG_INFO, "%s Init complete", "Init");
    return result;
}

int32_t JobsManagerDaemon::_StartServing() {
    const int32_t result = Checked(Start(), "%s Failed to start dbus server, exit (%d)");
    if (result < 0)
        return result;
    return Checked(
        WithBus([](sd_bus* connection) { return sd_bus_add_object_manager(connection, nullptr, managerPath); }),
        "%s Failed to add obj manager, exit (%d)");
}

int32_t JobsManagerDaemon::_ListenToPeers() {
    int32_t result = Checked(storage.Listen(), "%s Storage.Listen failed.");
    if (result >= 0)
        result = Checked(settings.Listen(), "%s Settings.Listen failed.");
    if (result >= 0)
        result = Checked(sync.Listen(), "%s Sync.Listen failed.");
    if (result >= 0)
        result = Checked(ConnectSignals(), "%s ConnectSignals failed.");
    return result;
}

int32_t JobsManagerDaemon::ConnectSignals() {
    storage.propertiesChanged.connect(sigc::mem_fun(*this, &JobsManagerDaemon::StoragePropertiesChanged));
    storage.interfaceRemoved.connect(sigc::mem_fun(*this, &JobsManagerDaemon::_StorageRemoved));
    settings.SectionChanged("jobs").connect(sigc::mem_fun(*this, &JobsManagerDaemon::JobSettingsChanged));
    settings.SectionChanged("contacts").connect(sigc::mem_fun(*this, &JobsManagerDaemon::JobContactsSettingsChanged));
    sync.destinationSynced.connect(sigc::mem_fun(*this, &JobsManagerDaemon::SyncDestinationSynced));
    sync.jobFileSynced.connect(sigc::mem_fun(*this, &JobsManagerDaemon::JobFileSynced));
    return 0;
}

int32_t JobsManagerDaemon::_RegisterMountedDevices() {
    std::vector<std::string> paths;
    storage.GetStorageObjectPaths(paths);
    syslog(LOG_INFO, "JobsManagerDaemon::Init - GetStorageObjectPaths returned:");
    for (const std::string& path : paths)
        syslog(LOG_INFO, "%s", path.c_str());

    int32_t result = 0;
    for (const std::string& path : paths) {
        bool mounted = false;
        storage.GetMounted(path, mounted);
        if (!mounted)
            continue;
        syslog(LOG_INFO, "JobsManagerDaemon::Init - Registering Managed Device for Storage Object: %s", path.c_str());
        result = RegisterManagedDeviceDbusObject(path);
        if (result < 0) {
            syslog(LOG_ERR, "JobsManagerDaemon::Init - RegisterManagedDeviceDbusObject() failed on Storage Object: %s",
                   path.c_str());
            break;
        }
        if (const Device device = FindDeviceByStoragePath(path)) {
            syslog(LOG_INFO, "JobsManagerDaemon::Init - Searching for job files on device: %s",
                   device->GetDbusPath().c_str());
            result = device->FindDeviceJobs();
        }
    }
    return result;
}

} // namespace JobsManagerD
