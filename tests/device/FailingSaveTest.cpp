#include "device/FailingFilesystem.h"
#include "device/FindingJobsTest.h"
#include "simulator/LegacyCardMaker.h"

using namespace JobsManagerD;
namespace fs = std::filesystem;

namespace Testing {
namespace {

/// Each call to the filesystem that an operation makes fails once. The card holds then what it held before, or what the
/// answer says.
class FailingSaveTest : public FindingJobsTest {
protected:
    struct Operation {
        /// Jobs on the empty card; they have been indexed when it is done.
        std::function<void()> prepare;
        std::function<int32_t()> run;
        /// Looks at the card, which has been indexed anew: true when the change is there, false when all is as before.
        /// Anything between is a failure of its own.
        std::function<bool()> isDone;
        /// With a code other than 0, it may have been done all the same.
        bool mayBeDone = false;
    };

    void FailEachCall(const Operation& operation, int leastCalls) {
        int calls = 0;
        for (bool hasFailed = true; hasFailed; ++calls) {
            ASSERT_LT(calls, 200) << "no end of calls";
            CloseJob();
            for (const std::string& name : service.Card("front").List())
                fs::remove_all(service.Card("front") / name);
            FindJobs();
            operation.prepare();
            int32_t code = 0;
            {
                const FailingFilesystem failing(calls + 1);
                code = operation.run();
                hasFailed = failing.HasFailed();
            }
            SCOPED_TRACE("call " + std::to_string(calls + 1) + ", code " + std::to_string(code));
            CloseJob();
            FindJobs();
            const bool isDone = operation.isDone();
            if (code == JOBS_RTN_SUCCEEDED)
                EXPECT_TRUE(isDone);
            else
                EXPECT_TRUE(!isDone || operation.mayBeDone);
            EXPECT_TRUE(hasFailed || code == JOBS_RTN_SUCCEEDED);
            EXPECT_EQ(List().size(), Stats()["nRuvoJobs"].get<size_t>() + Stats()["nTamsyJobs"].get<size_t>());
        }
        EXPECT_GE(calls, leastCalls) << "calls were counted";
    }

    Json Document(const std::string& id) {
        const auto [code, text] = Text("GetJob", "front", id);
        EXPECT_EQ(code, JOBS_RTN_SUCCEEDED);
        return code == JOBS_RTN_SUCCEEDED ? Json::parse(text) : Json();
    }
};

TEST_F(FailingSaveTest, AChangeIsSavedOrNotMade) {
    for (const bool isCurrent : {false, true}) {
        SCOPED_TRACE(isCurrent);
        CreatedJob job;
        FailEachCall({
                         .prepare =
                             [&] {
                                 job = CreateJob("Job", "front");
                                 EXPECT_EQ(Code("SetJobNotes", "", "", "before"), 0);
                                 EXPECT_TRUE(isCurrent || CloseJob() == 0);
                             },
                         .run = [&] { return Code("SetJobNotes", "front", job.id, "after"); },
                         .isDone =
                             [&] {
                                 const std::string notes = Document(job.id).value("notes", "");
                                 EXPECT_TRUE(notes == "before" || notes == "after") << notes;
                                 return notes == "after";
                             },
                     },
                     5);
    }
}

TEST_F(FailingSaveTest, AMediaItemIsAddedOrTakenAwayOrNot) {
    CreatedJob job;
    std::string added;
    const auto hasItem = [&] {
        const Json document = Document(job.id);
        return document.contains("media") && document["media"].size() == 1;
    };
    FailEachCall({
                     .prepare =
                         [&] {
                             job = CreateJob("Job", "front");
                             Write(job.Media("a.jpg"), "12345");
                         },
                     .run =
                         [&] {
                             return Code("AddSnapshotMedia", "Picture", job.Media("a.jpg").string(), false, 0, false, 0,
                                         false, 0, 0);
                         },
                     .isDone = hasItem,
                 },
                 5);
    FailEachCall({
                     .prepare =
                         [&] {
                             job = CreateJob("Job", "front");
                             added = AddSnapshot(job, "a.jpg");
                         },
                     .run = [&] { return Code("DeleteMediaItem", "front", job.id, added); },
                     .isDone =
                         [&] {
                             const bool isDone = !hasItem();
                             // The files go first: an item that stays can be deleted once more.
                             EXPECT_TRUE(isDone || Code("DeleteMediaItem", "front", job.id, added) == 0);
                             EXPECT_FALSE(hasItem() || fs::exists(job.Media("a.jpg")));
                             return isDone;
                         },
                 },
                 5);
}

TEST_F(FailingSaveTest, AJobIsMadeWholeOrNotAtAll) {
    FailEachCall({
                     .prepare = [] {},
                     .run =
                         [&] {
                             return std::get<0>(
                                 Call("CreateJob", "front", "Job").Read<int32_t, std::string, std::string>());
                         },
                     .isDone =
                         [&] {
                             EXPECT_EQ(service.Card("front").List().size(), List().size()) << "no half job";
                             return List().size() == 1 && Document(List()[0]["id"])["name"] == "Job";
                         },
                 },
                 8);
}

TEST_F(FailingSaveTest, AnOldJobIsConvertedOrStaysWhatItWas) {
    std::string id;
    size_t nMedia = 0;
    const auto prepare = [&] {
        Simulator::MakeLegacyCard(service.CardFolder("front"), {.jobs = 1, .bookmarksPerJob = 3});
        FindJobs();
        id = List()[0]["id"];
    };
    const auto isDone = [&] {
        EXPECT_EQ(List().size(), 1u);
        const bool isConverted = List()[0]["version"] == "2.0";
        // It opens now at the latest.
        const Json document = Document(id);
        nMedia = document.contains("media") ? document["media"].size() : 0;
        EXPECT_EQ(nMedia, 3u);
        return isConverted;
    };
    FailEachCall({.prepare = prepare,
                  .run =
                      [&] {
                          return OpenJob({id, {}}, "front");
                      },
                  .isDone = isDone,
                  .mayBeDone = true},
                 10);
    FailEachCall({.prepare = prepare,
                  .run =
                      [&] {
                          EXPECT_EQ(Code("ConvertJobs", "front"), 0);
                          EXPECT_TRUE(service.WaitForDeviceProperty("front", "DeviceState", "Idle"));
                          return Stats()["nRuvoJobs"] == 1 ? 0 : 5;
                      },
                  .isDone = isDone,
                  .mayBeDone = true},
                 10);
}

} // namespace
} // namespace Testing
