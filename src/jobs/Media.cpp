#include "jobs/Media.h"

#include "jobs/TextFields.h"
#include "jobs/ValuesJson.h"

#include <map>
#include <syslog.h>

namespace JobsManagerD {
namespace {

void Write(JsonText& text, const std::vector<MediaFile>& files, jsonMode mode) {
    text.BeginArray();
    for (const MediaFile& file : files) {
        text.BeginObject();
        text.Member("name", file.name);
        text.Member("size", file.size);
        if (mode == JSON_MODE_CLIENT && file.state != MEDIA_FILE_STATE_OK)
            text.Member("state", MediaFileStateKeyword(file.state));
        text.Member("type", MediaFileTypeKeyword(file.type));
        text.EndObject();
    }
    text.EndArray();
}

void WriteAngle(JsonText& text, const char* key, const std::optional<int32_t>& angle) {
    if (angle)
        text.Member(key, *angle);
}

void WriteDistance(JsonText& text, const ReelDistance& distance) {
    if (!distance.present)
        return;
    text.Key("distance");
    text.BeginObject();
    text.Member("absolute", distance.absolute);
    text.Member("relative", distance.relative);
    text.EndObject();
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

void WriteMembers(JsonText& text, const Media& media, jsonMode mode) {
    WriteAngle(text, "cameraInclinometerAngle", media.cameraInclinometerAngle);
    WriteAngle(text, "cameraRollAngle", media.cameraRollAngle);
    WriteDistance(text, media.distance);
    text.Key("files");
    Write(text, media.files, mode);
    text.Member("id", media.id);
    text.Member("isIncludedInReport", media.isIncludedInReport);
    WriteTextFields(text, mediaTextFields, media, media.id, mode);
    WritePosition(text, media.position, mode);
    text.Key("source");
    Write(text, media.source, mode);
    text.Key("timestamp");
    Write(text, media.timestamp);
    text.Member("type", MediaTypeKeyword(media.type));
}

void Write(JsonText& text, const Media& media, jsonMode mode) {
    text.BeginObject();
    WriteMembers(text, media, mode);
    text.EndObject();
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
