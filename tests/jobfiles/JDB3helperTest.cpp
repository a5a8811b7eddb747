#include "jobfiles/JDB3helper.h"

#include "jobfiles/LegacyJob.h"

#include <algorithm>
#include <sys/stat.h>

namespace fs = std::filesystem;

namespace JobsManagerD {
namespace {

using Testing::Lines;

constexpr const char* failedSummary = "JDB3helper::ExtractJobSummaryFields - Failed to prepare summary statements";

class JDB3helperTest : public Testing::LegacyJobTest {
protected:
    /// What a reading gives; a failure is told by the error lines.
    JDB3JobFields Summary() { return Read(&JDB3helper::ExtractJobSummaryFields); }
    JDB3JobFields Job() { return Read(&JDB3helper::ExtractJobFields); }
    JDB3JobFields Read(bool (JDB3helper::*extract)()) {
        log.Take();
        JDB3helper helper(path);
        succeeded = helper.Open() && (helper.*extract)() && helper.Close();
        return helper.Fields();
    }
    static long Descriptors() {
        return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
    }

    bool succeeded = false;
};

/// A row of texts that say which column they stand in; numbers and the like as given.
std::map<std::string, std::string> NamedRow(std::initializer_list<const char*> texts,
                                            std::map<std::string, std::string> others) {
    for (const char* name : texts)
        others[name] = Simulator::LegacyDatabase::Text(name);
    return others;
}

TEST_F(JDB3helperTest, EachColumnGoesIntoTheMemberOfItsName) {
    auto& db = MakeEmpty();
    const std::string uuid = "x'000102030405060708090a0b0c0d0e0f'";
    const char* const uuidText = "03020100-0504-0706-0809-0a0b0c0d0e0f";
    db.Insert("JobInfo",
              {{"JobSize", "5000000000"}, {"DateLastCalculated", "'2012-02-03 04:05:06'"}, {"JobLocked", "7"}});
    db.Insert("Jobs", NamedRow({"Name", "ReasonForCall", "Description", "PrivateNote", "Source", "Serial", "Version"},
                               {{"UniqueId", uuid},
                                {"StartTime", "'2012-01-02 03:04:05'"},
                                {"LastModifiedTime", "'2013-01-02 03:04:05'"},
                                {"CustomerId", "1"},
                                {"InspectorId", "2"},
                                {"LocationId", "3"}}));
    db.Insert("Segments", NamedRow({"RelativePath", "Purpose", "Quote", "Action", "Summary", "ReasonForCall",
                                    "Description", "PrivateNote", "Source"},
                                   {{"Id", "4"}}));
    db.Insert("Bookmarks", NamedRow({"Type", "Note", "PrivateNote", "VideoPath", "ImagePath", "AudioPath", "DataPath"},
                                    {{"Id", "5"},
                                     {"SegmentId", "4"},
                                     {"UniqueId", uuid},
                                     {"Timestamp", "'2012-01-02 03:04:06'"},
                                     {"IsSelected", "1"}}));
    db.Insert("Contacts", NamedRow({"Title", "FirstName", "LastName", "Company", "EmailAddress", "WebAddress",
                                    "HomeNumber", "BusinessNumber", "MobileNumber", "FaxNumber"},
                                   {{"Id", "1"}}));
    db.Insert("Addresses", NamedRow({"AddressType", "Street", "City", "State", "PostalCode", "Country"},
                                    {{"Id", "3"}, {"ContactId", "1"}, {"Latitude", "1.5"}, {"Longitude", "-2.5"}}));
    db.Insert("AddressLinks", {{"AddressId", "3"}, {"ContactId", "1"}});

    const JDB3JobFields job = Job();
    ASSERT_TRUE(succeeded);
    EXPECT_EQ(std::tuple(job.JobSize, job.JobLocked, job.CustomerId, job.InspectorId, job.LocationId),
              std::tuple(5000000000, 7, 1, 2, 3));
    EXPECT_EQ(job.UniqueId, uuidText);
    EXPECT_EQ(job.DateLastCalculated.tm_mon, 1);
    EXPECT_EQ(job.StartTime.tm_sec, 5);
    EXPECT_EQ(job.LastModifiedTime.tm_year, 113);
    EXPECT_EQ(
        (Lines{job.Name, job.ReasonForCall, job.Description, job.PrivateNote, job.Source, job.Serial, job.Version}),
        (Lines{"Name", "ReasonForCall", "Description", "PrivateNote", "Source", "Serial", "Version"}));
    const JDB3Segment& s = job.segments.at(0);
    EXPECT_EQ(s.Id, 4);
    EXPECT_EQ((Lines{s.RelativePath, s.Purpose, s.Quote, s.Action, s.Summary, s.ReasonForCall, s.Description,
                     s.PrivateNote, s.Source}),
              (Lines{"RelativePath", "Purpose", "Quote", "Action", "Summary", "ReasonForCall", "Description",
                     "PrivateNote", "Source"}));
    const JDB3Bookmark& b = job.bookmarks.at(0);
    EXPECT_EQ(std::tuple(b.Id, b.SegmentId, b.UniqueId, b.Timestamp.tm_sec, b.IsSelected),
              std::tuple(5, 4, uuidText, 6, 1));
    EXPECT_EQ((Lines{b.Type, b.Note, b.PrivateNote, b.VideoPath, b.ImagePath, b.AudioPath, b.DataPath}),
              (Lines{"Type", "Note", "PrivateNote", "VideoPath", "ImagePath", "AudioPath", "DataPath"}));
    const JDB3Contact& c = job.contacts.at(0);
    EXPECT_EQ((Lines{c.Title, c.FirstName, c.LastName, c.Company, c.EmailAddress, c.WebAddress, c.HomeNumber,
                     c.BusinessNumber, c.MobileNumber, c.FaxNumber}),
              (Lines{"Title", "FirstName", "LastName", "Company", "EmailAddress", "WebAddress", "HomeNumber",
                     "BusinessNumber", "MobileNumber", "FaxNumber"}));
    const JDB3Address& a = job.addresses.at(0);
    EXPECT_EQ((Lines{a.AddressType, a.Street, a.City, a.State, a.PostalCode, a.Country}),
              (Lines{"AddressType", "Street", "City", "State", "PostalCode", "Country"}));
    EXPECT_EQ(std::tuple(a.Id, a.ContactId, a.Latitude, a.Longitude), std::tuple(3, 1, 1.5, -2.5));
    EXPECT_EQ(job.addressLinks.at(0).AddressId, 3);
    EXPECT_EQ(job.Latitude, 0) << "the location of a whole job comes from its addresses";

    const JDB3JobFields summary = Summary();
    ASSERT_TRUE(succeeded);
    EXPECT_EQ(std::pair(summary.Latitude, summary.Longitude), std::pair(1.5, -2.5));
    EXPECT_TRUE(summary.bookmarks.empty());
    EXPECT_TRUE(log.TakeErrors().empty());
}

TEST_F(JDB3helperTest, OfSeveralRowsTheLastCountsAndNullIsEmpty) {
    auto& db = MakeJob({{"Name", "'first'"}, {"LocationId", "1"}});
    db.Insert("Jobs", {{"UniqueId", "zeroblob(16)"}, {"Name", "'second'"}, {"Description", "'x'"}});
    db.Insert("Jobs", {{"UniqueId", "x'00'"}, {"Name", "NULL"}, {"StartTime", "NULL"}, {"LocationId", "2"}});
    for (const char* type : {"AUDIOIMAGE", "AUTOLOG", "IMAGE", "VIDEO", "VIDEO", "video", "VIDEOS", ""})
        db.Insert("Bookmarks", {{"Type", Simulator::LegacyDatabase::Text(type)}});
    db.Insert("Bookmarks", {{"Type", "NULL"}});
    const JDB3JobFields fields = Summary();
    ASSERT_TRUE(succeeded);
    EXPECT_EQ(fields.Name, "");
    EXPECT_EQ(fields.Description, "");
    EXPECT_EQ(fields.StartTime.tm_year, 112) << "a date of the row before stays";
    EXPECT_EQ(fields.UniqueId, "00000000-0000-0000-0000-000000000000");
    EXPECT_EQ(fields.LocationId, 2);
    EXPECT_EQ(std::tuple(fields.nAudioImage, fields.nAutolog, fields.nImage, fields.nVideo), std::tuple(1, 1, 1, 2));
    EXPECT_EQ(log.TakeErrors(), (Lines{"JDB3helper::GetInt - Field UniqueId incorrect size (1 bytes) for UUID"}));
}

TEST_F(JDB3helperTest, AMissingColumnHasTwoLinesAndLeavesTheMember) {
    MakeEmpty(false).Run("CREATE TABLE JobInfo (JobLocked); INSERT INTO JobInfo VALUES (1);"
                         "CREATE TABLE Jobs (Name); CREATE TABLE Bookmarks (Type);"
                         "CREATE TABLE Addresses (Id, Latitude, Longitude)");
    JDB3JobFields fields = Summary();
    EXPECT_TRUE(succeeded) << "a table without rows is no failure";
    EXPECT_EQ(fields.JobLocked, 1);
    EXPECT_EQ(fields.DateLastCalculated.tm_year, 70);
    EXPECT_EQ(fields.StartTime.tm_year, 0);
    EXPECT_EQ(log.TakeErrors(),
              (Lines{"JDB3helper::_GetFieldColumnIndex - fieldName JobSize not found",
                     "JDB3helper::GetInt64 - Field not found: JobSize",
                     "JDB3helper::_GetFieldColumnIndex - fieldName DateLastCalculated not found",
                     "JDB3helper::GetDate - Field not found: DateLastCalculated.  Setting time to the epoch"}));

    // Columns behind the fiftieth are not found. Two of the getters name another.
    std::string columns = "Name";
    for (int i = 2; i <= 50; ++i)
        columns += ", c" + std::to_string(i);
    database->Run("DROP TABLE Jobs; CREATE TABLE Jobs (" + columns +
                  ", UniqueId, Serial);"
                  "INSERT INTO Jobs (Name, UniqueId, Serial) VALUES ('n', zeroblob(16), 's')");
    fields = Summary();
    EXPECT_TRUE(succeeded);
    EXPECT_EQ((Lines{fields.Name, fields.UniqueId, fields.Serial}), (Lines{"n", "", ""}));
    const Lines errors = log.TakeErrors();
    for (const char* line :
         {"JDB3helper::GetInt - Field not found: UniqueId", "JDB3helper::GetString - Field not found: Serial",
          "JDB3helper::GetInt - Field not found: CustomerId"})
        EXPECT_EQ(std::ranges::count(errors, line), 1) << line;
}

TEST_F(JDB3helperTest, WithoutATableOrWithoutADatabaseNothingCanBePrepared) {
    MakeJob().Run("DROP TABLE Bookmarks");
    Summary();
    EXPECT_FALSE(succeeded);
    EXPECT_EQ(log.TakeErrors(), (Lines{"JDB3helper::_PrepareStatement - Error preparing statement SELECT Type from "
                                       "Bookmarks : no such table: Bookmarks",
                                       "JDB3helper::_PrepareSummaryStatements - Failed", failedSummary}));
    Job();
    EXPECT_EQ(log.TakeErrors(), (Lines{"JDB3helper::_PrepareStatement - Error preparing statement SELECT * from "
                                       "Bookmarks : no such table: Bookmarks",
                                       "JDB3helper::_PrepareJobStatements - Failed",
                                       "JDB3helper::ExtractJobFields - Failed to prepare job statements"}));
    card.Write(folder + "job.jdb3", std::string(5000, 'x'));
    Summary();
    EXPECT_EQ(log.TakeErrors(), (Lines{"JDB3helper::_PrepareStatement - Error preparing statement SELECT * from "
                                       "JobInfo : file is not a database",
                                       "JDB3helper::_PrepareSummaryStatements - Failed", failedSummary}));
    fs::remove(path);
    Summary();
    EXPECT_EQ(log.TakeErrors(),
              (Lines{"JDB3helper::Open - Failed to open database " + path + ": unable to open database file"}));

    JDB3helper closed(path);
    EXPECT_FALSE(closed.Close());
    EXPECT_FALSE(closed.ExtractJobSummaryFields());
    EXPECT_FALSE(closed.ExtractJobFields());
    EXPECT_EQ(log.TakeErrors(),
              (Lines{"JDB3helper::Close - Invalid handle",
                     "JDB3helper::_PrepareSummaryStatements - Failed: Job database not open", failedSummary,
                     "JDB3helper::_PrepareJobStatements - Failed: Job database not open",
                     "JDB3helper::ExtractJobFields - Failed to prepare job statements"}));
}

TEST_F(JDB3helperTest, ADamagedPageRefusesTheDatabase) {
    auto& db = MakeJob();
    db.Run("WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 3000)"
           "INSERT INTO Bookmarks (Type) SELECT 'VIDEO' FROM n");
    std::string bytes = card.Read(folder + "job.jdb3");
    bytes.replace(bytes.size() - 4096, 4096, 4096, '\xff');
    card.Write(folder + "job.jdb3", bytes);
    const JDB3JobFields fields = Summary();
    EXPECT_FALSE(succeeded) << "the end of the transaction tells";
    EXPECT_GT(fields.nVideo, 100);
    EXPECT_LT(fields.nVideo, 3000);
}

TEST_F(JDB3helperTest, TheCardIsLeftAsItWas) {
    const auto isUntouched = [this] {
        const auto contents = [this] {
            std::map<std::string, std::string> files;
            for (const std::string& name : card.List(folder))
                files[name] = card.Read(folder + name);
            return files;
        };
        const auto files = contents();
        const long descriptors = Descriptors();
        Summary();
        Job();
        return contents() == files && Descriptors() == descriptors;
    };
    MakeJob();
    EXPECT_TRUE(isUntouched());
    EXPECT_TRUE(succeeded);
    MakeJob().Run("PRAGMA journal_mode=WAL");
    database.reset();
    EXPECT_TRUE(isUntouched()) << "a database with a write-ahead log needs no log to be read";
    EXPECT_TRUE(succeeded);
    MakeJob().Run("DROP TABLE Bookmarks");
    EXPECT_TRUE(isUntouched()) << "nothing is held open after a failure";
    card.Write(folder + "job.jdb3", "no database");
    EXPECT_TRUE(isUntouched());

    // The unit was switched off while the log held the last rows.
    MakeJob().Run("PRAGMA journal_mode=WAL; PRAGMA wal_autocheckpoint=0; UPDATE Jobs SET Name = 'from the log'");
    const std::string main = card.Read(folder + "job.jdb3");
    const std::string writeAheadLog = card.Read(folder + "job.jdb3-wal");
    MakeJob();
    card.Write(folder + "job.jdb3", main);
    card.Write(folder + "job.jdb3-wal", writeAheadLog);
    ASSERT_EQ(card.List(folder).size(), 2u);
    EXPECT_TRUE(isUntouched());
    EXPECT_EQ(Summary().Name, "from the log");

    // And here while a change was half done.
    MakeJob().Run("PRAGMA journal_mode=DELETE; PRAGMA cache_spill=1; PRAGMA cache_size=1; BEGIN;"
                  "UPDATE Jobs SET Name = 'half done', Description = zeroblob(100000)");
    const std::string halfDone = card.Read(folder + "job.jdb3");
    const std::string journal = card.Read(folder + "job.jdb3-journal");
    database.reset();
    card.Write(folder + "job.jdb3", halfDone);
    card.Write(folder + "job.jdb3-journal", journal);
    EXPECT_TRUE(isUntouched());
    EXPECT_FALSE(succeeded);

    card.Write(folder + "job.jdb3", "");
    card.Write(folder + "job.jdb3-journal", "x");
    EXPECT_TRUE(isUntouched()) << "not even what lies beside an empty file is removed";
}

TEST_F(JDB3helperTest, NothingInItsPlaceStallsTheReading) {
    MakeJob();
    ASSERT_EQ(mkfifo(JobFile("job.jdb3-journal").c_str(), 0600), 0);
    Summary();
    EXPECT_FALSE(succeeded) << "a pipe in the place of the journal";
    fs::remove(JobFile("job.jdb3-journal"));
    fs::rename(path, JobFile("elsewhere"));
    fs::create_symlink("elsewhere", path);
    Summary();
    EXPECT_FALSE(succeeded) << "a link may lead off the card";
    fs::remove(path);
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    Summary();
    EXPECT_FALSE(succeeded);
    EXPECT_EQ(log.TakeErrors(),
              (Lines{"JDB3helper::Open - Failed to open database " + path + ": unable to open database file"}));
}

TEST_F(JDB3helperTest, WhatIsNoPlainTableIsRefused) {
    const std::map<std::string, std::string> contacts = {
        {"CREATE VIEW Contacts AS SELECT Id FROM Jobs", "access to view \"Contacts\" prohibited"},
        {"CREATE TABLE Contacts (Id, FaxNumber AS (hex(zeroblob(500000))))", "column FaxNumber is computed"},
        {"CREATE VIRTUAL TABLE Contacts USING fts5(Id)", "vtable constructor failed: Contacts"},
    };
    for (const auto& [definition, reason] : contacts) {
        MakeJob().Run("DROP TABLE Contacts; " + definition);
        Job();
        EXPECT_FALSE(succeeded) << definition;
        EXPECT_EQ(log.TakeErrors().at(0),
                  "JDB3helper::_PrepareStatement - Error preparing statement SELECT * from Contacts : " + reason);
    }
}

TEST_F(JDB3helperTest, BeyondTheBoundsADatabaseIsRefusedAsAWhole) {
    const auto isRefused = [this](const std::string& line) {
        Job();
        const Lines errors = log.TakeErrors();
        return !succeeded && std::ranges::count(errors, line) == 1;
    };
    const std::string tooLong = "JDB3helper::ExecuteStatement - Failed: Step 18, error string or blob too big";

    auto& db = MakeJob();
    db.Run("ALTER TABLE Bookmarks ADD Thumbnail; INSERT INTO Bookmarks (Type) VALUES ('IMAGE'), ('IMAGE'), ('IMAGE');"
           "UPDATE Bookmarks SET Thumbnail = zeroblob(300000) WHERE Id = 2");
    EXPECT_EQ(Job().bookmarks.size(), 3u);
    EXPECT_EQ(Summary().nImage, 3);
    EXPECT_TRUE(succeeded);
    db.Run("UPDATE Bookmarks SET Thumbnail = zeroblob(5000000) WHERE Id = 2");
    EXPECT_TRUE(isRefused(tooLong)) << "a value, though nobody reads it";

    MakeJob().Run("WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 20)"
                  "INSERT INTO Contacts (FaxNumber) SELECT printf('%.*c', 3500000, 'x') FROM n");
    EXPECT_TRUE(isRefused(tooLong)) << "the records of all rows";

    // The inner pages of a table's tree stand in a chain, each naming the next at all of its places: 60 to the power of
    // ten rows.
    MakeEmpty(false).Run("PRAGMA page_size=512; CREATE TABLE JobInfo (Id); CREATE TABLE Jobs (Id);"
                         "CREATE TABLE Addresses (Id, Latitude, Longitude); CREATE TABLE Bookmarks (Type);"
                         "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 100000)"
                         "INSERT INTO Bookmarks SELECT 'x' FROM n");
    std::string bytes = card.Read(folder + "job.jdb3");
    std::vector<size_t> innerPages;
    for (size_t page = 512; page < bytes.size() && innerPages.size() < 10; page += 512)
        if (bytes[page] == 5)
            innerPages.push_back(page);
    for (size_t i = 0; i + 1 < innerPages.size(); ++i) {
        const auto numberAt = [&bytes](size_t place) {
            return static_cast<uint8_t>(bytes[place]) * 256u + static_cast<uint8_t>(bytes[place + 1]);
        };
        const size_t page = innerPages[i];
        const size_t next = innerPages[i + 1] / 512 + 1;
        for (size_t cell = 0; cell < numberAt(page + 3); ++cell) {
            const size_t child = page + numberAt(page + 12 + 2 * cell);
            bytes[child + 2] = static_cast<char>(next / 256);
            bytes[child + 3] = static_cast<char>(next % 256);
        }
    }
    card.Write(folder + "job.jdb3", bytes);
    const std::clock_t start = std::clock();
    Summary();
    EXPECT_FALSE(succeeded);
    EXPECT_EQ(log.TakeErrors().at(0), "JDB3helper::ExecuteStatement - Failed: Step 9, error interrupted");
    EXPECT_LT(std::clock() - start, 1.5 * CLOCKS_PER_SEC);

    const Lines tooLarge{"JDB3helper::Open - Failed to open database " + path + ": string or blob too big"};
    fs::resize_file(path, 129 * 1024 * 1024);
    Summary();
    EXPECT_EQ(log.TakeErrors(), tooLarge);
    MakeJob();
    fs::resize_file(card.Write(folder + "job.jdb3-wal", ""), 129 * 1024 * 1024);
    Summary();
    EXPECT_EQ(log.TakeErrors(), tooLarge);
}

} // namespace
} // namespace JobsManagerD
