#include "simulator/StorageService.h"

namespace Simulator {

StorageService::StorageService(EventThread& loop, std::string busAddress)
    : PeerService(loop, std::move(busAddress), "com.corvane.common.StorageDaemon1") {
    AddMethod({deviceInterface, "SetWriteActive", "yb", [this](const Call& call, sd_bus_message*) {
                   if (!HasObject(call.path))
                       throw Failure{"org.freedesktop.DBus.Error.UnknownObject", "No card at '" + call.path + "'."};
               }});
    AddObject({RootPath(),
               RootInterface(),
               {{"PrimaryDevice", std::string()}, {"AvailableDevices", std::vector<std::string>()}}});
}

void StorageService::AddCard(const std::string& id, const std::string& mountPoint, CardState state) {
    AddObject(
        {CardPath(id),
         deviceInterface,
         {{"Id", id}, {"MountPoint", mountPoint}, {"IsMounted", state.isMounted}, {"ReadOnly", state.isReadOnly}}});
}

void StorageService::InsertCard(const std::string& id, const std::string& mountPoint, bool isReadOnly) {
    AddCard(id, mountPoint, {false, isReadOnly});
    MountCard(id);
}

void StorageService::MountCard(const std::string& id) {
    Run([&] {
        const std::string path = CardPath(id);
        Set(path, {{"IsMounted", true}, {"MountPoint", GetProperty(path, "MountPoint")}});
    });
}

void StorageService::UnmountCard(const std::string& id) { Set(CardPath(id), {{"IsMounted", false}}); }

void StorageService::RemoveCard(const std::string& id) { RemoveObject(CardPath(id)); }

void StorageService::SetReadOnly(const std::string& id, bool isReadOnly) {
    Set(CardPath(id), {{"ReadOnly", isReadOnly}});
}

void StorageService::SetPrimaryDevice(const std::string& id) { Set(RootPath(), {{"PrimaryDevice", id}}); }

void StorageService::SetAvailableDevices(const std::vector<std::string>& ids) {
    Set(RootPath(), {{"AvailableDevices", ids}});
}

void StorageService::SetSilently(const std::string& id, const std::string& property, const Value& value) {
    PeerService::SetSilently(CardPath(id), {{property, value}});
}

void StorageService::DropProperty(const std::string& id, const std::string& property) {
    PeerService::DropProperty(CardPath(id), property);
}

void StorageService::RawPropertiesChanged(const std::string& id, const Properties& properties) {
    EmitPropertiesChanged(CardPath(id), id.empty() ? RootInterface() : deviceInterface, properties);
}

std::vector<WriteActiveCall> StorageService::WriteActiveCalls() const {
    std::vector<WriteActiveCall> writes;
    for (const Call& call : Calls())
        if (call.member == "SetWriteActive")
            writes.push_back({call.path.substr(call.path.rfind('/') + 1), std::get<uint8_t>(call.arguments.at(0)),
                              std::get<bool>(call.arguments.at(1))});
    return writes;
}

std::string StorageService::CardPath(const std::string& id) const {
    return id.empty() ? RootPath() : RootPath() + "/" + id;
}

} // namespace Simulator
