#pragma once

#include "codes/ReturnCodes.h"

#include <nlohmann/json_fwd.hpp>
#include <string>

namespace JobsManagerD {

class Job;

/// Reads and writes the job file of one format. A handler has no state: one instance serves all jobs and threads. It
/// works on the file that the job's path names, and is called under the job's lock. Failures are logged and returned.
class JobFileHandler {
public:
    /// Fills the summary only.
    virtual jobFileOpRtn_e ParseJobFileSummary(Job& job) const = 0;
    /// Fills all else, and recounts sizes and media.
    virtual jobFileOpRtn_e ParseJobFile(Job& job) const = 0;
    virtual jobFileOpRtn_e UpdateJobFile(const Job& job) const = 0;
    /// The document as it lies in the file: not validated, private notes scrambled.
    virtual jobFileOpRtn_e ExtractJobJson(const Job& job, nlohmann::json& document) const = 0;
    /// The file extension of the format, without a dot.
    virtual std::string GetFileExtension() const = 0;

protected:
    JobFileHandler() = default;
    /// Shared ownership of the concrete type disposes of a handler.
    ~JobFileHandler() = default;
};

} // namespace JobsManagerD
