#include "jobfiles/JobFileHandlerJDB3.h"

#include "jobfiles/LegacyJob.h"
#include "jobs/Job.h"
#include "jobs/Json.h"

namespace fs = std::filesystem;
using nlohmann::json;

namespace JobsManagerD {
namespace {

using Testing::Lines;

constexpr const char* id = "03020100-0504-0706-0809-0a0b0c0d0e0f";
constexpr const char* noModificationTime =
    "JobFileHandlerJDB3::mapJDB3toRuvoJob - _GetMediaFilesLatestModificationTime returned 0.  Setting media "
    "modification time to bookmark's creation timestamp";

class JobFileHandlerJDB3Test : public Testing::LegacyJobTest {
protected:
    /// As a client sees it.
    json Summary() {
        Job job(path);
        log.Take();
        result = handler.ParseJobFileSummary(job);
        return json::parse(job.SummaryJSONstring(JSON_MODE_CLIENT));
    }
    json Open() {
        Job job(path);
        log.Take();
        result = handler.ParseJobFile(job);
        return json::parse(job.JSONstring(JSON_MODE_CLIENT));
    }
    void AddSegment(Row row) {
        row.try_emplace("Id", "1");
        database->Insert("Segments", row);
    }
    void AddBookmark(Row row) {
        row.try_emplace("SegmentId", "1");
        row.try_emplace("UniqueId", "zeroblob(16)");
        row.try_emplace("Timestamp", "'2012-01-02 10:00:00'");
        database->Insert("Bookmarks", row);
    }
    static json File(const char* type, const std::string& name, size_t size) {
        return {{"type", type}, {"name", name}, {"size", size}};
    }

    const JobFileHandlerJDB3 handler;
    jobFileOpRtn_e result = JOBFILE_OP_UNSUPPORTED;
};

TEST_F(JobFileHandlerJDB3Test, TheSummaryIsWhatTheDatabaseSays) {
    auto& db = MakeJob({{"Name", "'Main Street'"},
                        {"Source", "'Tarn 300'"},
                        {"Serial", "'S1'"},
                        {"Version", "'1.9'"},
                        {"LastModifiedTime", "'2015-01-01 00:00:00'"},
                        {"LocationId", "7"}});
    db.Run("UPDATE JobInfo SET JobSize = 5000000000");
    db.Insert("Addresses", {{"Id", "7"}, {"Latitude", "48.5"}, {"Longitude", "-11.25"}});
    for (const char* type : {"'AUDIOIMAGE'", "'AUTOLOG'", "'IMAGE'", "'VIDEO'", "'VIDEO'", "'OTHER'"})
        db.Insert("Bookmarks", {{"Type", type}});
    const json expected = {
        {"id", id},
        {"name", "Main Street"},
        {"version", "1.0"},
        {"source", {{"model", "Tarn 300"}, {"serial", "S1"}, {"version", "1.9"}}},
        {"timestamp", {{"createTime", "2012-01-02T03:04:05Z"}, {"modifiedTime", "2012-02-03T04:05:06Z"}}},
        {"position", {{"latitude", "48.500000"}, {"longitude", "-11.250000"}}},
        {"type", "videoInspection"},
        {"jobSize", 5000000000},
        {"mediaCounts", {{"total", 5}, {"autologs", 1}, {"images", 1}, {"photoTalks", 1}, {"videos", 2}}},
        {"locked", true}};
    EXPECT_EQ(Summary(), expected);
    EXPECT_EQ(result, JOBFILE_OP_SUCCEEDED);
    EXPECT_TRUE(log.TakeErrors().empty());

    db.Run("UPDATE Jobs SET Name = '', LocationId = 8");
    const json nameless = Summary();
    EXPECT_EQ(nameless["name"], "50%?#") << "the folder's name without its extension";
    EXPECT_EQ(nameless["position"]["latitude"], "0.000000") << "a list shows zeros";
    const json opened = Open();
    EXPECT_EQ(opened["name"], "50%?#");
    EXPECT_FALSE(opened.contains("position")) << "an opened job does not";
}

TEST_F(JobFileHandlerJDB3Test, AnOpenedJobHasItsMediaFilesAndPeople) {
    auto& db = MakeJob({{"Name", "'Main Street'"},
                        {"Source", "'Tarn 300'"},
                        {"Serial", "'S1'"},
                        {"Version", "'1.9'"},
                        {"CustomerId", "1"},
                        {"InspectorId", "2"},
                        {"LocationId", "3"}});
    AddSegment({{"RelativePath", "'Seg'"}});
    const Row files{{"VideoPath", "'v'"}, {"ImagePath", "'i'"}, {"AudioPath", "'a'"}, {"DataPath", "'d'"}};
    const auto add = [&](const char* type, const char* uuid, const char* time) {
        Row row = files;
        row.insert({{"Type", type}, {"UniqueId", uuid}, {"Timestamp", time}});
        AddBookmark(row);
    };
    add("'AUTOLOG'", "x'000000000000000000000000000000a4'", "'2012-01-02 10:00:01'");
    add("'IMAGE'", "x'000000000000000000000000000000a3'", "'2012-01-02 10:00:02'");
    add("'AUDIOIMAGE'", "x'000000000000000000000000000000a2'", "'2012-01-02 10:00:03'");
    add("'VIDEO'", "x'000000000000000000000000000000a1'", "'2012-01-02 10:00:00'");
    db.Run("UPDATE Bookmarks SET IsSelected = 5, Note = 'n', PrivateNote = 'p', DataPath = '' WHERE Type = 'VIDEO'");
    AddBookmark({{"Type", "'IMAGE'"}, {"SegmentId", "2"}});
    for (const auto& [name, size] :
         std::map<std::string, size_t>{{"v", 1}, {"i", 20}, {"v-recovery", 300}, {"d", 4000}})
        card.Write(folder + "Seg/" + name, std::string(size, 'x'));
    db.Insert("Contacts", {{"Id", "1"},
                           {"FirstName", "'Ada'"},
                           {"LastName", "'Berg'"},
                           {"Title", "'Dr'"},
                           {"Company", "'Co'"},
                           {"EmailAddress", "'e@x'"},
                           {"BusinessNumber", "'1'"},
                           {"MobileNumber", "'2'"},
                           {"HomeNumber", "'3'"},
                           {"FaxNumber", "'4'"},
                           {"WebAddress", "'w.x'"}});
    db.Insert("Contacts", {{"Id", "2"}, {"FirstName", "'Ben'"}, {"LastName", "''"}});
    db.Insert("Addresses", {{"Id", "1"},
                            {"ContactId", "1"},
                            {"Street", "'1 Mill'"},
                            {"City", "'C'"},
                            {"State", "'St'"},
                            {"PostalCode", "'Z'"},
                            {"Country", "'Co'"},
                            {"AddressType", "'x'"}});
    db.Insert("Addresses", {{"Id", "3"}, {"Street", "'3 Mill'"}, {"Latitude", "0"}, {"Longitude", "11.25"}});

    const json position = {{"latitude", "0.000000"}, {"longitude", "11.250000"}};
    const json source = {{"model", "Tarn 300"}, {"serial", "S1"}, {"version", "1.9"}};
    const json recovery = File("recoveryFile", "Seg/v-recovery", 300);
    const json misc = File("miscDataFile", "Seg/d", 4000);
    const json video = File("videoFile", "Seg/v", 1);
    const json thumbnail = File("thumbnailFile", "Seg/i", 20);
    const json image = File("imageFile", "Seg/i", 20);
    const auto item = [&](const std::string& number, const char* type, const char* time, const json& itemFiles) {
        return json{{"id", "00000000-0000-0000-0000-0000000000a" + number},
                    {"type", type},
                    {"source", source},
                    {"timestamp", {{"createTime", time}, {"modifiedTime", time}}},
                    {"position", position},
                    {"isIncludedInReport", false},
                    {"files", itemFiles}};
    };
    json last = item("1", "video", "2012-01-02T10:00:00Z", {video, thumbnail, recovery});
    last.update({{"isIncludedInReport", true}, {"notes", "n"}, {"privateNotes", "p"}});
    const json expected = {
        {"id", id},
        {"name", "Main Street"},
        {"version", "1.0"},
        {"source", source},
        {"timestamp", {{"createTime", "2012-01-02T03:04:05Z"}, {"modifiedTime", "2012-01-02T10:00:00Z"}}},
        {"position", position},
        {"type", "videoInspection"},
        {"jobSize", 4321 + 20 + 4321 + 321},
        {"mediaCounts", {{"total", 4}, {"autologs", 1}, {"images", 1}, {"photoTalks", 1}, {"videos", 1}}},
        {"locked", true},
        {"address", {{"address1", "3 Mill"}, {"position", position}}},
        {"customer",
         {{"firstName", "Ada"},
          {"lastName", "Berg"},
          {"title", "Dr"},
          {"company", "Co"},
          {"email", "e@x"},
          {"phones", {{"business", "1"}, {"mobile", "2"}, {"home", "3"}, {"fax", "4"}}},
          {"web", {{"website", "w.x"}}},
          {"address",
           {{"address1", "1 Mill"}, {"city", "C"}, {"region", "St"}, {"postalCode", "Z"}, {"country", "Co"}}}}},
        {"contacts", {{{"firstName", "Ben"}, {"type", "Inspector"}, {"id", 1}}}},
        {"media",
         {item("2", "photoTalk", "2012-01-02T10:00:03Z", {File("audioFile", "Seg/v", 1), image, recovery, misc}),
          item("3", "image", "2012-01-02T10:00:02Z", json::array({image})),
          item("4", "autolog", "2012-01-02T10:00:01Z", {video, thumbnail, recovery, misc}), last}}};
    EXPECT_EQ(Open(), expected);
    EXPECT_EQ(result, JOBFILE_OP_SUCCEEDED);
    EXPECT_EQ(log.TakeErrors(), Lines(4, noModificationTime)) << "the folder of the segment is walked twice";
    Job job(path);
    handler.ParseJobFile(job);
    EXPECT_EQ(job.MediaFolderPath(), job.JobFolderPath());
    EXPECT_FALSE(job.IsOpen());
}

TEST_F(JobFileHandlerJDB3Test, NotesAreGatheredUnderOneLabelEach) {
    MakeJob();
    EXPECT_FALSE(Open().contains("notes"));
    MakeJob({{"ReasonForCall", "'r0'"}, {"Description", "'d0'"}, {"PrivateNote", "'p0'"}});
    AddSegment({{"Id", "1"}, {"ReasonForCall", "'r1'"}, {"Purpose", "'a'"}, {"Source", "'s1'"}, {"Quote", "'q'"}});
    AddSegment({{"Id", "2"}, {"Description", "'d2'"}, {"PrivateNote", "'p2'"}, {"Action", "'x'"}});
    AddSegment({{"Id", "3"}, {"Purpose", "'b'"}, {"Summary", "'y'"}, {"PrivateNote", "'p3'"}});
    const json job = Open();
    EXPECT_EQ(job["notes"], "Reason for call: r0\nr1\nDescription: d0\nd2\nPurpose: a\nb\nQuote: q\nAction: x\n"
                            "Summary: y\nSource: s1");
    EXPECT_EQ(job["privateNotes"], "p0\np2\np3");
}

TEST_F(JobFileHandlerJDB3Test, WithoutIdStartOrDateItIsNoJob) {
    for (const char* damage :
         {"UPDATE Jobs SET UniqueId = x'000102030405060708090a0b0c0d0e'", "UPDATE Jobs SET StartTime = 'soon'",
          "UPDATE JobInfo SET DateLastCalculated = NULL", "DELETE FROM Jobs", "DELETE FROM JobInfo"}) {
        MakeJob({{"Name", "'x'"}}).Run(damage);
        EXPECT_EQ(Summary()["version"], "") << damage << ": the job is left as it was";
        EXPECT_EQ(result, JOBFILE_OP_MISSING_FIELDS);
        Lines errors = log.TakeErrors();
        std::erase(errors, "JDB3helper::GetInt - Field UniqueId incorrect size (15 bytes) for UUID");
        EXPECT_EQ(errors, (Lines{"JobFileHandlerJDB3::_MapJDB3toRuvoSummary - Invalid summary fields found",
                                 "JobFileHandlerJDB3::ParseJobFileSummary - Failed to map database fields to job "
                                 "summary structure"}));
        Open();
        EXPECT_EQ(result, JOBFILE_OP_MISSING_FIELDS);
        errors = log.TakeErrors();
        EXPECT_EQ(errors.back(), "JobFileHandlerJDB3::ParseJobFile - Failed to map database fields to job structure");
        EXPECT_EQ(*(errors.end() - 2), "JobFileHandlerJDB3::mapJDB3toRuvoJob - Invalid fields found");
    }
    card.Write(folder + "job.jdb3", "no database");
    Summary();
    EXPECT_EQ(result, JOBFILE_OP_FS_ERROR);
    EXPECT_EQ(log.TakeErrors().back(),
              "JobFileHandlerJDB3::ParseJobFileSummary - Failed to extract summary data from database");
    Open();
    EXPECT_EQ(result, JOBFILE_OP_FS_ERROR);
    EXPECT_EQ(log.TakeErrors().back(), "JobFileHandlerJDB3::ParseJobFile - Failed to extract job data from database");

    MakeJob();
    Job job(path);
    job.ChangeSummary([](JobSummary& summary) { summary.id = "another"; });
    EXPECT_EQ(handler.ParseJobFile(job), JOBFILE_OP_MISSING_FIELDS) << "a listed job does not change its ID";
    EXPECT_EQ(job.Id(), "another");
}

TEST_F(JobFileHandlerJDB3Test, MediaTakeTheTimeOfTheirLatestFile) {
    MakeJob();
    AddSegment({{"RelativePath", "''"}});
    AddBookmark({{"Type", "'VIDEO'"}, {"VideoPath", "'v'"}, {"ImagePath", "'i'"}});
    const auto write = [this](const char* name, int64_t time) {
        const auto seconds = std::chrono::sys_seconds(std::chrono::seconds(time));
        fs::last_write_time(card.Write(folder + name, "x"), std::chrono::file_clock::from_sys(seconds));
    };
    write("v", 1400000000);
    write("i", 1500000000);
    const auto modified = [this] { return Open()["media"][0]["timestamp"]["modifiedTime"]; };
    EXPECT_EQ(modified(), "2017-07-14T02:40:00Z");
    EXPECT_EQ(Open()["timestamp"]["modifiedTime"], "2017-07-14T02:40:00Z") << "and the job that of the last item";
    write("v", 1000000000);
    write("i", 1000000001);
    EXPECT_EQ(modified(), "2012-01-02T10:00:00Z") << "never before its making";
}

TEST_F(JobFileHandlerJDB3Test, PeopleAndPlacesThatDoNotFit) {
    auto& db = MakeJob({{"CustomerId", "5"}, {"InspectorId", "5"}, {"LocationId", "6"}});
    EXPECT_FALSE(Open().contains("customer"));
    db.Insert("Contacts", {{"Id", "5"}, {"FirstName", "'first'"}, {"LastName", "'gone'"}});
    db.Run("CREATE TABLE c AS SELECT * FROM Contacts; DROP TABLE Contacts; ALTER TABLE c RENAME TO Contacts");
    db.Insert("Contacts", {{"Id", "5"}, {"FirstName", "'last'"}});
    db.Insert("Addresses", {{"Id", "6"}, {"ContactId", "0"}, {"Street", "'only'"}, {"Latitude", "0"}});
    const json job = Open();
    EXPECT_EQ(job["customer"], (json{{"firstName", "last"}}));
    EXPECT_EQ(job["contacts"], (json{{{"firstName", "last"}, {"type", "Inspector"}, {"id", 1}}}));
    EXPECT_EQ(job["address"], (json{{"address1", "only"}}));
    EXPECT_FALSE(job.contains("position"));
}

TEST_F(JobFileHandlerJDB3Test, OddBookmarksAreDroppedOrHaveNoFiles) {
    card.Write("precious", "12345");
    card.Write("card/other", "123");
    card.Write(folder + "Seg/here", "1234567");
    MakeJob();
    AddSegment({{"RelativePath", "'Seg'"}});
    AddBookmark({{"Type", "'Video'"}});
    EXPECT_FALSE(Open().contains("media"));
    EXPECT_EQ(log.TakeErrors(),
              (Lines{"JobFileHandlerJDB3::_MapBookmarkType - Invalid bookmark type: Video.  Skipping",
                     "JobFileHandlerJDB3::mapJDB3toRuvoJob - Error mapping bookmark type. Dropping bookmark"}));
    database->Run("DELETE FROM Bookmarks");
    AddBookmark({{"Type", "'VIDEO'"}, {"VideoPath", "'../../../precious'"}, {"ImagePath", "''"}, {"DataPath", "''"}});
    AddBookmark({{"Type", "'IMAGE'"}, {"ImagePath", "'../../other'"}});
    AddBookmark({{"Type", "'IMAGE'"}, {"ImagePath", "'here'"}, {"DataPath", "'here'"}});
    const json job = Open();
    EXPECT_EQ(job["jobSize"], 3 + 7) << "what lies outside of the card is not there, an empty column names no file";
    EXPECT_EQ(job["media"].size(), 3u);
    Lines errors = log.TakeErrors();
    std::erase(errors, noModificationTime);
    EXPECT_EQ(errors, Lines{}) << "they are not looked for";
    database->Run("DELETE FROM Bookmarks");
    AddBookmark({{"Type", "'IMAGE'"}, {"ImagePath", "'gone'"}});
    Open();
    EXPECT_EQ(log.TakeErrors(),
              (Lines{"GetFileSizeBytes - Failed existence check on file " + JobFile("Seg/gone"), noModificationTime}));
}

TEST_F(JobFileHandlerJDB3Test, OddValuesAreSurvived) {
    auto& db = MakeJob({{"Name", "CAST(x'41ff42' AS TEXT)"}, {"Source", "CAST(x'c3' AS TEXT)"}, {"LocationId", "1"}});
    db.Run("UPDATE JobInfo SET JobSize = -1; INSERT INTO Addresses (Id, Latitude, Longitude) VALUES (1, 1e999, -1e308);"
           "UPDATE Jobs SET Description = CAST(x'610062' AS TEXT), PrivateNote = NULL, StartTime = '9999-99-99'");
    const json summary = json::parse(CompactDump(Summary()));
    EXPECT_EQ(summary["name"], "A\ufffdB");
    EXPECT_EQ(summary["jobSize"], 0);
    EXPECT_EQ(summary["position"]["latitude"], "inf");
    EXPECT_EQ(summary["timestamp"]["createTime"], "9999-09-00T00:00:00Z") << "as far as the date was one";
    EXPECT_EQ(Open()["notes"], "Description: a");
    EXPECT_EQ(result, JOBFILE_OP_SUCCEEDED);
}

TEST_F(JobFileHandlerJDB3Test, MoreMediaThanAJobCanCountAreRefusedAsAWhole) {
    const auto isRefused = [this](const json& job, const char* line) {
        return result == JOBFILE_OP_FS_ERROR && job["id"] == "" && std::ranges::count(log.TakeErrors(), line) == 1;
    };
    const auto rows = [](int count) {
        return "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < " + std::to_string(count) +
               ")";
    };
    auto& db = MakeJob();
    AddSegment({});
    db.Run(rows(65535) + "INSERT INTO Bookmarks (SegmentId, UniqueId, Type) SELECT 1, zeroblob(16), 'IMAGE' FROM n");
    EXPECT_EQ(Summary()["mediaCounts"]["total"], 65535);
    EXPECT_EQ(Open()["mediaCounts"]["images"], 65535);
    AddBookmark({{"Type", "'VIDEO'"}});
    EXPECT_TRUE(isRefused(Summary(), "JobFileHandlerJDB3::_MapJDB3toRuvoSummary - Too many bookmarks"));
    constexpr const char* line = "JobFileHandlerJDB3::mapJDB3toRuvoJob - Too many bookmarks";
    EXPECT_TRUE(isRefused(Open(), line));

    // Segments of one number, each with all bookmarks: nine million media in a small file.
    MakeJob().Run("CREATE TABLE s AS SELECT * FROM Segments; DROP TABLE Segments; ALTER TABLE s RENAME TO Segments;" +
                  rows(3000) + "INSERT INTO Segments (Id) SELECT 1 FROM n;" + rows(3000) +
                  "INSERT INTO Bookmarks (SegmentId, Type, Timestamp) SELECT 1, 'x', '2012' FROM n");
    EXPECT_TRUE(isRefused(Open(), line));
    // A few media, each with the job's megabytes.
    MakeJob({{"Serial", "printf('%.*c', 3500000, 'x')"}});
    AddSegment({});
    for (int i = 0; i < 20; ++i)
        AddBookmark({{"Type", "'IMAGE'"}});
    EXPECT_TRUE(isRefused(Open(), line));
}

TEST_F(JobFileHandlerJDB3Test, NothingIsWrittenNorTakenAsADocument) {
    json document;
    const Job job(path);
    EXPECT_EQ(handler.UpdateJobFile(job), JOBFILE_OP_UNSUPPORTED);
    EXPECT_EQ(handler.ExtractJobJson(job, document), JOBFILE_OP_UNSUPPORTED);
    EXPECT_EQ(log.TakeErrors(),
              (Lines{"JobFileHandlerJDB3::UpdateJobFile - SQL job file update not supported",
                     "JobFileHandlerJDB3::ExtractJobJson - Parsing SQL job file directly to json not supported.  Open "
                     "the job to convert to Ruvo format first"}));
}

} // namespace
} // namespace JobsManagerD
