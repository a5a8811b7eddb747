#include "peers/FileRepairDaemon.h"

#include "peers/buslink/PeerConnection.h"
#include "peers/buslink/Wire.h"

#include <syslog.h>

namespace FileRepairD {
namespace {

constexpr const char* service = "com.corvane.common.FileRepairDaemon1";
constexpr const char* rootPath = "/com/corvane/common/FileRepairDaemon1";
constexpr const char* deviceInterface = "com.corvane.common.FileRepairDaemon1.Device";

/// A step that failed, in the words of the log, and why.
struct Failure {
    const char* step = "sd_bus_open_user failed r = ";
    const char* end = "";
    std::string reason;
};

int32_t Ask(sd_bus* bus, const std::string& objectPath, const std::vector<std::string>& folders,
            fileRepairDaemonRtn_e& answer, Failure& failure) {
    failure = {"sd_bus_message_new_method_call failed, r = ", ".", ""};
    Buslink::Message call;
    int32_t result = sd_bus_message_new_method_call(bus, Buslink::Out(call), service, objectPath.c_str(),
                                                    deviceInterface, "CheckDevice");
    if (result < 0)
        return result;
    // The service expects the object's own path before the folders.
    failure = {"write to message failed r = ", "", ""};
    result = Buslink::AppendAll(call.get(), objectPath, folders);
    if (result < 0)
        return result;
    Buslink::BusError error;
    Buslink::Message reply;
    result = sd_bus_call(bus, call.get(), 0, error, Buslink::Out(reply));
    failure = {"sd_bus_call_method failed r = ", ", reason = ", error.Text(result)};
    if (result < 0)
        return result;
    failure = {"failed reading reply, r = ", ".", ""};
    int32_t code = 0;
    result = Buslink::ReadAll(reply.get(), code);
    if (result < 0)
        return result;
    answer = static_cast<fileRepairDaemonRtn_e>(code);
    return 0;
}

} // namespace

int32_t FileRepair::CheckDevice(const std::string& deviceId, fileRepairDaemonRtn_e& result,
                                const std::vector<std::string>& folders) {
    const std::string objectPath = std::string(rootPath) + "/" + deviceId;
    Failure failure;
    const int32_t called =
        Buslink::PeerConnection::With([&](sd_bus* bus) { return Ask(bus, objectPath, folders, result, failure); });
    if (called < 0)
        syslog(LOG_ERR, "libfilerepairdaemon::FileRepair::CheckDevice: %s%d%s%s", failure.step, called, failure.end,
               failure.reason.c_str());
    return called;
}

} // namespace FileRepairD
