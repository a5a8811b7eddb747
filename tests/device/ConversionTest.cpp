#include "device/FindingJobsTest.h"
#include "device/ManagedDevice.h"
#include "simulator/LegacyCardMaker.h"
#include "simulator/LegacyDatabase.h"

#include <algorithm>
#include <syslog.h>

using namespace JobsManagerD;
namespace fs = std::filesystem;

namespace Testing {
namespace {

using Simulator::LegacyDatabase;

/// Jobs of the earlier generation on the card "front", which their tests put there by hand.
class ConversionTest : public FindingJobsTest {
protected:
    /// A job with one video in the folder "Seg". The ID is the number in each of its bytes.
    std::string PutLegacyJob(const std::string& folder, int number, const std::string& file = "job.jdb3") {
        const TemporaryFolder& card = service.Card("front");
        for (const char* name : {"v", "i", "v-recovery"})
            card.Write(folder + "/Seg/" + name, "12345");
        fs::remove(card / (folder + "/" + file));
        LegacyDatabase db = LegacyDatabase::Make(card / (folder + "/" + file));
        const std::string byte = "0" + std::to_string(number);
        std::string id;
        for (int i = 0; i < 16; ++i)
            id += byte;
        db.Insert("Jobs", {{"UniqueId", "x'" + id + "'"},
                           {"Name", LegacyDatabase::Text("Old " + std::to_string(number))},
                           {"PrivateNote", "'pays late'"},
                           {"Source", "'Tarn 300'"},
                           {"Serial", "'S'"},
                           {"Version", "'1.9'"},
                           {"StartTime", "'2012-01-02 03:04:05'"}});
        db.Insert("JobInfo", {{"JobSize", "15"}, {"DateLastCalculated", "'2012-01-02 04:00:00'"}});
        db.Insert("Segments", {{"Id", "1"}, {"RelativePath", "'Seg'"}});
        db.Insert("Bookmarks", {{"SegmentId", "1"},
                                {"UniqueId", "zeroblob(16)"},
                                {"Type", "'VIDEO'"},
                                {"Timestamp", "'2012-01-02 03:10:00'"},
                                {"PrivateNote", "'not in the report'"},
                                {"VideoPath", "'v'"},
                                {"ImagePath", "'i'"},
                                {"DataPath", "''"}});
        return id.replace(20, 0, "-").replace(16, 0, "-").replace(12, 0, "-").replace(8, 0, "-");
    }
    void Break(const std::string& folder) { service.Card("front").Write(folder + "/recStat", folder + "/Seg/v\n"); }
    /// Converts the card's jobs and waits for all that follows.
    void Convert() {
        ForgetTraffic();
        ASSERT_EQ(Code("ConvertJobs", "front"), JOBS_RTN_SUCCEEDED);
        ASSERT_TRUE(service.WaitForDeviceProperty("front", "DeviceState", "Idle"));
        ASSERT_TRUE(LogCapture::WaitFor("----------------------------------------------- ", 2));
    }
    /// What the card's conversion told; an index run may still have been telling of its end before.
    Texts ConversionTraffic() {
        Texts lines = Traffic();
        std::erase_if(lines, [](const std::string& line) { return !line.starts_with("front "); });
        lines.erase(lines.begin(), std::ranges::find(lines, "front DeviceState=Converting"));
        return lines;
    }
    Json File(const std::string& folder, const std::string& name = "job.json") {
        return Json::parse(service.Card("front").Read(folder + "/" + name));
    }
    std::string CardPath(const std::string& path) { return service.CardFolder("front") + "/" + path; }
    static Json Counts(int ruvo, int tamsy, int tamsyAtReIndex) {
        return {{"nRuvoJobs", ruvo}, {"nTamsyJobs", tamsy}, {"nTamsyJobsAtReIndex", tamsyAtReIndex}};
    }
};

TEST_F(ConversionTest, TheTaskConvertsAllJobsAndANewIndexRunFindsEachOnce) {
    const Texts ids = {PutLegacyJob("C", 3), PutLegacyJob("B", 2, ".hidden.jdb3"), PutLegacyJob("A", 1)};
    PutJob("D", JobDocument("d"));
    Break("C");
    Break("A");
    const std::string database = service.Card("front").Read("C/job.jdb3");
    FindJobs();
    EXPECT_EQ(Stats(), Counts(1, 3, 3));
    EXPECT_TRUE(Logged(LOG_INFO, "Found 4 jobs - 3 Tamsy and 1 Ruvo"));
    EXPECT_EQ(List(0, 1)[0]["version"], "1.0");
    Unit().Settings().Set("jobs", "multiJobConvertUpdatePeriod", uint32_t{0});
    SettleSettings();

    Convert();
    ASSERT_TRUE(Unit().FileRepair().WaitForCall("CheckDevice"));
    const std::string device = Unit().FileRepair().RootPath() + "/front";
    EXPECT_EQ(Unit().FileRepair().CheckDeviceCalls(),
              (std::vector<Simulator::CheckDeviceCall>{{device, device, {CardPath("C"), CardPath("A")}}}));
    EXPECT_TRUE(service.Card("front").Exists("C/Seg/.v.mp4-recActive"));
    EXPECT_EQ(Stats(), Counts(4, 0, 3));
    // A report after each job but the last, and one at the end.
    const Texts traffic = ConversionTraffic();
    EXPECT_EQ(traffic.back(), "front DeviceState=Idle");
    EXPECT_EQ(
        std::ranges::count_if(
            traffic, [](const std::string& line) { return line.find(" JobListStatus=true") != std::string::npos; }),
        3);
    EXPECT_EQ(traffic.size(), 5u) << "and nothing else";
    EXPECT_EQ(WriteActive(), (Texts{"front on", "front off"}));
    for (const char* line : {"ManagedDevice::ConvertDeviceJobs Start", "_JobConversionTask Started Job Conversion Task",
                             "_JobConversionTask *** Job Conversion complete",
                             "JobsManagerD::_TriggerFileRepairScan() Calling FileRepairD::FileRepair::CheckDevice for "
                             "folder(s):"})
        EXPECT_TRUE(Logged(LOG_INFO, line));
    EXPECT_TRUE(Logged(LOG_INFO, CardPath("A")));
    EXPECT_EQ(LogCapture::Count("Conversion of 3 Tamsy jobs took "), 1u);

    EXPECT_EQ(service.Card("front").Read("C/job.jdb3"), database);
    EXPECT_EQ(service.Card("front").List("C"), (Texts{".job.jdb3-converted", "Seg", "job.jdb3", "job.json", "media"}));
    EXPECT_EQ(service.Card("front").Read("C/.job.jdb3-converted"), "");
    EXPECT_TRUE(service.Card("front").Exists("B/.hidden.jdb3-converted"));
    const Json file = File("C");
    EXPECT_EQ(file["id"], ids[0]);
    EXPECT_EQ(file["version"], "2.0");
    EXPECT_EQ(file["mediaFolder"], "") << "or the files would be looked for in the new folder";
    EXPECT_EQ(file["media"][0]["files"][0]["name"], "Seg/v");

    FindJobs();
    EXPECT_EQ(Stats(), Counts(4, 0, 0));
    EXPECT_EQ(IdsInListOrder(), (Texts{"d", ids[0], ids[1], ids[2]}));
    LogCapture::Take();
    const Json opened = Json::parse(std::get<1>(Text("GetJob", "front", ids[0])));
    EXPECT_EQ(opened["jobSize"], 15) << "its files are found";
    EXPECT_EQ(opened["privateNotes"], "pays late");
    EXPECT_EQ(opened["media"][0]["privateNotes"], "not in the report");
    EXPECT_EQ(Errors(), Texts{});
}

TEST_F(ConversionTest, AJobIsConvertedOnItsFirstOpening) {
    const std::string id = PutLegacyJob("A", 1);
    PutLegacyJob("B", 2);
    Break("A");
    FindJobs();
    ForgetTraffic();
    const auto [code, device, summary] = Call("OpenJob", "front", id).Read<int32_t, std::string, std::string>();
    EXPECT_EQ(code, JOBS_RTN_SUCCEEDED);
    EXPECT_EQ(Json::parse(summary)["version"], "2.0");
    EXPECT_EQ(TrafficBesideIndexing("front"), (Texts{"front JobChanged", "front CurrentJobID=" + id}))
        << "without a report of the counts";
    EXPECT_EQ(Unit().FileRepair().CheckDeviceCalls().at(0).folders, Texts{CardPath("A")});
    EXPECT_TRUE(Logged(LOG_INFO,
                       "ManagedDevice::_OpenJob. Job is a Tamsy job.  Converting to Ruvo: " + CardPath("A/job.jdb3")));
    EXPECT_EQ(Stats(), Counts(1, 1, 2));
    EXPECT_EQ(Code("SetJobNotes", "", "", "saved"), 0);
    EXPECT_EQ(File("A")["notes"], "saved");
    EXPECT_TRUE(File("A")["mediaFolder"] == "");

    // The task takes the other one; an index run finds the flag.
    Convert();
    EXPECT_EQ(Stats(), Counts(2, 0, 2));
    EXPECT_EQ(LogCapture::Count("Conversion of 1 Tamsy jobs took "), 1u);
    CloseJob();
    EXPECT_EQ(Unit().FileRepair().CheckDeviceCalls().size(), 1u);
}

TEST_F(ConversionTest, TheNextTaskDoesNotWaitForTheRepairService) {
    PutLegacyJob("A", 1);
    Break("A");
    FindJobs();
    Unit().FileRepair().Hold("CheckDevice");
    Convert();
    ASSERT_TRUE(Unit().FileRepair().WaitForCall("CheckDevice"));
    FindJobs();
    EXPECT_EQ(Stats(), Counts(1, 0, 0));
    EXPECT_EQ(Errors(), Texts{}) << "it has not been given up either";
    Unit().FileRepair().SetResult(1);
    Unit().FileRepair().Release("CheckDevice");
    EXPECT_TRUE(LogCapture::WaitFor("FileRepairD::FileRepair::CheckDevice returned: "));
}

TEST_F(ConversionTest, WithNothingToConvertNothingIsReported) {
    Convert();
    EXPECT_EQ(ConversionTraffic(), (Texts{"front DeviceState=Converting", "front DeviceState=Idle"}));
    EXPECT_TRUE(Logged(LOG_INFO, "_JobConversionTask *** Job Conversion complete"));
    EXPECT_EQ(LogCapture::Count("Conversion of 0 Tamsy jobs took "), 1u);
    EXPECT_TRUE(Unit().FileRepair().CheckDeviceCalls().empty());
}

TEST_F(ConversionTest, AReadOnlyCardConvertsNothing) {
    const std::string id = PutLegacyJob("A", 1);
    FindJobs();
    Unit().Storage().SetReadOnly("front", true);
    SettleStorage();
    ForgetTraffic();
    EXPECT_EQ(Code("ConvertJobs", ""), JOBS_RTN_READ_ONLY_FS);
    EXPECT_EQ(Errors(), (Texts{"ConvertDeviceJobs - Filesystem is read-only"}));
    EXPECT_EQ(TrafficBesideIndexing("front"), Texts{});
    LogCapture::Take();
    EXPECT_EQ(std::get<0>(Text("GetJobNotes", "front", id)), JOBS_RTN_READ_ONLY_FS);
    const Texts errors = Errors();
    EXPECT_EQ(errors.at(errors.size() - 3), "_ConvertJobToRuvo - Filesystem is read-only");
    EXPECT_EQ(errors.at(errors.size() - 2),
              "ManagedDevice::_OpenJob. Failed to create Ruvo job file when converting Tamsy job: " +
                  CardPath("A/job.jdb3"));
    EXPECT_EQ(std::get<0>(Text("GetJobPrivateNotes", "front", id)), JOBS_RTN_SUCCEEDED) << "it stays open as it is";
    EXPECT_EQ(service.Card("front").List("A"), (Texts{"Seg", "job.jdb3"}));

    Unit().Storage().SetReadOnly("front", false);
    SettleStorage();
    Convert();
    EXPECT_EQ(File("A")["privateNotes"].size(), std::string("pays late").size()) << "once, though it was open";
    EXPECT_EQ(File("A")["media"].size(), 1u);
}

TEST_F(ConversionTest, AStepThatFailsCostsThatJob) {
    const TemporaryFolder& card = service.Card("front");
    for (int number = 1; const char* folder : {"E", "D", "C", "B", "A"})
        PutLegacyJob(folder, number++);
    FindJobs();
    card.MakeFolder("E/media");
    fs::create_symlink("nowhere", card / "D/.job.jdb3-converted");
    card.MakeFolder("C/job.json");
    card.Write("B/job.jdb3", "damaged");
    Convert();
    EXPECT_EQ(Stats(), Counts(1, 4, 5));
    for (const std::string& line :
         {"ManagedDevice::_ConvertJobToRuvo - Failed to create media folder " + CardPath("E/media."),
          "_JobConversionTask. Failed to convert Tamsy job: 01010101-0101-0101-0101-010101010101 - " +
              CardPath("E/job.json"),
          "_ConvertJobToRuvo - Failed to create flag file: " + CardPath("D/.job.jdb3-converted"),
          std::string("_ConvertJobToRuvo - UpdateJobFile returned error code: 5"),
          std::string("JobFileHandlerJDB3::ParseJobFile - Failed to extract job data from database")})
        EXPECT_EQ(std::ranges::count(Errors(), line), 1) << line;
    EXPECT_EQ(LogCapture::Count("_JobConversionTask. Failed to convert Tamsy job"), 3u);
    EXPECT_FALSE(card.Exists("nowhere"));
    EXPECT_EQ(std::get<0>(Text("GetJobNotes", "front", "04040404-0404-0404-0404-040404040404")), JOBS_RTN_FS_ERROR);
}

/// The task has converted the first of three jobs and waits for the second.
class ConversionHeldTest : public ConversionTest {
protected:
    ConversionHeldTest() {
        Unit().Settings().Set("jobs", "multiJobConvertUpdatePeriod", uint32_t{0});
        SettleSettings();
        EXPECT_EQ(Code("ConvertJobs", "front"), 0);
        EXPECT_TRUE(service.WaitForDeviceProperty("front", "JobListStats", Counts(1, 2, 3).dump()));
    }
    void Release() { lock.unlock(); }

private:
    std::unique_lock<Locks::TimedMutex> HoldSecond() {
        PutLegacyJob("C", 3);
        PutLegacyJob("A", 1);
        const std::string id = PutLegacyJob("B", 2);
        FindJobs();
        job = service.Device("front")->FindJob(id);
        return std::unique_lock(job->Lock());
    }

    std::shared_ptr<Job> job;
    std::unique_lock<Locks::TimedMutex> lock = HoldSecond();
};

TEST_F(ConversionHeldTest, AJobThatAClientOpensMeanwhileIsNotConvertedAgain) {
    const std::string opened = "01010101-0101-0101-0101-010101010101";
    EXPECT_EQ(Code("ConvertJobs", "front"), JOBS_RTN_DEVICE_BUSY);
    EXPECT_TRUE(Logged(LOG_INFO, "ManagedDevice::ConvertDeviceJobs Cancelled - Device busy. State: 2"));
    EXPECT_EQ(std::get<0>(Text("GetJobNotes", "front", opened)), 0);
    Release();
    ASSERT_TRUE(LogCapture::WaitFor("Conversion of 2 Tamsy jobs took "));
    EXPECT_TRUE(
        Logged(LOG_ERR, "_JobConversionTask. Job already converted: " + opened + " -> " + CardPath("A/job.json")));
    EXPECT_EQ(Stats(), Counts(3, 0, 3));
}

TEST_F(ConversionHeldTest, APulledCardEndsTheTaskBetweenTwoJobs) {
    service.PullCard("front");
    ASSERT_TRUE(LogCapture::WaitFor("ManagedDevice::_Cancel - Waiting for any active threads to close."));
    Release();
    ASSERT_TRUE(LogCapture::WaitFor(" Tamsy jobs took "));
    EXPECT_TRUE(Logged(LOG_INFO, "_JobConversionTask *** Job Conversion cancelled..."));
    EXPECT_FALSE(Logged(LOG_INFO, "_JobConversionTask *** Job Conversion complete"));
    EXPECT_TRUE(service.Card("front").Exists("C/job.json"));
    EXPECT_FALSE(service.Card("front").Exists("A/job.json"));
}

TEST_F(ConversionTest, WhatTheDatabaseLacksDoesNotCostTheJobLater) {
    const std::string id = PutLegacyJob("A", 1);
    LegacyDatabase::Open(CardPath("A/job.jdb3"))
        .Run("UPDATE Jobs SET Name = CAST(x'41ff' AS TEXT), Source = NULL, Serial = '';"
             "UPDATE Bookmarks SET UniqueId = NULL");
    FindJobs();
    EXPECT_EQ(List()[0]["name"], "A\ufffd");
    EXPECT_EQ(List()[0]["source"]["serial"], "");
    EXPECT_EQ(Text("GetJobName", "front", id), CodeAndText(0, "A\ufffd"));
    FindJobs();
    EXPECT_EQ(IdsInListOrder(), Texts{id});
    const Json job = Json::parse(std::get<1>(Text("GetJob", "front", id)));
    ASSERT_TRUE(job.contains("media"));
    EXPECT_EQ(job["media"][0]["privateNotes"], "not in the report");
}

TEST_F(ConversionTest, ASilentOrUnwillingRepairServiceChangesNothing) {
    const std::string first = PutLegacyJob("A", 1);
    const std::string second = PutLegacyJob("B", 2);
    Break("A");
    Break("B");
    FindJobs();
    Unit().FileRepair().SetResult(1);
    EXPECT_EQ(std::get<0>(Text("GetJobNotes", "front", first)), 0);
    EXPECT_TRUE(Logged(LOG_ERR,
                       "JobsManagerD::triggerFileRepairScan() - FileRepairD::FileRepair::CheckDevice returned: "
                       "Failed : Device busy."));
    Unit().FileRepair().GoAway();
    EXPECT_EQ(std::get<0>(Text("GetJobNotes", "front", second)), 0);
    EXPECT_EQ(LogCapture::Count("libfilerepairdaemon::FileRepair::CheckDevice: sd_bus_call_method failed r = "), 1u);
    EXPECT_EQ(LogCapture::Count("JobsManagerD::triggerFileRepairScan() - Call to FileRepairD::FileRepair::CheckDevice "
                                "failed with error code -"),
              1u);
}

TEST_F(ConversionTest, ClientsOpenJobsWhileTheTaskRuns) {
    Simulator::MakeLegacyCard(service.CardFolder("front"), {.jobs = 40});
    FindJobs();
    const Texts ids = IdsInListOrder();
    ASSERT_EQ(ids.size(), 40u);
    ASSERT_EQ(Code("ConvertJobs", "front"), 0);
    for (const std::string& id : ids)
        EXPECT_EQ(std::get<0>(Text("GetJobNotes", "front", id)), 0) << id;
    ASSERT_TRUE(LogCapture::WaitFor(" Tamsy jobs took "));
    EXPECT_EQ(Stats(), Counts(40, 0, 40));
    const size_t opened = LogCapture::Count("ManagedDevice::_OpenJob. Job is a Tamsy job");
    EXPECT_EQ(LogCapture::Count("Conversion of " + std::to_string(40 - opened) + " Tamsy jobs took "), 1u)
        << "each by one of the two";
    FindJobs();
    EXPECT_EQ(Stats(), Counts(40, 0, 0));
    EXPECT_EQ(IdsInListOrder(), ids);
}

} // namespace
} // namespace Testing
