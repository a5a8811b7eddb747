#include "device/FindingJobsTest.h"
#include "device/ManagedDevice.h"
#include "fsutil/WatchedCalls.h"

#include <future>

using namespace JobsManagerD;

namespace Testing {
namespace {

/// An index run that has read the jobs of the card, and stands still before it lists the first of them. What clients do
/// then is newer than what it has read.
class IndexBesideClientsTest : public WithWatchedCalls, public FindingJobsTest {
protected:
    /// Visited first, and last.
    static constexpr const char* first = "zz";
    static constexpr const char* last = "0";

    IndexBesideClientsTest() {
        for (const char* id : {first, last})
            PutJob(id, JobDocument(id));
    }

    /// Starts an index run, and returns when it has begun to read the last folder.
    WatchedCalls::Held StartIndexing() {
        auto lastIsRead = std::make_shared<std::promise<void>>();
        const std::filesystem::path lastFile = service.Card("front") / (std::string(last) + "/job.json");
        auto held = calls.Hold("open", service.Card("front") / first, [lastIsRead, lastFile](const auto& call) {
            if (call.path == lastFile)
                lastIsRead->set_value();
        });
        EXPECT_EQ(Code("FindJobs", "front"), 0);
        EXPECT_TRUE(held.WaitUntilReached());
        EXPECT_EQ(lastIsRead->get_future().wait_for(deadline), std::future_status::ready);
        return held;
    }
    void Finish(WatchedCalls::Held& held) {
        held.LetGo();
        ASSERT_TRUE(service.WaitForDeviceProperty("front", "DeviceState", "Idle"));
    }
    Json Summary(const std::string& id) {
        for (const Json& summary : List())
            if (summary["id"] == id)
                return summary;
        return nullptr;
    }
    std::string FileText(const CreatedJob& job, const std::string& key) { return JobFile(job).value(key, ""); }
};

TEST_F(IndexBesideClientsTest, WhatAClientDidToTheCurrentJobStands) {
    struct Case {
        const char* name;
        std::function<void(const CreatedJob&)> meanwhile;
        /// The name under which the job is listed afterwards; empty when it is not.
        std::string listedAs;
    };
    const Case cases[] = {
        {"renamed", [&](const auto&) { EXPECT_EQ(Code("SetJobName", "", "", "New"), 0); }, "New"},
        {"renamed and closed",
         [&](const auto&) {
             EXPECT_EQ(Code("SetJobName", "", "", "New"), 0);
             EXPECT_EQ(CloseJob(), 0);
         },
         "New"},
        {"closed and opened again",
         [&](const CreatedJob& job) {
             EXPECT_EQ(CloseJob(), 0);
             EXPECT_EQ(OpenJob(job, "front"), 0);
             EXPECT_EQ(Code("SetJobName", "", "", "New"), 0);
         },
         "New"},
        {"deleted",
         [&](const CreatedJob& job) {
             EXPECT_EQ(CloseJob(), 0);
             EXPECT_EQ(Code("DeleteJob", "front", job.id), 0);
         },
         ""},
        {"moved",
         [&](const CreatedJob& job) {
             EXPECT_EQ(CloseJob(), 0);
             EXPECT_EQ(Code("MoveJob", "front", "back", job.id), 0);
         },
         ""},
        {"made current on the other card",
         [&](const CreatedJob& job) {
             EXPECT_EQ(CloseJob(), 0);
             EXPECT_EQ(Code("MoveJob", "front", "back", job.id), 0);
             EXPECT_EQ(OpenJob(job, "back"), 0);
         },
         ""},
    };
    for (const auto& [name, meanwhile, listedAs] : cases) {
        SCOPED_TRACE(name);
        const CreatedJob job = CreateJob(std::string("Old, to be ") + name, "front");
        auto held = StartIndexing();
        meanwhile(job);
        Finish(held);
        EXPECT_EQ(Stats()["nRuvoJobs"], listedAs.empty() ? 2 : 3);
        EXPECT_EQ(List().size(), listedAs.empty() ? 2u : 3u);
        EXPECT_EQ(Summary(job.id).is_null(), listedAs.empty());
        if (!listedAs.empty()) {
            EXPECT_EQ(Summary(job.id)["name"], listedAs);
            EXPECT_EQ(Code("SetJobNotes", "front", job.id, "later"), 0);
            EXPECT_EQ(FileText(job, "name"), listedAs) << "nothing old comes back with the next save";
            // All ways to the job lead to one object.
            EXPECT_EQ(Code("SetJobUserData", "front", job.id, R"({"a":1})"), 0);
            EXPECT_EQ(FileText(job, "notes"), "later");
            CloseJob();
            EXPECT_EQ(Code("DeleteJob", "front", job.id), 0);
        }
        CloseJob();
    }
    EXPECT_EQ(Stats()["nRuvoJobs"], 2);
}

TEST_F(IndexBesideClientsTest, ASyncedJobIsListedAsItCame) {
    for (const bool isKnown : {false, true}) {
        SCOPED_TRACE(isKnown);
        const std::string id = isKnown ? "known" : "new";
        PutJob(id, JobDocument(id));
        auto held = StartIndexing();
        if (isKnown) {
            Unit().Sync().EmitJobFileSynced(service.CardFolder("front") + "/" + id);
            service.Client().WaitForSignal("JobChanged");
        }
        Json synced = JobDocument(id);
        synced["name"] = "synced";
        PutJob(id, synced);
        service.Card("front").Write(id + "/syncStat", "");
        service.Client().TakeSignals();
        Unit().Sync().EmitJobFileSynced(service.CardFolder("front") + "/" + id);
        service.Client().WaitForSignal("JobChanged");
        Finish(held);
        EXPECT_EQ(Summary(id)["name"], "synced");
        EXPECT_EQ(Summary(id)["syncStatus"], true);
    }
}

TEST_F(IndexBesideClientsTest, ANewJobCountsOnce) {
    auto listing = calls.Hold("open", service.Card("front").Path());
    ASSERT_EQ(Code("FindJobs", "front"), 0);
    ASSERT_TRUE(listing.WaitUntilReached());
    const CreatedJob known = CreateJob("Known", "front");
    EXPECT_EQ(CloseJob(), 0);
    Finish(listing);
    EXPECT_EQ(Stats()["nRuvoJobs"], 3);

    // The run meets the folder of a job that is on the card, and whose making has not ended.
    listing = calls.Hold("open", service.Card("front").Path());
    ASSERT_EQ(Code("FindJobs", "front"), 0);
    ASSERT_TRUE(listing.WaitUntilReached());
    auto making = calls.Hold("sync", service.Card("front").Path());
    auto job = std::async(std::launch::async, [this] { return CreateJob("Made", "front"); });
    ASSERT_TRUE(making.WaitUntilReached());
    LogCapture::Take();
    listing.LetGo();
    ASSERT_TRUE(LogCapture::WaitFor("*** Job Indexing complete"));
    making.LetGo();
    const CreatedJob made = job.get();
    ASSERT_TRUE(service.WaitForDeviceProperty("front", "DeviceState", "Idle"));
    EXPECT_EQ(Stats()["nRuvoJobs"], 4);
    EXPECT_EQ(List().size(), 4u);
    EXPECT_EQ(Code("SetJobName", "", "", "By the current job"), 0);
    EXPECT_EQ(Summary(made.id)["name"], "By the current job") << "one object";
    EXPECT_EQ(CloseJob(), 0);
    FindJobs();
    EXPECT_EQ(Stats()["nRuvoJobs"], 4);
}

} // namespace
} // namespace Testing
