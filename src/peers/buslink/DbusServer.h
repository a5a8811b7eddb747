#pragma once

#include "codes/Mutex.h"
#include "peers/buslink/Handles.h"
#include "peers/buslink/MainLoop.h"
#include "peers/buslink/Wire.h"

#include <cstdint>
#include <exception>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace Buslink {

/// One object with methods, signals and properties on a connection of its own, with a bus name.
///
/// Threads: the loop's thread processes the connection; any thread may send on it through `WithBus`. One bus lock
/// covers everything that touches the connection. It is released while a method handler runs, so that other threads'
/// signals go out during a long call, and held while a property getter runs, on whatever thread emits: a getter takes
/// no lock that is ever held during an emission.
class DbusServer {
protected:
    sd_bus* bus GUARDED_BY(_busLock) = nullptr;

public:
    /// Stores the arguments and opens nothing. The two flags belong to the layer's interface and are not used.
    DbusServer(const std::string& busName, const std::string& objectPath, const std::string& interfaceName, bool, bool,
               sd_event* event);
    DbusServer(const DbusServer&) = delete;
    DbusServer& operator=(const DbusServer&) = delete;
    /// Detaches from the loop, flushes and closes.
    ~DbusServer();

    // Entries of the object, in the order of the interface, before `Start`. The texts must stay valid. Handlers and
    // getters get the server as user data. An exception out of a handler becomes a bus error and a log line.
    void AddVtableMethod(const char* name, const char* inSignature, const char* outSignature,
                         sd_bus_message_handler_t handler, uint64_t flags);
    void AddVtableSignal(const char* name, const char* signature, uint64_t flags);
    void AddVtablePropertyReadOnly(const char* name, const char* signature, sd_bus_property_get_t getter,
                                   uint64_t flags);

    /// Connects to the user bus, puts the object up, takes the name and attaches the connection to the loop. Negative
    /// errno on failure.
    int32_t Start();

    /// Runs `use(sd_bus*)`, which sends at most one message with properties, under the bus lock, and wakes the loop
    /// when output could not be written at once. Not to be nested.
    template <typename Use>
    int WithBus(Use use) EXCLUDES(_busLock) {
        const Locks::LockGuard lock(_busLock);
        _room = {};
        const int result = use(bus);
        _WakeLoopForOutput();
        return result;
    }

    /// What a property getter does: gives the property the value that `read()` returns. A value for which the message
    /// has no room, and an exception, become a bus error; the exception also an error line. Negative on failure.
    template <typename Read>
    int AnswerProperty(sd_bus_message* reply, const char* property, sd_bus_error* error, Read read) {
        // The bus calls a getter while it processes, or while somebody emits: both under the lock.
        _busLock.AssertHeld();
        try {
            const int result = AppendWithin(_room, reply, read());
            return result < 0 ? sd_bus_error_set(error, SD_BUS_ERROR_FAILED, "Failed to build reply") : result;
        } catch (const std::exception& exception) {
            return Failed(error, property, exception);
        }
    }

    /// A function that has `work` run on the loop's thread: at once when called there. Any thread may call it, also
    /// after the server's end, when nothing happens any more.
    MainLoop::Work OnLoop(MainLoop::Work work) const;

    /// The answer to what nobody expected: logs it as an error of the method or property, and sets the bus error.
    static int Failed(sd_bus_error* error, const char* member, const std::exception& exception);

private:
    static int _OnMethod(sd_bus_message* message, void* userData, sd_bus_error* error);
    static int _OnPrepare(sd_event_source* source, void* userData);
    static int _OnReady(sd_event_source* source, int descriptor, uint32_t events, void* userData);
    static int _OnTimeout(sd_event_source* source, uint64_t time, void* userData);
    int _RunHandler(sd_bus_message_handler_t handler, sd_bus_message* message, sd_bus_error* error);
    int _Process();
    int _Attach() REQUIRES(_busLock);
    int _WatchConnection();
    int _Lost(int result);
    void _WakeLoopForOutput() REQUIRES(_busLock);

    const std::string _busName;
    const std::string _objectPath;
    const std::string _interfaceName;
    sd_event* const _event;
    const std::shared_ptr<MainLoop> _loop = std::make_shared<MainLoop>();

    Locks::Mutex _busLock;
    /// For the properties of the message that is being built.
    Room _room GUARDED_BY(_busLock);
    std::vector<sd_bus_vtable> _vtable;
    std::unordered_map<std::string_view, sd_bus_message_handler_t> _handlers;
    EventSource _ready;
    EventSource _timeout;
};

} // namespace Buslink
