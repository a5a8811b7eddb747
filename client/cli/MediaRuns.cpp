#include "ExitCodes.h"
#include "Runs.h"

#include <algorithm>
#include <filesystem>

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

Readings ReadingsOf(const Given& given) {
    return {{given.Has("roll"), given.Number("roll")},
            {given.Has("inclinometer"), given.Number("inclinometer")},
            {given.Has("distance"), given.Number("distance"), given.Number("distance", 0, 1)}};
}

jobsDaemonRtn_e AddItem(const Invocation& invocation, Texts files) {
    const std::string kind = invocation.given.Text("KIND");
    const std::string name = invocation.given.Text("NAME");
    const Readings readings = ReadingsOf(invocation.given);
    if (kind == snapshot) {
        if (files.size() != 1)
            throw WrongArguments("a snapshot has one file");
        return invocation.service.AddSnapshotMedia(name, files[0], readings);
    }
    if (files.size() != 3 && files.size() != 4)
        throw WrongArguments("this kind of media has three files, and perhaps a data file");
    files.resize(4);
    const auto* const row = std::find_if(std::begin(recordings), std::end(recordings),
                                         [&](const Recording& candidate) { return kind == candidate.kind; });
    return (invocation.service.*row->add)(name, {files[0], files[1], files[2], files[3]}, readings);
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
    return {Json(place.folder + "/" + place.stem)};
}

Outcome Add(const Invocation& invocation) {
    Texts files = invocation.given.Texts("FILE");
    std::transform(files.begin(), files.end(), files.begin(), FullPath);
    Check(AddItem(invocation, files));
    return {Json{{"id", Checked(invocation.service.GetMediaID(files[0])).text}}};
}

Outcome MediaID(const Invocation& invocation) {
    const TextResult result = Checked(invocation.service.GetMediaID(FullPath(invocation.given.Text("FILE"))));
    if (result.text.empty())
        throw Refused(JOBS_RTN_MEDIA_ID_NOT_FOUND);
    return {Json{{"id", result.text}}};
}

Outcome UpdateSizes(const Invocation& invocation) {
    return Done(invocation.service.UpdateMediaFileSizes(FullPath(invocation.given.Text("FILE"))));
}

Outcome DeleteMedia(const Invocation& invocation) {
    return Done(
        invocation.service.DeleteMediaItem(invocation.Device(), invocation.Job(), invocation.given.Text("MEDIA")));
}

} // namespace TarnJobs::Runs
