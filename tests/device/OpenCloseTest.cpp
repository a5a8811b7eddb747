#include "device/FixedClock.h"
#include "device/ServiceTest.h"

#include <syslog.h>

using namespace JobsManagerD;
namespace fs = std::filesystem;

namespace Testing {
namespace {

class OpenCloseTest : public ServiceTest {
protected:
    CreatedJob ClosedJob(const std::string& name) {
        CreatedJob job = CreateJob(name);
        EXPECT_EQ(CloseJob(), JOBS_RTN_SUCCEEDED);
        return job;
    }
    CodeAndText Notes(const CreatedJob& job) { return Text("GetJobNotes", "", job.id); }
    bool IsClosedByQuery(const CreatedJob& job) {
        return LogCapture::Count("ManagedDevice::_FindAndCloseNonCurrentJob - Closing job with ID: " + job.id) == 1;
    }
};

TEST_F(OpenCloseTest, OneQueriedJobStaysOpenBesideTheCurrentOne) {
    const CreatedJob a = ClosedJob("A");
    const CreatedJob b = ClosedJob("B");
    const CreatedJob c = ClosedJob("C");
    for (const CreatedJob& job : {a, b, c})
        EditJobFile(job, [](Json& document) { document["notes"] = "on the card"; });
    ForgetTraffic();
    EXPECT_EQ(Notes(a), CodeAndText(0, "on the card"));
    EXPECT_EQ(Notes(b), CodeAndText(0, "on the card"));
    EXPECT_TRUE(IsClosedByQuery(a));
    EXPECT_EQ(OpenJob(a), JOBS_RTN_SUCCEEDED);
    EXPECT_FALSE(IsClosedByQuery(b)) << "opening as current closes nothing";
    EXPECT_EQ(Notes(c), CodeAndText(0, "on the card"));
    EXPECT_TRUE(IsClosedByQuery(b));
    EditJobFile(a, [](Json& document) { document["notes"] = "edited"; });
    EditJobFile(b, [](Json& document) { document["notes"] = "edited"; });
    EXPECT_EQ(Notes(a), CodeAndText(0, "on the card")) << "the current job stays in memory";
    EXPECT_EQ(Notes(c), CodeAndText(0, "on the card"));
    EXPECT_EQ(Notes(b), CodeAndText(0, "edited"));
    EXPECT_TRUE(IsClosedByQuery(c));
    EXPECT_EQ(Traffic(), Texts{"front CurrentJobID=" + a.id}) << "queries tell nothing";
    EXPECT_TRUE(WriteActive().empty());
}

TEST_F(OpenCloseTest, AJobThatIsOpenBecomesCurrentAsItIs) {
    const CreatedJob job = ClosedJob("A");
    EXPECT_EQ(Notes(job), CodeAndText(0, ""));
    EditJobFile(job, [](Json& document) { document["notes"] = "unseen"; });
    ForgetTraffic();
    EXPECT_EQ(OpenJob(job), JOBS_RTN_SUCCEEDED);
    EXPECT_EQ(Traffic(), Texts{"front CurrentJobID=" + job.id});
    EXPECT_TRUE(Logged(LOG_INFO, "JobsManagerDaemon::JobOpened: - ID: " + job.id));
    EXPECT_EQ(Notes(job), CodeAndText(0, ""));
    EXPECT_EQ(CloseJob(), JOBS_RTN_SUCCEEDED);
    EXPECT_EQ(Traffic(), Texts{"front CurrentJobID="});
    EXPECT_TRUE(Logged(LOG_INFO, "ManagedDevice::CloseJob. Closed job with ID: " + job.id));
    EXPECT_EQ(Notes(job), CodeAndText(0, "unseen"));
}

TEST_F(OpenCloseTest, ARecordingIntoTheJobKeepsItOpen) {
    const CreatedJob job = CreateJob();
    const std::string inside = job.Media("rec.mp4");
    const std::string videoLine =
        "ManagedDevice::CloseJob - Video recording active to file within job folder " + inside;
    const std::string otherLine =
        "ManagedDevice::CloseJob - PhotoTalk recording active to file within job folder " + inside;
    for (const auto& [activity, line] :
         {std::pair{"Recording", videoLine}, {"PhotoTalk", otherLine}, {"AutoLog", otherLine}}) {
        for (const int32_t state : {1, 2}) {
            ForgetTraffic();
            Unit().Video().Start(activity, inside, state);
            EXPECT_EQ(Text("CloseJob"), CodeAndText(JOBS_RTN_JOB_ACTIVE_RECORDING, job.id)) << activity << state;
            EXPECT_EQ(Errors(), Texts{line});
            EXPECT_EQ(Traffic(), Texts{});
        }
        for (const int32_t state : {0, 3, -1}) {
            Unit().Video().Start(activity, inside, state);
            EXPECT_EQ(CloseJob(), JOBS_RTN_SUCCEEDED) << activity << state;
            EXPECT_EQ(OpenJob(job), JOBS_RTN_SUCCEEDED);
        }
        Unit().Video().Start(activity, service.CardFolder("back") + "/other/rec.mp4");
        EXPECT_EQ(CloseJob(), JOBS_RTN_SUCCEEDED) << activity << " goes elsewhere";
        EXPECT_EQ(OpenJob(job), JOBS_RTN_SUCCEEDED);
        Unit().Video().Stop(activity);
    }
}

TEST_F(OpenCloseTest, AVideoServiceThatDoesNotAnswerKeepsTheCurrentJobOpen) {
    const CreatedJob queried = ClosedJob("Queried");
    const CreatedJob job = CreateJob();
    for (const std::string activity : {"Recording", "PhotoTalk", "AutoLog"}) {
        Unit().Video().Start(activity, service.CardFolder("back") + "/rec.mp4");
        for (const std::string& property : {activity + "State", activity + "Filename"}) {
            ForgetTraffic();
            Unit().Video().Refuse(property);
            EXPECT_EQ(Text("CloseJob"), CodeAndText(JOBS_RTN_DBUS_ERROR, job.id)) << property;
            EXPECT_EQ(Errors(), Texts{"ManagedDevice::CloseJob - Dbus comms error"}) << property;
            Unit().Video().AnswerNormally(property);
        }
    }
    Unit().Video().Set("RecordingState", "a text");
    EXPECT_EQ(CloseJob(), JOBS_RTN_DBUS_ERROR);
    Unit().Video().GoAway();
    EXPECT_EQ(CloseJob(), JOBS_RTN_DBUS_ERROR);
    EXPECT_EQ(Call("GetCurrentJobID").Read<std::string>(), job.id);
    EXPECT_EQ(Notes(queried), CodeAndText(0, "")) << "a job that is not current closes without a question";
}

TEST_F(OpenCloseTest, WhatTheMediumSaysOtherwiseIsPutRightAndTold) {
    const FixedClock clock("2024-05-01T08:10:11Z");
    const CreatedJob job = CreateJob();
    for (const char* name : {"gone.jpg", "empty.jpg", "grown.jpg", "same.jpg"})
        AddSnapshot(job, name, 10);
    CloseJob();
    fs::remove(job.Media("gone.jpg"));
    Write(job.Media("empty.jpg"), "");
    Write(job.Media("grown.jpg"), std::string(25, 'x'));
    ForgetTraffic();
    EXPECT_EQ(OpenJob(job), JOBS_RTN_SUCCEEDED);
    EXPECT_EQ(Traffic(), (Texts{"front JobChanged", "front CurrentJobID=" + job.id}));
    EXPECT_EQ(WriteActive(), (Texts{"front on", "front off"}));
    EXPECT_TRUE(Logged(LOG_DEBUG, "ManagedDevice::_OpenJob. Jobfile and filesystem discrepancies found for job: " +
                                      job.File().string()));
    std::map<std::string, uint64_t> sizes;
    const Json media = JobFile(job).at("media");
    for (const Json& item : media)
        sizes[item.at("files").at(0).at("name")] = item.at("files").at(0).at("size");
    EXPECT_EQ(sizes, (std::map<std::string, uint64_t>{
                         {"gone.jpg", 0}, {"empty.jpg", 0}, {"grown.jpg", 25}, {"same.jpg", 10}}));
    EXPECT_EQ(JobFile(job).at("jobSize"), 35);
    EXPECT_EQ(JobFile(job).at("timestamp").at("modifiedTime"), "2024-05-01T08:10:11Z");
    CloseJob();
    Traffic();
    EXPECT_EQ(OpenJob(job), JOBS_RTN_SUCCEEDED);
    EXPECT_EQ(Traffic(), Texts{"front CurrentJobID=" + job.id}) << "now they agree";

    CloseJob();
    fs::remove(job.Media("same.jpg"));
    Unit().Storage().SetReadOnly("front", true);
    SettleStorage();
    ForgetTraffic();
    EXPECT_EQ(OpenJob(job), JOBS_RTN_SUCCEEDED);
    EXPECT_EQ(Traffic(), (Texts{"front JobChanged", "front CurrentJobID=" + job.id}));
    EXPECT_EQ(Errors(), (Texts{"UpdateJobFile - Filesystem is read-only",
                               "ManagedDevice::_OpenJob. Failed to update job file: " + job.File().string()}));
    EXPECT_EQ(JobFile(job).at("jobSize"), 35);
}

TEST_F(OpenCloseTest, ABrokenJobFileComesBackFromItsBackup) {
    const CreatedJob job = CreateJob();
    EXPECT_EQ(Code("SetJobNotes", "", "", "first"), 0);
    EXPECT_EQ(Code("SetJobNotes", "", "", "second"), 0);
    CloseJob();
    const fs::path backup = job.File().string() + ".bak";
    Write(job.File(), "{\"id\":");
    LogCapture::Take();
    EXPECT_EQ(OpenJob(job), JOBS_RTN_SUCCEEDED);
    EXPECT_EQ(Notes(job), CodeAndText(0, "first")) << "the state before the save that broke";
    EXPECT_EQ(LogCapture::Count("falling back to backup"), 1u);
    EXPECT_EQ(Read(job.File()), Read(backup));
    EXPECT_EQ(JobFile(job).at("notes"), "first");
    CloseJob();

    const std::string good = Read(backup);
    const std::string openLine = "ManagedDevice::_OpenJob. Failed to open job file: " + job.File().string();
    const auto refuse = [&](const std::string& what, int32_t code) {
        LogCapture::Take();
        EXPECT_EQ(OpenJob(job), code) << what;
        EXPECT_TRUE(Logged(LOG_ERR, openLine)) << what;
        EXPECT_EQ(std::get<0>(Notes(job)), code) << what;
        EXPECT_TRUE(Logged(LOG_ERR, "ManagedDevice::GetJobNotes - Failed to open job with ID: " + job.id)) << what;
    };
    Write(job.File(), "");
    Write(backup, "also broken");
    refuse("both broken", JOBS_RTN_FS_ERROR);
    Write(backup, good);
    fs::remove(job.File());
    refuse("no job file, whatever the backup", JOBS_RTN_FS_ERROR);
    Write(job.File(), R"({"address":3})");
    refuse("valid JSON that is no job", JOBS_RTN_JOB_FILE_MISSING_FIELDS);
    EXPECT_EQ(Read(backup), good);
    fs::rename(backup, job.File());
    EXPECT_EQ(OpenJob(job), JOBS_RTN_SUCCEEDED);
}

TEST_F(OpenCloseTest, MemoryLeadsTheMediumWhenASaveFails) {
    const CreatedJob job = CreateJob();
    const fs::path aside = job.folder.string() + " aside";
    fs::rename(job.folder, aside);
    ForgetTraffic();
    EXPECT_EQ(Code("SetJobNotes", "", "", "in memory"), JOBS_RTN_FS_ERROR);
    EXPECT_TRUE(Logged(LOG_ERR, "ManagedDevice::UpdateJobFile - Failed to update job file " + job.File().string() +
                                    " : FILESYSTEM_ERROR"));
    EXPECT_EQ(Errors().back(), "ManagedDevice::SetJobNotes - Failed to update job file");
    EXPECT_EQ(Notes(job), CodeAndText(0, "in memory"));
    EXPECT_EQ(Traffic(), Texts{});
    EXPECT_EQ(WriteActive(), (Texts{"front on", "front off"}));
    fs::rename(aside, job.folder);

    const std::string before = Read(job.File());
    fs::rename(job.File(), job.folder / "aside");
    fs::create_directory(job.File());
    EXPECT_EQ(Code("SetJobNotes", "", "", "again"), JOBS_RTN_FS_ERROR);
    fs::remove(job.File());
    fs::create_symlink(job.folder / "aside", job.File());
    EXPECT_EQ(Code("SetJobNotes", "", "", "and again"), JOBS_RTN_FS_ERROR) << "a link is not followed";
    EXPECT_EQ(Read(job.folder / "aside"), before);
    fs::rename(job.folder / "aside", job.File());
    EXPECT_EQ(Code("SetJobName", "", "", "Road"), JOBS_RTN_SUCCEEDED);
    EXPECT_EQ(JobFile(job).at("notes"), "and again") << "the next save writes all of it";

    Unit().Storage().SetReadOnly("front", true);
    SettleStorage();
    ForgetTraffic();
    EXPECT_EQ(Code("SetJobNotes", "", "", "read-only"), JOBS_RTN_READ_ONLY_FS);
    EXPECT_EQ(Errors(), (Texts{"UpdateJobFile - Filesystem is read-only",
                               "ManagedDevice::SetJobNotes - Failed to update job file"}));
    EXPECT_EQ(Notes(job), CodeAndText(0, "read-only"));
    EXPECT_EQ(WriteActive(), Texts{});
    CloseJob();
    EXPECT_EQ(Notes(job), CodeAndText(0, "and again"));
}

} // namespace
} // namespace Testing
