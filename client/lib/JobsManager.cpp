#include "libjobsdaemon/JobsManager.h"

#include "Connection.h"
#include "EventReader.h"
#include "Message.h"

#include <algorithm>
#include <cerrno>
#include <poll.h>

namespace libjobsdaemon {
namespace {

template <typename T>
void Take(const Properties& properties, const char* name, T& value) {
    const auto found = properties.find(name);
    if (found != properties.end() && std::holds_alternative<T>(found->second))
        value = std::get<T>(found->second);
}

Device DeviceOf(const std::string& id, const Properties& properties) {
    Device device;
    device.id = id;
    Take(properties, "DeviceState", device.state);
    Take(properties, "CurrentJobID", device.currentJobID);
    Take(properties, "JobListStatus", device.jobListStatus);
    Take(properties, "JobListStats", device.jobListStats);
    Take(properties, "SearchStats", device.searchStats);
    return device;
}

const Target manager{serviceName, managerPath, managerInterface};

/// Another interface of one of the service's objects.
Target At(const std::string& path, const char* interface) { return {serviceName, path, interface}; }

} // namespace

Error::~Error() = default;
NotConnected::~NotConnected() = default;
ServiceNotRunning::~ServiceNotRunning() = default;
TimedOut::~TimedOut() = default;
MalformedCall::~MalformedCall() = default;
UnexpectedReply::~UnexpectedReply() = default;

const char* LibraryVersion() noexcept { return TARN_VERSION; }

JobsManager::JobsManager(const std::string& busAddress) : JobsManager(Connection::To(busAddress)) {}
JobsManager::JobsManager(std::unique_ptr<Connection> connection) : _connection(std::move(connection)) {}
JobsManager JobsManager::OfUser(const std::string& user) { return JobsManager(Connection::OfUser(user)); }
JobsManager::JobsManager(JobsManager&&) noexcept = default;
JobsManager& JobsManager::operator=(JobsManager&&) noexcept = default;
JobsManager::~JobsManager() = default;

JobsManager::Connection& JobsManager::_Link() const {
    if (!_connection)
        throw NotConnected("the object was moved from", ENOTCONN);
    return *_connection;
}

void JobsManager::SetTimeout(std::chrono::milliseconds timeout) { _Link().SetTimeout(timeout); }

void JobsManager::SetTimeout(const Text& method, std::chrono::milliseconds timeout) {
    _Link().SetTimeout(method, timeout);
}

std::vector<Wire::Value> JobsManager::_CallMethod(const char* method, const std::vector<Wire::Value>& arguments,
                                                  const std::string& replySignature) {
    const MessageHandle reply = _Link().Call(manager, method, arguments);
    std::vector<Wire::Value> values;
    if (!ReadAll(reply.get(), replySignature, values))
        throw UnexpectedReply(std::string(method) + " answered '" + sd_bus_message_get_signature(reply.get(), true) +
                              "' instead of '" + replySignature + "'");
    return values;
}

std::vector<Device> JobsManager::Devices() {
    const MessageHandle reply = _Link().Call(At(managerPath, objectManagerInterface), "GetManagedObjects", {});
    sd_bus_message* const message = reply.get();
    std::vector<Device> devices;
    CheckRead(sd_bus_message_enter_container(message, 'a', "{oa{sa{sv}}}"));
    while (CheckRead(sd_bus_message_enter_container(message, 'e', "oa{sa{sv}}")) > 0) {
        const char* path = nullptr;
        CheckRead(sd_bus_message_read_basic(message, 'o', &path));
        const std::string id = DeviceOfPath(path);
        const std::map<std::string, Properties> interfaces = ReadInterfaces(message);
        if (const auto found = interfaces.find(deviceInterface); found != interfaces.end())
            devices.push_back(DeviceOf(id, found->second));
        CheckRead(sd_bus_message_exit_container(message));
    }
    std::sort(devices.begin(), devices.end(), [](const Device& a, const Device& b) { return a.id < b.id; });
    return devices;
}

std::optional<Device> JobsManager::FindDevice(const Text& id) {
    const std::string path = std::string(managerPath) + "/" + id;
    if (sd_bus_object_path_is_valid(path.c_str()) <= 0)
        return std::nullopt;
    try {
        const std::vector<Wire::Value> interface { std::string(deviceInterface) };
        const MessageHandle reply = _Link().Call(At(path, propertiesInterface), "GetAll", interface);
        return DeviceOf(id, ReadProperties(reply.get()));
    } catch (const MalformedCall&) {
        return std::nullopt;
    }
}

std::string JobsManager::TargetDeviceID() {
    const std::vector<Wire::Value> interface { std::string(managerInterface) };
    const MessageHandle reply = _Link().Call(At(managerPath, propertiesInterface), "GetAll", interface);
    std::string target;
    Take(ReadProperties(reply.get()), "TargetDeviceID", target);
    return target;
}

std::optional<ServiceProcess> JobsManager::FindService() {
    const Target bus{"org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus"};
    ServiceProcess process;
    try {
        const MessageHandle owner = _Link().Call(bus, "GetConnectionUnixProcessID", {std::string(serviceName)});
        CheckRead(sd_bus_message_read_basic(owner.get(), 'u', &process.processID));
    } catch (const ServiceNotRunning&) {
        return std::nullopt;
    }
    try {
        process.status = _StatusOf(process.processID);
    } catch (const Error&) { // nobody who manages the service is on this bus
    }
    return process;
}

/// The status line of the unit that a process belongs to.
std::string JobsManager::_StatusOf(uint32_t processID) {
    const char* const systemd = "org.freedesktop.systemd1";
    const MessageHandle unit = _Link().Call({systemd, "/org/freedesktop/systemd1", "org.freedesktop.systemd1.Manager"},
                                            "GetUnitByPID", {processID});
    const char* path = nullptr;
    CheckRead(sd_bus_message_read_basic(unit.get(), 'o', &path));
    const std::vector<Wire::Value> interface { std::string("org.freedesktop.systemd1.Service") };
    const MessageHandle reply = _Link().Call({systemd, path, propertiesInterface}, "GetAll", interface);
    std::string status;
    Take(ReadProperties(reply.get()), "StatusText", status);
    return status;
}

void JobsManager::Subscribe() { _Link().Subscribe(); }

int JobsManager::Fd() const noexcept { return _connection ? _connection->Fd() : -1; }

short JobsManager::PollEvents() const noexcept { return POLLIN; }

std::optional<std::chrono::microseconds> JobsManager::Timeout() const { return _Link().Timeout(); }

std::vector<Event> JobsManager::Process() { return _Link().Process(); }

std::vector<Event> JobsManager::WaitForEvents(std::chrono::milliseconds timeout) {
    const auto end = std::chrono::steady_clock::now() + timeout;
    while (true) {
        std::vector<Event> events = Process();
        const auto left = std::chrono::duration_cast<std::chrono::microseconds>(end - std::chrono::steady_clock::now());
        if (!events.empty() || left.count() <= 0)
            return events;
        const auto wait = std::min(left, Timeout().value_or(left));
        pollfd source{Fd(), PollEvents(), 0};
        const timespec limit{wait.count() / 1000000, wait.count() % 1000000 * 1000};
        if (ppoll(&source, 1, &limit, nullptr) < 0)
            return {};
    }
}

} // namespace libjobsdaemon
