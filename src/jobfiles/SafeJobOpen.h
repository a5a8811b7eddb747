#pragma once

#include "daemon/ReturnCodes.h"

#include <mutex>
#include <nlohmann/json_fwd.hpp>
#include <string>

namespace JobsManagerD {

/// How much of a job file is wanted.
enum class JobFileParts {
    all,
    /// The keys that a summary is made of, which is most of the way cheaper; others are left out.
    summary,
};

/// The one place that reads a JSON job file. A file that does not parse is replaced by its backup, when that does, and
/// the backup is made anew; so a reading may write. JOBFILE_OP_SUCCEEDED, or JOBFILE_OP_FS_ERROR with `document` as it
/// was, unless it is the putting back of the backup that failed.
jobFileOpRtn_e SafeJobOpen(const std::string& path, nlohmann::json& document, JobFileParts parts = JobFileParts::all);

/// Held while a job file is read or rewritten, so that a reader on another thread neither meets half a file nor takes
/// it for broken and puts the backup in its place. A leaf lock; one of a few, chosen by the path.
std::mutex& JobFileLock(const std::string& path);

} // namespace JobsManagerD
