#include "ExitCodes.h"

using namespace libjobsdaemon;

namespace TarnJobs {

const char* HintOf(int32_t code) {
    switch (code) {
    case JOBS_RTN_DEVICE_BUSY:
        return "Work on jobs, or an index run, goes on there. See \"devices\", wait or \"cancel\".";
    case JOBS_RTN_DEVICE_NOT_FOUND:
        return "No such device is mounted, or none is the target. See \"devices\".";
    case JOBS_RTN_READ_ONLY_FS:
        return "The card is write-protected.";
    case JOBS_RTN_INSUFFICIENT_SPACE:
        return "The card has not enough room.";
    case JOBS_RTN_FS_ERROR:
        return "The card cannot be read or written as it should be; the log of the service tells more.";
    case JOBS_RTN_UNSUPPORTED_FORMAT:
        return "The job's format does not allow this; \"convert\" brings older jobs to the current one.";
    case JOBS_RTN_NO_CURRENT_JOB:
        return "Open or create a job, or name one with --job.";
    case JOBS_RTN_JOB_ID_NOT_FOUND:
        return "The device has no job with this ID. See \"list\".";
    case JOBS_RTN_MEDIA_ID_NOT_FOUND:
        return "The job has no media item with this ID. See \"show\".";
    case JOBS_RTN_MISSING_FIELDS:
        return "What was given lacks something that must be there.";
    case JOBS_RTN_JOB_ACTIVE_RECORDING:
        return "Something is being recorded into the job.";
    case JOBS_RTN_JOB_ACTIVE_PLAYBACK:
        return "Something of the job is being played.";
    case JOBS_RTN_MEDIA_ACTIVE_PLAYBACK:
        return "The media item is being played.";
    case JOBS_RTN_CURRENT_JOB_OPEN:
        return "A job is current. \"close\" it first.";
    case JOBS_RTN_CURRENT_JOB_PROTECTED:
        return "The current job stays where it is. \"close\" it first.";
    case JOBS_RTN_LOCKED_JOB:
        return "Unlock it with \"set locked false\".";
    case JOBS_RTN_JOB_FILE_MISSING_FIELDS:
        return "The job file on the card lacks something that must be there.";
    case JOBS_RTN_INVALID_JSON:
        return "What was given is not JSON.";
    case JOBS_RTN_JSON_INVALID_FIELDS:
        return "What was given is JSON, but not in the form that is asked for.";
    case JOBS_RTN_DBUS_ERROR:
        return "Another service of the unit does not answer.";
    case JOBS_RTN_ENTRY_NOT_FOUND:
        return "The job has no such contact.";
    case JOBS_RTN_LIST_FULL:
        return "A job has 255 contacts at most.";
    case JOBS_RTN_DUPLICATE_FILESYSTEMS:
        return "Source and destination are the same device.";
    case JOBS_RTN_INVALID_RANGE:
        return "The list ends before --start.";
    default:
        return "";
    }
}

} // namespace TarnJobs
