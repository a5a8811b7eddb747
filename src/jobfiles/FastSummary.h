#pragma once

#include "jobs/Job.h"

#include <optional>
#include <string>

namespace JobsManagerD {

/// The summary in the text of a job file, by the fast parser and without a document, which is what finding the jobs of
/// a full card takes. Nothing where anything is not just as a summary should be; that decides nothing, and the
/// validators say what is wrong, if they find it so. The text may be extended and is restored.
std::optional<JobSummary> ReadSummaryFast(std::string& text);

/// True for the keys of a job file that a summary is made of.
bool IsSummaryKey(std::string_view key);

} // namespace JobsManagerD
