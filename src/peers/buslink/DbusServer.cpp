#include "peers/buslink/DbusServer.h"

#include "peers/buslink/Utf8.h"
#include "peers/buslink/Vtable.h"

#include <poll.h>
#include <syslog.h>
#include <utility>

using Locks::LockGuard;

namespace Buslink {
namespace {

DbusServer* Server(void* userData) { return static_cast<DbusServer*>(userData); }

/// What an exception may say in a bus error: it may quote its input, of any length.
constexpr size_t longestErrorText = 1000;

} // namespace

std::string BusError::Text(int result) const {
    if (sd_bus_error_is_set(&_error) && _error.message)
        return _error.message;
    return std::error_code(-result, std::generic_category()).message();
}

DbusServer::DbusServer(const std::string& busName, const std::string& objectPath, const std::string& interfaceName,
                       bool, bool, sd_event* event)
    : _busName(busName), _objectPath(objectPath), _interfaceName(interfaceName), _event(event) {
    buslink_utils::vtable::AddStart(_vtable);
}

DbusServer::~DbusServer() {
    _loop->Close();
    _timeout.reset();
    _ready.reset();
    const LockGuard lock(_busLock);
    sd_bus_flush_close_unref(bus);
}

void DbusServer::AddVtableMethod(const char* name, const char* inSignature, const char* outSignature,
                                 sd_bus_message_handler_t handler, uint64_t flags) {
    sd_bus_vtable entry = buslink_utils::vtable::Entry(_SD_BUS_VTABLE_METHOD, flags);
    entry.x.method.member = name;
    entry.x.method.signature = inSignature;
    entry.x.method.result = outSignature;
    entry.x.method.handler = _OnMethod;
    entry.x.method.names = "";
    _vtable.push_back(entry);
    _handlers.emplace(name, handler);
}

void DbusServer::AddVtableSignal(const char* name, const char* signature, uint64_t flags) {
    sd_bus_vtable entry = buslink_utils::vtable::Entry(_SD_BUS_VTABLE_SIGNAL, flags);
    entry.x.signal.member = name;
    entry.x.signal.signature = signature;
    entry.x.signal.names = "";
    _vtable.push_back(entry);
}

void DbusServer::AddVtablePropertyReadOnly(const char* name, const char* signature, sd_bus_property_get_t getter,
                                           uint64_t flags) {
    buslink_utils::vtable::AddPropertyReadOnly(_vtable, name, signature, getter, flags);
}

int32_t DbusServer::Start() {
    buslink_utils::vtable::AddEnd(_vtable);
    const LockGuard lock(_busLock);
    int result = sd_bus_open_user(&bus);
    if (result >= 0)
        result =
            sd_bus_add_object_vtable(bus, nullptr, _objectPath.c_str(), _interfaceName.c_str(), _vtable.data(), this);
    if (result >= 0)
        result = sd_bus_request_name(bus, _busName.c_str(), 0);
    if (result >= 0)
        result = _Attach();
    return result;
}

int DbusServer::_Attach() {
    int result = _loop->Attach(_event);
    if (result >= 0)
        result = sd_event_add_io(_event, Out(_ready), sd_bus_get_fd(bus), 0, _OnReady, this);
    if (result >= 0)
        result = sd_event_source_set_prepare(_ready.get(), _OnPrepare);
    if (result >= 0)
        result = sd_event_add_time(_event, Out(_timeout), CLOCK_MONOTONIC, 0, 0, _OnTimeout, this);
    if (result >= 0)
        result = sd_event_source_set_enabled(_timeout.get(), SD_EVENT_OFF);
    return result;
}

int DbusServer::_OnMethod(sd_bus_message* message, void* userData, sd_bus_error* error) {
    const auto found = Server(userData)->_handlers.find(sd_bus_message_get_member(message));
    if (found == Server(userData)->_handlers.end())
        return -ENOENT;
    return Server(userData)->_RunHandler(found->second, message, error);
}

int DbusServer::_RunHandler(sd_bus_message_handler_t handler, sd_bus_message* message, sd_bus_error* error) {
    // Called while the bus processes. The message is reached from this thread alone while the lock is open.
    _busLock.AssertHeld();
    const Locks::Unlocked unlocked(_busLock);
    try {
        return handler(message, this, error);
    } catch (const std::exception& exception) {
        return Failed(error, sd_bus_message_get_member(message), exception);
    }
}

int DbusServer::Failed(sd_bus_error* error, const char* member, const std::exception& exception) {
    const std::string reason = std::string(exception.what()).substr(0, longestErrorText);
    syslog(LOG_ERR, "%s: the call failed: %s", member, reason.c_str());
    return sd_bus_error_set(error, SD_BUS_ERROR_FAILED, ValidUtf8(reason).c_str());
}

MainLoop::Work DbusServer::OnLoop(MainLoop::Work work) const {
    return [loop = _loop, work = std::move(work)] { loop->Run(work); };
}

int DbusServer::_Process() {
    const LockGuard lock(_busLock);
    _room = {};
    const int result = sd_bus_process(bus, nullptr);
    return result < 0 ? _Lost(result) : 0;
}

/// Without its connection the service is of no use: the loop ends, and the service manager starts it anew.
int DbusServer::_Lost(int result) {
    syslog(LOG_ERR, "%s lost the message bus (%d)", _busName.c_str(), result);
    sd_event_exit(_event, result);
    return result;
}

/// The mask leaves out input while messages wait in the connection's own queue, and the timeout is then zero. Both
/// change with every message that anybody sends or receives, so they are taken anew before each poll.
int DbusServer::_WatchConnection() {
    const LockGuard lock(_busLock);
    const int events = sd_bus_get_events(bus);
    if (events < 0)
        return _Lost(events);
    uint64_t until = UINT64_MAX;
    int result = sd_bus_get_timeout(bus, &until);
    if (result >= 0)
        result = sd_event_source_set_io_events(_ready.get(), static_cast<uint32_t>(events));
    if (result >= 0 && until != UINT64_MAX)
        result = sd_event_source_set_time(_timeout.get(), until);
    if (result >= 0)
        result = sd_event_source_set_enabled(_timeout.get(), until == UINT64_MAX ? SD_EVENT_OFF : SD_EVENT_ONESHOT);
    return result < 0 ? _Lost(result) : 0;
}

int DbusServer::_OnPrepare(sd_event_source*, void* userData) { return Server(userData)->_WatchConnection(); }

int DbusServer::_OnReady(sd_event_source*, int, uint32_t, void* userData) { return Server(userData)->_Process(); }

int DbusServer::_OnTimeout(sd_event_source*, uint64_t, void* userData) { return Server(userData)->_Process(); }

void DbusServer::_WakeLoopForOutput() {
    // From another thread, the loop may sit in a poll whose mask was taken before there was output, or before a
    // blocking call read what it waits for.
    if (sd_bus_get_events(bus) != POLLIN)
        _loop->Wake();
}

} // namespace Buslink
