#pragma once

#include <cstdint>
#include <string>

// The closed enumerations of the service and their texts. Numbers and texts are wire values: they travel in bus
// replies and signals and lie in job files. The tables are constants and may be read by any thread.

namespace JobsManagerD {

/// Result of every job, media and device operation.
enum jobsDaemonRtn_e : int32_t {
    JOBS_RTN_SUCCEEDED = 0,
    JOBS_RTN_DEVICE_BUSY = 1,
    JOBS_RTN_DEVICE_NOT_FOUND = 2,
    JOBS_RTN_READ_ONLY_FS = 3,
    JOBS_RTN_INSUFFICIENT_SPACE = 4,
    JOBS_RTN_FS_ERROR = 5,
    JOBS_RTN_UNSUPPORTED_FORMAT = 6,
    JOBS_RTN_NO_CURRENT_JOB = 7,
    JOBS_RTN_JOB_NOT_OPEN = 8,
    JOBS_RTN_JOB_ID_NOT_FOUND = 9,
    JOBS_RTN_MEDIA_ID_NOT_FOUND = 10,
    JOBS_RTN_MISSING_FIELDS = 11,
    JOBS_RTN_JOB_ACTIVE_RECORDING = 12,
    JOBS_RTN_JOB_ACTIVE_PLAYBACK = 13,
    JOBS_RTN_MEDIA_ACTIVE_PLAYBACK = 14,
    JOBS_RTN_CURRENT_JOB_OPEN = 15,
    JOBS_RTN_CURRENT_JOB_PROTECTED = 16,
    JOBS_RTN_LOCKED_JOB = 17,
    JOBS_RTN_JOB_FILE_MISSING_FIELDS = 18,
    JOBS_RTN_INVALID_JSON = 19,
    JOBS_RTN_JSON_INVALID_FIELDS = 20,
    JOBS_RTN_UNSUPPORTED_OPERATION = 21,
    JOBS_RTN_DBUS_ERROR = 22,
    JOBS_RTN_ENTRY_NOT_FOUND = 23,
    JOBS_RTN_ENTRY_EXISTS = 24,
    JOBS_RTN_LIST_FULL = 25,
    JOBS_RTN_DUPLICATE_FILESYSTEMS = 26,
    JOBS_RTN_JOB_FILE_NOT_FOUND = 27,
    JOBS_RTN_JOB_FILE_EXISTS = 28,
    JOBS_RTN_INVALID_RANGE = 29,
};

/// Result of the file-level work of a job file handler.
enum jobFileOpRtn_e : int32_t {
    JOBFILE_OP_SUCCEEDED = 0,
    JOBFILE_OP_READ_ONLY = 1,
    JOBFILE_OP_NO_SPACE = 2,
    JOBFILE_OP_FS_ERROR = 3,
    JOBFILE_OP_MISSING_FIELDS = 4,
    JOBFILE_OP_UNSUPPORTED = 5,
};

enum deviceState_e : int32_t {
    DEVICE_STATE_IDLE = 0,
    DEVICE_STATE_INDEXING = 1,
    DEVICE_STATE_CONVERTING = 2,
    DEVICE_STATE_DELETING = 3,
    DEVICE_STATE_MOVING_FROM = 4,
    DEVICE_STATE_MOVING_TO = 5,
    DEVICE_STATE_COPYING_FROM = 6,
    DEVICE_STATE_COPYING_TO = 7,
};

/// How a search compares its term.
enum matchCriterion_e : uint8_t {
    MATCH_CONTAINS = 0,
    MATCH_STARTS_WITH = 1,
    MATCH_EXACTLY = 2,
};

enum mediaType_e : int32_t {
    MEDIA_TYPE_IMAGE = 0,
    MEDIA_TYPE_PHOTO_TALK = 1,
    MEDIA_TYPE_VIDEO = 2,
    MEDIA_TYPE_AUTOLOG = 3,
    MEDIA_TYPE_NONE = 4,
};

enum mediaFileType_e : int32_t {
    MEDIA_FILE_IMAGE = 0,
    MEDIA_FILE_AUDIO = 1,
    MEDIA_FILE_VIDEO = 2,
    MEDIA_FILE_RECOVERY = 3,
    MEDIA_FILE_THUMBNAIL = 4,
    MEDIA_FILE_MISC_DATA = 5,
    MEDIA_FILE_NONE = 6,
};

enum mediaFileState_e : int32_t {
    MEDIA_FILE_STATE_OK = 0,
    MEDIA_FILE_STATE_EMPTY = 1,
    MEDIA_FILE_STATE_UNPLAYABLE = 2,
    MEDIA_FILE_STATE_NOT_PRESENT = 3,
};

enum jobType_e : int32_t {
    JOB_TYPE_VIDEO_INSPECTION = 0,
    JOB_TYPE_LOCATE_SESSION = 1,
    JOB_TYPE_NONE = 2,
};

/// "Unknown error code" for a number outside the enumeration.
std::string ReturnCodeText(int32_t code);

/// "Unknown criterion" for a number outside the enumeration.
std::string MatchCriterionText(uint8_t criterion);

/// "Unknown", with an error line that names GetStateString, for a number outside the enumeration.
std::string DeviceStateText(int32_t state);

/// Text of a file operation result for log lines, such as "FILESYSTEM_RO".
const char* JobFileOpText(jobFileOpRtn_e code);

/// The return code that clients get for a file operation result. An unknown number is logged and counts as a
/// filesystem error.
jobsDaemonRtn_e ConvertFileOpRtn(int32_t code);

// Keywords of job files and replies. An unknown number gives "none" (a file state the empty text); an unknown keyword
// gives the enumeration's ..._NONE.
std::string MediaTypeKeyword(mediaType_e type);
mediaType_e MediaTypeFromKeyword(const std::string& keyword);
std::string MediaFileTypeKeyword(mediaFileType_e type);
mediaFileType_e MediaFileTypeFromKeyword(const std::string& keyword);
std::string MediaFileStateKeyword(mediaFileState_e state);
std::string JobTypeKeyword(jobType_e type);
jobType_e JobTypeFromKeyword(const std::string& keyword);

} // namespace JobsManagerD

namespace SyncD {

/// Result of the methods of the sync service.
enum syncDaemonRtn_e : int32_t {
    SYNC_RTN_SUCCEEDED = 0,
    SYNC_RTN_SOURCE_NOT_FOUND = 1,
    SYNC_RTN_DESTINATION_NOT_FOUND = 2,
    SYNC_RTN_DESTINATION_READ_ONLY = 3,
    SYNC_RTN_DESTINATION_FULL = 4,
    SYNC_RTN_SYNC_EXISTS = 5,
    SYNC_RTN_SOURCE_CONFLICT = 6,
    SYNC_RTN_INSUFFICIENT_POWER = 7,
    SYNC_RTN_INSUFFICIENT_SPACE = 8,
    SYNC_RTN_INTERNAL_ERROR = 9,
};

/// "Unknown error code" for a number outside the enumeration.
std::string ReturnCodeText(int32_t code);

} // namespace SyncD

namespace FileRepairD {

/// Result of the methods of the file repair service.
enum fileRepairDaemonRtn_e : int32_t {
    REPAIR_RTN_SUCCEEDED = 0,
    REPAIR_RTN_DEVICE_BUSY = 1,
    REPAIR_RTN_DEVICE_NOT_FOUND = 2,
    REPAIR_RTN_INSUFFICIENT_POWER = 3,
    REPAIR_RTN_UNKNOWN_ERROR = 4,
};

/// "Failed : Unknown error" for a number outside the enumeration.
std::string ReturnCodeText(int32_t code);

} // namespace FileRepairD
