#pragma once

#include <cstdint>

namespace libjobsdaemon {

/// Result of every operation of the service, as it travels. A service newer than this library may send other numbers.
/// To leave one unread is to take a refusal for a success.
enum [[nodiscard]] jobsDaemonRtn_e : int32_t{
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

inline constexpr int32_t returnCodeCount = 30;

/// The service's text for a code; "Unknown error code" for a number outside the enumeration.
constexpr const char* ReturnCodeText(int32_t code) {
    switch (code) {
    case JOBS_RTN_SUCCEEDED:
        return "Succeeded";
    case JOBS_RTN_DEVICE_BUSY:
        return "Failed: Device busy";
    case JOBS_RTN_DEVICE_NOT_FOUND:
        return "Failed: Device not found";
    case JOBS_RTN_READ_ONLY_FS:
        return "Failed: Filesystem is read only";
    case JOBS_RTN_INSUFFICIENT_SPACE:
        return "Failed: Insufficient space";
    case JOBS_RTN_FS_ERROR:
        return "Failed: Filesystem error";
    case JOBS_RTN_UNSUPPORTED_FORMAT:
        return "Failed: Unsupported format";
    case JOBS_RTN_NO_CURRENT_JOB:
        return "Failed: No current job";
    case JOBS_RTN_JOB_NOT_OPEN:
        return "Failed: Job not open";
    case JOBS_RTN_JOB_ID_NOT_FOUND:
        return "Failed: Job ID not found";
    case JOBS_RTN_MEDIA_ID_NOT_FOUND:
        return "Failed: Media ID not found";
    case JOBS_RTN_MISSING_FIELDS:
        return "Failed: Missing fields";
    case JOBS_RTN_JOB_ACTIVE_RECORDING:
        return "Failed: Job has active recording";
    case JOBS_RTN_JOB_ACTIVE_PLAYBACK:
        return "Failed: Job has active playback";
    case JOBS_RTN_MEDIA_ACTIVE_PLAYBACK:
        return "Failed: Media has active playback";
    case JOBS_RTN_CURRENT_JOB_OPEN:
        return "Failed: Current job open";
    case JOBS_RTN_CURRENT_JOB_PROTECTED:
        return "Failed: Cannot delete/move current job";
    case JOBS_RTN_LOCKED_JOB:
        return "Failed: Cannot delete/move locked job";
    case JOBS_RTN_JOB_FILE_MISSING_FIELDS:
        return "Failed: Job file has missing fields";
    case JOBS_RTN_INVALID_JSON:
        return "Failed: Invalid json";
    case JOBS_RTN_JSON_INVALID_FIELDS:
        return "Failed: Json has invalid or missing fields";
    case JOBS_RTN_UNSUPPORTED_OPERATION:
        return "Failed: Unsupported operation";
    case JOBS_RTN_DBUS_ERROR:
        return "Failed: Dbus communication error";
    case JOBS_RTN_ENTRY_NOT_FOUND:
        return "Failed: Entry not found";
    case JOBS_RTN_ENTRY_EXISTS:
        return "Failed: Entry already exists";
    case JOBS_RTN_LIST_FULL:
        return "Failed: List full";
    case JOBS_RTN_DUPLICATE_FILESYSTEMS:
        return "Failed: Filesystems are duplicates";
    case JOBS_RTN_JOB_FILE_NOT_FOUND:
        return "Failed: Job file not found";
    case JOBS_RTN_JOB_FILE_EXISTS:
        return "Failed: Job file already exists";
    case JOBS_RTN_INVALID_RANGE:
        return "Failed: Invalid range";
    default:
        return "Unknown error code";
    }
}

} // namespace libjobsdaemon
