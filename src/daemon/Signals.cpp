#include "daemon/BusGate.h"
#include "daemon/JobsManagerDaemon.h"
#include "daemon/Settings.h"
#include "device/ManagedDevice.h"
#include "peers/buslink/Wire.h"

#include <syslog.h>

namespace JobsManagerD {
namespace {

/// What a device's signals become on the bus. Signals go out from the device's path under the manager's interface.
/// Runs on the thread that raised the signal; a failed emission is logged and dropped.
class DeviceSignals {
public:
    DeviceSignals(BusGate& gate, ManagedDevice& device) : _gate(gate), _device(device) {}

    void DeviceStateUpdate() const;
    void JobListStatsChanged(bool finished) const;
    void JobChanged(const std::string& summary) const;
    void JobCreated() const;
    void JobOpened() const;
    void JobClosed(const std::string& jobID) const;
    void JobSearchComplete() const;

    template <typename... Arguments>
    int Emit(const char* name, const Arguments&... arguments) const;

    const char* Path() const { return _device.GetDbusPath().c_str(); }

private:
    template <typename... Names>
    int _EmitChanges(Names... properties) const;
    void _EmitChange(const char* signal, const char* property) const;

    BusGate& _gate;
    ManagedDevice& _device;
};

template <typename... Arguments>
int DeviceSignals::Emit(const char* name, const Arguments&... arguments) const {
    return _gate.WithBus([&](sd_bus* connection) {
        Buslink::Message message;
        int result = sd_bus_message_new_signal(connection, Buslink::Out(message), Path(), managerInterface, name);
        if (result >= 0)
            result = Buslink::AppendAll(message.get(), arguments...);
        return result < 0 ? result : sd_bus_send(connection, message.get(), nullptr);
    });
}

template <typename... Names>
int DeviceSignals::_EmitChanges(Names... properties) const {
    return _gate.WithBus([&](sd_bus* connection) {
        return sd_bus_emit_properties_changed(connection, Path(), deviceInterface, properties..., nullptr);
    });
}

void DeviceSignals::_EmitChange(const char* signal, const char* property) const {
    if (_EmitChanges(property) < 0)
        syslog(LOG_ERR, "%s Failed to emit properties changed for property %s on device %s", signal, property, Path());
}

void DeviceSignals::DeviceStateUpdate() const {
    syslog(LOG_INFO, "JobsManagerDaemon::DeviceStateUpdate - Device %s state changed to %d",
           _device.GetDeviceId().c_str(), _device.GetState());
    _EmitChange("DeviceStateUpdate", "DeviceState");
}

void DeviceSignals::JobListStatsChanged(bool finished) const {
    const JobListSignals wanted = signalJobListChanges;
    if (wanted == JobListSignals::none || (wanted == JobListSignals::onChangeCompletion && !finished))
        return;
    if (_EmitChanges("JobListStatus", "JobListStats") < 0)
        syslog(LOG_ERR, "%s Failed to emit properties changed for properties %s and %s on device %s",
               "JobListStatsChanged", "JobListStatus", "JobListStats", Path());
}

void DeviceSignals::JobChanged(const std::string& summary) const {
    syslog(LOG_INFO, "%s", "JobChanged");
    if (Emit("JobChanged", summary) < 0)
        syslog(LOG_ERR, "%s Failed to emit %s signal on device %s", "JobChanged", "JobChanged", Path());
}

void DeviceSignals::JobCreated() const {
    syslog(LOG_INFO, "JobsManagerDaemon::JobCreated");
    if (signalJobListChanges == JobListSignals::none)
        _EmitChange("JobCreated", "CurrentJobID");
    else if (_EmitChanges("JobListStatus", "JobListStats", "CurrentJobID") < 0)
        syslog(LOG_ERR, "%s Failed to emit properties changed for properties %s, %s and %s on device %s", "JobCreated",
               "JobListStatus", "JobListStats", "CurrentJobID", Path());
}

void DeviceSignals::JobOpened() const {
    syslog(LOG_INFO, "JobsManagerDaemon::JobOpened: - ID: %s", _device.GetCurrentJobID().c_str());
    _EmitChange("JobOpened", "CurrentJobID");
}

void DeviceSignals::JobClosed(const std::string& jobID) const {
    syslog(LOG_INFO, "JobsManagerDaemon::JobClosed: ID %s", jobID.c_str());
    _EmitChange("JobClosed", "CurrentJobID");
}

void DeviceSignals::JobSearchComplete() const { _EmitChange("JobSearchComplete", "SearchStats"); }

/// In what the multi-job signals differ: their name on the bus, and their name in the line of a failure.
struct ListSignal {
    const char* name;
    const char* nameInLog;
};

void LogFailure(const ListSignal& signal, const char* path) {
    syslog(LOG_ERR, "%s Failed to emit DBUS_SIGNAL_JOB_LIST_%s signal changed on device %s", signal.name,
           signal.nameInLog, path);
}

void LogErrorFailure(const ListSignal& signal, const char* path, int32_t rtn) {
    syslog(LOG_ERR, "%s Failed to emit DBUS_SIGNAL_JOB_LIST_%s signal on device %s, rtn = %d", signal.name,
           signal.nameInLog, path, rtn);
}

/// Move and copy send alike, but for these names.
struct TransferNames {
    ListSignal progress;
    ListSignal finish;
    ListSignal error;
    const char* counted;
};

constexpr TransferNames moveNames{{"JobListMoveProgress", "MOVE_PROGRESS"},
                                  {"JobListMoveFinish", "MOVE_FINISH"},
                                  {"JobListMoveError", "MOVE_ERROR"},
                                  "nMoved"};
constexpr TransferNames copyNames{{"JobListCopyProgress", "COPY_PROGRESS"},
                                  {"JobListCopyFinish", "COPY_FINISH"},
                                  {"JobListCopyError", "COPY_ERROR"},
                                  "nCopied"};

using Gate = std::shared_ptr<BusGate>;

void ConnectDelete(const Gate& gate, ManagedDevice& device) {
    device._jobListDeleteProgress.Connect(
        [gate](ManagedDevice& source, int32_t percent, int32_t nDeleted, int32_t nTotal) {
            constexpr ListSignal signal{"JobListDeleteProgress", "DELETE_PROGRESS"};
            const DeviceSignals signals(*gate, source);
            syslog(LOG_INFO, "JobsManagerDaemon::JobListDeleteProgress - %d percent %d nDeleted %d nTotal", percent,
                   nDeleted, nTotal);
            if (signals.Emit(signal.name, percent, nDeleted, nTotal) < 0)
                LogFailure(signal, signals.Path());
        });
    device._jobListDeleteFinish.Connect([gate](ManagedDevice& source, bool cancel, int32_t nDeleted, int32_t nTotal) {
        constexpr ListSignal signal{"JobListDeleteFinish", "DELETE_FINISH"};
        const DeviceSignals signals(*gate, source);
        syslog(LOG_INFO, "JobsManagerDaemon::JobListDeleteFinish - %d cancel %d nDeleted %d nTotal", cancel, nDeleted,
               nTotal);
        if (signals.Emit(signal.name, cancel, nDeleted, nTotal) < 0)
            LogFailure(signal, signals.Path());
    });
    device._jobListDeleteError.Connect([gate](ManagedDevice& source, const std::string& jobID, int32_t rtn) {
        constexpr ListSignal signal{"JobListDeleteError", "DELETE_ERROR"};
        const DeviceSignals signals(*gate, source);
        syslog(LOG_INFO, "JobsManagerDaemon::JobListDeleteError - %s jobID", jobID.c_str());
        if (signals.Emit(signal.name, jobID, rtn) < 0)
            LogErrorFailure(signal, signals.Path(), rtn);
    });
}

void ConnectTransfer(const Gate& gate, const TransferNames& names, ManagedDevice::TransferProgress& progress,
                     ManagedDevice::TransferFinish& finish, ManagedDevice::TransferError& error) {
    progress.Connect([gate, &names](ManagedDevice& source, const std::string& destination, int32_t percent,
                                    int32_t nDone, int32_t nTotal) {
        const DeviceSignals signals(*gate, source);
        syslog(LOG_INFO, "JobsManagerDaemon::%s - %s destination, %d percent %d %s %d nTotal", names.progress.name,
               destination.c_str(), percent, nDone, names.counted, nTotal);
        if (signals.Emit(names.progress.name, destination, percent, nDone, nTotal) < 0)
            LogFailure(names.progress, signals.Path());
    });
    finish.Connect([gate, &names](ManagedDevice& source, const std::string& destination, bool cancel, int32_t nDone,
                                  int32_t nTotal) {
        const DeviceSignals signals(*gate, source);
        syslog(LOG_INFO, "JobsManagerDaemon::%s - %s destination, %d cancel %d %s %d nTotal", names.finish.name,
               destination.c_str(), cancel, nDone, names.counted, nTotal);
        if (signals.Emit(names.finish.name, destination, cancel, nDone, nTotal) < 0)
            LogFailure(names.finish, signals.Path());
    });
    error.Connect(
        [gate, &names](ManagedDevice& source, const std::string& destination, const std::string& jobID, int32_t rtn) {
            const DeviceSignals signals(*gate, source);
            syslog(LOG_INFO, "JobsManagerDaemon::%s - %s destination, %s jobID", names.error.name, destination.c_str(),
                   jobID.c_str());
            if (signals.Emit(names.error.name, destination, jobID, rtn) < 0)
                LogErrorFailure(names.error, signals.Path(), rtn);
        });
}

/// Joins a device's signal to the method of the same name.
template <typename... Arguments>
void Connect(const Gate& gate, RaisedSignal<ManagedDevice&, Arguments...>& signal,
             void (DeviceSignals::*method)(Arguments...) const) {
    signal.Connect([gate, method](ManagedDevice& source, Arguments... arguments) {
        (DeviceSignals(*gate, source).*method)(arguments...);
    });
}

} // namespace

void JobsManagerDaemon::_ConnectDeviceSignals(ManagedDevice& device) {
    Connect(busGate, device._deviceStateUpdate, &DeviceSignals::DeviceStateUpdate);
    Connect(busGate, device._jobListStatsChanged, &DeviceSignals::JobListStatsChanged);
    Connect(busGate, device._jobChanged, &DeviceSignals::JobChanged);
    Connect(busGate, device._jobCreated, &DeviceSignals::JobCreated);
    Connect(busGate, device._jobOpened, &DeviceSignals::JobOpened);
    Connect(busGate, device._jobClosed, &DeviceSignals::JobClosed);
    ConnectDelete(busGate, device);
    ConnectTransfer(busGate, moveNames, device._jobListMoveProgress, device._jobListMoveFinish,
                    device._jobListMoveError);
    ConnectTransfer(busGate, copyNames, device._jobListCopyProgress, device._jobListCopyFinish,
                    device._jobListCopyError);
    Connect(busGate, device._jobSearchComplete, &DeviceSignals::JobSearchComplete);
}

void JobsManagerDaemon::EmitTargetDeviceChanged() {
    const int result = WithBus([](sd_bus* connection) {
        return sd_bus_emit_properties_changed(connection, managerPath, managerInterface, "TargetDeviceID", nullptr);
    });
    if (result < 0)
        syslog(LOG_ERR, "%s Failed to emit properties changed for property %s on path %s", "EmitTargetDeviceChanged",
               "TargetDeviceID", managerPath);
}

} // namespace JobsManagerD
