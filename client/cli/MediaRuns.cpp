#include "Confirm.h"
#include "ExitCodes.h"
#include "Runs.h"

#include <algorithm>
#include <filesystem>
#include <set>

using namespace libjobsdaemon;

namespace TarnJobs::Runs {
namespace {

using Texts = std::vector<std::string>;

/// A recording of several files; a snapshot has one alone.
struct Recording {
    const char* kind;
    jobsDaemonRtn_e (JobsManager::*add)(const std::string&, const RecordingFiles&, const Readings&);
};

constexpr const char* snapshot = "snapshot";
constexpr Recording recordings[] = {{"video", &JobsManager::AddVideoMedia},
                                    {"autolog", &JobsManager::AddAutologMedia},
                                    {"photo-talk", &JobsManager::AddPhotoTalkMedia}};

/// The service knows full paths only, and judges an empty one itself.
std::string FullPath(const std::string& path) {
    return path.empty() ? path : std::filesystem::absolute(path).lexically_normal().string();
}

/// The path under the folder of an existing file that lies in it, also when links have led there.
std::string PathInFolder(const std::string& file, const std::string& folder) {
    std::error_code error;
    const std::filesystem::path whole = std::filesystem::canonical(file, error);
    if (error || !std::filesystem::is_regular_file(whole))
        throw WrongArguments("there is no file \"" + file + "\"");
    const std::filesystem::path relative = whole.lexically_relative(std::filesystem::canonical(folder));
    if (relative.empty() || *relative.begin() == "..")
        throw WrongArguments("\"" + file + "\" does not lie in the media folder of the current job, " + folder);
    return folder + "/" + relative.string();
}

Readings ReadingsOf(const Given& given) {
    return {{given.Has("roll"), given.Number("roll")},
            {given.Has("inclinometer"), given.Number("inclinometer")},
            {given.Has("distance"), given.Number("distance"), given.Number("distance", 0, 1)}};
}

/// How many files an item of the kind may have.
void CheckCount(const std::string& kind, size_t count) {
    if (kind == snapshot && count != 1)
        throw WrongArguments("a snapshot has one file");
    if (kind != snapshot && count != 3 && count != 4)
        throw WrongArguments("this kind of media has three files, and perhaps a data file");
}

jobsDaemonRtn_e AddItem(const Invocation& invocation, Texts files) {
    const std::string kind = invocation.given.Text("KIND");
    const std::string name = invocation.given.Text("NAME");
    const Readings readings = ReadingsOf(invocation.given);
    if (kind == snapshot)
        return invocation.service.AddSnapshotMedia(name, files[0], readings);
    files.resize(4);
    const auto* const row = std::find_if(std::begin(recordings), std::end(recordings),
                                         [&](const Recording& candidate) { return kind == candidate.kind; });
    return (invocation.service.*row->add)(name, {files[0], files[1], files[2], files[3]}, readings);
}

/// The media items of the current job.
std::set<std::string> CurrentMediaIDs(JobsManager& service) {
    const Json job = Parsed(Checked(service.GetJob(service.GetCurrentJobDeviceID(), "")).text);
    std::set<std::string> ids;
    for (const Json& item : job.value("media", Json::array()))
        ids.insert(item.value("id", ""));
    return ids;
}

} // namespace

std::vector<std::string> MediaKinds() {
    Texts kinds{snapshot};
    for (const Recording& recording : recordings)
        kinds.emplace_back(recording.kind);
    return kinds;
}

Outcome NewMedia(const Invocation& invocation) {
    const MediaPathResult place = Checked(invocation.service.GetNewMediaPathComponents());
    return {.result = place.folder + "/" + place.stem};
}

Outcome Add(const Invocation& invocation) {
    Texts files = invocation.given.Texts("FILE");
    CheckCount(invocation.given.Text("KIND"), files.size());
    const std::string folder = Checked(invocation.service.GetNewMediaPathComponents()).folder;
    for (std::string& file : files)
        file = PathInFolder(file, folder);
    // Several items may have one file, so that the file does not tell which one is new.
    const std::set<std::string> before = CurrentMediaIDs(invocation.service);
    Check(AddItem(invocation, files));
    for (const std::string& id : CurrentMediaIDs(invocation.service))
        if (!before.contains(id))
            return {.result = Json{{"id", id}}};
    throw Replaced("the item was added, and is gone again");
}

Outcome MediaID(const Invocation& invocation) {
    const TextResult result = Checked(invocation.service.GetMediaID(FullPath(invocation.given.Text("FILE"))));
    if (result.text.empty())
        throw Refused(JOBS_RTN_MEDIA_ID_NOT_FOUND);
    return {.result = Json{{"id", result.text}}};
}

Outcome UpdateSizes(const Invocation& invocation) {
    return Done(invocation.service.UpdateMediaFileSizes(FullPath(invocation.given.Text("FILE"))));
}

Outcome DeleteMedia(const Invocation& invocation) {
    const std::string media = invocation.given.Text("MEDIA");
    const Outcome item = Relayed(invocation.service.GetMediaItem(invocation.Device(), invocation.Job(), media));
    if (invocation.given.Has("dry-run"))
        return item;
    Confirm(invocation, "Delete the media item \"" + item.result->value("name", media) + "\" with its files?");
    return Done(invocation.service.DeleteMediaItem(invocation.Device(), invocation.Job(), media));
}

} // namespace TarnJobs::Runs
