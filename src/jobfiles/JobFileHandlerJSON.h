#pragma once

#include "jobfiles/JobFileHandler.h"

#include <memory>

namespace JobsManagerD {

class JobFileBytes;

/// The handler of the JSON job file, the present format.
class JobFileHandlerJSON final : public JobFileHandler {
public:
    /// Of the files of no card in particular.
    JobFileHandlerJSON();
    explicit JobFileHandlerJSON(std::shared_ptr<JobFileBytes> files) : _files(std::move(files)) {}

    jobFileOpRtn_e ParseJobFileSummary(Job& job) const override;
    jobFileOpRtn_e ParseJobFile(Job& job) const override;
    jobFileOpRtn_e UpdateJobFile(const Job& job) const override;
    jobFileOpRtn_e ExtractJobJson(const Job& job, nlohmann::json& document) const override;
    std::string GetFileExtension() const override { return "json"; }

private:
    const std::shared_ptr<JobFileBytes> _files;
};

} // namespace JobsManagerD
