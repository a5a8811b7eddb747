#include "Fuzz.h"
#include "jobs/Job.h"

#include <cstdlib>

using namespace JobsManagerD;

namespace {

std::string NamesIn(const Fuzz::TemporaryFolder& folder) {
    std::string names;
    for (const auto& entry : std::filesystem::directory_iterator(folder / ""))
        names += entry.path().filename().string() + "\n";
    return names;
}

} // namespace

/// The recording status file of a job that was cut off.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const Fuzz::TemporaryFolder unit;
    unit.Clear();
    unit.Write("card/job/media/rec.mp4", "");
    unit.Write("card/other/rec.mp4", "");
    unit.Write("card/job/recStat", {reinterpret_cast<const char*>(data), size});
    const size_t before = unit.Count();
    Job job(unit / "card/job/job.json");
    const bool hasMade = job.ConvertBrokenFileArtefacts();
    Fuzz::Require(NamesIn(unit) == "card\n", "markers lie on the card");
    Fuzz::Require(!std::filesystem::exists(unit / "card/job/recStat"), "the status file is removed");
    Fuzz::Require(hasMade ? unit.Count() >= before - 1 : unit.Count() == before - 1, "a marker that is made is told");
    return 0;
}
