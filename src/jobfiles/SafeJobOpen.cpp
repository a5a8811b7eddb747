#include "jobfiles/SafeJobOpen.h"

#include "fsutil/FileDescriptor.h"
#include "fsutil/GuardedFs.h"
#include "fsutil/Paths.h"
#include "jobs/Json.h"

#include <array>
#include <cstdio>
#include <syslog.h>

using nlohmann::json;

namespace JobsManagerD {
namespace {

enum class Reading { unopenable, unparsable, parsed };

/// Most job files fit, with the room behind them that parsing takes.
constexpr size_t usualFileSize = 16 * 1024;

Reading ReadCandidate(const std::string& path, const ParseJobText& parse) {
    std::string text;
    text.reserve(usualFileSize);
    if (!ReadRegularFile(path, text)) {
        syslog(LOG_ERR, "JobFileHandlerJSON::SafeJobOpen - Failed to open job file %s", path.c_str());
        return Reading::unopenable;
    }
    try {
        parse(text);
        return Reading::parsed;
    } catch (const json::exception& exception) {
        syslog(LOG_ERR, "JobFileHandlerJSON::SafeJobOpen - Failed to parse job file %s: %s", path.c_str(),
               exception.what());
        return Reading::unparsable;
    }
}

/// Puts the good backup in the place of the broken file, and a copy of it in the place of the backup.
jobFileOpRtn_e RestoreFromBackup(const std::string& path, const std::string& backup) {
    syslog(LOG_ERR, "JobFileHandlerJSON::SafeJobOpen - error in job file... falling back to backup");
    if (rename(backup.c_str(), path.c_str()) != 0)
        return JOBFILE_OP_FS_ERROR;
    bool error = false;
    if (!TryFsCopyFile(path, backup, error) || error) {
        syslog(LOG_ERR, "JobFileHandlerJSON::SafeJobOpen - failed to copy to backup file");
        return JOBFILE_OP_FS_ERROR;
    }
    return JOBFILE_OP_SUCCEEDED;
}

} // namespace

std::mutex& JobFileLock(const std::string& path) {
    static std::array<std::mutex, 16> locks;
    return locks[std::hash<std::string>()(path) % locks.size()];
}

jobFileOpRtn_e SafeJobOpen(const std::string& path, const ParseJobText& parse) {
    const std::lock_guard lock(JobFileLock(path));
    const std::string backup = BackupPath(path);
    bool error = false;
    const bool hasBackup = TryFsExists(backup, error);
    if (error) {
        syslog(LOG_ERR, "JobFileHandlerJSON::SafeJobOpen - Failed during check for Backup File %s", backup.c_str());
        return JOBFILE_OP_FS_ERROR;
    }

    Reading reading = ReadCandidate(path, parse);
    if (reading == Reading::parsed)
        return JOBFILE_OP_SUCCEEDED;
    if (reading == Reading::unparsable && hasBackup) {
        reading = ReadCandidate(backup, parse);
        if (reading == Reading::parsed)
            return RestoreFromBackup(path, backup);
    }
    if (reading == Reading::unparsable)
        syslog(LOG_ERR, "JobFileHandlerJSON::SafeJobOpen - error in job file... could not be parsed");
    return JOBFILE_OP_FS_ERROR;
}

jobFileOpRtn_e SafeJobOpen(const std::string& path, json& document) {
    return SafeJobOpen(path, [&document](const std::string& text) { document = ParseJson(text); });
}

} // namespace JobsManagerD
