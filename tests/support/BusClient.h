#pragma once

#include "simulator/EventThread.h"
#include "support/WireValue.h"

#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>

namespace Testing {

/// A reply, or the error that came in its place.
class Reply {
public:
    Reply(WireArguments arguments) : _arguments(std::move(arguments)) {}
    Reply(std::string errorName, std::string errorMessage)
        : _errorName(std::move(errorName)), _errorMessage(std::move(errorMessage)) {}

    bool IsError() const { return !_errorName.empty(); }
    const std::string& ErrorName() const { return _errorName; }
    const std::string& ErrorMessage() const { return _errorMessage; }

    /// Throws std::runtime_error when the call failed.
    const WireArguments& Arguments() const;
    /// Reads the reply `is`, or `(is)`, as Read<int32_t, std::string>(), giving a tuple; of one type the value itself.
    /// Throws std::runtime_error when the call failed or the reply has another signature.
    template <typename... Types>
    auto Read() const {
        return Arguments().Read<Types...>();
    }

private:
    WireArguments _arguments;
    std::string _errorName;
    std::string _errorMessage;
};

/// A signal of the service.
struct Signal {
    std::string path;
    std::string interface;
    std::string member;
    WireArguments arguments;

    /// The new value that a PropertiesChanged tells of the property, if it tells one.
    std::optional<WireValue> Changed(const std::string& property) const;
    /// For failure messages and for comparing sequences: "path member [arguments]".
    std::string Text() const;
};

/// A client of one service, by default of the service under test, on a connection of its own to the private bus. It
/// records every signal of the service from its construction on, whether the service runs by then or not. Whatever the
/// service sent before it sent a reply is in the record when the call returns. Any thread may call.
class BusClient {
public:
    explicit BusClient(const std::string& service = "com.corvane.common.JobsManagerDaemon1");
    BusClient(const BusClient&) = delete;
    BusClient& operator=(const BusClient&) = delete;
    ~BusClient() { _loop.Stop(); }

    /// Calls a method of the service's main object. The arguments' types decide the signature: a number must be an
    /// int32_t, uint8_t or whatever the method takes.
    template <typename... Arguments>
    Reply Call(const std::string& method, const Arguments&... arguments) {
        return CallOn(_rootPath, _service, method, {Simulator::Value(arguments)...});
    }
    /// Calls a method of any object of the service.
    Reply CallOn(const std::string& path, const std::string& interface, const std::string& method,
                 const std::vector<Simulator::Value>& arguments = {});

    /// The value and its type; throws std::runtime_error when it cannot be read.
    WireArguments ReadProperty(const std::string& path, const std::string& interface, const std::string& name);
    /// The value alone.
    WireValue GetProperty(const std::string& path, const std::string& interface, const std::string& name);
    std::string Introspect(const std::string& path);

    /// True while the bus knows the service's name.
    bool HasService();

    /// The record since the construction or the last TakeSignals(), in the order of arrival.
    std::vector<Signal> Signals() const;
    /// The same, and forgets it.
    std::vector<Signal> TakeSignals();

    using Predicate = std::function<bool(const Signal&)>;
    /// The first signal in the record that fits, waiting for it when it is not there yet. The record stays as it is.
    /// Throws std::runtime_error with the record when the deadline passes.
    Signal WaitForSignal(const std::string& member, const Predicate& fits = {}) const;
    /// Looks at the condition now, after each further signal and when the service has come or gone. False when the
    /// deadline passes before it holds.
    [[nodiscard]] bool WaitUntil(const std::function<bool()>& condition) const;

private:
    Reply _Call(const std::string& service, const std::string& path, const std::string& interface,
                const std::string& method, const std::vector<Simulator::Value>& arguments);
    static int _OnOwnerChanged(sd_bus_message*, void* userData, sd_bus_error*) noexcept;
    static int _OnSignal(sd_bus_message* message, void* userData, sd_bus_error*) noexcept;
    static int _OnReply(sd_bus_message* message, void* userData, sd_bus_error*) noexcept;

    Simulator::EventThread _loop;
    const std::string _service;
    const std::string _rootPath;
    Simulator::Connection _connection; ///< on the loop's thread only

    mutable std::mutex _mutex; ///< guards _signals and _arrivals
    mutable std::condition_variable _arrived;
    std::vector<Signal> _signals;
    size_t _arrivals = 0; ///< signals since the construction, and changes of the name's owner
};

} // namespace Testing
