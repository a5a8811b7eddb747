#pragma once

#include "simulator/EventThread.h"
#include "simulator/Value.h"

#include <chrono>
#include <condition_variable>
#include <functional>
#include <list>
#include <map>
#include <optional>
#include <stdexcept>

namespace Simulator {

/// A bus error, whose message is what() tells.
struct Failure : std::runtime_error {
    explicit Failure(std::string errorName = "org.freedesktop.DBus.Error.Failed",
                     const std::string& message = "Refused by the simulated unit")
        : std::runtime_error(message), name(std::move(errorName)) {}

    std::string name;
};

/// A call that a service has taken. The reading of a property has the property's name as its member.
struct Call {
    std::string path;
    std::string member;
    std::vector<Value> arguments;
};

/// A peer service on a connection of its own: objects of one interface each, with their properties, below an object
/// manager at the root. The root path follows from the bus name, and is also the name of the root's interface.
///
/// Calls are answered on the loop's thread, by hand instead of from a table of the bus library, so that a property may
/// have a type that it should not have. Any thread may use the public verbs; each returns when it is done and its
/// signals are written to the bus. A verb for an object that is not there throws a Failure.
class PeerService {
public:
    PeerService(EventThread& loop, std::string busAddress, std::string busName);
    PeerService(const PeerService&) = delete;
    PeerService& operator=(const PeerService&) = delete;
    /// The service must have gone away, or the loop have been stopped.
    ~PeerService() = default;

    /// Connects and takes the bus name. Throws std::system_error, also when another has the name.
    void ComeBack();
    /// Drops the bus name and the connection, as a service that ends. Calls without an answer fail at the caller;
    /// objects are kept.
    void GoAway();

    /// `member` is the name of a method or of a property. Each stays in force until AnswerNormally.
    void Refuse(const std::string& member, const Failure& failure = Failure());
    void AnswerLate(const std::string& member, std::chrono::milliseconds delay);
    /// Keeps calls waiting until Release, without holding up others.
    void Hold(const std::string& member);
    /// Answers those that wait, in their order, and holds no more.
    void Release(const std::string& member);
    void AnswerNormally(const std::string& member);

    /// The calls taken so far, in order, refused and held ones too.
    std::vector<Call> Calls() const;
    void ForgetCalls();
    /// Waits until `count` calls of `member` are in the record. False after half a minute.
    bool WaitForCall(const std::string& member, size_t count = 1) const;

    /// Sends a signal, whatever it says. For notices that a peer should never send.
    void EmitSignal(const std::string& path, const std::string& interface, const std::string& member,
                    const std::vector<Value>& arguments);
    void EmitPropertiesChanged(const std::string& path, const std::string& interface, const Properties& properties);

    const std::string& RootPath() const { return _rootPath; }
    const std::string& RootInterface() const { return _busName; }

protected:
    struct Object {
        std::string path;
        std::string interface;
        Properties properties;
    };

    /// A row of the service's methods. `answer` runs when the reply is due, appends to it, and may throw a Failure.
    struct Method {
        std::string interface;
        std::string member;
        std::string signature;
        std::function<void(const Call&, sd_bus_message* reply)> answer;
    };

    /// Only in a constructor.
    void AddMethod(Method method) { _methods.push_back(std::move(method)); }

    template <typename Work>
    auto Run(Work work) {
        return _loop.Run(std::move(work));
    }

    void AddObject(Object object);
    void RemoveObject(const std::string& path);
    bool HasObject(const std::string& path);
    Value GetProperty(const std::string& path, const std::string& name);
    /// Sets the properties, adding those that the object does not have.
    void SetSilently(const std::string& path, const Properties& properties);
    /// The same, and tells it in one notice.
    void Set(const std::string& path, const Properties& properties);
    void DropProperty(const std::string& path, const std::string& name);

private:
    struct Manner {
        std::optional<Failure> failure;
        std::chrono::milliseconds delay{0};
        bool isHeld = false;
    };

    /// A call whose answer is not due yet: held, or waiting for its timer.
    struct Pending {
        PeerService& service;
        Message message;
        Call call;
        const Method& method;
        EventSource timer;
    };

    static int _OnMessage(sd_bus_message* message, void* userData, sd_bus_error*) noexcept;
    static int _OnTimer(sd_event_source*, uint64_t, void* userData) noexcept;

    Connection _Connect() const;
    void _Take(sd_bus_message* message, const Method& method);
    void _Postpone(sd_bus_message* message, const Call& call, const Method& method, const Manner& manner);
    void _Answer(sd_bus_message* message, const Call& call, const Method& method);
    void _Send(sd_bus_message* message);
    Message _NewSignal(const std::string& path, const std::string& interface, const std::string& member) const;

    Object& _Find(const std::string& path);
    void _AppendInterfaces(sd_bus_message* message, const Object& object) const;
    void _AnswerGet(const Call& call, sd_bus_message* reply);
    void _AnswerGetAll(const Call& call, sd_bus_message* reply);
    void _AnswerManagedObjects(const Call& call, sd_bus_message* reply);

    EventThread& _loop;
    const std::string _busAddress;
    const std::string _busName;
    const std::string _rootPath;
    std::vector<Method> _methods;

    // On the loop's thread only.
    Connection _connection;
    std::vector<Object> _objects; ///< in the order in which they came, the root among them
    std::map<std::string, Manner> _manners;
    std::list<Pending> _pending;

    mutable std::mutex _callsMutex; ///< guards _calls
    mutable std::condition_variable _callsGrown;
    std::vector<Call> _calls;
};

} // namespace Simulator
