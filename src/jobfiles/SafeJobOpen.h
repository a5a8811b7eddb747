#pragma once

#include "codes/ReturnCodes.h"

#include <functional>
#include <mutex>
#include <nlohmann/json_fwd.hpp>
#include <string>

namespace JobsManagerD {

/// Makes of the text of a job file what its caller wants; it may alter the text. Throws nlohmann::json::exception for
/// a text that is no JSON.
using ParseJobText = std::function<void(std::string& text)>;

/// The one place that reads a JSON job file. A file that does not parse is replaced by its backup, when that does, and
/// the backup is made anew; so a reading may write. JOBFILE_OP_SUCCEEDED, or JOBFILE_OP_FS_ERROR when nothing has been
/// parsed, or the putting back of the backup has failed.
jobFileOpRtn_e SafeJobOpen(const std::string& path, const ParseJobText& parse);
/// For all that the file holds. `document` stays as it was when nothing has been parsed.
jobFileOpRtn_e SafeJobOpen(const std::string& path, nlohmann::json& document);

/// Held while a job file is read or rewritten, so that a reader on another thread neither meets half a file nor takes
/// it for broken and puts the backup in its place. A leaf lock; one of a few, chosen by the path.
std::mutex& JobFileLock(const std::string& path);

} // namespace JobsManagerD
