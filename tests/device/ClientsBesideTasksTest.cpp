#include "device/FindingJobsTest.h"
#include "fsutil/WatchedCalls.h"
#include "simulator/LegacyCardMaker.h"

#include <algorithm>
#include <future>
#include <map>

using namespace JobsManagerD;
namespace fs = std::filesystem;

namespace Testing {
namespace {

class ClientsBesideTasksTest : public WithWatchedCalls, public FindingJobsTest {
protected:
    /// What lies below a folder: each file with its contents.
    static std::map<std::string, std::string> Tree(const fs::path& folder) {
        std::map<std::string, std::string> tree;
        for (const fs::directory_entry& entry : fs::recursive_directory_iterator(folder))
            tree[entry.path().lexically_relative(folder)] = entry.is_regular_file() ? Read(entry.path()) : "";
        return tree;
    }
    fs::path OnBack(const CreatedJob& job) { return service.Card("back") / job.folder.filename(); }
    void AwaitIdle() {
        for (const char* card : {"front", "back"})
            ASSERT_TRUE(service.WaitForDeviceProperty(card, "DeviceState", "Idle"));
    }
};

TEST_F(ClientsBesideTasksTest, ACopyIsAStateThatTheJobHad) {
    const CreatedJob job = CreateJob("Old", "front");
    const std::string removed = AddSnapshot(job, "removed.jpg", 3000);
    AddSnapshot(job, "kept.jpg", 3000);
    const auto before = Tree(job.folder);
    const struct {
        const char* when;
        const char* what;
        fs::path path;
    } moments[] = {
        {"before the files", "mkdir", OnBack(job).parent_path() / ".DeletedJobs" / job.folder.filename() / "media"},
        {"among the files", "open", job.Media("kept.jpg")},
        {"among the files, the other order", "open", job.Media("removed.jpg")},
    };
    for (const auto& [when, what, path] : moments) {
        SCOPED_TRACE(when);
        auto held = calls.Hold(what, path);
        ASSERT_EQ(Code("CopyJobList", "front", "back", Texts{job.id}), 0);
        ASSERT_TRUE(held.WaitUntilReached());
        EXPECT_EQ(Code("SetJobName", "", "", when), 0);
        const std::string added = AddSnapshot(job, "added.jpg", 3000);
        if (&path == &moments[2].path)
            EXPECT_EQ(Code("DeleteMediaItem", "front", job.id, removed), 0);
        else
            EXPECT_EQ(Code("DeleteMediaItem", "front", job.id, added), 0);
        held.LetGo();
        service.Client().WaitForSignal("JobListCopyFinish");
        AwaitIdle();
        EXPECT_EQ(Tree(OnBack(job)), Tree(job.folder));
        EXPECT_EQ(JobFile({job.id, OnBack(job)})["name"], when);
        EXPECT_EQ(Code("DeleteJob", "back", job.id), 0);
        service.Client().TakeSignals();
    }
}

TEST_F(ClientsBesideTasksTest, ACopyDoesNotEndInTheMiddleOfAChange) {
    const CreatedJob job = CreateJob("Job", "front");
    const std::string removed = AddSnapshot(job, "removed.jpg", 3000);
    const fs::path staging = OnBack(job).parent_path() / ".DeletedJobs" / job.folder.filename();
    auto copying = calls.Hold("mkdir", staging / "media");
    ASSERT_EQ(Code("CopyJobList", "front", "back", Texts{job.id}), 0);
    ASSERT_TRUE(copying.WaitUntilReached());
    // Its file has gone, and the job file still has it.
    auto saving = calls.Hold("sync", job.folder / "job.json.bak");
    auto code = std::async(std::launch::async, [&] { return Code("DeleteMediaItem", "front", job.id, removed); });
    ASSERT_TRUE(saving.WaitUntilReached());
    std::promise<void> mediaAreCopied;
    calls.Watch([&, isFirst = true](const auto& call) mutable {
        if (call.what == "open" && call.path == staging / "media" && std::exchange(isFirst, false))
            mediaAreCopied.set_value();
        return 0;
    });
    copying.LetGo();
    ASSERT_EQ(mediaAreCopied.get_future().wait_for(deadline), std::future_status::ready);
    saving.LetGo();
    EXPECT_EQ(code.get(), 0);
    service.Client().WaitForSignal("JobListCopyFinish");
    AwaitIdle();
    calls.Watch({});
    EXPECT_EQ(Tree(OnBack(job)), Tree(job.folder));
}

TEST_F(ClientsBesideTasksTest, AJobThatIsBeingCopiedIsServedAndStays) {
    const CreatedJob other = CreateJob("Other", "back");
    CloseJob();
    const CreatedJob job = CreateJob("Job", "front");
    AddSnapshot(job, "picture.jpg", 3000);
    CloseJob();
    auto held = calls.Hold("open", job.Media("picture.jpg"));
    ASSERT_EQ(Code("CopyAllJobs", "front", "back"), 0);
    ASSERT_TRUE(held.WaitUntilReached());
    EXPECT_EQ(std::get<0>(Text("GetJobNotes", "front", job.id)), 0);
    EXPECT_EQ(std::get<0>(Text("GetJob", "front", job.id)), 0);
    EXPECT_EQ(OpenJob(job, "front"), 0);
    EXPECT_EQ(Code("SetJobNotes", "", "", "meanwhile"), 0);
    EXPECT_EQ(CloseJob(), 0);
    EXPECT_EQ(Code("DeleteJob", "front", job.id), JOBS_RTN_DEVICE_BUSY);
    EXPECT_EQ(Code("MoveJob", "front", "back", job.id), JOBS_RTN_DEVICE_BUSY);
    EXPECT_EQ(Code("DeleteJob", "back", other.id), 0) << "the destination waits for no arrival";
    held.LetGo();
    AwaitIdle();
    EXPECT_EQ(JobFile({job.id, OnBack(job)})["notes"], "meanwhile");
    EXPECT_EQ(Code("DeleteJob", "front", job.id), 0);
}

TEST_F(ClientsBesideTasksTest, ALockThatWasAnsweredProtects) {
    const CreatedJob job = CreateJob("Job", "front");
    CloseJob();
    const struct {
        const char* finish;
        std::function<int32_t()> start;
    } tasks[] = {
        {"JobListDeleteFinish", [&] { return Code("DeleteJobList", "front", Texts{job.id}); }},
        {"JobListMoveFinish", [&] { return Code("MoveJobList", "front", "back", Texts{job.id}); }},
    };
    for (const auto& [finish, start] : tasks) {
        SCOPED_TRACE(finish);
        ASSERT_EQ(Code("SetJobLocked", "front", job.id, false), 0) << "and it stays open";
        Unit().Video().ForgetCalls();
        Unit().Video().Hold("PlaybackState");
        ASSERT_EQ(start(), 0);
        ASSERT_TRUE(Unit().Video().WaitForCall("PlaybackState"));
        EXPECT_EQ(Code("SetJobLocked", "front", job.id, true), 0);
        Unit().Video().Release("PlaybackState");
        const Signal end = service.Client().WaitForSignal(finish);
        AwaitIdle();
        EXPECT_EQ(*(end.arguments.values.end() - 2), 0) << "none was done";
        EXPECT_EQ(JobFile(job)["locked"], true);
        EXPECT_EQ(Text("GetJobName", "front", job.id), CodeAndText(0, "Job"));
        EXPECT_EQ(service.Card("back").List(), Texts{});
    }
}

/// A job of the earlier generation that could not be converted when it was opened.
TEST_F(ClientsBesideTasksTest, ACurrentOldJobIsClosedByTheConversion) {
    Simulator::MakeLegacyCard(service.CardFolder("front"), {.jobs = 1});
    FindJobs();
    const std::string id = List()[0]["id"];
    Unit().Storage().SetReadOnly("front", true);
    SettleStorage();
    EXPECT_EQ(OpenJob({id, {}}, "front"), JOBS_RTN_READ_ONLY_FS);
    EXPECT_EQ(OpenJob({id, {}}, "front"), 0) << "as it is";
    EXPECT_EQ(Call("GetCurrentJobID").Read<std::string>(), id);
    Unit().Storage().SetReadOnly("front", false);
    SettleStorage();
    ForgetTraffic();
    EXPECT_EQ(Code("ConvertJobs", "front"), 0);
    AwaitIdle();
    EXPECT_EQ(Call("GetCurrentJobID").Read<std::string>(), "");
    EXPECT_EQ(std::ranges::count(Traffic(), "front CurrentJobID="), 1);
    EXPECT_EQ(Stats(), (Json{{"nRuvoJobs", 1}, {"nTamsyJobs", 0}, {"nTamsyJobsAtReIndex", 1}}));
    CreateJob("New", "front");
    EXPECT_EQ(Stats()["nRuvoJobs"], 2);
}

} // namespace
} // namespace Testing
