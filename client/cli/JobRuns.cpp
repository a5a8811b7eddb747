#include "ExitCodes.h"
#include "Runs.h"

#include <algorithm>
#include <iostream>
#include <iterator>
#include <sstream>

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

bool IsFlag(const Text& name, bool ofMedia) { return name == (ofMedia ? inReport : locked); }

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

const Field& FieldOf(const Invocation& invocation, const Text& name) {
    const auto field = std::find_if(std::begin(textFields), std::end(textFields),
                                    [&](const Field& candidate) { return name == candidate.name; });
    const bool ofMedia = invocation.given.Has("media");
    if (field == std::end(textFields) || (ofMedia && !field->getOfMedia))
        throw WrongArguments(ofMedia ? name + " is no field of a media item"
                                     : name + " is a field of media items only");
    return *field;
}

/// A field's name, and what follows its first dot.
struct FieldPath {
    explicit FieldPath(const Invocation& invocation) {
        const Text given = invocation.given.Text("FIELD");
        const size_t dot = given.find('.');
        name = given.substr(0, dot);
        isPart = dot != Text::npos;
        std::istringstream parts(isPart ? given.substr(dot + 1) : "");
        for (Text part; std::getline(parts, part, '.');)
            place.push_back(part);
    }

    Text name;
    bool isPart;
    Json::json_pointer place;
};

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
    return {.result = Json{{"code", code}, {"text", ReturnCodeText(code)}}, .isForPeople = false};
}

Outcome Relayed(const TextResult& result) {
    const Text bytes = Checked(result).text;
    return {.result = Parsed(bytes), .bytes = bytes};
}

Outcome Create(const Invocation& invocation) {
    return CurrentJob(invocation.service.CreateJob(invocation.Device(), invocation.given.Text("NAME")));
}

Outcome Open(const Invocation& invocation) {
    return CurrentJob(invocation.service.OpenJob(invocation.Device(), invocation.given.Text("JOB")));
}

Outcome Close(const Invocation& invocation) {
    return {.result = Json{{"id", Checked(invocation.service.CloseJob()).text}}};
}

Outcome Current(const Invocation& invocation) {
    const Text id = invocation.service.GetCurrentJobID();
    if (id.empty())
        throw Refused(JOBS_RTN_NO_CURRENT_JOB);
    return {.result = Json{{"id", id}, {"device", invocation.service.GetCurrentJobDeviceID()}}};
}

Outcome Show(const Invocation& invocation) {
    const bool ofMedia = invocation.given.Has("media");
    const TextResult result =
        ofMedia ? invocation.service.GetMediaItem(invocation.Device(), invocation.Job(), invocation.given.Text("media"))
                : invocation.service.GetJob(invocation.Device(), invocation.Job());
    return Relayed(result);
}

Outcome Folder(const Invocation& invocation) {
    return {Json(Checked(invocation.service.GetJobFolderPath(invocation.Device(), invocation.Job())).text)};
}

Outcome Counts(const Invocation& invocation) {
    const bool isOfCurrent = invocation.Device().empty() && invocation.Job().empty();
    const CountsResult counts =
        Checked(isOfCurrent ? invocation.service.CurrentJobMediaCounts()
                            : invocation.service.GetJobMediaCounts(invocation.Device(), invocation.Job()));
    return {.result = Json{{"total", counts.total},
                           {"autologs", counts.autologs},
                           {"images", counts.images},
                           {"photoTalks", counts.photoTalks},
                           {"videos", counts.videos}}};
}

namespace {

bool GetFlag(const Invocation& invocation, bool ofMedia) {
    JobsManager& service = invocation.service;
    if (!ofMedia)
        return Checked(service.GetJobLocked(invocation.Device(), invocation.Job())).flag;
    const Text media = invocation.given.Text("media");
    return Checked(service.GetMediaIsIncludedInReport(invocation.Device(), invocation.Job(), media)).number != 0;
}

jobsDaemonRtn_e SetFlag(const Invocation& invocation, bool ofMedia, bool value) {
    JobsManager& service = invocation.service;
    if (!ofMedia)
        return service.SetJobLocked(invocation.Device(), invocation.Job(), value);
    const Text media = invocation.given.Text("media");
    return service.SetMediaIsIncludedInReport(invocation.Device(), invocation.Job(), media, value);
}

TextResult GetText(const Invocation& invocation, const Field& field, bool ofMedia) {
    JobsManager& service = invocation.service;
    return ofMedia ? (service.*field.getOfMedia)(invocation.Device(), invocation.Job(), invocation.given.Text("media"))
                   : (service.*field.getOfJob)(invocation.Device(), invocation.Job());
}

jobsDaemonRtn_e SetText(const Invocation& invocation, const Field& field, bool ofMedia, const Text& value) {
    JobsManager& service = invocation.service;
    const Text media = invocation.given.Text("media");
    return ofMedia ? (service.*field.setOfMedia)(invocation.Device(), invocation.Job(), media, value)
                   : (service.*field.setOfJob)(invocation.Device(), invocation.Job(), value);
}

/// The field that is given, which must be JSON to have parts.
const Field& FieldWithParts(const Invocation& invocation, const FieldPath& path) {
    const Field& field = FieldOf(invocation, path.name);
    if (path.isPart && !field.isJson)
        throw WrongArguments(path.name + " has no parts");
    return field;
}

/// Null when it is not there.
Json Part(const Text& whole, const FieldPath& path) {
    const Json json = Parsed(whole);
    return json.contains(path.place) ? json.at(path.place) : Json();
}

/// The whole of a field with another value in one part of it.
Text WithPart(const Text& whole, const FieldPath& path, const Text& value) {
    Json edited = Parsed(whole);
    // What this program cannot write as it was read, as a very large number, must not change by the way.
    if (!whole.empty() && Dumped(edited) != whole)
        throw WrongArguments(path.name + " cannot be changed in part; set it as a whole");
    try {
        // Address and customer consist of texts; user data is whatever the user says.
        edited[path.place] = path.name == "user-data" ? Parsed(value) : Json(value);
    } catch (const Json::exception&) {
        throw WrongArguments(path.name + " has no place \"" + path.place.to_string().substr(1) + "\"");
    }
    return Dumped(edited);
}

} // namespace

Outcome Get(const Invocation& invocation) {
    const FieldPath path(invocation);
    const bool ofMedia = invocation.given.Has("media");
    if (IsFlag(path.name, ofMedia) && !path.isPart)
        return {.result = GetFlag(invocation, ofMedia)};
    const Field& field = FieldWithParts(invocation, path);
    const TextResult whole = Checked(GetText(invocation, field, ofMedia));
    if (path.isPart)
        return {.result = Part(whole.text, path)};
    return field.isJson ? Relayed(whole) : Outcome{.result = whole.text};
}

Outcome Set(const Invocation& invocation) {
    const FieldPath path(invocation);
    const bool ofMedia = invocation.given.Has("media");
    const Text value = Value(invocation, "VALUE");
    if (IsFlag(path.name, ofMedia) && !path.isPart)
        return Done(SetFlag(invocation, ofMedia, Flag(value)));
    const Field& field = FieldWithParts(invocation, path);
    if (!path.isPart)
        return Done(SetText(invocation, field, ofMedia, value));
    const Text whole = Checked(GetText(invocation, field, ofMedia)).text;
    return Done(SetText(invocation, field, ofMedia, WithPart(whole, path, value)));
}

Outcome Clear(const Invocation& invocation) {
    const auto* const row = std::find_if(std::begin(clearables), std::end(clearables), [&](const Clearable& candidate) {
        return invocation.given.Text("FIELD") == candidate.name;
    });
    if (row == std::end(clearables))
        throw WrongArguments(invocation.given.Text("FIELD") + " cannot be cleared");
    return Done((invocation.service.*row->clear)(invocation.Device(), invocation.Job()));
}

Outcome Contacts(const Invocation& invocation) {
    return Relayed(invocation.service.GetJobContacts(invocation.Device(), invocation.Job()));
}

Outcome Contact(const Invocation& invocation) {
    return Relayed(invocation.service.GetJobContact(invocation.Device(), invocation.Job(), ContactID(invocation)));
}

Outcome AddContact(const Invocation& invocation) {
    const ContactIDResult result =
        invocation.service.AddJobContact(invocation.Device(), invocation.Job(), Value(invocation, "JSON"));
    return {.result = Json{{"id", Checked(result).contactID}}};
}

Outcome UpdateContact(const Invocation& invocation) {
    return Done(invocation.service.UpdateJobContact(invocation.Device(), invocation.Job(), Value(invocation, "JSON")));
}

Outcome RemoveContact(const Invocation& invocation) {
    return Done(invocation.service.RemoveJobContact(invocation.Device(), invocation.Job(), ContactID(invocation)));
}

} // namespace TarnJobs::Runs
