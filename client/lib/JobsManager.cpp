#include "libjobsdaemon/JobsManager.h"

#include "Connection.h"
#include "EventReader.h"
#include "Message.h"

#include <algorithm>
#include <ctime>
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

/// The bus's clock counts microseconds of CLOCK_MONOTONIC.
std::chrono::microseconds Now() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return std::chrono::seconds(now.tv_sec) + std::chrono::microseconds(now.tv_nsec / 1000);
}

} // namespace

Error::~Error() = default;
NotConnected::~NotConnected() = default;
ServiceNotRunning::~ServiceNotRunning() = default;
TimedOut::~TimedOut() = default;
MalformedCall::~MalformedCall() = default;
UnexpectedReply::~UnexpectedReply() = default;

JobsManager::JobsManager(const std::string& busAddress) : _connection(std::make_unique<Connection>(busAddress)) {}
JobsManager::JobsManager(JobsManager&&) noexcept = default;
JobsManager& JobsManager::operator=(JobsManager&&) noexcept = default;
JobsManager::~JobsManager() = default;

void JobsManager::SetTimeout(std::chrono::milliseconds timeout) { _connection->SetTimeout(timeout); }

std::vector<Wire::Value> JobsManager::_CallMethod(const char* method, const std::vector<Wire::Value>& arguments,
                                                  const std::string& replySignature) {
    const MessageHandle reply = _connection->Call(managerPath, managerInterface, method, arguments);
    std::vector<Wire::Value> values;
    if (!ReadAll(reply.get(), replySignature, values))
        throw UnexpectedReply(std::string(method) + " answered '" + sd_bus_message_get_signature(reply.get(), true) +
                              "' instead of '" + replySignature + "'");
    return values;
}

std::vector<Device> JobsManager::Devices() {
    const MessageHandle reply = _connection->Call(managerPath, objectManagerInterface, "GetManagedObjects", {});
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
        return DeviceOf(id, ReadProperties(_connection->Call(path, propertiesInterface, "GetAll", interface).get()));
    } catch (const MalformedCall&) {
        return std::nullopt;
    }
}

std::string JobsManager::TargetDeviceID() {
    const std::vector<Wire::Value> interface { std::string(managerInterface) };
    const MessageHandle reply = _connection->Call(managerPath, propertiesInterface, "GetAll", interface);
    std::string target;
    Take(ReadProperties(reply.get()), "TargetDeviceID", target);
    return target;
}

void JobsManager::Subscribe() { _connection->Subscribe(); }

int JobsManager::Fd() const { return sd_bus_get_fd(_connection->Bus()); }

short JobsManager::PollEvents() const {
    const int events = sd_bus_get_events(_connection->Bus());
    return static_cast<short>(events < 0 ? POLLIN : events);
}

std::optional<std::chrono::microseconds> JobsManager::Timeout() const {
    uint64_t until = UINT64_MAX;
    if (sd_bus_get_timeout(_connection->Bus(), &until) < 0 || until == UINT64_MAX)
        return std::nullopt;
    return std::max(std::chrono::microseconds(until) - Now(), std::chrono::microseconds::zero());
}

std::vector<Event> JobsManager::Process() { return _connection->Process(); }

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
