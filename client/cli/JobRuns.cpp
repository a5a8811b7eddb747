#include "EventJson.h"
#include "ExitCodes.h"
#include "Runs.h"

#include <algorithm>
#include <iostream>
#include <iterator>

using namespace libjobsdaemon;

namespace TarnJobs::Runs {
namespace {

using Text = std::string;

/// A field by name: of a job, of a media item, or of both. How it travels is told by which calls it has.
struct Field {
    const char* name;
    TextResult (JobsManager::*getOfJob)(const Text&, const Text&);
    jobsDaemonRtn_e (JobsManager::*setOfJob)(const Text&, const Text&, const Text&);
    TextResult (JobsManager::*getOfMedia)(const Text&, const Text&, const Text&) = nullptr;
    jobsDaemonRtn_e (JobsManager::*setOfMedia)(const Text&, const Text&, const Text&, const Text&) = nullptr;
    bool isJson = false;
};

using M = JobsManager;

constexpr Field textFields[] = {
    {"name", &M::GetJobName, &M::SetJobName, &M::GetMediaName, &M::SetMediaName},
    {"notes", &M::GetJobNotes, &M::SetJobNotes, &M::GetMediaNotes, &M::SetMediaNotes},
    {"private-notes", &M::GetJobPrivateNotes, &M::SetJobPrivateNotes, &M::GetMediaPrivateNotes,
     &M::SetMediaPrivateNotes},
    {"user-data", &M::GetJobUserData, &M::SetJobUserData, &M::GetMediaUserData, &M::SetMediaUserData, true},
    {"address", &M::GetJobAddress, &M::SetJobAddress, nullptr, nullptr, true},
    {"customer", &M::GetJobCustomer, &M::SetJobCustomer, nullptr, nullptr, true},
};

// The two fields that are true or false.
constexpr const char* locked = "locked";
constexpr const char* inReport = "in-report";

struct Clearable {
    const char* name;
    jobsDaemonRtn_e (JobsManager::*clear)(const Text&, const Text&);
};

constexpr Clearable clearables[] = {
    {"address", &M::ClearJobAddress}, {"customer", &M::ClearJobCustomer}, {"contacts", &M::RemoveJobContacts}};

/// A value from the command line, or standard input in the place of "-".
Text Value(const Invocation& invocation, const char* key) {
    const Text given = invocation.given.Text(key);
    if (given != "-")
        return given;
    return {std::istreambuf_iterator<char>(std::cin), {}};
}

bool Flag(const Text& text) {
    if (text != "true" && text != "false")
        throw WrongArguments("the value is true or false");
    return text == "true";
}

const Field& TextField(const Invocation& invocation) {
    const Text name = invocation.given.Text("FIELD");
    const auto field = std::find_if(std::begin(textFields), std::end(textFields),
                                    [&](const Field& candidate) { return name == candidate.name; });
    const bool ofMedia = invocation.given.Has("media");
    if (field == std::end(textFields) || (ofMedia && !field->getOfMedia))
        throw WrongArguments(ofMedia ? name + " is no field of a media item"
                                     : name + " is a field of media items only");
    return *field;
}

uint8_t ContactID(const Invocation& invocation) { return static_cast<uint8_t>(invocation.given.Number("CONTACT")); }

Outcome CurrentJob(const JobResult& result) {
    Json job = Parsed(Checked(result).summary);
    job["device"] = result.deviceID;
    return {job};
}

} // namespace

std::vector<std::string> FieldNames() {
    std::vector<std::string> names;
    for (const Field& field : textFields)
        names.emplace_back(field.name);
    names.insert(names.end(), {locked, inReport});
    return names;
}

std::vector<std::string> ClearableNames() {
    std::vector<std::string> names;
    for (const Clearable& clearable : clearables)
        names.emplace_back(clearable.name);
    return names;
}

Outcome Done(int32_t code) {
    Check(code);
    return {Json{{"code", code}, {"text", ReturnCodeText(code)}}};
}

Outcome Create(const Invocation& invocation) {
    return CurrentJob(invocation.service.CreateJob(invocation.Device(), invocation.given.Text("NAME")));
}

Outcome Open(const Invocation& invocation) {
    return CurrentJob(invocation.service.OpenJob(invocation.Device(), invocation.given.Text("JOB")));
}

Outcome Close(const Invocation& invocation) { return {Json{{"id", Checked(invocation.service.CloseJob()).text}}}; }

Outcome Current(const Invocation& invocation) {
    const Text id = invocation.service.GetCurrentJobID();
    if (id.empty())
        throw Refused(JOBS_RTN_NO_CURRENT_JOB);
    return {Json{{"id", id}, {"device", invocation.service.GetCurrentJobDeviceID()}}};
}

Outcome Show(const Invocation& invocation) {
    const bool ofMedia = invocation.given.Has("media");
    const TextResult result =
        ofMedia ? invocation.service.GetMediaItem(invocation.Device(), invocation.Job(), invocation.given.Text("media"))
                : invocation.service.GetJob(invocation.Device(), invocation.Job());
    return {Parsed(Checked(result).text)};
}

Outcome Folder(const Invocation& invocation) {
    return {Json(Checked(invocation.service.GetJobFolderPath(invocation.Device(), invocation.Job())).text)};
}

Outcome Counts(const Invocation& invocation) {
    const bool isOfCurrent = invocation.Device().empty() && invocation.Job().empty();
    const CountsResult counts =
        Checked(isOfCurrent ? invocation.service.CurrentJobMediaCounts()
                            : invocation.service.GetJobMediaCounts(invocation.Device(), invocation.Job()));
    return {Json{{"total", counts.total},
                 {"autologs", counts.autologs},
                 {"images", counts.images},
                 {"photoTalks", counts.photoTalks},
                 {"videos", counts.videos}}};
}

Outcome Get(const Invocation& invocation) {
    JobsManager& service = invocation.service;
    const Text name = invocation.given.Text("FIELD");
    const Text media = invocation.given.Text("media");
    const bool ofMedia = invocation.given.Has("media");
    if (name == locked && !ofMedia)
        return {Json(Checked(service.GetJobLocked(invocation.Device(), invocation.Job())).flag)};
    if (name == inReport && ofMedia)
        return {Json(Checked(service.GetMediaIsIncludedInReport(invocation.Device(), invocation.Job(), media)).number !=
                     0)};
    const Field& field = TextField(invocation);
    const TextResult result = ofMedia ? (service.*field.getOfMedia)(invocation.Device(), invocation.Job(), media)
                                      : (service.*field.getOfJob)(invocation.Device(), invocation.Job());
    return {field.isJson ? Parsed(Checked(result).text) : Json(Checked(result).text)};
}

Outcome Set(const Invocation& invocation) {
    JobsManager& service = invocation.service;
    const Text name = invocation.given.Text("FIELD");
    const Text media = invocation.given.Text("media");
    const bool ofMedia = invocation.given.Has("media");
    const Text value = Value(invocation, "VALUE");
    if (name == locked && !ofMedia)
        return Done(service.SetJobLocked(invocation.Device(), invocation.Job(), Flag(value)));
    if (name == inReport && ofMedia)
        return Done(service.SetMediaIsIncludedInReport(invocation.Device(), invocation.Job(), media, Flag(value)));
    const Field& field = TextField(invocation);
    return Done(ofMedia ? (service.*field.setOfMedia)(invocation.Device(), invocation.Job(), media, value)
                        : (service.*field.setOfJob)(invocation.Device(), invocation.Job(), value));
}

Outcome Clear(const Invocation& invocation) {
    const auto* const row = std::find_if(std::begin(clearables), std::end(clearables), [&](const Clearable& candidate) {
        return invocation.given.Text("FIELD") == candidate.name;
    });
    return Done((invocation.service.*row->clear)(invocation.Device(), invocation.Job()));
}

Outcome Contacts(const Invocation& invocation) {
    return {Parsed(Checked(invocation.service.GetJobContacts(invocation.Device(), invocation.Job())).text)};
}

Outcome Contact(const Invocation& invocation) {
    return {Parsed(
        Checked(invocation.service.GetJobContact(invocation.Device(), invocation.Job(), ContactID(invocation))).text)};
}

Outcome AddContact(const Invocation& invocation) {
    const ContactIDResult result =
        invocation.service.AddJobContact(invocation.Device(), invocation.Job(), Value(invocation, "JSON"));
    return {Json{{"id", Checked(result).contactID}}};
}

Outcome UpdateContact(const Invocation& invocation) {
    return Done(invocation.service.UpdateJobContact(invocation.Device(), invocation.Job(), Value(invocation, "JSON")));
}

Outcome RemoveContact(const Invocation& invocation) {
    return Done(invocation.service.RemoveJobContact(invocation.Device(), invocation.Job(), ContactID(invocation)));
}

} // namespace TarnJobs::Runs
