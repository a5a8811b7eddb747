#include "EventJson.h"
#include "Runs.h"
#include "Views.h"

namespace TarnJobs {
namespace {

using Kind = Argument::Kind;
using Offer = Argument::Offer;

constexpr std::pair<int32_t, int32_t> page{0, 65535};
constexpr std::pair<int32_t, int32_t> readings{INT32_MIN, INT32_MAX};

const Argument device{Kind::option, "-d,--device", "DEVICE", "The device; the target when left out", Offer::devices};
const Argument source{Kind::option, "-d,--device", "DEVICE",
                      "The device that the jobs lie on; the target when left out", Offer::devices};
const Argument destination{Kind::option, "-t,--to", "DEVICE", "The device that they go to", Offer::devices};
const Argument job{Kind::option, "-j,--job", "JOB", "The job; the device's current one when left out", Offer::jobs};
const Argument media{Kind::option, "-m,--media", "MEDIA", "A media item of the job", Offer::media};
const Argument jobs{Kind::words, "JOB", "", "The jobs", Offer::jobs};
const Argument all{Kind::flag, "-a,--all", "", "All jobs of the device"};
const Argument contactJson{Kind::word, "JSON", "", "The contact; - reads standard input"};
const Argument contact{Kind::word, "CONTACT", "", "The contact, by its ID from 1 to 255 or by name", Offer::contacts};
const Argument start{Kind::option, "--start", "INDEX", "Where in the list to begin, from 0", Offer::nothing, {}, page};
const Argument limit{Kind::option, "--limit", "COUNT", "How many at most; 0 is all", Offer::nothing, {}, page};
const Argument noWait{Kind::flag, "--no-wait", "", "Return when the work has begun"};
const Argument yes{Kind::flag, "-y,--yes", "", "Do not ask"};
const Argument dryRun{Kind::flag, "-n,--dry-run", "", "Tell what would be done, and do nothing"};

/// Of a job or a media item; some can be taken apart.
Argument Field() {
    return {Kind::word,
            "FIELD",
            "",
            "The field, or a part of one, as in customer.lastName",
            Offer::nothing,
            Runs::FieldNames(),
            std::nullopt,
            1,
            true};
}

std::vector<Command> MakeCommands() {
    return {
        // clang-format off
        {"Devices", "devices", "List the mounted devices; * marks the target",
            {}, Runs::Devices, ShowDevices},
        {"Devices", "target", "Show the target device, or change it",
            {{Kind::optionalWord, "DEVICE", "", "The new target", Offer::devices}}, Runs::Target, ShowTree},
        {"Devices", "index", "Find the jobs of a device anew",
            {device, noWait}, Runs::Index, ShowStats},
        {"Devices", "convert", "Convert the older jobs of a device to the current format",
            {device, noWait}, Runs::Convert, ShowStats},
        {"Devices", "cancel", "End the work on many jobs that goes on on a device; of a move or a copy, the source",
            {device}, Runs::Cancel, ShowNothing},
        {"Devices", "watch", "Tell what happens, as it happens; standard error says when it listens",
            {{Kind::option, "-d,--device", "DEVICE", "Of this device alone", Offer::devices},
             {Kind::option, "-e,--event", "EVENT", "Of this kind alone", Offer::nothing, EventNames()},
             {Kind::option, "-n,--count", "COUNT", "End after so many events", Offer::nothing, {}, {{1, INT32_MAX}}}},
            Runs::Watch, ShowEvent},

        {"The current job", "create", "Create a job and make it the current one; print its ID",
            {{Kind::optionalWord, "NAME", "", "Its name; the unit's default name when left out"}, device},
            Runs::Create, ShowId},
        {"The current job", "open", "Make a job the current one; print its ID",
            {{Kind::word, "JOB", "", "The job", Offer::jobs}, device}, Runs::Open, ShowId},
        {"The current job", "close", "Close the current job; print its ID",
            {}, Runs::Close, ShowId},
        {"The current job", "current", "Print the ID of the current job",
            {}, Runs::Current, ShowId},

        {"Jobs", "list", "List the jobs of a device",
            {device,
             {Kind::option, "-s,--sort", "TIME", "What to sort by", Offer::nothing, {"created", "modified"}},
             {Kind::flag, "-a,--ascending", "", "The earliest first"}, start, limit}, Runs::List, ShowJobs},
        {"Jobs", "stats", "Count the jobs of a device",
            {device}, Runs::Stats, ShowStats},
        {"Jobs", "show", "Show a job whole, or one of its media items",
            {device, job, media}, Runs::Show, ShowTree},
        {"Jobs", "folder", "Print the path of a job's folder",
            {device, job}, Runs::Folder, ShowTree},
        {"Jobs", "counts", "Count the media of a job",
            {device, job}, Runs::Counts, ShowTree},
        {"Jobs", "get", "Print a field of a job or of a media item",
            {Field(), device, job, media},
            Runs::Get, ShowTree},
        {"Jobs", "set", "Set a field of a job or of a media item",
            {Field(),
             {Kind::word, "VALUE", "", "Its value: true or false, JSON, or a text; - reads standard input",
              Offer::fieldValues},
             device, job, media}, Runs::Set, ShowNothing},
        {"Jobs", "clear", "Take something off a job",
            {{Kind::word, "FIELD", "", "The field", Offer::nothing, Runs::ClearableNames()}, device, job},
            Runs::Clear, ShowNothing},
        {"Jobs", "contacts", "Show the contacts of a job",
            {device, job}, Runs::Contacts, ShowTree},
        {"Jobs", "contact", "Show one contact of a job",
            {contact, device, job}, Runs::Contact, ShowTree},
        {"Jobs", "add-contact", "Add a contact to a job; print its ID",
            {contactJson, device, job}, Runs::AddContact, ShowId},
        {"Jobs", "update-contact", "Replace the contact that has the JSON's \"id\"",
            {contactJson, device, job}, Runs::UpdateContact, ShowNothing},
        {"Jobs", "remove-contact", "Remove a contact from a job",
            {contact, device, job}, Runs::RemoveContact, ShowNothing},

        {"Media", "new-media", "Print a free path in the current job for new media, without extension",
            {}, Runs::NewMedia, ShowTree},
        {"Media", "add", "Register a media item in the current job; print its ID",
            {{Kind::word, "KIND", "", "What it is", Offer::nothing, Runs::MediaKinds()},
             {Kind::word, "NAME", "", "Its name"},
             {Kind::words, "FILE", "", "Of a snapshot the image. Of a video or an autolog the video, the recovery file, "
                                       "the thumbnail. Of a photo-talk the sound, the recovery file, the image. "
                                       "But for a snapshot, a data file may follow", Offer::files},
             {Kind::option, "--roll", "DEGREES", "Roll angle of the camera", Offer::nothing, {}, readings},
             {Kind::option, "--inclinometer", "DEGREES", "Inclinometer of the camera", Offer::nothing, {}, readings},
             {Kind::option, "--distance", "ABSOLUTE RELATIVE", "The reel counter", Offer::nothing, {}, readings, 2}},
            Runs::Add, ShowId},
        {"Media", "media-id", "Print the ID of the current job's media item that has a file",
            {{Kind::word, "FILE", "", "The file", Offer::files}}, Runs::MediaID, ShowId},
        {"Media", "update-sizes", "Have the sizes of the media item that has a file measured anew",
            {{Kind::word, "FILE", "", "The file", Offer::files}}, Runs::UpdateSizes, ShowNothing},
        {"Media", "delete-media", "Delete a media item with its files; asks on a terminal",
            {{Kind::word, "MEDIA", "", "The media item", Offer::media}, device, job, yes, dryRun},
            Runs::DeleteMedia, ShowTree},

        {"Search", "search", "Search the jobs of a device and list those found",
            {{Kind::word, "TEXT", "", "What to look for"}, device,
             {Kind::option, "--in", "FIELD", "Where to look, as customer.lastName; everywhere when left out"},
             {Kind::option, "--match", "HOW", "Where in a field it must stand", Offer::nothing,
              {"contains", "starts", "exactly"}},
             {Kind::flag, "-c,--case-sensitive", "", "Tell large letters from small ones"}, limit, noWait},
            Runs::Search, ShowFound},
        {"Search", "results", "List what the last search of a device has found",
            {device, start, limit}, Runs::Results, ShowFound},
        {"Search", "search-stats", "Tell of the last search of a device",
            {device}, Runs::SearchStats, ShowSearchStats},

        {"One or many jobs", "delete", "Delete jobs; Ctrl-C cancels what is left of many. --all asks on a terminal, and needs --yes elsewhere",
            {jobs, all, source, noWait, yes, dryRun}, Runs::Delete, ShowBulk},
        {"One or many jobs", "move", "Move jobs to another device; Ctrl-C cancels what is left of many",
            {jobs, all, source, destination, noWait, dryRun}, Runs::Move, ShowBulk},
        {"One or many jobs", "copy", "Copy jobs to another device; Ctrl-C cancels what is left of many",
            {jobs, all, source, destination, noWait, dryRun}, Runs::Copy, ShowBulk},

        {"The service", "status", "Tell of the service, of the versions of both ends, of the devices and the current job",
            {}, Runs::Status, ShowStatus},
        {"The service", "raw", "Call a method of the service by its name on the bus, and print what it answers",
            {{Kind::word, "METHOD", "", "The method, such as GetJobName"},
             {Kind::words, "ARGUMENT", "", "Its arguments: texts, numbers, true or false"}}, Runs::Raw, ShowLines},
        {"The service", "help", "Tell of this program, or of a command",
            {{Kind::optionalWord, "COMMAND", "", "The command", Offer::commands}}, nullptr, nullptr},
        // clang-format on
    };
}

} // namespace

const std::vector<Command>& Commands() {
    static const std::vector<Command> commands = MakeCommands();
    return commands;
}

const std::vector<Argument>& ProgramOptions() {
    static const std::vector<Argument> options{
        {Kind::flag, "--json", "", "Print results as JSON, a line per value; failures too, on standard error"},
        {Kind::option,
         "--timeout",
         "SECONDS",
         "How long a call may take; as long as it takes when left out",
         Offer::nothing,
         {},
         {{1, 86400}}},
        {Kind::option, "--user", "NAME", "Work on the bus of another user, as root may"},
        {Kind::option, "--address", "BUS", "The address of the bus; the user's bus when left out"},
        {Kind::flag, "--utc", "", "Print times as the service tells them, instead of in local time"},
        {Kind::flag, "-h,--help", "", "Tell of this program, or of a command"},
        {Kind::flag, "--version", "", "Print the version of this program; \"status\" tells that of the service, too"},
    };
    return options;
}

} // namespace TarnJobs
