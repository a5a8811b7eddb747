#include "simulator/PeerService.h"

#include <algorithm>

namespace Simulator {
namespace {

constexpr const char* propertiesInterface = "org.freedesktop.DBus.Properties";
constexpr const char* objectManagerInterface = "org.freedesktop.DBus.ObjectManager";

std::string PathOf(const std::string& busName) {
    std::string path = "/" + busName;
    std::replace(path.begin(), path.end(), '.', '/');
    return path;
}

auto FindProperty(Properties& properties, const std::string& name) {
    return std::find_if(properties.begin(), properties.end(),
                        [&name](const auto& property) { return property.first == name; });
}

} // namespace

PeerService::PeerService(EventThread& loop, std::string busAddress, std::string busName)
    : _loop(loop), _busAddress(std::move(busAddress)), _busName(std::move(busName)), _rootPath(PathOf(_busName)) {
    AddMethod({propertiesInterface, "Get", "ss", [this](const Call& call, auto* reply) { _AnswerGet(call, reply); }});
    AddMethod(
        {propertiesInterface, "GetAll", "s", [this](const Call& call, auto* reply) { _AnswerGetAll(call, reply); }});
    AddMethod({objectManagerInterface, "GetManagedObjects", "",
               [this](const Call& call, auto* reply) { _AnswerManagedObjects(call, reply); }});
}

// Availability

Connection PeerService::_Connect() const {
    Connection connection;
    if (_busAddress.empty()) {
        Check(sd_bus_open_user(Out(connection)), "open the user bus");
        return connection;
    }
    Check(sd_bus_new(Out(connection)), "make a connection");
    Check(sd_bus_set_address(connection.get(), _busAddress.c_str()), "set the bus address");
    Check(sd_bus_set_bus_client(connection.get(), true), "be a bus client");
    Check(sd_bus_start(connection.get()), "start the connection");
    return connection;
}

void PeerService::ComeBack() {
    Run([this] {
        if (_connection)
            return;
        Connection connection = _Connect();
        Check(sd_bus_add_filter(connection.get(), nullptr, _OnMessage, this), "take calls");
        Check(sd_bus_attach_event(connection.get(), _loop.Loop(), SD_EVENT_PRIORITY_NORMAL), "attach the connection");
        Check(sd_bus_request_name(connection.get(), _busName.c_str(), 0), _busName.c_str());
        _connection = std::move(connection);
    });
}

void PeerService::GoAway() {
    Run([this] {
        if (!_connection)
            return;
        // The bus notices a closed connection in its own time; the name is free when this returns.
        sd_bus_release_name(_connection.get(), _busName.c_str());
        _pending.clear();
        _connection.reset();
    });
}

// Manners

void PeerService::Refuse(const std::string& member, const Failure& failure) {
    Run([&] { _manners[member].failure = failure; });
}

void PeerService::AnswerLate(const std::string& member, std::chrono::milliseconds delay) {
    Run([&] { _manners[member].delay = delay; });
}

void PeerService::Hold(const std::string& member) {
    Run([&] { _manners[member].isHeld = true; });
}

void PeerService::Release(const std::string& member) {
    Run([&] {
        _manners[member].isHeld = false;
        for (auto pending = _pending.begin(); pending != _pending.end();) {
            const auto present = pending++;
            if (present->call.member != member || present->timer)
                continue;
            _Answer(present->message.get(), present->call, present->method);
            _pending.erase(present);
        }
    });
}

void PeerService::AnswerNormally(const std::string& member) {
    Release(member);
    Run([&] { _manners.erase(member); });
}

// Record

std::vector<Call> PeerService::Calls() const {
    const std::lock_guard lock(_callsMutex);
    return _calls;
}

void PeerService::ForgetCalls() {
    const std::lock_guard lock(_callsMutex);
    _calls.clear();
}

bool PeerService::WaitForCall(const std::string& member, size_t count) const {
    std::unique_lock lock(_callsMutex);
    return _callsGrown.wait_for(lock, std::chrono::seconds(30), [&] {
        const auto isMember = [&member](const Call& call) { return call.member == member; };
        return static_cast<size_t>(std::count_if(_calls.begin(), _calls.end(), isMember)) >= count;
    });
}

// Calls

int PeerService::_OnMessage(sd_bus_message* message, void* userData, sd_bus_error*) noexcept {
    auto& self = *static_cast<PeerService*>(userData);
    for (const Method& method : self._methods) {
        if (!sd_bus_message_is_method_call(message, method.interface.c_str(), method.member.c_str()) ||
            !sd_bus_message_has_signature(message, method.signature.c_str()))
            continue;
        self._Take(message, method);
        return 1;
    }
    return 0;
}

void PeerService::_Take(sd_bus_message* message, const Method& method) {
    Call call{sd_bus_message_get_path(message), method.member, ReadArguments(message)};
    if (method.member == "Get")
        call.member = std::get<std::string>(call.arguments.at(1));
    {
        const std::lock_guard lock(_callsMutex);
        _calls.push_back(call);
    }
    _callsGrown.notify_all();

    const auto manner = _manners.find(call.member);
    if (manner != _manners.end() && (manner->second.isHeld || manner->second.delay.count() > 0))
        _Postpone(message, call, method, manner->second);
    else
        _Answer(message, call, method);
}

void PeerService::_Postpone(sd_bus_message* message, const Call& call, const Method& method, const Manner& manner) {
    _pending.push_back({*this, Message(sd_bus_message_ref(message)), call, method, nullptr});
    Pending& pending = _pending.back();
    if (manner.isHeld)
        return;
    const auto delay = static_cast<uint64_t>(std::chrono::microseconds(manner.delay).count());
    Check(sd_event_add_time_relative(_loop.Loop(), Out(pending.timer), CLOCK_MONOTONIC, delay, 1, _OnTimer, &pending),
          "set a timer");
}

int PeerService::_OnTimer(sd_event_source*, uint64_t, void* userData) noexcept {
    auto& pending = *static_cast<Pending*>(userData);
    PeerService& self = pending.service;
    self._Answer(pending.message.get(), pending.call, pending.method);
    self._pending.remove_if([&pending](const Pending& other) { return &other == &pending; });
    return 0;
}

void PeerService::_Answer(sd_bus_message* message, const Call& call, const Method& method) {
    Message reply;
    try {
        const auto manner = _manners.find(call.member);
        if (manner != _manners.end() && manner->second.failure)
            throw *manner->second.failure;
        Check(sd_bus_message_new_method_return(message, Out(reply)), "make a reply");
        method.answer(call, reply.get());
    } catch (const Failure& failure) {
        Check(sd_bus_message_new_method_errorf(message, Out(reply), failure.name.c_str(), "%s", failure.what()),
              "make an error reply");
    }
    _Send(reply.get());
}

void PeerService::_Send(sd_bus_message* message) {
    // A caller that has given up, or a bus that has ended, is no concern of a peer.
    if (sd_bus_send(_connection.get(), message, nullptr) >= 0)
        sd_bus_flush(_connection.get());
}

// Signals

Message PeerService::_NewSignal(const std::string& path, const std::string& interface,
                                const std::string& member) const {
    Message signal;
    Check(sd_bus_message_new_signal(_connection.get(), Out(signal), path.c_str(), interface.c_str(), member.c_str()),
          "make a signal");
    return signal;
}

void PeerService::EmitSignal(const std::string& path, const std::string& interface, const std::string& member,
                             const std::vector<Value>& arguments) {
    Run([&] {
        if (!_connection)
            return;
        const Message signal = _NewSignal(path, interface, member);
        for (const Value& argument : arguments)
            Append(signal.get(), argument);
        _Send(signal.get());
    });
}

void PeerService::EmitPropertiesChanged(const std::string& path, const std::string& interface,
                                        const Properties& properties) {
    Run([&] {
        if (!_connection)
            return;
        const Message signal = _NewSignal(path, propertiesInterface, "PropertiesChanged");
        Append(signal.get(), interface);
        AppendProperties(signal.get(), properties);
        Append(signal.get(), std::vector<std::string>{});
        _Send(signal.get());
    });
}

// Objects

PeerService::Object& PeerService::_Find(const std::string& path) {
    const auto found =
        std::find_if(_objects.begin(), _objects.end(), [&path](const Object& object) { return object.path == path; });
    if (found == _objects.end())
        throw Failure{"org.freedesktop.DBus.Error.UnknownObject", "Unknown object '" + path + "'."};
    return *found;
}

bool PeerService::HasObject(const std::string& path) {
    return Run([&] {
        return std::any_of(_objects.begin(), _objects.end(), [&](const Object& object) { return object.path == path; });
    });
}

void PeerService::AddObject(Object object) {
    Run([&] {
        if (!sd_bus_object_path_is_valid(object.path.c_str()))
            throw Failure("org.freedesktop.DBus.Error.InvalidArgs", "Invalid object path '" + object.path + "'.");
        const Object& added = _objects.emplace_back(std::move(object));
        if (!_connection || added.path == _rootPath)
            return;
        const Message signal = _NewSignal(_rootPath, objectManagerInterface, "InterfacesAdded");
        Check(sd_bus_message_append(signal.get(), "o", added.path.c_str()), "append a path");
        _AppendInterfaces(signal.get(), added);
        _Send(signal.get());
    });
}

void PeerService::RemoveObject(const std::string& path) {
    Run([&] {
        const std::string interface = _Find(path).interface;
        std::erase_if(_objects, [&path](const Object& object) { return object.path == path; });
        if (!_connection)
            return;
        const Message signal = _NewSignal(_rootPath, objectManagerInterface, "InterfacesRemoved");
        Check(sd_bus_message_append(signal.get(), "o", path.c_str()), "append a path");
        Append(signal.get(), std::vector<std::string>{propertiesInterface, interface});
        _Send(signal.get());
    });
}

Value PeerService::GetProperty(const std::string& path, const std::string& name) {
    return Run([&] {
        Properties& properties = _Find(path).properties;
        const auto found = FindProperty(properties, name);
        if (found == properties.end())
            throw Failure{"org.freedesktop.DBus.Error.UnknownProperty", "Unknown property '" + name + "'."};
        return found->second;
    });
}

void PeerService::SetSilently(const std::string& path, const Properties& properties) {
    Run([&] {
        Properties& present = _Find(path).properties;
        for (const auto& [name, value] : properties) {
            const auto found = FindProperty(present, name);
            if (found == present.end())
                present.emplace_back(name, value);
            else
                found->second = value;
        }
    });
}

void PeerService::Set(const std::string& path, const Properties& properties) {
    Run([&] {
        SetSilently(path, properties);
        EmitPropertiesChanged(path, _Find(path).interface, properties);
    });
}

void PeerService::DropProperty(const std::string& path, const std::string& name) {
    Run([&] { std::erase_if(_Find(path).properties, [&](const auto& property) { return property.first == name; }); });
}

void PeerService::_AnswerGet(const Call& call, sd_bus_message* reply) {
    const std::string& interface = std::get<std::string>(call.arguments.at(0));
    if (_Find(call.path).interface != interface)
        throw Failure{"org.freedesktop.DBus.Error.UnknownInterface", "Unknown interface '" + interface + "'."};
    AppendVariant(reply, GetProperty(call.path, call.member));
}

void PeerService::_AnswerGetAll(const Call& call, sd_bus_message* reply) {
    const Object& object = _Find(call.path);
    const bool isOwn = std::get<std::string>(call.arguments.at(0)) == object.interface;
    AppendProperties(reply, isOwn ? object.properties : Properties{});
}

void PeerService::_AnswerManagedObjects(const Call& call, sd_bus_message* reply) {
    if (call.path != _rootPath)
        throw Failure{"org.freedesktop.DBus.Error.UnknownMethod", "No object manager at '" + call.path + "'."};
    Check(sd_bus_message_open_container(reply, 'a', "{oa{sa{sv}}}"), "append objects");
    for (const Object& object : _objects) {
        if (object.path == _rootPath)
            continue;
        Check(sd_bus_message_open_container(reply, 'e', "oa{sa{sv}}"), "append an object");
        Check(sd_bus_message_append(reply, "o", object.path.c_str()), "append a path");
        _AppendInterfaces(reply, object);
        Check(sd_bus_message_close_container(reply), "append an object");
    }
    Check(sd_bus_message_close_container(reply), "append objects");
}

void PeerService::_AppendInterfaces(sd_bus_message* message, const Object& object) const {
    // Bus libraries list the standard interfaces too, and without properties; a client has to pass over them.
    const std::pair<std::string, Properties> interfaces[] = {{propertiesInterface, {}},
                                                             {object.interface, object.properties}};
    Check(sd_bus_message_open_container(message, 'a', "{sa{sv}}"), "append interfaces");
    for (const auto& [name, properties] : interfaces) {
        Check(sd_bus_message_open_container(message, 'e', "sa{sv}"), "append an interface");
        Append(message, name);
        AppendProperties(message, properties);
        Check(sd_bus_message_close_container(message), "append an interface");
    }
    Check(sd_bus_message_close_container(message), "append interfaces");
}

} // namespace Simulator
