#pragma once

#include "jobfiles/JobFileHandler.h"

namespace JobsManagerD {

/// The handler of the job database of the earlier generation. Such a job can be read, and becomes an ordinary one with
/// version "1.0"; it cannot be written, nor searched.
class JobFileHandlerJDB3 final : public JobFileHandler {
public:
    /// Touches nothing but the database.
    jobFileOpRtn_e ParseJobFileSummary(Job& job) const override;
    /// Measures each file of each media item too.
    jobFileOpRtn_e ParseJobFile(Job& job) const override;
    jobFileOpRtn_e UpdateJobFile(const Job& job) const override;
    jobFileOpRtn_e ExtractJobJson(const Job& job, nlohmann::json& document) const override;
    std::string GetFileExtension() const override { return "jdb3"; }
};

} // namespace JobsManagerD
