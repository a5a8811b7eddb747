#include "device/FindingJobsTest.h"

#include <sys/stat.h>
#include <syslog.h>

namespace Testing {
namespace {

class IndexingTest : public FindingJobsTest {};

TEST_F(IndexingTest, VisitsVisibleFoldersInDescendingOrderAndTellsTheEnd) {
    PutJob("A", JobDocument("a"));
    PutJob("B", JobDocument("b"));
    PutJob("AB", JobDocument("ab"));
    PutJob(".hidden", JobDocument("hidden"));
    PutJob(".DeletedJobs/C", JobDocument("deleted"));
    PutJob("deep/er", JobDocument("deep"));
    service.Card("front").Write("job.json", JobDocument("top").dump());
    service.Card("front").Write("Z/other.json", "{}");
    service.Card("front").Write("Z/job.txt", JobDocument("text").dump());
    FindJobs();

    EXPECT_EQ(IdsInListOrder(), (Texts{"b", "ab", "a"}));
    EXPECT_EQ(Stats(), (Json{{"nRuvoJobs", 3}, {"nTamsyJobs", 0}, {"nTamsyJobsAtReIndex", 0}}));
    EXPECT_FALSE(service.Card("front").Exists(".DeletedJobs"));
    EXPECT_TRUE(Logged(LOG_INFO, "_JobIndexingTask 7 top-level item list built.  Sorting it..."));
    EXPECT_TRUE(Logged(LOG_INFO, "Found 3 jobs - 0 Tamsy and 3 Ruvo"));
    EXPECT_TRUE(Logged(LOG_INFO, "*** Job Indexing complete"));
    EXPECT_EQ(LogCapture::Count("----------------------------------------------- "), 2u);
}

TEST_F(IndexingTest, TellsItsStatesAndItsProgress) {
    for (const char* folder : {"A", "B", "C"})
        PutJob(folder, JobDocument(folder));
    Unit().Settings().Set("jobs", "multiJobIndexUpdatePeriod", uint32_t{0});
    SettleSettings();
    ForgetTraffic();
    FindJobs();
    Texts traffic = Traffic();
    ASSERT_EQ(traffic.size(), 6u) << testing::PrintToString(traffic);
    EXPECT_EQ(traffic.front(), "front DeviceState=Indexing");
    EXPECT_EQ(traffic.back(), "front DeviceState=Idle");
    // One at the start, one after each job but the last, one at the end.
    for (size_t i = 1; i < 5; ++i)
        EXPECT_NE(traffic[i].find("JobListStatus=true"), std::string::npos) << traffic[i];
    EXPECT_NE(traffic[4].find("\"nRuvoJobs\":3"), std::string::npos) << traffic[4];
    EXPECT_EQ(WriteActive(), Texts{}) << "indexing does not write";

    Unit().Settings().Set("jobs", "signalJobListChanges", std::string("OnChangeCompletion"));
    SettleSettings();
    ForgetTraffic();
    FindJobs();
    EXPECT_EQ(Traffic().size(), 3u);
}

TEST_F(IndexingTest, TheOpenJobSurvives) {
    const CreatedJob open = CreateJob("Open");
    PutJob("old", JobDocument("old"));
    FindJobs();
    EXPECT_EQ(IdsInListOrder(), (Texts{open.id, "old"}));
    EXPECT_EQ(Stats()["nRuvoJobs"], 2);
    EXPECT_EQ(Code("SetJobNotes", "", "", "still open"), 0);
    EXPECT_EQ(JobFile(open)["notes"], "still open");
}

TEST_F(IndexingTest, OfOneIdInTwoFoldersTheLaterVisitedStays) {
    Json later = JobDocument("same");
    later["name"] = "from A";
    PutJob("A", later);
    PutJob("B", JobDocument("same"));
    FindJobs();
    EXPECT_EQ(Stats()["nRuvoJobs"], 1);
    ASSERT_EQ(List().size(), 1u);
    EXPECT_EQ(List()[0]["name"], "from A");
}

TEST_F(IndexingTest, ASyncedFolderIsIndexedAlone) {
    PutJob("A", JobDocument("a"));
    FindJobs();
    PutJob("B", JobDocument("b"));
    service.Card("front").Write("B/syncStat", "");
    const std::string folder = service.CardFolder("front") + "/B";
    ForgetTraffic();
    Unit().Sync().EmitDestinationSynced(folder);
    const Signal added = service.Client().WaitForSignal("JobChanged");
    EXPECT_EQ(Json::parse(added.arguments.values.at(0).get<std::string>())["syncStatus"], true);
    EXPECT_EQ(IdsInListOrder(), (Texts{"a", "b"}));
    const Texts traffic = Traffic();
    ASSERT_EQ(traffic.size(), 2u);
    EXPECT_NE(traffic[0].find("JobListStatus=true"), std::string::npos);

    // Known by now: the entry is replaced, and the counters stay.
    Json changed = JobDocument("b");
    changed["name"] = "synced again";
    PutJob("B", changed);
    ForgetTraffic();
    Unit().Sync().EmitJobFileSynced(folder + "/");
    service.Client().WaitForSignal("JobChanged");
    EXPECT_EQ(Traffic(), (Texts{"front JobChanged"}));
    EXPECT_EQ(Stats()["nRuvoJobs"], 2);
    EXPECT_EQ(std::get<1>(Text("GetJobFolderPath", "front", "b")), folder);

    Unit().Sync().EmitJobFileSynced("/nowhere/B");
    ASSERT_TRUE(LogCapture::WaitFor("JobFileSynced Storage device holding destination path /nowhere/B not found"));
    Unit().Sync().EmitDestinationSynced("/nowhere/B");
    ASSERT_TRUE(LogCapture::WaitFor(
        "SyncDestinationSynced Storage device holding synced destination path /nowhere/B not found"));
}

TEST_F(IndexingTest, ALinkedFolderIsFollowedAndALinkedFileIsNot) {
    TemporaryFolder elsewhere;
    elsewhere.Write("folder/job.json", JobDocument("a").dump());
    elsewhere.Write("file", JobDocument("b").dump());
    const TemporaryFolder& card = service.Card("front");
    std::filesystem::create_symlink(elsewhere / "folder", card / "A");
    std::filesystem::create_symlink(elsewhere / "file", std::filesystem::path(card.MakeFolder("B")) / "job.json");
    std::filesystem::create_symlink("job.json", std::filesystem::path(card.MakeFolder("C")) / "job.json");
    std::filesystem::create_symlink(elsewhere / "file", card / "D");
    FindJobs();
    EXPECT_EQ(IdsInListOrder(), (Texts{"a"}));
    EXPECT_EQ(LogCapture::Count("TryFsIsRegularFile - error "), 1u) << "a link to itself";
}

TEST_F(IndexingTest, NothingThatAFileHoldsStallsTheOthers) {
    const TemporaryFolder& card = service.Card("front");
    const std::map<std::string, std::string> hostile = {
        {"01", ""},
        {"02", "[]"},
        {"03", "5"},
        {"04", std::string(100000, '[')},
        {"05", "{\"id\":\"\xff\xfe\"}"},
        {"06", std::string(50 * 1024 * 1024, ' ')},
        {"07", "{\"id\":1e999}"},
    };
    for (const auto& [folder, text] : hostile)
        card.Write(folder + "/job.json", text);
    for (const char* key :
         {"id", "version", "locked", "source", "timestamp", "type", "jobSize", "mediaCounts", "name"}) {
        Json document = JobDocument("x");
        document[key] = Json::array({nullptr});
        PutJob(std::string("kind-") + key, document);
    }
    card.Write("11/job.json", "");
    std::filesystem::resize_file(card / "11/job.json", uintmax_t{1} << 36);
    card.MakeFolder("08/job.json");
    card.MakeFolder("09");
    ASSERT_EQ(mkfifo((card / "09/job.json").c_str(), 0600), 0);
    std::filesystem::create_symlink("nowhere", card / "10");
    PutJob("A", JobDocument("good"));
    FindJobs();
    EXPECT_EQ(IdsInListOrder(), (Texts{"good"}));
}

TEST_F(IndexingTest, TheFastParserAndTheGeneralOneReadTheSameSummary) {
    // What only one of them takes, and of a key that is given twice the last.
    const std::string plain = JobDocument("plain").dump();
    const std::string twice = "{\"name\":\"first\"," + plain.substr(1, plain.size() - 2) + ",\"name\":\"last\"}";
    service.Card("front").Write("A/job.json", twice);
    Json big = JobDocument("big");
    big["extra"] = Json::parse("123456789012345678901234567890");
    PutJob("B", big);
    service.Card("front").Write("C/job.json", "\xEF\xBB\xBF" + JobDocument("marked").dump());
    FindJobs();
    EXPECT_EQ(IdsInListOrder(), (Texts{"marked", "big", "plain"}));
    EXPECT_EQ(List(0, 1)[0].value("name", "") + List(0, 1)[1].value("name", "") + List(0, 1)[2].value("name", ""),
              "last");
}

TEST_F(IndexingTest, ABrokenFileIsReplacedByItsBackup) {
    PutJob("A", JobDocument("a"), "job.json.bak");
    service.Card("front").Write("A/job.json", "{\"id\":");
    FindJobs();
    EXPECT_EQ(IdsInListOrder(), (Texts{"a"}));
    EXPECT_EQ(service.Card("front").Read("A/job.json"), JobDocument("a").dump());
}

TEST_F(IndexingTest, AMountedCardIsIndexedAndAPulledOneStopsTheIndexing) {
    for (int i = 0; i < 300; ++i) {
        const std::string id = std::to_string(i);
        service.MakeCard("full" + std::to_string(i / 300)).Write(id + "/job.json", JobDocument(id).dump());
    }
    service.InsertCard("full0");
    ASSERT_TRUE(service.WaitForDeviceProperty("full0", "DeviceState", "Idle"));
    service.PullCard("full0");
    SettleStorage();
    EXPECT_EQ(Code("FindJobs", "full0"), JobsManagerD::JOBS_RTN_DEVICE_NOT_FOUND);
    for (int i = 0; i < 5; ++i) {
        service.InsertCard("full0");
        service.PullCard("full0");
    }
    SettleStorage();
    service.InsertCard("full0");
    ASSERT_TRUE(service.WaitForDeviceProperty("full0", "JobListStats",
                                              R"({"nRuvoJobs":300,"nTamsyJobs":0,"nTamsyJobsAtReIndex":0})"));
}

} // namespace
} // namespace Testing
