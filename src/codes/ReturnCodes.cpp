#include "codes/ReturnCodes.h"

#include <array>
#include <map>
#include <syslog.h>

namespace {

template <typename Number>
using Texts = std::map<Number, const char*>;

template <typename Number>
using Keywords = std::map<std::string, Number>;

template <typename Number>
std::string TextOf(const Texts<Number>& texts, Number number, const char* fallback) {
    const auto found = texts.find(number);
    return found == texts.end() ? fallback : found->second;
}

template <typename Number>
std::string KeywordOf(const Keywords<Number>& keywords, Number number, const char* fallback) {
    for (const auto& [keyword, candidate] : keywords)
        if (candidate == number)
            return keyword;
    return fallback;
}

template <typename Number>
Number NumberOf(const Keywords<Number>& keywords, const std::string& keyword, Number fallback) {
    const auto found = keywords.find(keyword);
    return found == keywords.end() ? fallback : found->second;
}

} // namespace

namespace JobsManagerD {
namespace {

const Texts<int32_t> returnCodeTexts{
    {JOBS_RTN_SUCCEEDED, "Succeeded"},
    {JOBS_RTN_DEVICE_BUSY, "Failed: Device busy"},
    {JOBS_RTN_DEVICE_NOT_FOUND, "Failed: Device not found"},
    {JOBS_RTN_READ_ONLY_FS, "Failed: Filesystem is read only"},
    {JOBS_RTN_INSUFFICIENT_SPACE, "Failed: Insufficient space"},
    {JOBS_RTN_FS_ERROR, "Failed: Filesystem error"},
    {JOBS_RTN_UNSUPPORTED_FORMAT, "Failed: Unsupported format"},
    {JOBS_RTN_NO_CURRENT_JOB, "Failed: No current job"},
    {JOBS_RTN_JOB_NOT_OPEN, "Failed: Job not open"},
    {JOBS_RTN_JOB_ID_NOT_FOUND, "Failed: Job ID not found"},
    {JOBS_RTN_MEDIA_ID_NOT_FOUND, "Failed: Media ID not found"},
    {JOBS_RTN_MISSING_FIELDS, "Failed: Missing fields"},
    {JOBS_RTN_JOB_ACTIVE_RECORDING, "Failed: Job has active recording"},
    {JOBS_RTN_JOB_ACTIVE_PLAYBACK, "Failed: Job has active playback"},
    {JOBS_RTN_MEDIA_ACTIVE_PLAYBACK, "Failed: Media has active playback"},
    {JOBS_RTN_CURRENT_JOB_OPEN, "Failed: Current job open"},
    {JOBS_RTN_CURRENT_JOB_PROTECTED, "Failed: Cannot delete/move current job"},
    {JOBS_RTN_LOCKED_JOB, "Failed: Cannot delete/move locked job"},
    {JOBS_RTN_JOB_FILE_MISSING_FIELDS, "Failed: Job file has missing fields"},
    {JOBS_RTN_INVALID_JSON, "Failed: Invalid json"},
    {JOBS_RTN_JSON_INVALID_FIELDS, "Failed: Json has invalid or missing fields"},
    {JOBS_RTN_UNSUPPORTED_OPERATION, "Failed: Unsupported operation"},
    {JOBS_RTN_DBUS_ERROR, "Failed: Dbus communication error"},
    {JOBS_RTN_ENTRY_NOT_FOUND, "Failed: Entry not found"},
    {JOBS_RTN_ENTRY_EXISTS, "Failed: Entry already exists"},
    {JOBS_RTN_LIST_FULL, "Failed: List full"},
    {JOBS_RTN_DUPLICATE_FILESYSTEMS, "Failed: Filesystems are duplicates"},
    {JOBS_RTN_JOB_FILE_NOT_FOUND, "Failed: Job file not found"},
    {JOBS_RTN_JOB_FILE_EXISTS, "Failed: Job file already exists"},
    {JOBS_RTN_INVALID_RANGE, "Failed: Invalid range"},
};

const Texts<uint8_t> matchCriterionTexts{
    {MATCH_CONTAINS, "contains"},
    {MATCH_STARTS_WITH, "startsWith"},
    {MATCH_EXACTLY, "exactly"},
};

const Texts<int32_t> deviceStateTexts{
    {DEVICE_STATE_IDLE, "Idle"},
    {DEVICE_STATE_INDEXING, "Indexing"},
    {DEVICE_STATE_CONVERTING, "Converting"},
    {DEVICE_STATE_DELETING, "Deleting"},
    {DEVICE_STATE_MOVING_FROM, "Moving From"},
    {DEVICE_STATE_MOVING_TO, "Moving To"},
    {DEVICE_STATE_COPYING_FROM, "Copying From"},
    {DEVICE_STATE_COPYING_TO, "Copying To"},
};

const Keywords<mediaType_e> mediaTypes{
    {"image", MEDIA_TYPE_IMAGE}, {"photoTalk", MEDIA_TYPE_PHOTO_TALK},
    {"video", MEDIA_TYPE_VIDEO}, {"autolog", MEDIA_TYPE_AUTOLOG},
    {"none", MEDIA_TYPE_NONE},
};

const Keywords<mediaFileType_e> mediaFileTypes{
    {"imageFile", MEDIA_FILE_IMAGE},
    {"audioFile", MEDIA_FILE_AUDIO},
    {"videoFile", MEDIA_FILE_VIDEO},
    {"recoveryFile", MEDIA_FILE_RECOVERY},
    {"thumbnailFile", MEDIA_FILE_THUMBNAIL},
    {"miscDataFile", MEDIA_FILE_MISC_DATA},
    {"none", MEDIA_FILE_NONE},
};

const Keywords<mediaFileState_e> mediaFileStates{
    {"ok", MEDIA_FILE_STATE_OK},
    {"empty", MEDIA_FILE_STATE_EMPTY},
    {"unplayable", MEDIA_FILE_STATE_UNPLAYABLE},
    {"notPresent", MEDIA_FILE_STATE_NOT_PRESENT},
};

const Keywords<jobType_e> jobTypes{
    {"videoInspection", JOB_TYPE_VIDEO_INSPECTION},
    {"locateSession", JOB_TYPE_LOCATE_SESSION},
    {"none", JOB_TYPE_NONE},
};

struct FileOpRow {
    const char* text;
    jobsDaemonRtn_e returnCode;
};

constexpr std::array<FileOpRow, 6> fileOps{{
    {"SUCCESS", JOBS_RTN_SUCCEEDED},
    {"FILESYSTEM_RO", JOBS_RTN_READ_ONLY_FS},
    {"INSUFFICIENT_SPACE", JOBS_RTN_INSUFFICIENT_SPACE},
    {"FILESYSTEM_ERROR", JOBS_RTN_FS_ERROR},
    {"MISSING_FIELDS", JOBS_RTN_JOB_FILE_MISSING_FIELDS},
    {"UNSUPPORTED", JOBS_RTN_UNSUPPORTED_OPERATION},
}};

} // namespace

std::string ReturnCodeText(int32_t code) { return TextOf(returnCodeTexts, code, "Unknown error code"); }

std::string MatchCriterionText(uint8_t criterion) {
    return TextOf(matchCriterionTexts, criterion, "Unknown criterion");
}

std::string DeviceStateText(int32_t state) {
    if (!deviceStateTexts.contains(state))
        syslog(LOG_ERR, "%s - Unknown state: %d.", "GetStateString", state);
    return TextOf(deviceStateTexts, state, "Unknown");
}

const char* JobFileOpText(jobFileOpRtn_e code) { return fileOps.at(static_cast<size_t>(code)).text; }

jobsDaemonRtn_e ConvertFileOpRtn(int32_t code) {
    if (code >= 0 && static_cast<size_t>(code) < fileOps.size())
        return fileOps[static_cast<size_t>(code)].returnCode;
    syslog(LOG_ERR, "Invalid jobFileOpRtn_e return value: %i", code);
    return JOBS_RTN_FS_ERROR;
}

std::string MediaTypeKeyword(mediaType_e type) { return KeywordOf(mediaTypes, type, "none"); }

mediaType_e MediaTypeFromKeyword(const std::string& keyword) { return NumberOf(mediaTypes, keyword, MEDIA_TYPE_NONE); }

std::string MediaFileTypeKeyword(mediaFileType_e type) { return KeywordOf(mediaFileTypes, type, "none"); }

mediaFileType_e MediaFileTypeFromKeyword(const std::string& keyword) {
    return NumberOf(mediaFileTypes, keyword, MEDIA_FILE_NONE);
}

std::string MediaFileStateKeyword(mediaFileState_e state) { return KeywordOf(mediaFileStates, state, ""); }

std::string JobTypeKeyword(jobType_e type) { return KeywordOf(jobTypes, type, "none"); }

jobType_e JobTypeFromKeyword(const std::string& keyword) { return NumberOf(jobTypes, keyword, JOB_TYPE_NONE); }

} // namespace JobsManagerD

namespace SyncD {

std::string ReturnCodeText(int32_t code) {
    static const Texts<int32_t> texts{
        {SYNC_RTN_SUCCEEDED, "Succeeded"},
        {SYNC_RTN_SOURCE_NOT_FOUND, "Failed : Source not found"},
        {SYNC_RTN_DESTINATION_NOT_FOUND, "Failed : Destination not found"},
        {SYNC_RTN_DESTINATION_READ_ONLY, "Failed : Destination mounted read only"},
        {SYNC_RTN_DESTINATION_FULL, "Failed : Destination full"},
        {SYNC_RTN_SYNC_EXISTS, "Failed : Sync already exists"},
        {SYNC_RTN_SOURCE_CONFLICT, "Failed : Sync source conflict"},
        {SYNC_RTN_INSUFFICIENT_POWER, "Failed : Insufficient power"},
        {SYNC_RTN_INSUFFICIENT_SPACE, "Failed : Insufficient space"},
        {SYNC_RTN_INTERNAL_ERROR, "Failed : Internal error"},
    };
    return TextOf(texts, code, "Unknown error code");
}

} // namespace SyncD

namespace FileRepairD {

std::string ReturnCodeText(int32_t code) {
    static const Texts<int32_t> texts{
        {REPAIR_RTN_SUCCEEDED, "Succeeded"},
        {REPAIR_RTN_DEVICE_BUSY, "Failed : Device busy"},
        {REPAIR_RTN_DEVICE_NOT_FOUND, "Failed : Device not found"},
        {REPAIR_RTN_INSUFFICIENT_POWER, "Failed : Insufficient power"},
        {REPAIR_RTN_UNKNOWN_ERROR, "Failed : Unknown error"},
    };
    return TextOf(texts, code, "Failed : Unknown error");
}

} // namespace FileRepairD
