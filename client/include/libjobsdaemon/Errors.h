#pragma once

#include "libjobsdaemon/Export.h"

#include <stdexcept>
#include <string>

// A call that was answered gives a value, also when the service refused it: then the value has a return code. A call
// that was not answered throws one of these.

namespace libjobsdaemon {

class LIBJOBSDAEMON_EXPORT Error : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
    ~Error() override;
};

/// The bus cannot be reached, or the connection to it is lost. The object stays unusable; a new one may connect again.
class LIBJOBSDAEMON_EXPORT NotConnected : public Error {
public:
    explicit NotConnected(const std::string& message, int reason) : Error(message), _reason(reason) {}
    ~NotConnected() override;

    /// As errno has it: ENOMEDIUM when there is no user bus to be found, ENOTCONN for an object that was moved from.
    int Reason() const { return _reason; }

private:
    int _reason;
};

/// Nobody serves the name on the bus, or the service ended before it replied.
class LIBJOBSDAEMON_EXPORT ServiceNotRunning : public Error {
public:
    using Error::Error;
    ~ServiceNotRunning() override;
};

/// The service has not replied in time; it may still do what was asked.
class LIBJOBSDAEMON_EXPORT TimedOut : public Error {
public:
    using Error::Error;
    ~TimedOut() override;
};

/// The call itself was at fault: the service or the bus answered with an error, or a text is no UTF-8.
class LIBJOBSDAEMON_EXPORT MalformedCall : public Error {
public:
    MalformedCall(std::string name, const std::string& message) : Error(message), _name(std::move(name)) {}
    ~MalformedCall() override;

    /// The error's name on the bus, such as "org.freedesktop.DBus.Error.Failed".
    const std::string& Name() const { return _name; }

private:
    std::string _name;
};

/// The answer has another form than this library knows.
class LIBJOBSDAEMON_EXPORT UnexpectedReply : public Error {
public:
    using Error::Error;
    ~UnexpectedReply() override;
};

} // namespace libjobsdaemon
