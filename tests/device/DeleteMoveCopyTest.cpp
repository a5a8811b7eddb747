#include "device/FailingFilesystem.h"
#include "device/FindingJobsTest.h"

#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <syslog.h>

namespace Testing {
namespace {

namespace fs = std::filesystem;
using namespace JobsManagerD;

class DeleteMoveCopyTest : public FindingJobsTest {
protected:
    /// What lies below a folder: each file with its contents, each link with its target, each folder.
    static std::map<std::string, std::string> Tree(const fs::path& folder) {
        std::map<std::string, std::string> tree;
        if (!fs::exists(folder))
            return tree;
        for (const fs::directory_entry& entry : fs::recursive_directory_iterator(folder)) {
            std::string& contents = tree[entry.path().lexically_relative(folder)];
            if (entry.is_symlink())
                contents = "-> " + fs::read_symlink(entry.path()).string();
            else if (entry.is_regular_file())
                contents = Read(entry.path());
        }
        return tree;
    }

    const TemporaryFolder& Card(const std::string& id) { return service.Card(id); }
    fs::path Folder(const std::string& card, const std::string& job) { return Card(card) / job; }

    /// A job with files two folders deep.
    void PutWholeJob(const std::string& folder, const Json& document) {
        PutJob(folder, document);
        PutJob(folder, document, "job.json.bak");
        Card("front").Write(folder + "/media/picture.jpg", std::string(70000, 'p'));
        Card("front").Write(folder + "/media/deep/empty", "");
    }

    int32_t Delete(const std::string& id) { return Code("DeleteJob", "front", id); }
    int32_t Move(const std::string& id) { return Code("MoveJob", "front", "back", id); }
    int32_t Copy(const std::string& id) { return Code("CopyJob", "front", "back", id); }

    Json StatsOf(const std::string& card) { return Json::parse(std::get<1>(Text("GetJobListStats", card))); }
    Texts Listed(const std::string& card) {
        Texts ids;
        for (const Json& summary :
             Json::parse(std::get<1>(Text("GetJobList", card, uint8_t{2}, uint8_t{0}, uint16_t{0}, uint16_t{0}))))
            ids.push_back(summary["id"]);
        return ids;
    }
    void FindJobsOn(const std::string& card) {
        ASSERT_EQ(Code("FindJobs", card), 0);
        ASSERT_TRUE(service.WaitForDeviceProperty(card, "DeviceState", "Idle"));
    }
};

TEST_F(DeleteMoveCopyTest, ADeletedJobIsGoneFromTheCardAndFromTheList) {
    for (const char* id : {"A", "B", "C"})
        PutWholeJob(id, JobDocument(id));
    Card("front").Write(".DeletedJobs/left/over", "by a crash");
    FindJobs();
    Card("front").Write(".DeletedJobs/left/over", "by a crash");
    ForgetTraffic();
    EXPECT_EQ(Delete("B"), 0);
    EXPECT_EQ(WriteActive(), (Texts{"front on", "front off"}));
    EXPECT_EQ(Card("front").List(), (Texts{"A", "C"}));
    EXPECT_EQ(IdsInListOrder(), (Texts{"C", "A"}));
    EXPECT_EQ(Stats()["nRuvoJobs"], 2);
    const Texts traffic = Traffic();
    ASSERT_EQ(traffic.size(), 1u);
    EXPECT_NE(traffic[0].find("front JobListStatus=true JobListStats="), std::string::npos) << traffic[0];
    const std::string folder = Folder("front", "B");
    const std::string trash = Folder("front", ".DeletedJobs");
    for (const std::string& line : {std::string("DeleteJob"), std::string("DeleteJobInternal"),
                                    "rename() - delete - from " + folder + " to " + trash + "/B ok",
                                    std::string("DeleteJobInternal JobDeleted - B")})
        EXPECT_TRUE(Logged(LOG_INFO, line));

    EXPECT_EQ(Delete("B"), JOBS_RTN_JOB_ID_NOT_FOUND);
    EXPECT_TRUE(Logged(LOG_ERR, "DeleteJob - No job found on device front with ID: B."));
    EXPECT_EQ(Delete(""), JOBS_RTN_JOB_ID_NOT_FOUND);
}

TEST_F(DeleteMoveCopyTest, AQueriedJobIsClosedAndDeleted) {
    PutWholeJob("A", JobDocument("A"));
    FindJobs();
    EXPECT_EQ(std::get<0>(Text("GetJobNotes", "front", "A")), 0);
    EXPECT_EQ(Delete("A"), 0);
    EXPECT_TRUE(Logged(LOG_INFO, "ManagedDevice::CloseJob. Closed job with ID: A"));
}

TEST_F(DeleteMoveCopyTest, AFolderInTheWayIsMovedAsAWhole) {
    PutWholeJob("A", JobDocument("A"));
    fs::create_symlink("../elsewhere", Folder("front", "A") / "link");
    FindJobs();
    const auto tree = Tree(Folder("front", "A"));
    ForgetTraffic();
    EXPECT_EQ(Copy("A"), 0);
    EXPECT_EQ(WriteActive(), (Texts{"back on", "back off"}));
    EXPECT_EQ(Tree(Folder("front", "A")), tree);
    EXPECT_EQ(Tree(Folder("back", "A")), tree);
    EXPECT_EQ(Card("back").List(), Texts{"A"}) << "no trash stays";
    Texts traffic = Traffic();
    ASSERT_EQ(traffic.size(), 2u);
    EXPECT_EQ(traffic[1], "back JobChanged");

    EXPECT_EQ(Copy("A"), JOBS_RTN_JOB_FILE_EXISTS);
    EXPECT_TRUE(Logged(LOG_ERR, "destination device has a job with jobID A - has it been moved/copied previously?"));
    EXPECT_EQ(Code("DeleteJob", "back", "A"), 0);

    ForgetTraffic();
    EXPECT_EQ(Move("A"), 0);
    EXPECT_EQ(WriteActive(), (Texts{"front on", "back on", "front off", "back off"}));
    EXPECT_EQ(Tree(Folder("back", "A")), tree);
    EXPECT_EQ(Card("front").List(), Texts{});
    EXPECT_EQ(StatsOf("front")["nRuvoJobs"], 0);
    EXPECT_EQ(StatsOf("back")["nRuvoJobs"], 1);
    traffic = Traffic();
    ASSERT_EQ(traffic.size(), 3u);
    EXPECT_EQ(traffic[2].substr(0, 6), "front ") << "the source is told last";
}

TEST_F(DeleteMoveCopyTest, EachOperationHasItsChecks) {
    for (const char* id : {"A", "B"})
        PutWholeJob(id, JobDocument(id));
    FindJobs();
    const auto expect = [this](int32_t deleted, int32_t moved, int32_t copied, const Texts& errors) {
        LogCapture::Take();
        EXPECT_EQ(Delete("A"), deleted);
        EXPECT_EQ(Move("A"), moved);
        EXPECT_EQ(Errors(), errors);
        EXPECT_EQ(Copy("A"), copied);
        fs::remove_all(Folder("back", "A"));
        FindJobsOn("back");
    };
    const std::string internal = "ManagedDevice::MoveCopyInternal - ";
    const auto couldNot = [&](int code) {
        return internal + "Could not move jobID: A on source device - " + std::to_string(code);
    };

    ASSERT_EQ(Code("SetJobLocked", "front", "A", true), 0);
    expect(JOBS_RTN_LOCKED_JOB, JOBS_RTN_LOCKED_JOB, 0,
           {"DeleteJob - Job is locked", internal + "Job is locked", couldNot(17)});
    ASSERT_EQ(Code("SetJobLocked", "front", "A", false), 0);

    const std::string played = Folder("front", "A") / "media/video.mp4";
    Unit().Video().Start("Playback", played, 2);
    expect(JOBS_RTN_JOB_ACTIVE_PLAYBACK, JOBS_RTN_JOB_ACTIVE_PLAYBACK, 0,
           {"DeleteJobInternal - Playback active from file within job folder " + played,
            internal + "Playback active from file within job folder " + played, couldNot(13)});
    Unit().Video().Stop("Playback");

    Unit().Video().GoAway();
    expect(JOBS_RTN_DBUS_ERROR, JOBS_RTN_DBUS_ERROR, 0,
           {"DeleteJobInternal - Dbus comms error", internal + "Dbus comms error", couldNot(22)});
    Unit().Video().ComeBack();

    ASSERT_EQ(OpenJob({"A", {}}, "front"), 0);
    expect(JOBS_RTN_CURRENT_JOB_PROTECTED, JOBS_RTN_CURRENT_JOB_PROTECTED, 0,
           {"DeleteJob - Job is current job (A).", internal + "Job is current job (A).", couldNot(16)});
    EXPECT_EQ(Call("GetCurrentJobID").Read<std::string>(), "A") << "a copy leaves it open";
    ASSERT_EQ(CloseJob(), 0);

    EXPECT_EQ(Code("MoveJob", "front", "front", "none"), JOBS_RTN_DUPLICATE_FILESYSTEMS);
    EXPECT_EQ(Code("CopyJob", "front", "front", "none"), JOBS_RTN_DUPLICATE_FILESYSTEMS);
    EXPECT_EQ(Move("none"), JOBS_RTN_JOB_ID_NOT_FOUND);

    expect(0, JOBS_RTN_JOB_ID_NOT_FOUND, JOBS_RTN_JOB_ID_NOT_FOUND,
           {"MakeHidden: Failed to read FAT attributes - " + Folder("front", ".DeletedJobs").string(),
            "MoveCopyInternal - No job found on device front with ID: A.", couldNot(9)});
    Card("back").Write("B/of another job", "");
    LogCapture::Take();
    EXPECT_EQ(Copy("B"), JOBS_RTN_JOB_FILE_EXISTS);
    EXPECT_EQ(Errors(), (Texts{"destination device has a path " + Folder("back", "B").string() +
                                   " - has it been copied previously?",
                               internal + "Could not copy jobID: B on source device - 28"}));

    Unit().Storage().SetReadOnly("front", true);
    SettleStorage();
    expect(JOBS_RTN_READ_ONLY_FS, JOBS_RTN_READ_ONLY_FS, JOBS_RTN_JOB_ID_NOT_FOUND,
           {"DeleteJob - Filesystem is read-only", internal + "source filesystem is read-only", couldNot(3)});
    Unit().Storage().SetReadOnly("back", true);
    SettleStorage();
    EXPECT_EQ(Copy("B"), JOBS_RTN_READ_ONLY_FS);
    EXPECT_TRUE(Logged(LOG_ERR, internal + "destination filesystem is read-only"));
}

TEST_F(DeleteMoveCopyTest, AJobThatCannotBeReadThereIsTakenAway) {
    PutWholeJob("A", JobDocument("A"));
    FindJobs();
    Card("front").Write("A/job.json", "damaged");
    Card("front").Write("A/job.json.bak", "too");
    EXPECT_EQ(Move("A"), JOBS_RTN_FS_ERROR);
    EXPECT_TRUE(Logged(LOG_ERR, "IndexDirectory() failed"));
    EXPECT_EQ(Card("back").List(), Texts{});
    EXPECT_TRUE(Card("front").Exists("A/media/picture.jpg"));
    EXPECT_EQ(Listed("front"), Texts{"A"});
    EXPECT_EQ(Listed("back"), Texts{});

    // Nor is anything copied that cannot be copied.
    ASSERT_EQ(mkfifo((Folder("front", "A") / "fifo").c_str(), 0600), 0);
    EXPECT_EQ(Copy("A"), JOBS_RTN_FS_ERROR);
    EXPECT_TRUE(Logged(LOG_ERR, "Recursive fs::copy from " + Folder("front", "A").string() + " to " +
                                    Folder("back", ".DeletedJobs/A").string() + " failed"));
    EXPECT_EQ(Card("back").List(), Texts{});
}

TEST_F(DeleteMoveCopyTest, WhatStandsInThePlaceOfTheTrashIsRemoved) {
    for (const char* id : {"A", "B", "C"})
        PutWholeJob(id, JobDocument(id));
    FindJobs();
    const TemporaryFolder outside;
    outside.Write("kept", "");
    fs::create_directory_symlink(outside.Path(), Folder("front", ".DeletedJobs"));
    EXPECT_EQ(Delete("A"), 0);
    fs::create_symlink("nowhere", Folder("front", ".DeletedJobs"));
    EXPECT_EQ(Delete("B"), 0);
    Card("back").Write(".DeletedJobs", "a file");
    EXPECT_EQ(Move("C"), 0);
    EXPECT_TRUE(outside.Exists("kept"));
    EXPECT_EQ(Card("front").List(), Texts{});
    EXPECT_EQ(Card("back").List(), Texts{"C"});
}

/// A filesystem of one megabyte over a folder.
class SmallFilesystem {
public:
    explicit SmallFilesystem(const std::string& path)
        : _path(path), _isMounted(mount("tmpfs", path.c_str(), "tmpfs", 0, "size=1m") == 0) {}
    SmallFilesystem(const SmallFilesystem&) = delete;
    SmallFilesystem& operator=(const SmallFilesystem&) = delete;
    ~SmallFilesystem() { Unmount(); }
    bool IsMounted() const { return _isMounted; }
    void Unmount() {
        if (std::exchange(_isMounted, false))
            umount2(_path.c_str(), MNT_DETACH);
    }

private:
    const std::string _path;
    bool _isMounted;
};

TEST_F(DeleteMoveCopyTest, WhatIsPulledIsNotTakenForAFolder) {
    PutWholeJob("A", JobDocument("A"));
    PutWholeJob("B", JobDocument("B"));
    FindJobs();
    const std::string folder = service.MakeCard("real").Path();
    SmallFilesystem card(folder);
    if (!card.IsMounted())
        GTEST_SKIP() << "only root can mount a card of its own";
    service.InsertCard("real");
    ASSERT_TRUE(service.WaitForDeviceProperty("real", "DeviceState", "Idle"));
    EXPECT_EQ(Code("MoveJob", "front", "real", "A"), 0);
    card.Unmount();
    EXPECT_EQ(Code("MoveJob", "front", "real", "B"), JOBS_RTN_FS_ERROR);
    EXPECT_TRUE(Logged(LOG_ERR, "Failed to create destination (trash) directory " + folder + "/.DeletedJobs"));
    EXPECT_EQ(Code("DeleteJob", "real", "A"), JOBS_RTN_FS_ERROR);
    EXPECT_TRUE(fs::is_empty(folder));
    EXPECT_EQ(Card("front").List(), Texts{"B"});
}

TEST_F(DeleteMoveCopyTest, MoreThanTheJobNeedsHasToBeFree) {
    const std::string back = Card("back").Path();
    const SmallFilesystem card(back);
    if (!card.IsMounted())
        GTEST_SKIP() << "only root can mount a card of its own";
    struct statvfs status {};
    ASSERT_EQ(statvfs(back.c_str(), &status), 0);
    const uint64_t free = status.f_bavail * status.f_bsize;
    const std::map<std::string, uint64_t> sizes{{"A", free}, {"B", free - 1}, {"C", 5}};
    for (const auto& [id, size] : sizes) {
        Json document = JobDocument(id);
        document["jobSize"] = size;
        PutWholeJob(id, document);
    }
    Card("front").Write("C/media/larger than told", std::string(2 << 20, 'v'));
    FindJobs();
    EXPECT_EQ(Move("A"), JOBS_RTN_INSUFFICIENT_SPACE);
    EXPECT_TRUE(Logged(LOG_ERR, "Insufficient space for this job on destination"));
    EXPECT_EQ(Code("CopyJobList", "front", "back", Texts{"B", "C"}), JOBS_RTN_INSUFFICIENT_SPACE);
    EXPECT_TRUE(Logged(LOG_ERR, "Insufficient space to copy all jobs to destination"));
    EXPECT_EQ(Copy("B"), 0);
    EXPECT_EQ(Move("C"), JOBS_RTN_FS_ERROR) << "the card runs full";
    EXPECT_EQ(Card("back").List(), Texts{"B"});
    EXPECT_EQ(Listed("front"), (Texts{"C", "B", "A"}));
}

/// Each call to the filesystem that an operation makes fails once: the job is whole at its place or whole at its new
/// place, both or neither as the operation says, and the rest is garbage that the next index run removes.
class FailingCallTest : public DeleteMoveCopyTest, public testing::WithParamInterface<const char*> {};

TEST_P(FailingCallTest, LeavesNoHalfJob) {
    const std::string method = GetParam();
    int calls = 0;
    for (bool hasFailed = true; hasFailed; ++calls) {
        ASSERT_LT(calls, 200) << "no end of calls";
        for (const char* card : {"front", "back"})
            for (const std::string& name : Card(card).List())
                fs::remove_all(Folder(card, name));
        PutWholeJob("A", JobDocument("A"));
        FindJobsOn("front");
        FindJobsOn("back");
        const auto tree = Tree(Folder("front", "A"));

        int32_t code = 0;
        {
            const FailingFilesystem failing(calls + 1);
            code = method == "DeleteJob" ? Delete("A") : Code(method, "front", "back", "A");
            hasFailed = failing.HasFailed();
        }
        SCOPED_TRACE("call " + std::to_string(calls + 1) + ", code " + std::to_string(code));
        const auto source = Tree(Folder("front", "A"));
        const auto destination = Tree(Folder("back", "A"));
        if (method == "CopyJob" || code != 0) {
            EXPECT_EQ(source, tree);
        } else {
            EXPECT_TRUE(source.empty());
        }
        if (method != "DeleteJob" && code == 0) {
            EXPECT_EQ(destination, tree);
        } else {
            EXPECT_TRUE(destination.empty() || (method == "MoveJob" && destination == tree));
        }
        const Texts listed[] = {Listed("front"), Listed("back")};
        EXPECT_EQ(listed[0].size(), source.empty() ? 0u : 1u);
        EXPECT_EQ(listed[1].size(), destination.empty() ? 0u : 1u);

        FindJobsOn("front");
        FindJobsOn("back");
        EXPECT_EQ(Listed("front"), listed[0]);
        EXPECT_EQ(Listed("back"), listed[1]);
        EXPECT_FALSE(Card("front").Exists(".DeletedJobs"));
        EXPECT_FALSE(Card("back").Exists(".DeletedJobs"));
    }
    EXPECT_GT(calls, 5) << "calls were counted";
}

INSTANTIATE_TEST_SUITE_P(Operations, FailingCallTest, testing::Values("DeleteJob", "MoveJob", "CopyJob"));

} // namespace
} // namespace Testing
