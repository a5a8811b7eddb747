#include "jobfiles/SafeJobOpen.h"

#include "fsutil/GuardedFs.h"
#include "fsutil/Paths.h"
#include "jobs/Json.h"

#include <syslog.h>

using nlohmann::json;

namespace JobsManagerD {
namespace {

enum class Verdict { unopenable, unparsable, parsed };

struct Candidate {
    Verdict verdict;
    ReadState state;
};

/// Null when the text has been parsed, else what is wrong with it.
std::string ParseError(const ReadState& state, JobText& bytes, const ParseJobText& parse) try {
    if (state.reading != FileReading::whole)
        return "it cannot be read to its end";
    parse(bytes.text);
    return {};
} catch (const json::exception& exception) {
    return exception.what();
}

Candidate ReadCandidate(const JobFileBytes& files, const std::string& path, JobText& bytes, const ParseJobText& parse) {
    Candidate candidate{Verdict::parsed, files.Read(path, bytes)};
    const FileReading reading = candidate.state.reading;
    if (reading != FileReading::whole && reading != FileReading::unreadable) {
        syslog(LOG_ERR, "JobFileHandlerJSON::SafeJobOpen - Failed to open job file %s", path.c_str());
        candidate.verdict = Verdict::unopenable;
        return candidate;
    }
    const std::string error = ParseError(candidate.state, bytes, parse);
    if (!error.empty()) {
        syslog(LOG_ERR, "JobFileHandlerJSON::SafeJobOpen - Failed to parse job file %s: %s", path.c_str(),
               error.c_str());
        candidate.verdict = Verdict::unparsable;
    }
    return candidate;
}

} // namespace

jobFileOpRtn_e SafeJobOpen(JobFileBytes& files, const std::string& path, JobText& bytes, const ParseJobText& parse) {
    // Round again when a save came between the reading and the recovery.
    while (true) {
        const std::string backup = BackupPath(path);
        bool error = false;
        const bool hasBackup = TryFsExists(backup, error);
        if (error) {
            syslog(LOG_ERR, "JobFileHandlerJSON::SafeJobOpen - Failed during check for Backup File %s", backup.c_str());
            return JOBFILE_OP_FS_ERROR;
        }

        Candidate file = ReadCandidate(files, path, bytes, parse);
        if (file.verdict == Verdict::parsed) {
            files.FoundWhole(path, file.state);
            return JOBFILE_OP_SUCCEEDED;
        }
        if (file.verdict == Verdict::unopenable)
            return JOBFILE_OP_FS_ERROR;
        file.state.Remember(bytes);
        Candidate former{Verdict::unparsable, {}};
        if (hasBackup)
            former = ReadCandidate(files, backup, bytes, parse);
        if (former.verdict == Verdict::unparsable)
            syslog(LOG_ERR, "JobFileHandlerJSON::SafeJobOpen - error in job file... could not be parsed");
        if (former.verdict != Verdict::parsed)
            return JOBFILE_OP_FS_ERROR;
        former.state.Remember(bytes);
        if (files.Recover(path, file.state, former.state, bytes))
            return JOBFILE_OP_SUCCEEDED;
    }
}

} // namespace JobsManagerD
