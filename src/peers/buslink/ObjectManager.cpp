#include "peers/buslink/ObjectManager.h"

#include "peers/buslink/Handles.h"
#include "peers/buslink/Wire.h"

namespace buslink_utils::object_manager {
namespace {

/// Walks an array of dictionary entries, from the message's present position.
template <typename ReadEntry>
int ForEachEntry(sd_bus_message* message, const char* array, const char* entry, ReadEntry readEntry) {
    int result = sd_bus_message_enter_container(message, 'a', array);
    while (result >= 0 && (result = sd_bus_message_enter_container(message, 'e', entry)) > 0) {
        result = readEntry();
        if (result >= 0)
            result = sd_bus_message_exit_container(message);
    }
    return result < 0 ? result : sd_bus_message_exit_container(message);
}

int ReadPath(sd_bus_message* message, std::string& path) {
    const char* text = nullptr;
    const int result = sd_bus_message_read_basic(message, 'o', &text);
    if (result > 0)
        path = text;
    return result == 0 ? -ENODATA : result;
}

int ReadObject(sd_bus_message* message, ManagedObject& object) {
    const int result = ReadPath(message, object.path);
    if (result < 0)
        return result;
    return ForEachEntry(message, "{sa{sv}}", "sa{sv}", [message, &object] {
        auto& [name, properties] = object.interfaces.emplace_back();
        const int read = Buslink::ReadAll(message, name);
        return read < 0 ? read : ParseProperties(message, properties);
    });
}

} // namespace

int32_t GetManagedObjects(sd_bus* bus, const std::string& service, const std::string& path,
                          std::vector<ManagedObject>& objects) {
    Buslink::BusError error;
    Buslink::Message reply;
    const int result = sd_bus_call_method(bus, service.c_str(), path.c_str(), "org.freedesktop.DBus.ObjectManager",
                                          "GetManagedObjects", error, Buslink::Out(reply), "");
    if (result < 0)
        return result;
    return ForEachEntry(reply.get(), "{oa{sa{sv}}}", "oa{sa{sv}}",
                        [&reply, &objects] { return ReadObject(reply.get(), objects.emplace_back()); });
}

int32_t ParseInterfaceAdded(sd_bus_message* message, InterfaceAddedCallback callback, void* userData) {
    std::string path;
    const int result = ReadPath(message, path);
    if (result < 0)
        return result;
    return ForEachEntry(message, "{sa{sv}}", "sa{sv}", [message, callback, userData, &path] {
        std::string interface;
        const int read = Buslink::ReadAll(message, interface);
        return read < 0 ? read : callback(message, path, interface, userData);
    });
}

int32_t ParseInterfaceRemoved(sd_bus_message* message, InterfaceRemovedCallback callback, void* userData) {
    std::string path;
    const int result = ReadPath(message, path);
    return result < 0 ? result : callback(path, userData);
}

} // namespace buslink_utils::object_manager
