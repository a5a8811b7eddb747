#include "jobs/JobFolder.h"

#include "fsutil/Paths.h"

#include <filesystem>

namespace fs = std::filesystem;

namespace JobsManagerD {
namespace {

constexpr const char* recordingStatus = "recStat";
constexpr const char* syncFlag = "syncStat";
constexpr const char* trash = ".DeletedJobs";
constexpr const char* convertedEnding = "-converted";
constexpr const char* recordingEnding = ".mp4-recActive";
constexpr const char* ignoreEnding = ".mp4-ignore";

std::string Marker(const std::string& mediaFile, const char* ending) {
    return DirectoryPart(mediaFile) + "/." + fs::path(mediaFile).stem().string() + ending;
}

/// A name that consists of more than the ending.
bool Ends(std::string_view name, std::string_view ending) {
    return name.size() > ending.size() && name.ends_with(ending);
}

} // namespace

JobFolder JobFolder::Of(const std::string& jobFile) { return JobFolder(DirectoryPart(jobFile)); }

std::string JobFolder::NewJobFile() const { return _path + "/" + JobFileName(); }

std::string JobFolder::MediaFolder(const std::string& name) const { return name.empty() ? _path : _path + "/" + name; }

std::string JobFolder::RecordingStatus() const { return _path + "/" + recordingStatus; }

std::string JobFolder::SyncFlag() const { return _path + "/" + syncFlag; }

std::string JobFolder::Backup(const std::string& jobFile) { return BackupPath(jobFile); }

std::string JobFolder::ConvertedFlag(const std::string& legacyFile) {
    const std::string name = FileName(legacyFile);
    const std::string hidden = name.starts_with('.') ? legacyFile : DirectoryPart(legacyFile) + "/." + name;
    return hidden + convertedEnding;
}

std::string JobFolder::RecordingMarker(const std::string& mediaFile) { return Marker(mediaFile, recordingEnding); }

std::string JobFolder::IgnoreMarker(const std::string& mediaFile) { return Marker(mediaFile, ignoreEnding); }

std::string JobFolder::Trash(const std::string& mountPoint) {
    return (fs::path(mountPoint) / trash).lexically_normal();
}

EntryKind JobFolder::KindOf(std::string_view name) {
    if (name == trash)
        return EntryKind::trash;
    if (name == defaultMediaFolder)
        return EntryKind::mediaFolder;
    if (name == recordingStatus)
        return EntryKind::recordingStatus;
    if (name == syncFlag)
        return EntryKind::syncFlag;
    if (Ends(name, ".json"))
        return EntryKind::jobFile;
    if (Ends(name, ".jdb3"))
        return EntryKind::legacyJobFile;
    if (Ends(name, ".json.bak"))
        return EntryKind::backup;
    if (name.starts_with('.') && Ends(name, ".jdb3-converted"))
        return EntryKind::convertedFlag;
    if (name.starts_with('.') && Ends(name, recordingEnding))
        return EntryKind::recordingMarker;
    if (name.starts_with('.') && Ends(name, ignoreEnding))
        return EntryKind::ignoreMarker;
    return EntryKind::other;
}

} // namespace JobsManagerD
