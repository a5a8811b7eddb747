#pragma once

#include "libjobsdaemon/ReturnCodes.h"

#include <stdexcept>
#include <string>
#include <system_error>

// How the program ends, for scripts to test.

namespace TarnJobs {

enum ExitCode {
    exitSucceeded = 0,
    exitIncomplete = 1,
    exitWrongArguments = 2,
    exitNotRunning = 3,
    exitTimedOut = 4,
    exitMalformedCall = 5,
    exitOtherFailure = 6,
    exitDeviceGone = 7,
    exitOutputFailed = 8,
    exitRefused = 30, ///< plus the return code of the service; all stay below the codes that shells use themselves
    exitCancelled = 130,
};

struct ExitCodeRow {
    const char* code;
    const char* meaning;
};

/// What the manual tells of the codes.
inline constexpr ExitCodeRow exitCodeRows[] = {
    {"0", "The command was done."},
    {"1", "Some of many jobs could not be done or somebody else has cancelled them, or another search has taken the "
          "place of this one."},
    {"2", "The arguments are wrong, or a question was answered with no; nothing was done."},
    {"3", "The service is not running, or the bus cannot be reached."},
    {"4", "The service has not replied within --timeout; it may still do what was asked."},
    {"5", "The call itself was at fault, such as a path that must not be empty."},
    {"6", "The service answered in a way that this program does not know."},
    {"7", "The device went away during the work."},
    {"8", "Standard output could not be written."},
    {"130", "Ctrl-C: what was left of the work on many jobs is cancelled, or a wait was given up."},
    {"31 to 59", "The service refused, with the return code that is the exit code less 30:"},
};

/// What people can do about a code, or what it means; the empty text for codes that say it all.
const char* HintOf(int32_t code);

/// The service has answered with a code other than success.
class Refused : public std::runtime_error {
public:
    explicit Refused(int32_t code) : std::runtime_error(libjobsdaemon::ReturnCodeText(code)), _code(code) {}
    int32_t Code() const { return _code; }
    /// A code of a newer service has no exit code of its own.
    int ToExitCode() const {
        return _code > 0 && _code < libjobsdaemon::returnCodeCount ? exitRefused + _code : exitOtherFailure;
    }

private:
    int32_t _code;
};

/// Wrong arguments that only a command itself can tell.
class WrongArguments : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// A device went away while something was done with it.
class DeviceGone : public std::runtime_error {
public:
    explicit DeviceGone(const std::string& device)
        : std::runtime_error("the device \"" + device + "\" went away; what was done until then stands") {}
};

/// Something else has taken the place of what was asked for.
class Replaced : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

class OutputFailed : public std::runtime_error {
public:
    explicit OutputFailed(int reason)
        : std::runtime_error("standard output cannot be written: " + std::generic_category().message(reason)) {}
};

/// Everything that was told goes out. Throws OutputFailed.
void FlushOutput();

inline void Check(int32_t code) {
    if (code != libjobsdaemon::JOBS_RTN_SUCCEEDED)
        throw Refused(code);
}

/// The answer, which must not be a refusal.
template <typename Result>
Result Checked(Result result) {
    Check(result.code);
    return result;
}

} // namespace TarnJobs
