#include "device/Accessors.h"
#include "device/Uuid.h"
#include "fsutil/GuardedFs.h"
#include "fsutil/Paths.h"
#include "fsutil/Times.h"
#include "peers/PositionSource.h"
#include "peers/VideoDaemon.h"

#include <algorithm>
#include <syslog.h>

using Videod::VideoDaemonDbusHandler;

namespace JobsManagerD {
/// In what the four kinds of media differ.
struct ManagedDevice::MediaRegistration {
    struct File {
        mediaFileType_e role;
        const std::string& path;
    };

    mediaType_e type;
    const char* method;
    const char* message;
    const std::string& name;
    /// The capture file first. A miscDataFile without a path is left out.
    std::vector<File> files;
    /// A file that is still to be written is no error.
    bool allowMissing;
    const MediaReadings& readings;
};

jobsDaemonRtn_e ManagedDevice::GetNewMediaPathComponents(std::string& mediaFolder, std::string& fileStem) {
    const std::shared_ptr<Job> current = _jobs.Current();
    if (!current) {
        syslog(LOG_ERR, "ManagedDevice::GetNewMediaPathComponents - No Current Job");
        return JOBS_RTN_NO_CURRENT_JOB;
    }
    const std::string folder = current->DefaultMediaFolderPath();
    const std::string localTime = LocalTimeText();
    const std::string candidate = current->HasDefaultName() ? localTime : current->Summary().name + "-" + localTime;
    const std::string stem = GetUniqueFileStem(folder, candidate, mostStemAttempts);
    // A name with dots in it must not lead the capture services off the card.
    if (stem.empty() || !LiesUnder(GetMountPoint(), folder + "/" + stem)) {
        syslog(LOG_ERR, "ManagedDevice::GetNewMediaPathComponents - Failed to create unique media file stem.");
        return JOBS_RTN_FS_ERROR;
    }
    mediaFolder = folder;
    fileStem = stem;
    return JOBS_RTN_SUCCEEDED;
}

jobsDaemonRtn_e ManagedDevice::AddSnapshotMediaItem(const std::string& name, const std::string& imagePath,
                                                    const MediaReadings& readings) {
    return _RegisterMedia({MEDIA_TYPE_IMAGE,
                           "AddSnapshotMediaItem",
                           "%s - Added snapshot media item for capture file %s.",
                           name,
                           {{MEDIA_FILE_IMAGE, imagePath}},
                           false,
                           readings});
}

jobsDaemonRtn_e ManagedDevice::AddPhotoTalkMediaItem(const std::string& name, const std::string& audioPath,
                                                     const std::string& recoveryPath, const std::string& imagePath,
                                                     const std::string& miscPath, const MediaReadings& readings) {
    return _RegisterMedia({MEDIA_TYPE_PHOTO_TALK,
                           "AddPhotoTalkMediaItem",
                           "%s - Added photoTalk media item for capture file %s.",
                           name,
                           {{MEDIA_FILE_AUDIO, audioPath},
                            {MEDIA_FILE_RECOVERY, recoveryPath},
                            {MEDIA_FILE_IMAGE, imagePath},
                            {MEDIA_FILE_MISC_DATA, miscPath}},
                           true,
                           readings});
}

jobsDaemonRtn_e ManagedDevice::AddVideoMediaItem(const std::string& name, const std::string& videoPath,
                                                 const std::string& recoveryPath, const std::string& thumbnailPath,
                                                 const std::string& miscPath, const MediaReadings& readings) {
    return _RegisterMedia({MEDIA_TYPE_VIDEO,
                           "AddVideoMediaItem",
                           "%s - Added video media item for capture file %s.",
                           name,
                           {{MEDIA_FILE_VIDEO, videoPath},
                            {MEDIA_FILE_RECOVERY, recoveryPath},
                            {MEDIA_FILE_THUMBNAIL, thumbnailPath},
                            {MEDIA_FILE_MISC_DATA, miscPath}},
                           true,
                           readings});
}

jobsDaemonRtn_e ManagedDevice::AddAutologMediaItem(const std::string& name, const std::string& videoPath,
                                                   const std::string& recoveryPath, const std::string& thumbnailPath,
                                                   const std::string& miscPath, const MediaReadings& readings) {
    return _RegisterMedia({MEDIA_TYPE_AUTOLOG,
                           "AddAutologMediaItem",
                           "%s - Added autolog media item for capture file %s.",
                           name,
                           {{MEDIA_FILE_VIDEO, videoPath},
                            {MEDIA_FILE_RECOVERY, recoveryPath},
                            {MEDIA_FILE_THUMBNAIL, thumbnailPath},
                            {MEDIA_FILE_MISC_DATA, miscPath}},
                           true,
                           readings});
}

jobsDaemonRtn_e ManagedDevice::_RegisterMedia(const MediaRegistration& registration) {
    const std::shared_ptr<Job> current = _jobs.Current();
    if (!current)
        return JOBS_RTN_NO_CURRENT_JOB;

    MediaRecord record;
    for (const auto& [role, path] : registration.files) {
        if (role == MEDIA_FILE_MISC_DATA && path.empty())
            continue;
        bool error = false;
        std::string relative = current->GetPathRelativeToMediaFolder(path);
        const uint64_t size = GetFileSizeBytes(path, error, registration.allowMissing);
        record.files.push_back({role, std::move(relative), size, MEDIA_FILE_STATE_OK});
    }
    record.type = registration.type;
    record.id = GenerateUuid();
    record.name = registration.name;
    record.timestamp = {UtcTimeText(), UtcTimeText()};
    record.source = GetThisUnitInfo();
    record.position = GetCurrentPosition();
    record.cameraRollAngle = registration.readings.cameraRollAngle;
    record.cameraInclinometerAngle = registration.readings.cameraInclinometerAngle;
    record.distance = registration.readings.distance;

    const jobsDaemonRtn_e result = AddMediaItem(std::make_shared<Media>(std::move(record)));
    if (result == JOBS_RTN_SUCCEEDED)
        syslog(LOG_DEBUG, registration.message, registration.method, registration.files.front().path.c_str());
    return result;
}

jobsDaemonRtn_e ManagedDevice::AddMediaItem(std::shared_ptr<Media> media) {
    const std::shared_ptr<Job> current = _jobs.Current();
    if (!current)
        return JOBS_RTN_NO_CURRENT_JOB;
    const Locks::LockGuard use(current->DetailsLock());
    current->AddMediaItem(std::move(media));
    current->SetModifiedTime(UtcTimeText());
    const jobsDaemonRtn_e result = UpdateJobFile(*current, true, true);
    if (result != JOBS_RTN_SUCCEEDED)
        syslog(LOG_ERR, "ManagedDevice::AddMediaItem - UpdateJobFile returned error code: %i", result);
    return result;
}

jobsDaemonRtn_e ManagedDevice::UpdateMediaFileSizes(const std::string& filePath) {
    const std::shared_ptr<Job> current = _jobs.Current();
    if (!current) {
        syslog(LOG_ERR, "ManagedDevice::UpdateMediaFileSizes No current job.");
        return JOBS_RTN_NO_CURRENT_JOB;
    }
    const Locks::LockGuard use(current->DetailsLock());
    const jobRtn_e updated = current->UpdateMediaItemFileSizes(filePath);
    if (updated != JOB_RTN_SUCCEEDED)
        return updated == JOB_RTN_NOT_FOUND ? JOBS_RTN_MEDIA_ID_NOT_FOUND : JOBS_RTN_FS_ERROR;
    const jobsDaemonRtn_e result = UpdateJobFile(*current, true, true);
    if (result != JOBS_RTN_SUCCEEDED)
        syslog(LOG_ERR, "ManagedDevice::UpdateMediaFileSizes - UpdateJobFile returned error code: %i", result);
    return result;
}

jobsDaemonRtn_e ManagedDevice::_CheckNoPlaybackFrom(const std::vector<std::string>& files) const {
    std::string playing;
    if (VideoDaemonDbusHandler::GetPlayingFilename(playing) < 0) {
        syslog(LOG_ERR, "ManagedDevice::DeleteMediaItem - Dbus comms error");
        return JOBS_RTN_DBUS_ERROR;
    }
    if (playing.empty() || std::ranges::find(files, playing) == files.end())
        return JOBS_RTN_SUCCEEDED;
    syslog(LOG_ERR, "ManagedDevice::DeleteMediaItem - Playback active from file assocaited with media item %s",
           playing.c_str());
    return JOBS_RTN_MEDIA_ACTIVE_PLAYBACK;
}

jobsDaemonRtn_e ManagedDevice::DeleteMediaItem(const std::string& jobID, const std::string& mediaID) {
    Accessors::Opened opened;
    const jobsDaemonRtn_e got = Accessors(*this).OpenMediaToChange("DeleteMediaItem", jobID, mediaID, opened);
    if (got != JOBS_RTN_SUCCEEDED)
        return got;
    const std::shared_ptr<Job>& job = opened.job;
    const std::vector<std::string> files = job->MediaFilePaths(mediaID);
    const jobsDaemonRtn_e notPlaying = _CheckNoPlaybackFrom(files);
    if (notPlaying != JOBS_RTN_SUCCEEDED)
        return notPlaying;

    for (const std::string& path : files) {
        bool error = false;
        if (!job->MayChange(path) || (!TryFsExists(path, error) && !error))
            continue;
        if (error || !TryFsRemove(path, error) || error) {
            syslog(LOG_ERR, "ManagedDevice::DeleteMediaItem - Failed to remove associated file: %s", path.c_str());
            return JOBS_RTN_FS_ERROR;
        }
    }
    if (job->RemoveMediaItem(mediaID) != JOB_RTN_SUCCEEDED) {
        syslog(LOG_ERR, "ManagedDevice::DeleteMediaItem - Failed to remove media item with id %s from media list",
               mediaID.c_str());
        return JOBS_RTN_MEDIA_ID_NOT_FOUND;
    }
    if (UpdateJobFile(*job, true, true) != JOBS_RTN_SUCCEEDED) {
        syslog(LOG_ERR, "ManagedDevice::DeleteMediaItem - Failed to update job file");
        return JOBS_RTN_FS_ERROR;
    }
    return JOBS_RTN_SUCCEEDED;
}

} // namespace JobsManagerD
