#pragma once

#include "daemon/ReturnCodes.h"

#include <nlohmann/json_fwd.hpp>
#include <string>

namespace JobsManagerD {

/// The one place that reads a JSON job file. A file that does not parse is replaced by its backup, when that does, and
/// the backup is made anew; so a reading may write. JOBFILE_OP_SUCCEEDED, or JOBFILE_OP_FS_ERROR with `document` as it
/// was, unless it is the putting back of the backup that failed.
jobFileOpRtn_e SafeJobOpen(const std::string& path, nlohmann::json& document);

} // namespace JobsManagerD
