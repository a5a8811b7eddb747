#include "Failure.h"

#include "Page.h"
#include "Texts.h"
#include "libjobsdaemon/Errors.h"

#include <cerrno>
#include <filesystem>
#include <pwd.h>
#include <unistd.h>

using namespace libjobsdaemon;

namespace TarnJobs {
namespace {

std::string UserName(uid_t user) {
    const passwd* const entry = getpwuid(user);
    return entry ? entry->pw_name : std::to_string(user);
}

std::string RuntimeFolder(uid_t user) { return "/run/user/" + std::to_string(user); }

bool HasBus(uid_t user) {
    std::error_code ignored;
    return std::filesystem::exists(RuntimeFolder(user) + "/bus", ignored);
}

/// A user other than root with a bus; "USER" when there is none to be seen.
std::string UserWithBus() {
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator("/run/user", error)) {
        const auto user = static_cast<uid_t>(std::strtoul(entry.path().filename().c_str(), nullptr, 10));
        if (user != 0 && HasBus(user))
            return UserName(user);
    }
    return "USER";
}

/// The command that works where no user bus is known, as for root and in a bare ssh session.
std::string BusHint(const std::string& typed) {
    const std::string program = programName;
    const uid_t user = geteuid();
    if (user == 0)
        return "Name the user whose service it is: " + program + " --user " + UserWithBus() + typed;
    if (HasBus(user))
        return "This login does not know its bus. Type: XDG_RUNTIME_DIR=" + RuntimeFolder(user) + " " + program + typed;
    return "No services of yours run. As root, type: loginctl enable-linger " + UserName(user);
}

bool IsMissingBus(const NotConnected& error) {
    return error.Reason() == ENOMEDIUM || error.Reason() == ENOENT || error.Reason() == ECONNREFUSED;
}

} // namespace

Failure PresentFailure(const std::string& typed, bool isOfUserBus) {
    try {
        throw;
    } catch (const Refused& refused) {
        return {refused.ToExitCode(), "Refused", refused.what(), refused.Code(), HintOf(refused.Code())};
    } catch (const WrongArguments& wrong) {
        return {exitWrongArguments, "WrongArguments", wrong.what()};
    } catch (const DeviceGone& gone) {
        return {exitDeviceGone, "DeviceGone", gone.what()};
    } catch (const Replaced& replaced) {
        return {exitIncomplete, "Replaced", replaced.what()};
    } catch (const OutputFailed& failed) {
        return {exitOutputFailed, "OutputFailed", failed.what()};
    } catch (const NotConnected& error) {
        if (isOfUserBus && IsMissingBus(error))
            return {exitNotRunning, "NotConnected", "there is no user bus here", -1, BusHint(typed)};
        return {exitNotRunning, "NotConnected", error.what()};
    } catch (const ServiceNotRunning& error) {
        return {exitNotRunning, "ServiceNotRunning", error.what()};
    } catch (const TimedOut& error) {
        return {exitTimedOut, "TimedOut", error.what()};
    } catch (const MalformedCall& error) {
        return {exitMalformedCall, "MalformedCall", error.what()};
    } catch (const std::exception& error) {
        return {exitOtherFailure, "Unexpected", error.what()};
    }
}

Failure RefusalOf(const Refused& refused, const std::string& job) {
    return {refused.ToExitCode(), "Refused", refused.what(), refused.Code(), HintOf(refused.Code()), job};
}

std::string FailureLine(const Failure& failure, bool isJson) {
    if (isJson) {
        Json json{{"error", failure.kind}, {"text", failure.text}, {"exitCode", failure.exitCode}};
        if (failure.code >= 0)
            json["code"] = failure.code;
        if (!failure.job.empty())
            json["job"] = failure.job;
        return Dumped(json);
    }
    std::string text = failure.text;
    if (failure.code >= 0)
        text += " (code " + std::to_string(failure.code) + ")";
    const std::string told =
        (failure.job.empty() ? "" : failure.job + ": ") + text + (failure.hint.empty() ? "" : ". " + failure.hint);
    return Terminal::Red(STDERR_FILENO, std::string(programName) + ":") + " " +
           (Terminal::IsTerminal(STDERR_FILENO) ? Terminal::Masked(told) : told);
}

} // namespace TarnJobs
