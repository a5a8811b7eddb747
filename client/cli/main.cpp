#include "CommandLine.h"
#include "EventJson.h"
#include "ExitCodes.h"
#include "Texts.h"

#include <algorithm>
#include <iostream>

using namespace libjobsdaemon;

namespace TarnJobs {
namespace {

/// A failure as it goes out, and how the program ends by it.
struct Failure {
    int exitCode;
    const char* kind;
    std::string text;
    int32_t code = -1; ///< of the service, if it was a refusal
};

/// The failure that is being handled.
Failure Present() {
    try {
        throw;
    } catch (const Refused& refused) {
        return {refused.ToExitCode(), "Refused", refused.what(), refused.Code()};
    } catch (const WrongArguments& wrong) {
        return {exitWrongArguments, "WrongArguments", wrong.what()};
    } catch (const NotConnected& error) {
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

int Tell(const Failure& failure, bool isJson) {
    if (isJson) {
        Json json{{"error", failure.kind}, {"text", failure.text}, {"exitCode", failure.exitCode}};
        if (failure.code >= 0)
            json["code"] = failure.code;
        std::cerr << json.dump(-1, ' ', false, Json::error_handler_t::replace) << std::endl;
        return failure.exitCode;
    }
    std::cerr << programName << ": " << failure.text;
    if (failure.code >= 0) {
        const std::string hint = HintOf(failure.code);
        std::cerr << " (code " << failure.code << ")" << (hint.empty() ? "" : ". " + hint);
    }
    std::cerr << std::endl;
    return failure.exitCode;
}

JobsManager Connect(const Given& given) {
    JobsManager service(given.Text("address"));
    service.SetTimeout(std::chrono::seconds(given.Number("timeout")));
    return service;
}

/// What a shell may offer, a line each; nothing when the service cannot tell.
void PrintValues(JobsManager& service, const std::string& what) {
    if (what == "devices") {
        for (const Device& device : service.Devices())
            std::cout << device.id << '\n';
        return;
    }
    const TextResult jobs = service.GetJobList("", SortBy::creation, Order::descending, 0, 0);
    for (const Json& job : Parsed(jobs.text))
        std::cout << job.value("id", "") << '\n';
}

/// The program's own texts. False when none was asked for.
bool PrintText(const Given& given) {
    if (given.Has("completion"))
        std::cout << (given.Text("completion") == "bash" ? BashCompletion() : ZshCompletion());
    else if (given.Has("man"))
        std::cout << ManualPage();
    else
        return false;
    return true;
}

int Run(const CommandLine& line) {
    const Given& given = line.Arguments();
    const Command* const command = line.Chosen();
    if (PrintText(given))
        return exitSucceeded;
    if (!command && !given.Has("values"))
        throw WrongArguments("name a command; --help lists them");
    JobsManager service = Connect(given);
    if (!command) {
        PrintValues(service, given.Text("values"));
        return exitSucceeded;
    }
    const Output output(given.Has("json"), command->view);
    const Outcome outcome = command->run({service, given, output});
    if (outcome.result)
        output.Tell(*outcome.result);
    return outcome.exitCode;
}

} // namespace
} // namespace TarnJobs

int main(int argc, char** argv) {
    // Wrong arguments are told as JSON, too, when it was asked for among them.
    const bool isJson = std::find(argv, argv + argc, std::string("--json")) != argv + argc;
    try {
        TarnJobs::CommandLine line;
        return line.Parse(argc, argv) ? TarnJobs::Run(line) : TarnJobs::exitSucceeded;
    } catch (...) {
        return TarnJobs::Tell(TarnJobs::Present(), isJson);
    }
}
