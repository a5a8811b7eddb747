#pragma once

#include <string>
#include <string_view>

namespace JobsManagerD {

/// What an entry of a job folder, or of a card's top folder, is by its name.
enum class EntryKind {
    other,
    /// A file that may be a job: any name with the extension of a format.
    jobFile,
    legacyJobFile,
    backup,
    mediaFolder,
    recordingStatus,
    syncFlag,
    convertedFlag,
    recordingMarker,
    ignoreMarker,
    trash,
};

/// A job's folder on a card: the one place that knows what things on a card are called. Works on names alone and
/// touches no medium. A plain value.
///
///     <mount point>/.DeletedJobs           the trash, as long as something is deleted or arrives
///     <mount point>/<job>/job.json         or .job.json, and the same with .bak
///     <mount point>/<job>/<old>.jdb3       a job of the earlier generation, and .<old>.jdb3-converted once it is one
///     <mount point>/<job>/media/           files of media items; beside each may lie .<stem>.mp4-recActive or -ignore
///     <mount point>/<job>/recStat          files that were being recorded when the unit went down
///     <mount point>/<job>/syncStat         the job is set up for sync
class JobFolder {
public:
    static constexpr const char* defaultMediaFolder = "media";

    explicit JobFolder(std::string path) : _path(std::move(path)) {}
    /// The folder of a job file.
    static JobFolder Of(const std::string& jobFile);
    static EntryKind KindOf(std::string_view name);

    const std::string& Path() const { return _path; }
    /// The job file that a new job gets, hidden or not by the setting of the moment.
    std::string NewJobFile() const;
    /// The folder itself for an empty name.
    std::string MediaFolder(const std::string& name) const;
    std::string RecordingStatus() const;
    std::string SyncFlag() const;

    static std::string Backup(const std::string& jobFile);
    /// Beside a database of the earlier generation, which it hides from the index.
    static std::string ConvertedFlag(const std::string& legacyFile);
    /// Beside a media file whose recording broke off; other services read it.
    static std::string RecordingMarker(const std::string& mediaFile);
    /// Beside a media file that cannot be played; another service makes it.
    static std::string IgnoreMarker(const std::string& mediaFile);
    static std::string Trash(const std::string& mountPoint);

private:
    std::string _path;
};

} // namespace JobsManagerD
