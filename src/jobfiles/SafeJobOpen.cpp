#include "jobfiles/SafeJobOpen.h"

#include "fsutil/FileDescriptor.h"
#include "fsutil/GuardedFs.h"
#include "fsutil/Paths.h"
#include "jobs/FastJson.h"
#include "jobs/Json.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <string_view>
#include <syslog.h>

using nlohmann::json;

namespace JobsManagerD {
namespace {

enum class Reading { unopenable, unparsable, parsed };

constexpr std::string_view summaryKeys[] = {"id",       "jobSize", "locked",    "mediaCounts", "name",
                                            "position", "source",  "timestamp", "type",        "version"};

/// The summary keys of a document that the fast parser accepts. False when it refuses, which decides nothing.
bool ParseSummaryKeys(std::string& text, json& document) {
    thread_local FastJsonParser parser;
    simdjson::dom::object object;
    if (parser.Parse(text).get_object().get(object) != simdjson::SUCCESS)
        return false;
    document = json::object();
    // A walk, not a look-up: of a key that is given twice the later one counts.
    for (const simdjson::dom::key_value_pair field : object)
        if (std::ranges::find(summaryKeys, field.key) != std::end(summaryKeys))
            document[std::string(field.key)] = ToJson(field.value);
    return true;
}

json Parse(std::string& text, JobFileParts parts) {
    json document;
    if (parts == JobFileParts::summary && ParseSummaryKeys(text, document))
        return document;
    return ParseJson(text);
}

Reading ReadCandidate(const std::string& path, JobFileParts parts, json& document) {
    std::string text;
    if (!ReadRegularFile(path, text)) {
        syslog(LOG_ERR, "JobFileHandlerJSON::SafeJobOpen - Failed to open job file %s", path.c_str());
        return Reading::unopenable;
    }
    try {
        document = Parse(text, parts);
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

jobFileOpRtn_e SafeJobOpen(const std::string& path, json& document, JobFileParts parts) {
    const std::lock_guard lock(JobFileLock(path));
    const std::string backup = BackupPath(path);
    bool error = false;
    const bool hasBackup = TryFsExists(backup, error);
    if (error) {
        syslog(LOG_ERR, "JobFileHandlerJSON::SafeJobOpen - Failed during check for Backup File %s", backup.c_str());
        return JOBFILE_OP_FS_ERROR;
    }

    Reading reading = ReadCandidate(path, parts, document);
    if (reading == Reading::parsed)
        return JOBFILE_OP_SUCCEEDED;
    if (reading == Reading::unparsable && hasBackup) {
        reading = ReadCandidate(backup, parts, document);
        if (reading == Reading::parsed)
            return RestoreFromBackup(path, backup);
    }
    if (reading == Reading::unparsable)
        syslog(LOG_ERR, "JobFileHandlerJSON::SafeJobOpen - error in job file... could not be parsed");
    return JOBFILE_OP_FS_ERROR;
}

} // namespace JobsManagerD
