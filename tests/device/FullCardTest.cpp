#include "device/FindingJobsTest.h"
#include "fsutil/SmallCard.h"
#include "fsutil/WatchedCalls.h"
#include "simulator/LegacyCardMaker.h"

#include <algorithm>

using namespace JobsManagerD;
namespace fs = std::filesystem;

namespace Testing {
namespace {

struct WithSmallCard : testing::WithParamInterface<const char*> {
    SmallCard card{GetParam()};
};

/// The card "small", a real filesystem, which a recording fills.
class FullCardTest : public WithWatchedCalls, public WithSmallCard, public ServiceTest {
protected:
    void SetUp() override {
        if (!card.IsMounted())
            GTEST_SKIP() << "only root can mount a card of its own";
        Unit().Storage().InsertCard("small", card.Folder());
        AwaitIndex();
    }
    void AwaitIndex() { ASSERT_TRUE(service.WaitForDeviceProperty("small", "DeviceState", "Idle")); }
    void FindJobs() {
        ASSERT_EQ(Code("FindJobs", "small"), 0);
        AwaitIndex();
    }
    void Restart() {
        service.Stop();
        service.Start();
        AwaitIndex();
    }
    /// The recording takes what it can, but for that much.
    void Leave(uintmax_t bytes) {
        card.Fill();
        card.Free(bytes);
    }
    void RemoveRecording() { fs::remove(card.Path("recording")); }

    /// All that lies on the card beside the recording and what the filesystem itself has there.
    Texts Tree() const {
        Texts tree;
        for (const fs::directory_entry& entry : fs::recursive_directory_iterator(card.Folder()))
            if (entry.path().filename() != "recording" && entry.path().filename() != "lost+found")
                tree.push_back(entry.path().lexically_relative(card.Folder()));
        std::ranges::sort(tree);
        return tree;
    }
    int32_t Create() {
        return std::get<0>(Call("CreateJob", "small", "Job").Read<int32_t, std::string, std::string>());
    }
    Json Stats() { return Json::parse(std::get<1>(Text("GetJobListStats", "small"))); }
    Json List() {
        return Json::parse(std::get<1>(Text("GetJobList", "small", uint8_t{2}, uint8_t{0}, uint16_t{0}, uint16_t{0})));
    }
    static constexpr uintmax_t steps[] = {0, 1024, 2048, 4096, 6144, 8192, 12288, 16384, 24576, 32768};
};

TEST_P(FullCardTest, WhatWasAcknowledgedIsThereAfterARestart) {
    for (const bool eatsMeanwhile : {false, true}) {
        SCOPED_TRACE(eatsMeanwhile);
        const CreatedJob job = CreateJob("Job", "small");
        Texts acknowledged;
        const auto add = [&](int number) {
            const std::string path = job.Media(std::to_string(number) + ".jpg");
            const int32_t code = Code("AddSnapshotMedia", "Picture", path, false, 0, false, 0, false, 0, 0);
            if (code == 0)
                acknowledged.push_back(path);
            return code;
        };
        for (int number = 0; number < 40; ++number)
            Write(job.Media(std::to_string(number) + ".jpg"), "12345");
        for (int number = 0; number < 6; ++number)
            EXPECT_EQ(add(number), JOBS_RTN_SUCCEEDED);
        card.Fill();
        if (eatsMeanwhile)
            calls.Watch([this](const auto&) { return card.Fill(), 0; });
        int refused = 0;
        for (int number = 6; number < 40; ++number)
            if (const int32_t code = add(number); code != JOBS_RTN_SUCCEEDED) {
                EXPECT_EQ(code, JOBS_RTN_FS_ERROR);
                ++refused;
            }
        EXPECT_GT(refused, 0) << "the card was full";
        calls.Watch({});
        RemoveRecording();
        Restart();
        ASSERT_EQ(OpenJob(job, "small"), JOBS_RTN_SUCCEEDED);
        for (const std::string& path : acknowledged)
            EXPECT_NE(MediaID(path), "") << path;
        EXPECT_EQ(CloseJob(), JOBS_RTN_SUCCEEDED);
        EXPECT_EQ(Code("DeleteJob", "small", job.id), JOBS_RTN_SUCCEEDED);
    }
}

TEST_P(FullCardTest, AJobIsMadeWholeOrNotAtAll) {
    ASSERT_EQ(Tree(), Texts{});
    int refused = 0;
    for (const uintmax_t room : steps) {
        SCOPED_TRACE(room);
        Leave(room);
        const int32_t code = Create();
        if (code == JOBS_RTN_SUCCEEDED)
            break;
        EXPECT_EQ(code, JOBS_RTN_FS_ERROR);
        ++refused;
        EXPECT_EQ(Tree(), Texts{});
        EXPECT_EQ(Stats()["nRuvoJobs"], 0);
        EXPECT_EQ(Call("GetCurrentJobID").Read<std::string>(), "");
    }
    EXPECT_GT(refused, 1) << "it failed in several of its steps";
    const std::string id = Call("GetCurrentJobID").Read<std::string>();
    ASSERT_NE(id, "") << "and then there was room";
    Restart();
    EXPECT_EQ(OpenJob({id, {}}, "small"), JOBS_RTN_SUCCEEDED);
}

TEST_P(FullCardTest, AnOldJobStaysWhatItWasUntilItsFileHasRoom) {
    Simulator::MakeLegacyCard(card.Folder(), {.jobs = 1, .bookmarksPerJob = 9});
    for (const bool opens : {false, true}) {
        SCOPED_TRACE(opens);
        FindJobs();
        ASSERT_EQ(List().size(), 1u);
        const std::string id = List()[0]["id"];
        const Texts before = Tree();
        int refused = 0;
        for (const uintmax_t room : steps) {
            SCOPED_TRACE(room);
            Leave(room);
            if (opens) {
                OpenJob({id, {}}, "small");
                CloseJob();
            } else {
                EXPECT_EQ(Code("ConvertJobs", "small"), 0);
                AwaitIndex();
            }
            if (List()[0]["version"] == "2.0")
                break;
            const Texts after = Tree();
            const bool hasFlag =
                std::ranges::any_of(after, [](const auto& path) { return path.ends_with("-converted"); });
            const bool hasFile =
                std::ranges::any_of(after, [](const auto& path) { return path.ends_with("job.json"); });
            EXPECT_EQ(hasFlag, hasFile);
            ++refused;
            EXPECT_EQ(Stats()["nTamsyJobs"], 1);
            FindJobs();
            ASSERT_EQ(List().size(), 1u) << testing::PrintToString(after);
        }
        EXPECT_GT(refused, 0);
        RemoveRecording();
        Restart();
        if (Stats()["nTamsyJobs"] == 1) {
            ASSERT_EQ(Code("ConvertJobs", "small"), 0);
            AwaitIndex();
        }
        EXPECT_EQ(Stats()["nRuvoJobs"], 1);
        const Json job = Json::parse(std::get<1>(Text("GetJob", "small", id)));
        EXPECT_EQ(job["media"].size(), 9u);
        // As it was before, for the other way.
        for (const std::string& path : Tree())
            if (path.ends_with("-converted") || path.find("job.json") != std::string::npos)
                fs::remove(card.Path(path));
    }
}

TEST_P(FullCardTest, JobsCanBeDeletedAndMovedAway) {
    Texts ids;
    for (int number = 0; number < 14; ++number) {
        const CreatedJob job = CreateJob("Job " + std::to_string(number), "small");
        ids.push_back(job.id);
        CloseJob();
    }
    // Whatever becomes free goes to the recording at once.
    card.Fill();
    calls.Watch([this](const auto& call) { return call.what == "sync" ? (card.Fill(), 0) : 0; });
    EXPECT_EQ(Code("DeleteJob", "small", ids[0]), JOBS_RTN_SUCCEEDED);
    EXPECT_EQ(Code("MoveJob", "small", "back", ids[1]), JOBS_RTN_SUCCEEDED);
    service.Client().TakeSignals();
    EXPECT_EQ(Code("DeleteJobList", "small", Texts(ids.begin() + 2, ids.end())), JOBS_RTN_SUCCEEDED);
    const Signal finish = service.Client().WaitForSignal("JobListDeleteFinish");
    AwaitIndex();
    EXPECT_EQ(finish.arguments.values, (std::vector<WireValue>{false, 12, 12}));
    calls.Watch({});
    EXPECT_EQ(Tree(), Texts{});
    EXPECT_EQ(service.Card("back").List().size(), 1u);
}

INSTANTIATE_TEST_SUITE_P(Filesystems, FullCardTest, testing::Values("tmpfs", "ext4"),
                         [](const auto& type) { return std::string(type.param); });

} // namespace
} // namespace Testing
