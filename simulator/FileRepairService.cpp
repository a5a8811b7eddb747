#include "simulator/FileRepairService.h"

namespace Simulator {

FileRepairService::FileRepairService(EventThread& loop, std::string busAddress)
    : PeerService(loop, std::move(busAddress), "com.corvane.common.FileRepairDaemon1") {
    AddMethod({RootInterface() + ".Device", "CheckDevice", "sas", [this](const Call& call, sd_bus_message* reply) {
                   if (!call.path.starts_with(RootPath() + "/"))
                       throw Failure{"org.freedesktop.DBus.Error.UnknownObject", "No device at '" + call.path + "'."};
                   Append(reply, _result);
               }});
    AddObject({RootPath(), RootInterface(), {}});
}

void FileRepairService::SetResult(int32_t result) {
    Run([this, result] { _result = result; });
}

std::vector<CheckDeviceCall> FileRepairService::CheckDeviceCalls() const {
    std::vector<CheckDeviceCall> checks;
    for (const Call& call : Calls())
        if (call.member == "CheckDevice")
            checks.push_back({call.path, std::get<std::string>(call.arguments.at(0)),
                              std::get<std::vector<std::string>>(call.arguments.at(1))});
    return checks;
}

} // namespace Simulator
