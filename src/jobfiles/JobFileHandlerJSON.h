#pragma once

#include "jobfiles/JobFileHandler.h"

namespace JobsManagerD {

/// The handler of the JSON job file, the present format.
class JobFileHandlerJSON final : public JobFileHandler {
public:
    jobFileOpRtn_e ParseJobFileSummary(Job& job) const override;
    jobFileOpRtn_e ParseJobFile(Job& job) const override;
    jobFileOpRtn_e UpdateJobFile(const Job& job) const override;
    jobFileOpRtn_e ExtractJobJson(const Job& job, nlohmann::json& document) const override;
    std::string GetFileExtension() const override { return "json"; }
};

} // namespace JobsManagerD
