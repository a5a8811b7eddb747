#include "Fuzz.h"
#include "jobfiles/JobFileHandlerJDB3.h"
#include "jobs/Job.h"
#include "jobs/Json.h"

#include <ctime>

using namespace JobsManagerD;

namespace {

void Read(const std::string& path, jobFileOpRtn_e (JobFileHandlerJDB3::*parse)(Job& job) const) {
    const JobFileHandlerJDB3 handler;
    Job job(path);
    const std::clock_t start = std::clock();
    if ((handler.*parse)(job) == JOBFILE_OP_SUCCEEDED)
        Fuzz::Require(nlohmann::json::accept(job.JSONstring(JSON_MODE_CLIENT)), "clients get JSON");
    Fuzz::Require(std::clock() - start < 10 * CLOCKS_PER_SEC, "a reading has an end");
}

} // namespace

/// A database of the earlier generation.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const Fuzz::TemporaryFolder card;
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    const std::string path = card.Write("job/job.jdb3", bytes);
    Read(path, &JobFileHandlerJDB3::ParseJobFileSummary);
    Read(path, &JobFileHandlerJDB3::ParseJobFile);
    Fuzz::Require(card.Count() == 2, "nothing is left beside a database");
    Fuzz::Require(card.Read("job/job.jdb3") == bytes, "a database stays as it is");
    return 0;
}
