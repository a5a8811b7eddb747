#include "device/FixedClock.h"
#include "device/ServiceTest.h"
#include "peers/PositionSource.h"

#include <future>
#include <syslog.h>

using namespace JobsManagerD;
namespace fs = std::filesystem;

namespace Testing {
namespace {

class CreateJobTest : public ServiceTest {
protected:
    int32_t CreateCode(const std::string& name) {
        return std::get<0>(Call("CreateJob", "", name).Read<int32_t, std::string, std::string>());
    }
    Texts FolderNames() { return service.Card("front").List(); }

    FixedClock clock{"2024-05-01T08:10:11Z"};
};

TEST_F(CreateJobTest, AJobIsAFolderWithAFileAndAPlaceForMedia) {
    ForgetTraffic();
    const CreatedJob job = CreateJob("Main Street");
    const Source& unit = GetThisUnitInfo();
    EXPECT_EQ(job.folder, fs::path(service.CardFolder("front")) / ("Main Street-" + FixedClock::Local()));
    EXPECT_EQ(service.Card("front").List(job.folder), (Texts{"job.json", "media"})) << "no backup of nothing";
    EXPECT_EQ(Read(job.File()),
              R"({"id":")" + job.id +
                  R"(","jobSize":0,"locked":false,"mediaCounts":{"autologs":0,"images":0,"photoTalks":0,"total":0,)" +
                  R"("videos":0},"mediaFolder":"media","name":"Main Street","source":{"model":)" +
                  Json(unit.model).dump() + R"(,"serial":)" + Json(unit.serial).dump() + R"(,"version":)" +
                  Json(unit.version).dump() + R"(},"timestamp":{"createTime":"2024-05-01T08:10:11Z",)" +
                  R"("modifiedTime":"2024-05-01T08:10:11Z"},"type":"videoInspection","version":"2.0"})");

    Texts lines;
    for (const LogLine& line : LogCapture::Lines())
        if (line.priority == LOG_INFO && line.text.starts_with("ManagedDevice::CreateJob - "))
            lines.push_back(line.text.substr(27));
    EXPECT_EQ(lines, (Texts{"jobFilepath " + job.File().string(),
                            "Job timestamp : Creation: 2024-05-01T08:10:11Z ; Modification: 2024-05-01T08:10:11Z",
                            "Job ID: " + job.id, "Job Source: " + unit.model + ", " + unit.serial + ", " + unit.version,
                            "Job Location: Lat, Lon: Unknown"}));
    EXPECT_TRUE(Logged(LOG_INFO, "JobsManagerDaemon::JobCreated"));
    EXPECT_EQ(LogCapture::Count("JobOpened"), 0u);
    EXPECT_EQ(LogCapture::Count("JobChanged"), 0u) << "the first save is silent";
    EXPECT_EQ(Errors(), Texts{});
}

TEST_F(CreateJobTest, TheTimeTextAloneIsMadeUnique) {
    const std::string time = FixedClock::Local();
    for (const std::string& folder : {time, time + "_1", time + "_2"}) {
        EXPECT_EQ(CreateJob("").folder.filename(), folder);
        CloseJob();
    }
    EXPECT_EQ(CreateJob("Road").folder.filename(), "Road-" + time + "_3");
    CloseJob();
    LogCapture::Take();
    EXPECT_EQ(CreateCode("Road"), JOBS_RTN_FS_ERROR) << "the same name in the same second";
    EXPECT_EQ(Errors().at(0), "ManagedDevice::CreateJob - Failed to create job folder " + service.CardFolder("front") +
                                  "/Road-" + time + "_3");
    EXPECT_EQ(FolderNames().size(), 4u);
}

TEST_F(CreateJobTest, ANameLeadsNowhereElse) {
    const fs::path outside = fs::path(service.CardFolder("front")).parent_path() / ("x-" + FixedClock::Local());
    for (const std::string name : {"../x", "/../x", "a/../../x", "a/b", "../../../../x"}) {
        EXPECT_EQ(CreateCode(name), JOBS_RTN_FS_ERROR) << name;
        EXPECT_EQ(FolderNames(), Texts{}) << name;
        EXPECT_FALSE(fs::exists(outside)) << name;
    }
    EXPECT_EQ(Call("GetCurrentJobID").Read<std::string>(), "");
    EXPECT_EQ(std::get<1>(Text("GetJobListStats", "")), R"({"nRuvoJobs":0,"nTamsyJobs":0,"nTamsyJobsAtReIndex":0})");
    EXPECT_EQ(CreateJob("..Ünïcode \"quoted\"").folder.filename(), "..Ünïcode \"quoted\"-" + FixedClock::Local());
}

TEST_F(CreateJobTest, WhatCannotBeFinishedLeavesNothing) {
    const fs::path folder = fs::path(service.CardFolder("front")) / ("Road-" + FixedClock::Local());
    struct Case {
        std::function<void()> disturb;
        std::string line;
    };
    const Case cases[] = {
        {[&] { fs::remove(folder); }, "ManagedDevice::CreateJob - Failed to create media folder " +
                                          (folder / "media").string() + ".  Removing job folder."},
        {[&] { fs::create_directories(folder / "job.json"); },
         "ManagedDevice::CreateJob - UpdateJobFile returned error code: 5.  Removing job folder."},
    };
    for (const auto& [disturb, line] : cases) {
        ForgetTraffic();
        Unit().Settings().ForgetCalls();
        Unit().Settings().Hold("companyContact");
        auto code = std::async(std::launch::async, [this] { return CreateCode("Road"); });
        EXPECT_TRUE(Unit().Settings().WaitForCall("companyContact")); // the folder is there by now
        disturb();
        Unit().Settings().Release("companyContact");
        EXPECT_EQ(code.get(), JOBS_RTN_FS_ERROR);
        EXPECT_TRUE(Logged(LOG_ERR, line));
        EXPECT_EQ(FolderNames(), Texts{});
        EXPECT_EQ(Traffic(), Texts{});
        EXPECT_EQ(WriteActive(), (Texts{"front on", "front off"}));
    }
    EXPECT_EQ(Call("GetCurrentJobID").Read<std::string>(), "");
}

TEST_F(CreateJobTest, NewMediaAreNamedAfterTheJobAndTheTime) {
    const auto components = [this] {
        return Call("GetNewMediaPathComponents").Read<int32_t, std::string, std::string>();
    };
    const std::string time = FixedClock::Local();
    const CreatedJob named = CreateJob("A");
    EXPECT_EQ(components(), CodeDeviceAndText(0, named.folder / "media", "A-" + time));
    Write(named.Media("A-" + time + ".mp4"), "");
    EXPECT_EQ(components(), CodeDeviceAndText(0, named.folder / "media", "A-" + time + "_1"));
    EXPECT_EQ(Code("SetJobName", "", "", "../../../B"), JOBS_RTN_SUCCEEDED);
    EXPECT_EQ(components(), CodeDeviceAndText(JOBS_RTN_FS_ERROR, "", "")) << "a name must not lead off the card";
    EXPECT_EQ(Code("SetJobName", "", "", "B"), JOBS_RTN_SUCCEEDED);
    EXPECT_EQ(components(), CodeDeviceAndText(0, named.folder / "media", "B-" + time));
    CloseJob();

    const CreatedJob unnamed = CreateJob("");
    EXPECT_EQ(components(), CodeDeviceAndText(0, unnamed.folder / "media", time));
    CloseJob();
    EXPECT_EQ(OpenJob(unnamed), JOBS_RTN_SUCCEEDED);
    EXPECT_EQ(components(), CodeDeviceAndText(0, unnamed.folder / "media", time)) << "reopened in the same run";
    fs::remove_all(unnamed.folder / "media");
    LogCapture::Take();
    EXPECT_EQ(components(), CodeDeviceAndText(JOBS_RTN_FS_ERROR, "", ""));
    EXPECT_EQ(Errors(), Texts{"ManagedDevice::GetNewMediaPathComponents - Failed to create unique media file stem."});
}

} // namespace
} // namespace Testing
