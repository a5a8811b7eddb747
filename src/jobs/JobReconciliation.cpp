#include "fsutil/FileDescriptor.h"
#include "fsutil/GuardedFs.h"
#include "fsutil/HiddenFiles.h"
#include "fsutil/Paths.h"
#include "fsutil/Sync.h"
#include "fsutil/Times.h"
#include "jobs/Job.h"
#include "jobs/JobFolder.h"

#include <filesystem>
#include <set>
#include <sstream>
#include <syslog.h>
#include <system_error>

namespace fs = std::filesystem;

namespace JobsManagerD {
namespace {

bool Exists(const std::string& path) {
    bool error = false;
    return TryFsExists(path, error) && !error;
}

mediaFileState_e StateOnMedium(const MediaFile& file, const std::string& path, bool isOnMedium) {
    if (file.size == 0)
        return isOnMedium && Exists(path) ? MEDIA_FILE_STATE_EMPTY : MEDIA_FILE_STATE_NOT_PRESENT;
    const bool isPlayed = file.type == MEDIA_FILE_AUDIO || file.type == MEDIA_FILE_VIDEO;
    return isPlayed && Exists(JobFolder::IgnoreMarker(path)) ? MEDIA_FILE_STATE_UNPLAYABLE : file.state;
}

} // namespace

bool Job::ConvertBrokenFileArtefacts() {
    const std::string recStatPath = JobFolder(JobFolderPath()).RecordingStatus();
    if (!Exists(recStatPath))
        return false;
    std::string contents;
    if (!ReadRegularFile(recStatPath, contents)) {
        syslog(LOG_ERR, "Job::ConvertBrokenFileArtefacts - Error opening %s", recStatPath.c_str());
        return false;
    }

    std::set<std::string> markedFolders;
    try {
        const fs::path root = DirectoryPart(JobFolderPath());
        std::istringstream lines(contents);
        for (std::string line; std::getline(lines, line);) {
            if (line.empty())
                continue;
            const std::string markerPath = JobFolder::RecordingMarker(root / line);
            if (MayChange(markerPath) && CreateHiddenFile(markerPath))
                markedFolders.insert(DirectoryPart(markerPath));
            else
                syslog(LOG_ERR, "Job::ConvertBrokenFileArtefacts - Failed to create %s for recStat entry %s",
                       markerPath.c_str(), line.c_str());
        }
        // As long as a marker may be lost, the file that it comes from is kept.
        for (const std::string& folder : markedFolders)
            if (const std::error_code failure = SyncFolder(folder))
                throw std::system_error(failure, folder);
        bool error = false;
        TryFsRemove(recStatPath, error);
    } catch (const std::exception& exception) {
        syslog(LOG_ERR, "Job::ConvertBrokenFileArtefacts - Error processing %s: %s", recStatPath.c_str(),
               exception.what());
    }
    return !markedFolders.empty();
}

jobRtn_e Job::_UpdateMediaItemFileSizes(Media& item, bool& changed, bool reconcile) {
    const std::string base = MediaFolderPath();
    const uint64_t oldTotal = item.TotalSize();
    for (MediaFile& file : item.files) {
        const std::string path = base + "/" + file.name;
        const bool isOnMedium = IsOnMedium(path);
        const uint64_t oldSize = file.size;
        bool error = false;
        file.size = isOnMedium ? GetFileSizeBytes(path, error, true) : 0;
        if (error) {
            syslog(LOG_ERR, "Job::_UpdateMediaItemFileSizes - Error reading file size for file %s", path.c_str());
            return JOB_RTN_FILE_SIZE_ERROR;
        }
        if (file.size != oldSize) {
            changed = true;
            syslog(LOG_DEBUG,
                   "Job::_UpdateMediaItemFileSizes - Updating size for filename %s, type %s, old size %llu bytes, new "
                   "size %llu bytes",
                   file.name.c_str(), MediaFileTypeKeyword(file.type).c_str(), static_cast<unsigned long long>(oldSize),
                   static_cast<unsigned long long>(file.size));
        }
        if (reconcile)
            file.state = StateOnMedium(file, path, isOnMedium);
    }

    const uint64_t newTotal = item.TotalSize();
    if (newTotal == oldTotal)
        return JOB_RTN_SUCCEEDED;
    ChangeSummary([=](JobSummary& summary) { summary.jobSize += newTotal - oldTotal; });
    if (!reconcile) {
        item.timestamp.modifiedTime = UtcTimeText();
        SetModifiedTime(item.timestamp.modifiedTime);
    }
    return JOB_RTN_SUCCEEDED;
}

bool Job::UpdateAllMediaFileSizes() {
    bool changed = false;
    for (const auto& item : Details().media)
        _UpdateMediaItemFileSizes(*item, changed, true);
    return changed;
}

jobRtn_e Job::UpdateMediaItemFileSizes(const std::string& path) {
    std::string id;
    GetMediaIdOfFile(path, id);
    if (id.empty()) {
        syslog(LOG_ERR, "Job::UpdateMediaItemFileSizes - No media item found holding file %s", path.c_str());
        return JOB_RTN_NOT_FOUND;
    }
    bool changed = false;
    return _UpdateMediaItemFileSizes(*GetMediaItem(id), changed, false);
}

} // namespace JobsManagerD
