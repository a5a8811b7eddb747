#include "jobs/Media.h"

#include "jobs/Scramble.h"
#include "jobs/ValuesJson.h"

#include <map>
#include <syslog.h>

using nlohmann::json;

namespace JobsManagerD {
namespace {

json ToJson(const MediaFile& file, jsonMode mode) {
    json object = json::object();
    object["type"] = MediaFileTypeKeyword(file.type);
    object["name"] = file.name;
    object["size"] = file.size;
    if (mode == JSON_MODE_CLIENT && file.state != MEDIA_FILE_STATE_OK)
        object["state"] = MediaFileStateKeyword(file.state);
    return object;
}

json FilesToJson(const std::vector<MediaFile>& files, jsonMode mode) {
    json array = json::array();
    for (const MediaFile& file : files)
        array.push_back(ToJson(file, mode));
    return array;
}

void AddOptionalFields(json& object, const Media& media) {
    if (!media.name.empty())
        object["name"] = media.name;
    if (!media.notes.empty())
        object["notes"] = media.notes;
    if (media.position.IsSet())
        object["position"] = ToJson(media.position);
    if (media.cameraRollAngle)
        object["cameraRollAngle"] = *media.cameraRollAngle;
    if (media.cameraInclinometerAngle)
        object["cameraInclinometerAngle"] = *media.cameraInclinometerAngle;
    if (media.distance.present)
        object["distance"] = {{"absolute", media.distance.absolute}, {"relative", media.distance.relative}};
}

uint16_t* CounterOf(MediaCounts& counts, mediaType_e type) {
    switch (type) {
    case MEDIA_TYPE_IMAGE:
        return &counts.images;
    case MEDIA_TYPE_PHOTO_TALK:
        return &counts.photoTalks;
    case MEDIA_TYPE_VIDEO:
        return &counts.videos;
    case MEDIA_TYPE_AUTOLOG:
        return &counts.autologs;
    case MEDIA_TYPE_NONE:
        break;
    }
    // Clients of the log know this text for both directions.
    syslog(LOG_ERR, "addToMediaCounts - Invalid media type: %i.", type);
    return nullptr;
}

} // namespace

uint64_t Media::TotalSize() const {
    uint64_t total = 0;
    for (const MediaFile& file : files)
        total += file.size;
    return total;
}

const std::vector<mediaFileType_e>& Media::RequiredFiles(mediaType_e type) {
    static const std::vector<mediaFileType_e> none;
    static const std::vector<mediaFileType_e> recording{MEDIA_FILE_VIDEO, MEDIA_FILE_RECOVERY, MEDIA_FILE_THUMBNAIL};
    static const std::map<mediaType_e, std::vector<mediaFileType_e>> required{
        {MEDIA_TYPE_IMAGE, {MEDIA_FILE_IMAGE}},
        {MEDIA_TYPE_PHOTO_TALK, {MEDIA_FILE_AUDIO, MEDIA_FILE_RECOVERY, MEDIA_FILE_IMAGE}},
        {MEDIA_TYPE_VIDEO, recording},
        {MEDIA_TYPE_AUTOLOG, recording},
    };
    const auto found = required.find(type);
    return found == required.end() ? none : found->second;
}

json ToJson(const Media& media, jsonMode mode) {
    json object = json::object();
    object["id"] = media.id;
    object["isIncludedInReport"] = media.isIncludedInReport;
    object["source"] = ToJson(media.source);
    object["timestamp"] = ToJson(media.timestamp);
    object["type"] = MediaTypeKeyword(media.type);
    AddOptionalFields(object, media);
    if (!media.privateNotes.empty() && mode == JSON_MODE_FILE)
        object["privateNotes"] = ScrambleBytes(media.privateNotes, media.id);
    else if (!media.privateNotes.empty())
        object["privateNotes"] = media.privateNotes;
    if (!media.userData.empty())
        object["userData"] = UserDataToJson(media.userData, mode);
    object["files"] = FilesToJson(media.files, mode);
    return object;
}

void addToMediaCounts(MediaCounts& counts, mediaType_e type) {
    if (uint16_t* counter = CounterOf(counts, type)) {
        ++*counter;
        ++counts.total;
    }
}

void removeFromMediaCounts(MediaCounts& counts, mediaType_e type) {
    if (uint16_t* counter = CounterOf(counts, type)) {
        --*counter;
        --counts.total;
    }
}

} // namespace JobsManagerD
