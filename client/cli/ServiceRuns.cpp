#include "ExitCodes.h"
#include "Runs.h"

#include <regex>

using namespace libjobsdaemon;

namespace TarnJobs::Runs {
namespace {

/// The version within the status line that the service gives its manager; null when there is none.
Json VersionIn(const std::string& status) {
    std::smatch found;
    return std::regex_search(status, found, std::regex(R"(\d+\.\d+\.\d+\S*\b)")) ? Json(found.str()) : Json();
}

Json ServiceJson(const std::optional<ServiceProcess>& process) {
    if (!process)
        return {{"isRunning", false}};
    return {{"isRunning", true},
            {"processID", process->processID},
            {"version", VersionIn(process->status)},
            {"status", process->status}};
}

Json CurrentJobJson(JobsManager& service) {
    const std::string id = service.GetCurrentJobID();
    return id.empty() ? Json() : Json{{"id", id}, {"device", service.GetCurrentJobDeviceID()}};
}

} // namespace

Outcome Status(const Invocation& invocation) {
    const auto process = invocation.service.FindService();
    Json status{{"client", TARN_VERSION}, {"library", LibraryVersion()}, {"service", ServiceJson(process)}};
    if (!process)
        return {.result = status, .exitCode = exitNotRunning};
    status["currentJob"] = CurrentJobJson(invocation.service);
    status["devices"] = DevicesJson(invocation.service);
    return {.result = status};
}

Outcome Raw(const Invocation& invocation) {
    Json answer = Json::array();
    for (const Wire::Value& value :
         invocation.service.CallByName(invocation.given.Text("METHOD"), invocation.given.Texts("ARGUMENT")))
        std::visit([&answer](const auto& held) { answer.push_back(held); }, value);
    return {.result = answer};
}

} // namespace TarnJobs::Runs
