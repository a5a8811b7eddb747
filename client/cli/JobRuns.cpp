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
Text Value(const Session& session, const char* key) {
    const Text given = session.given.Text(key);
    if (given != "-")
        return given;
    return {std::istreambuf_iterator<char>(std::cin), {}};
}

bool Flag(const Text& text) {
    if (text != "true" && text != "false")
        throw WrongArguments("the value is true or false");
    return text == "true";
}

const Field& TextField(const Session& session) {
    const Text name = session.given.Text("FIELD");
    const auto field = std::find_if(std::begin(textFields), std::end(textFields),
                                    [&](const Field& candidate) { return name == candidate.name; });
    const bool ofMedia = session.given.Has("media");
    if (field == std::end(textFields) || (ofMedia && !field->getOfMedia))
        throw WrongArguments(ofMedia ? name + " is no field of a media item"
                                     : name + " is a field of media items only");
    return *field;
}

uint8_t ContactID(const Session& session) { return static_cast<uint8_t>(session.given.Number("CONTACT")); }

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

Outcome Create(const Session& session) {
    return CurrentJob(session.service.CreateJob(session.Device(), session.given.Text("NAME")));
}

Outcome Open(const Session& session) {
    return CurrentJob(session.service.OpenJob(session.Device(), session.given.Text("JOB")));
}

Outcome Close(const Session& session) { return {Json{{"id", Checked(session.service.CloseJob()).text}}}; }

Outcome Current(const Session& session) {
    const Text id = session.service.GetCurrentJobID();
    if (id.empty())
        throw Refused(JOBS_RTN_NO_CURRENT_JOB);
    return {Json{{"id", id}, {"device", session.service.GetCurrentJobDeviceID()}}};
}

Outcome Show(const Session& session) {
    const bool ofMedia = session.given.Has("media");
    const TextResult result =
        ofMedia ? session.service.GetMediaItem(session.Device(), session.Job(), session.given.Text("media"))
                : session.service.GetJob(session.Device(), session.Job());
    return {Parsed(Checked(result).text)};
}

Outcome Folder(const Session& session) {
    return {Json(Checked(session.service.GetJobFolderPath(session.Device(), session.Job())).text)};
}

Outcome Counts(const Session& session) {
    const bool isOfCurrent = session.Device().empty() && session.Job().empty();
    const CountsResult counts =
        Checked(isOfCurrent ? session.service.CurrentJobMediaCounts()
                            : session.service.GetJobMediaCounts(session.Device(), session.Job()));
    return {Json{{"total", counts.total},
                 {"autologs", counts.autologs},
                 {"images", counts.images},
                 {"photoTalks", counts.photoTalks},
                 {"videos", counts.videos}}};
}

Outcome Get(const Session& session) {
    JobsManager& service = session.service;
    const Text name = session.given.Text("FIELD");
    const Text media = session.given.Text("media");
    const bool ofMedia = session.given.Has("media");
    if (name == locked && !ofMedia)
        return {Json(Checked(service.GetJobLocked(session.Device(), session.Job())).flag)};
    if (name == inReport && ofMedia)
        return {Json(Checked(service.GetMediaIsIncludedInReport(session.Device(), session.Job(), media)).number != 0)};
    const Field& field = TextField(session);
    const TextResult result = ofMedia ? (service.*field.getOfMedia)(session.Device(), session.Job(), media)
                                      : (service.*field.getOfJob)(session.Device(), session.Job());
    return {field.isJson ? Parsed(Checked(result).text) : Json(Checked(result).text)};
}

Outcome Set(const Session& session) {
    JobsManager& service = session.service;
    const Text name = session.given.Text("FIELD");
    const Text media = session.given.Text("media");
    const bool ofMedia = session.given.Has("media");
    const Text value = Value(session, "VALUE");
    if (name == locked && !ofMedia)
        return Done(service.SetJobLocked(session.Device(), session.Job(), Flag(value)));
    if (name == inReport && ofMedia)
        return Done(service.SetMediaIsIncludedInReport(session.Device(), session.Job(), media, Flag(value)));
    const Field& field = TextField(session);
    return Done(ofMedia ? (service.*field.setOfMedia)(session.Device(), session.Job(), media, value)
                        : (service.*field.setOfJob)(session.Device(), session.Job(), value));
}

Outcome Clear(const Session& session) {
    const auto* const row = std::find_if(std::begin(clearables), std::end(clearables), [&](const Clearable& candidate) {
        return session.given.Text("FIELD") == candidate.name;
    });
    return Done((session.service.*row->clear)(session.Device(), session.Job()));
}

Outcome Contacts(const Session& session) {
    return {Parsed(Checked(session.service.GetJobContacts(session.Device(), session.Job())).text)};
}

Outcome Contact(const Session& session) {
    return {Parsed(Checked(session.service.GetJobContact(session.Device(), session.Job(), ContactID(session))).text)};
}

Outcome AddContact(const Session& session) {
    const ContactIDResult result =
        session.service.AddJobContact(session.Device(), session.Job(), Value(session, "JSON"));
    return {Json{{"id", Checked(result).contactID}}};
}

Outcome UpdateContact(const Session& session) {
    return Done(session.service.UpdateJobContact(session.Device(), session.Job(), Value(session, "JSON")));
}

Outcome RemoveContact(const Session& session) {
    return Done(session.service.RemoveJobContact(session.Device(), session.Job(), ContactID(session)));
}

} // namespace TarnJobs::Runs
