#include "EventReader.h"

#include "Message.h"

#include <algorithm>

namespace libjobsdaemon {
namespace {

using Values = std::vector<Wire::Value>;

template <typename T>
const T& At(const Values& values, size_t place) {
    return std::get<T>(values.at(place));
}

Event ReadJobChanged(const std::string& device, const Values& values) {
    return JobChanged{device, At<std::string>(values, 0)};
}

// A deletion has no destination, so that its values stand one place earlier.

template <Operation operation>
constexpr size_t firstValue = operation == Operation::Delete ? 0 : 1;

template <Operation operation>
std::string Destination(const Values& values) {
    return operation == Operation::Delete ? "" : At<std::string>(values, 0);
}

template <Operation operation>
Event ReadProgress(const std::string& device, const Values& values) {
    constexpr size_t first = firstValue<operation>;
    return ListProgress{operation,
                        device,
                        Destination<operation>(values),
                        At<int32_t>(values, first),
                        At<int32_t>(values, first + 1),
                        At<int32_t>(values, first + 2)};
}

template <Operation operation>
Event ReadFinished(const std::string& device, const Values& values) {
    constexpr size_t first = firstValue<operation>;
    return ListFinished{operation,
                        device,
                        Destination<operation>(values),
                        At<bool>(values, first),
                        At<int32_t>(values, first + 1),
                        At<int32_t>(values, first + 2)};
}

template <Operation operation>
Event ReadError(const std::string& device, const Values& values) {
    constexpr size_t first = firstValue<operation>;
    return ListError{operation, device, Destination<operation>(values), At<std::string>(values, first),
                     static_cast<jobsDaemonRtn_e>(At<int32_t>(values, first + 1))};
}

struct SignalRow {
    const char* name;
    const char* signature; ///< as sent, which is not always as declared
    Event (*read)(const std::string& device, const Values& values);
};

constexpr SignalRow signalRows[] = {
    {"JobChanged", "s", ReadJobChanged},
    {"JobListDeleteProgress", "iii", ReadProgress<Operation::Delete>},
    {"JobListDeleteFinish", "bii", ReadFinished<Operation::Delete>},
    {"JobListDeleteError", "si", ReadError<Operation::Delete>},
    {"JobListMoveProgress", "siii", ReadProgress<Operation::Move>},
    {"JobListMoveFinish", "sbii", ReadFinished<Operation::Move>},
    {"JobListMoveError", "ssi", ReadError<Operation::Move>},
    {"JobListCopyProgress", "siii", ReadProgress<Operation::Copy>},
    {"JobListCopyFinish", "sbii", ReadFinished<Operation::Copy>},
    {"JobListCopyError", "ssi", ReadError<Operation::Copy>},
};

void ReadManagerSignal(sd_bus_message* signal, const std::string& device, std::vector<Event>& events) {
    const std::string name = sd_bus_message_get_member(signal);
    const auto row = std::find_if(std::begin(signalRows), std::end(signalRows),
                                  [&](const SignalRow& candidate) { return name == candidate.name; });
    Values values;
    if (row != std::end(signalRows) && ReadAll(signal, row->signature, values))
        events.push_back(row->read(device, values));
}

void ReadPropertiesChanged(sd_bus_message* signal, const std::string& device, std::vector<Event>& events) {
    if (std::string(sd_bus_message_get_signature(signal, true)) != "sa{sv}as")
        return;
    CheckRead(sd_bus_message_skip(signal, "s"));
    for (const auto& [name, value] : ReadProperties(signal))
        events.push_back(PropertyChanged{device, name, value});
}

template <typename Change>
void ReadDeviceChange(sd_bus_message* signal, std::vector<Event>& events) {
    const char* path = nullptr;
    CheckRead(sd_bus_message_read_basic(signal, 'o', &path));
    events.push_back(Change{DeviceOfPath(path)});
}

/// The bus tells who has a name now: name, old owner, new owner.
void ReadOwnerChange(sd_bus_message* signal, std::vector<Event>& events) {
    const char* name = nullptr;
    const char* before = nullptr;
    const char* now = nullptr;
    CheckRead(sd_bus_message_read(signal, "sss", &name, &before, &now));
    if (*before)
        events.push_back(ServiceStopped{});
    if (*now)
        events.push_back(ServiceStarted{});
}

} // namespace

std::string DeviceOfPath(const std::string& path) {
    const std::string prefix = std::string(managerPath) + "/";
    return path.starts_with(prefix) ? path.substr(prefix.size()) : "";
}

void ReadEvents(sd_bus_message* signal, std::vector<Event>& events) {
    const std::string device = DeviceOfPath(sd_bus_message_get_path(signal));
    if (sd_bus_message_is_signal(signal, managerInterface, nullptr) > 0)
        ReadManagerSignal(signal, device, events);
    else if (sd_bus_message_is_signal(signal, propertiesInterface, "PropertiesChanged") > 0)
        ReadPropertiesChanged(signal, device, events);
    else if (sd_bus_message_is_signal(signal, objectManagerInterface, "InterfacesAdded") > 0)
        ReadDeviceChange<DeviceAdded>(signal, events);
    else if (sd_bus_message_is_signal(signal, objectManagerInterface, "InterfacesRemoved") > 0)
        ReadDeviceChange<DeviceRemoved>(signal, events);
    else if (sd_bus_message_is_signal(signal, "org.freedesktop.DBus", "NameOwnerChanged") > 0)
        ReadOwnerChange(signal, events);
}

} // namespace libjobsdaemon
