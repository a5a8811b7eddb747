#include "peers/FileRepairDaemon.h"

#include "peers/buslink/PeerConnection.h"
#include "peers/buslink/Wire.h"

#include <syslog.h>

namespace FileRepairD {
namespace {

constexpr const char* service = "com.corvane.common.FileRepairDaemon1";
constexpr const char* rootPath = "/com/corvane/common/FileRepairDaemon1";
constexpr const char* deviceInterface = "com.corvane.common.FileRepairDaemon1.Device";

/// Logs a step that failed with a line that takes its result.
int32_t Failed(int32_t result, const char* line) {
    syslog(LOG_ERR, line, result);
    return result;
}

int32_t Ask(sd_bus* bus, const std::string& objectPath, const std::vector<std::string>& folders,
            fileRepairDaemonRtn_e& answer) {
    Buslink::Message call;
    int32_t result = sd_bus_message_new_method_call(bus, Buslink::Out(call), service, objectPath.c_str(),
                                                    deviceInterface, "CheckDevice");
    if (result < 0)
        return Failed(result, "libfilerepairdaemon::FileRepair::CheckDevice: sd_bus_message_new_method_call failed, "
                              "r = %d.");
    // The service expects the object's own path before the folders.
    result = Buslink::AppendAll(call.get(), objectPath, folders);
    if (result < 0)
        return Failed(result, "libfilerepairdaemon::FileRepair::CheckDevice: write to message failed r = %d");
    Buslink::BusError error;
    Buslink::Message reply;
    result = sd_bus_call(bus, call.get(), 0, error, Buslink::Out(reply));
    if (result < 0) {
        syslog(LOG_ERR, "libfilerepairdaemon::FileRepair::CheckDevice: sd_bus_call_method failed r = %d, reason = %s",
               result, error.Text(result).c_str());
        return result;
    }
    int32_t code = 0;
    result = Buslink::ReadAll(reply.get(), code);
    if (result < 0)
        return Failed(result, "libfilerepairdaemon::FileRepair::CheckDevice: failed reading reply, r = %d.");
    answer = static_cast<fileRepairDaemonRtn_e>(code);
    return 0;
}

} // namespace

int32_t FileRepair::CheckDevice(const std::string& deviceId, fileRepairDaemonRtn_e& result,
                                const std::vector<std::string>& folders) {
    const std::string objectPath = std::string(rootPath) + "/" + deviceId;
    const Buslink::PeerConnection bus;
    if (bus.Result() < 0)
        return Failed(bus.Result(), "libfilerepairdaemon::FileRepair::CheckDevice: sd_bus_open_user failed r = %d");
    return Buslink::PeerConnection::Checked(Ask(bus.Get(), objectPath, folders, result));
}

} // namespace FileRepairD
