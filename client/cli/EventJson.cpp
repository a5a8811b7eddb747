#include "EventJson.h"

using namespace libjobsdaemon;

namespace TarnJobs {
namespace {

std::string Name(Operation operation, const char* kind) {
    static const std::map<Operation, std::string> words{
        {Operation::Delete, "Delete"}, {Operation::Move, "Move"}, {Operation::Copy, "Copy"}};
    return "JobList" + words.at(operation) + kind;
}

struct Teller {
    Json operator()(const JobChanged& event) const {
        return {{"event", "JobChanged"}, {"device", event.deviceID}, {"summary", Parsed(event.summary)}};
    }
    Json operator()(const ListProgress& event) const {
        return {{"event", Name(event.operation, "Progress")},
                {"device", event.deviceID},
                {"destination", event.destination},
                {"percent", event.percent},
                {"done", event.done},
                {"total", event.total}};
    }
    Json operator()(const ListError& event) const {
        return {{"event", Name(event.operation, "Error")},  {"device", event.deviceID},
                {"destination", event.destination},         {"job", event.jobID},
                {"code", static_cast<int32_t>(event.code)}, {"text", ReturnCodeText(event.code)}};
    }
    Json operator()(const ListFinished& event) const {
        return {
            {"event", Name(event.operation, "Finish")}, {"device", event.deviceID}, {"destination", event.destination},
            {"isCancelled", event.isCancelled},         {"done", event.done},       {"total", event.total}};
    }
    Json operator()(const PropertyChanged& event) const {
        const bool isJson = event.name.ends_with("Stats");
        const Json value = std::visit([](const auto& held) { return Json(held); }, event.value);
        return {{"event", "PropertyChanged"},
                {"device", event.deviceID},
                {"property", event.name},
                {"value", isJson ? Parsed(value.get<std::string>()) : value}};
    }
    Json operator()(const DeviceAdded& event) const { return {{"event", "DeviceAdded"}, {"device", event.deviceID}}; }
    Json operator()(const DeviceRemoved& event) const {
        return {{"event", "DeviceRemoved"}, {"device", event.deviceID}};
    }
    Json operator()(const ServiceStarted&) const { return {{"event", "ServiceStarted"}}; }
    Json operator()(const ServiceStopped&) const { return {{"event", "ServiceStopped"}}; }
};

} // namespace

std::vector<std::string> EventNames() {
    std::vector<std::string> names{"JobChanged"};
    for (const Operation operation : {Operation::Delete, Operation::Move, Operation::Copy})
        for (const char* kind : {"Progress", "Error", "Finish"})
            names.push_back(Name(operation, kind));
    for (const char* name : {"PropertyChanged", "DeviceAdded", "DeviceRemoved", "ServiceStarted", "ServiceStopped"})
        names.emplace_back(name);
    return names;
}

Json EventJson(const Event& event) { return std::visit(Teller(), event); }

} // namespace TarnJobs
