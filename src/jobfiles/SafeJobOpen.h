#pragma once

#include "codes/ReturnCodes.h"
#include "jobfiles/JobFileBytes.h"

#include <functional>
#include <nlohmann/json_fwd.hpp>
#include <string>

namespace JobsManagerD {

/// Makes of the text of a job file what its caller wants; it may extend the text and has to restore it. Throws
/// nlohmann::json::exception for a text that is no JSON.
using ParseJobText = std::function<void(std::string& text)>;

/// The one place that reads a JSON job file for its job. A file that does not parse, or cannot be read to its end, is
/// replaced by its backup, when that does, and the backup is made anew; so a reading may write. JOBFILE_OP_SUCCEEDED,
/// or JOBFILE_OP_FS_ERROR when nothing has been parsed. No lock is held while `parse` runs. `bytes` has the text that
/// was parsed last, and the turn that goes with it.
jobFileOpRtn_e SafeJobOpen(JobFileBytes& files, const std::string& path, JobText& bytes, const ParseJobText& parse);

} // namespace JobsManagerD
