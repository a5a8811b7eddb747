#pragma once

#include "daemon/JobsManagerDaemon.h"
#include "peers/buslink/Wire.h"

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <syslog.h>
#include <tuple>

// From a message to a handler and back. A handler is a plain function of the daemon and of the call's arguments;
// `Serve` makes of it what the bus calls. All on the main thread, without the bus lock, which every reply takes for
// itself. What an operation answers, success or not, is an ordinary reply; a bus error means that the call was
// malformed, or that its answer does not fit into a message.

namespace JobsManagerD {

/// A bus error in the place of a reply: the call itself is malformed. Thrown by a handler with the error's message.
class MalformedCall : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Errors in the place of a reply that cannot be built: clients know three texts.
inline constexpr char failedToBuildReply[] = "Failed to build reply";
inline constexpr char couldNotBuildReply[] = "Could not build reply";
inline constexpr char failedToBuildResponse[] = "Failed to build response";

/// In what a row of the interface differs from the rule.
struct RowNotes {
    /// Message of the bus error in the place of a reply that cannot be built.
    const char* replyFailure = failedToBuildReply;
    /// An error line for arguments that cannot be read; the bus error is sent either way.
    bool logsParseFailure = true;
    /// The method's name, before anything else.
    bool logsName = false;
    /// The code before the reply, and a reply that cannot be built.
    bool logsReply = false;
};

template <typename Result>
class Later;

/// What a row must look like for a handler of these types: `In` and `Out` are its signatures.
template <typename ResultType, typename... ArgumentTypes>
struct CallTypes {
    using Result = ResultType;
    using Arguments = std::tuple<std::remove_cvref_t<ArgumentTypes>...>;
    static constexpr Buslink::SignatureText In() {
        return Buslink::SignatureOfAll<std::remove_cvref_t<ArgumentTypes>...>();
    }
    static constexpr Buslink::SignatureText Out() { return Buslink::Wire<Result>::Signature(); }
};

/// Types of a handler, from which the row's signatures follow. A handler returns the result, which is the reply, or it
/// takes a `Later` and gives the result to that, now or when there is one.
template <typename Handler>
struct HandlerTypes;

template <typename Result, typename... Arguments>
struct HandlerTypes<Result (*)(JobsManagerDaemon&, Arguments...)> : CallTypes<Result, Arguments...> {
    static constexpr bool answersLater = false;
};

template <typename Result, typename... Arguments>
struct HandlerTypes<void (*)(JobsManagerDaemon&, Later<Result>, Arguments...)> : CallTypes<Result, Arguments...> {
    static constexpr bool answersLater = true;
};

/// Sends an error in the place of the reply. Takes the bus lock. Negative errno on failure.
int ReplyWithError(JobsManagerDaemon& daemon, sd_bus_message* call, const char* text);

/// Sends the result as the reply, or the row's error when it cannot be built, as when it is too large for a message.
/// Takes the bus lock. Negative errno on failure.
template <typename Result>
int Reply(JobsManagerDaemon& daemon, sd_bus_message* call, const Result& result, const RowNotes& notes) {
    const char* failure = nullptr;
    const int sent = daemon.WithBus([&](sd_bus* connection) {
        Buslink::Message reply;
        if (sd_bus_message_new_method_return(call, Buslink::Out(reply)) < 0)
            failure = "Could not connect reply";
        else if (Buslink::AppendAll(reply.get(), result) < 0)
            failure = notes.replyFailure;
        return failure ? 0 : sd_bus_send(connection, reply.get(), nullptr);
    });
    if (!failure)
        return sent;
    if (notes.logsReply)
        syslog(LOG_ERR, "%s %s", sd_bus_message_get_member(call), failure);
    return ReplyWithError(daemon, call, failure);
}

/// The reply that is owed to a call. It keeps the call, and copies share it; called once, on the main thread, it sends
/// the reply. A call that nobody answers is answered by the end of the service. Copies may go on any thread.
template <typename Result>
class Later {
public:
    Later(JobsManagerDaemon& daemon, sd_bus_message* call, const RowNotes& notes)
        : _daemon(&daemon), _call(sd_bus_message_ref(call), sd_bus_message_unref), _notes(&notes) {}

    void operator()(const Result& result) const {
        try {
            Reply(*_daemon, _call.get(), result, *_notes);
        } catch (const std::exception& exception) {
            Buslink::BusError error;
            Buslink::DbusServer::Failed(error, sd_bus_message_get_member(_call.get()), exception);
            ReplyWithError(*_daemon, _call.get(), error.Text(0).c_str());
        }
    }

private:
    JobsManagerDaemon* _daemon;
    std::shared_ptr<sd_bus_message> _call;
    const RowNotes* _notes;
};

/// Runs a handler on the arguments of its call and sees to the reply.
template <auto handler, const RowNotes& notes, typename Arguments>
int RunHandler(JobsManagerDaemon& daemon, sd_bus_message* call, const Arguments& arguments) {
    using Types = HandlerTypes<decltype(handler)>;
    if constexpr (Types::answersLater) {
        const Later<typename Types::Result> later(daemon, call, notes);
        std::apply([&](const auto&... values) { handler(daemon, later, values...); }, arguments);
        return 1;
    } else {
        const auto result = std::apply([&](const auto&... values) { return handler(daemon, values...); }, arguments);
        if constexpr (notes.logsReply)
            syslog(LOG_INFO, "%s - rtn = %d", sd_bus_message_get_member(call), result);
        return Reply(daemon, call, result, notes);
    }
}

/// The bus's form of a handler: reads the arguments, runs the handler, replies.
template <auto handler, const RowNotes& notes>
int Serve(sd_bus_message* call, void* userData, sd_bus_error*) {
    auto& daemon = *static_cast<JobsManagerDaemon*>(static_cast<Buslink::DbusServer*>(userData));
    if (notes.logsName)
        syslog(LOG_INFO, "%s", sd_bus_message_get_member(call));
    typename HandlerTypes<decltype(handler)>::Arguments arguments;
    const int read = std::apply([call](auto&... values) { return Buslink::ReadAll(call, values...); }, arguments);
    if (read < 0) {
        if (notes.logsParseFailure)
            syslog(LOG_ERR, "%s Failed to parse message", sd_bus_message_get_member(call));
        return ReplyWithError(daemon, call, "Failed to parse message");
    }
    try {
        return RunHandler<handler, notes>(daemon, call, arguments);
    } catch (const MalformedCall& malformed) {
        return ReplyWithError(daemon, call, malformed.what());
    }
}

} // namespace JobsManagerD
