#include "Resolve.h"

#include "ExitCodes.h"

#include <algorithm>
#include <cctype>

using namespace libjobsdaemon;

namespace TarnJobs {
namespace {

using Offer = Argument::Offer;

/// Less of an ID is a slip of the finger rather than a job to delete.
constexpr size_t shortestBeginning = 4;

/// An ID as the service makes them: nothing else is to be looked for, so that scripts pay no list.
bool IsWholeID(const std::string& text) {
    constexpr const char* form = "xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx";
    return text.size() == 36 && std::equal(text.begin(), text.end(), form, [](unsigned char letter, char place) {
               return place == '-' ? letter == '-' : std::isxdigit(letter) != 0;
           });
}

std::string IDOf(const Json& object) {
    const Json id = object.value("id", Json(""));
    return id.is_string() ? id.get<std::string>() : Dumped(id);
}

/// The name that an object goes by: its own, or that of a person.
std::string NameOf(const Json& object) {
    if (object.contains("name"))
        return object.value("name", "");
    const std::string first = object.value("firstName", "");
    const std::string last = object.value("lastName", "");
    return first + (first.empty() || last.empty() ? "" : " ") + last;
}

/// The ID of the one object that is meant.
std::string Meant(const std::vector<NamedObject>& objects, const std::string& typed) {
    std::string id;
    std::string told;
    size_t count = 0;
    for (const NamedObject& object : objects) {
        if (object.id == typed)
            return typed;
        const bool isBeginning = typed.size() >= shortestBeginning && object.id.starts_with(typed);
        if (!isBeginning && object.name != typed)
            continue;
        id = object.id;
        told += (++count > 1 ? ", " : "") + object.id + " (" + object.name + ")";
    }
    if (count > 1)
        throw WrongArguments("\"" + typed + "\" may be any of " + told);
    return count == 1 ? id : typed;
}

Json Objects(const TextResult& result) {
    return result.code == JOBS_RTN_SUCCEEDED ? Parsed(result.text) : Json::array();
}

/// The objects that the argument may name.
Json Candidates(JobsManager& service, const Argument& argument, const Given& given, uint16_t limit) {
    const std::string device = given.Text("device");
    if (argument.offer == Offer::jobs)
        return Objects(service.GetJobList(device, SortBy::creation, Order::descending, 0, limit));
    if (argument.offer == Offer::contacts)
        return Objects(service.GetJobContacts(device, given.Text("job")));
    const Json job = Objects(service.GetJob(device, given.Text("job")));
    return job.is_object() ? job.value("media", Json::array()) : Json::array();
}

bool IsNamed(const Argument& argument) {
    return argument.offer == Offer::jobs || argument.offer == Offer::media || argument.offer == Offer::contacts;
}

bool IsContactID(const std::string& typed) {
    return !typed.empty() && typed.size() <= 3 &&
           std::all_of(typed.begin(), typed.end(), [](unsigned char letter) { return std::isdigit(letter) != 0; }) &&
           std::stoi(typed) >= 1 && std::stoi(typed) <= 255;
}

void CheckContact(const std::string& typed) {
    if (!IsContactID(typed))
        throw WrongArguments("\"" + typed + "\" is neither the name of a contact nor an ID from 1 to 255");
}

} // namespace

std::vector<NamedObject> NamedObjects(JobsManager& service, const Argument& argument, const Given& given,
                                      uint16_t limit) {
    std::vector<NamedObject> objects;
    for (const Json& object : Candidates(service, argument, given, limit))
        objects.push_back({IDOf(object), NameOf(object)});
    return objects;
}

Given Resolved(JobsManager& service, const Command& command, const Given& given) {
    Given resolved = given;
    // A job before its media items and contacts: it stands among the options.
    std::vector<const Argument*> arguments;
    for (const Argument& argument : command.arguments)
        if (IsNamed(argument))
            arguments.push_back(&argument);
    std::stable_partition(arguments.begin(), arguments.end(),
                          [](const Argument* argument) { return argument->offer == Offer::jobs; });
    for (const Argument* argument : arguments) {
        const std::vector<std::string> typed = given.Texts(argument->Key());
        const bool isContact = argument->offer == Offer::contacts;
        std::optional<std::vector<NamedObject>> candidates;
        for (size_t at = 0; at < typed.size(); ++at) {
            if (typed[at].empty() || IsWholeID(typed[at]) || (isContact && IsContactID(typed[at])))
                continue;
            if (!candidates)
                candidates = NamedObjects(service, *argument, resolved, 0);
            resolved.Replace(argument->Key(), at, Meant(*candidates, typed[at]));
        }
        if (isContact)
            CheckContact(resolved.Text(argument->Key()));
    }
    return resolved;
}

} // namespace TarnJobs
