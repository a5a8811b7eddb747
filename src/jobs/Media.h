#pragma once

#include "codes/ReturnCodes.h"
#include "jobs/JsonMode.h"
#include "jobs/Values.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace JobsManagerD {

/// One file of a media item.
struct MediaFile {
    mediaFileType_e type = MEDIA_FILE_NONE;
    /// Path relative to the job's media folder.
    std::string name;
    /// In bytes.
    uint64_t size = 0;
    /// Worked out when the job is opened; never stored.
    mediaFileState_e state = MEDIA_FILE_STATE_OK;
};

/// What is recorded of a media item, without its notes: a plain value, copied with its files.
struct MediaRecord {
    mediaType_e type = MEDIA_TYPE_NONE;
    std::string id;
    std::string name;
    Timestamp timestamp;
    Source source;
    std::vector<MediaFile> files;
    Position position;
    /// Degrees; absent is not the same as 0.
    std::optional<int32_t> cameraRollAngle;
    std::optional<int32_t> cameraInclinometerAngle;
    ReelDistance distance;
    bool isIncludedInReport = false;
};

/// One thing captured in a job: an image, an image with a spoken comment, a video or an automatic log. It records files
/// in the job's media folder. Owned by a `Job` through shared references and guarded as the job is; the ID never
/// changes.
class Media : public MediaRecord {
public:
    Media() = default;
    explicit Media(MediaRecord record) : MediaRecord(std::move(record)) {}

    /// Sum of the sizes of the files in bytes.
    uint64_t TotalSize() const;

    /// The file types without which an item of this type is not valid. Empty for MEDIA_TYPE_NONE.
    static const std::vector<mediaFileType_e>& RequiredFiles(mediaType_e type);

    std::string notes;
    std::string privateNotes;
    std::string userData;
};

class JsonText;

void Write(JsonText& text, const Media& media, jsonMode mode);
/// The members alone, for a caller that adds some.
void WriteMembers(JsonText& text, const Media& media, jsonMode mode);

/// One more or one fewer item of that type, and in total. A number outside the enumeration is logged and counts
/// nothing.
void addToMediaCounts(MediaCounts& counts, mediaType_e type);
void removeFromMediaCounts(MediaCounts& counts, mediaType_e type);

} // namespace JobsManagerD
