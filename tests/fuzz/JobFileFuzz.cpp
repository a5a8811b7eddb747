#include "Fuzz.h"
#include "jobfiles/JobFileHandlerJSON.h"
#include "jobs/Job.h"
#include "jobs/Json.h"

using namespace JobsManagerD;

namespace {

/// As opening a job reads it.
bool Read(const std::string& path, Job& job) {
    const JobFileHandlerJSON handler;
    job.SetJobFilePath(path);
    return handler.ParseJobFileSummary(job) == JOBFILE_OP_SUCCEEDED &&
           handler.ParseJobFile(job) == JOBFILE_OP_SUCCEEDED;
}

} // namespace

/// A whole job file: what can be read can be saved, and the save is read as the same job.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const Fuzz::TemporaryFolder card;
    Job job;
    if (!Read(card.Write("job/job.json", {reinterpret_cast<const char*>(data), size}), job))
        return 0;
    Fuzz::Require(nlohmann::json::accept(job.JSONstring(JSON_MODE_CLIENT)), "clients get JSON");
    const std::string saved = job.JSONstring(JSON_MODE_FILE);
    Job again;
    Fuzz::Require(Read(card.Write("saved/job.json", saved), again), "a saved job is read");
    Fuzz::Require(again.JSONstring(JSON_MODE_FILE) == saved, "a saved job is read as it was");
    return 0;
}
