#include "support/BusClient.h"

#include "support/Deadline.h"
#include "support/PrivateBus.h"

#include <algorithm>
#include <future>
#include <utility>

using Simulator::Check;
using Simulator::Out;

namespace Testing {
namespace {

constexpr uint64_t callTimeout = std::chrono::microseconds(deadline).count();

constexpr const char* busName = "org.freedesktop.DBus";

std::string PathOf(const std::string& service) {
    std::string path = "/" + service;
    std::replace(path.begin(), path.end(), '.', '/');
    return path;
}

} // namespace

const WireArguments& Reply::Arguments() const {
    if (IsError())
        throw std::runtime_error("the call failed: " + _errorName + ": " + _errorMessage);
    return _arguments;
}

std::optional<WireValue> Signal::Changed(const std::string& property) const {
    if (member != "PropertiesChanged" || !arguments.values.at(1).contains(property))
        return std::nullopt;
    return arguments.values.at(1).at(property);
}

std::string Signal::Text() const { return path + " " + member + " " + arguments.values.dump(); }

BusClient::BusClient(const std::string& service) : _service(service), _rootPath(PathOf(service)) {
    PrivateBus::Instance();
    _loop.Run([this] {
        Check(sd_bus_open_user(Out(_connection)), "open the private bus");
        Check(sd_bus_attach_event(_connection.get(), _loop.Loop(), SD_EVENT_PRIORITY_NORMAL), "attach to the loop");
        const std::string rule = "type='signal',sender='" + _service + "'";
        Check(sd_bus_add_match(_connection.get(), nullptr, rule.c_str(), _OnSignal, this), "hear signals");
        const std::string ownerRule =
            std::string("type='signal',sender='") + busName + "',member='NameOwnerChanged',arg0='" + _service + "'";
        Check(sd_bus_add_match(_connection.get(), nullptr, ownerRule.c_str(), _OnOwnerChanged, this), "hear the bus");
    });
}

Reply BusClient::CallOn(const std::string& path, const std::string& interface, const std::string& method,
                        const std::vector<Simulator::Value>& arguments) {
    return _Call(_service, path, interface, method, arguments);
}

Reply BusClient::_Call(const std::string& service, const std::string& path, const std::string& interface,
                       const std::string& method, const std::vector<Simulator::Value>& arguments) {
    // The callback has the promise alone; it comes exactly once, at the latest when the time is over.
    auto promise = std::make_unique<std::promise<Reply>>();
    std::future<Reply> reply = promise->get_future();
    _loop.Run([&] {
        Simulator::Message call;
        Check(sd_bus_message_new_method_call(_connection.get(), Out(call), service.c_str(), path.c_str(),
                                             interface.c_str(), method.c_str()),
              "make a call");
        for (const Simulator::Value& argument : arguments)
            Append(call.get(), argument);
        Check(sd_bus_call_async(_connection.get(), nullptr, call.get(), _OnReply, promise.get(), callTimeout), "call");
        promise.release();
    });
    return reply.get();
}

int BusClient::_OnReply(sd_bus_message* message, void* userData, sd_bus_error*) noexcept {
    const std::unique_ptr<std::promise<Reply>> promise(static_cast<std::promise<Reply>*>(userData));
    const sd_bus_error* const error = sd_bus_message_get_error(message);
    promise->set_value(error ? Reply(error->name, error->message ? error->message : "")
                             : Reply(WireArguments::Of(message)));
    return 0;
}

WireArguments BusClient::ReadProperty(const std::string& path, const std::string& interface, const std::string& name) {
    return CallOn(path, "org.freedesktop.DBus.Properties", "Get", {interface, name}).Arguments();
}

WireValue BusClient::GetProperty(const std::string& path, const std::string& interface, const std::string& name) {
    return ReadProperty(path, interface, name).values.at(0);
}

std::string BusClient::Introspect(const std::string& path) {
    return CallOn(path, "org.freedesktop.DBus.Introspectable", "Introspect").Read<std::string>();
}

bool BusClient::HasService() {
    return _Call(busName, PathOf(busName), busName, "NameHasOwner", {_service}).Read<bool>();
}

int BusClient::_OnOwnerChanged(sd_bus_message*, void* userData, sd_bus_error*) noexcept {
    auto& self = *static_cast<BusClient*>(userData);
    {
        const std::lock_guard lock(self._mutex);
        ++self._arrivals;
    }
    self._arrived.notify_all();
    return 0;
}

int BusClient::_OnSignal(sd_bus_message* message, void* userData, sd_bus_error*) noexcept {
    auto& self = *static_cast<BusClient*>(userData);
    Signal signal{sd_bus_message_get_path(message), sd_bus_message_get_interface(message),
                  sd_bus_message_get_member(message), WireArguments::Of(message)};
    {
        const std::lock_guard lock(self._mutex);
        self._signals.push_back(std::move(signal));
        ++self._arrivals;
    }
    self._arrived.notify_all();
    return 0;
}

std::vector<Signal> BusClient::Signals() const {
    const std::lock_guard lock(_mutex);
    return _signals;
}

std::vector<Signal> BusClient::TakeSignals() {
    const std::lock_guard lock(_mutex);
    return std::exchange(_signals, {});
}

Signal BusClient::WaitForSignal(const std::string& member, const Predicate& fits) const {
    std::unique_lock lock(_mutex);
    auto found = _signals.end();
    const bool isThere = _arrived.wait_for(lock, deadline, [&] {
        found = std::find_if(_signals.begin(), _signals.end(),
                             [&](const Signal& signal) { return signal.member == member && (!fits || fits(signal)); });
        return found != _signals.end();
    });
    if (isThere)
        return *found;
    std::string record;
    for (const Signal& signal : _signals)
        record += "\n  " + signal.Text();
    throw std::runtime_error("no fitting signal " + member + " among:" + record);
}

bool BusClient::WaitUntil(const std::function<bool()>& condition) const {
    const auto end = std::chrono::steady_clock::now() + deadline;
    std::unique_lock lock(_mutex);
    while (true) {
        // The condition may call the service and look at the record, so that it is asked without the lock.
        const size_t seen = _arrivals;
        lock.unlock();
        if (condition())
            return true;
        lock.lock();
        if (!_arrived.wait_until(lock, end, [this, seen] { return _arrivals > seen; }))
            return false;
    }
}

} // namespace Testing
