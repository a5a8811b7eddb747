#include "jobfiles/JobFileHandlerJSON.h"

#include "fsutil/LogLines.h"
#include "fsutil/SystemCalls.h"
#include "jobfiles/FastSummary.h"
#include "jobs/Json.h"
#include "jobs/SampleJob.h"
#include "support/TemporaryFolder.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <map>

namespace fs = std::filesystem;
using nlohmann::json;

namespace JobsManagerD {
namespace {

using Testing::Lines;

/// The file of the sample job, byte for byte. The numbers of the private notes are the texts "ab" and "xy" XORed with
/// the IDs "job-1" and "m2".
const std::string sampleFile =
    R"({"address":{"city":"Ørsted","position":{"latitude":"1.5","longitude":"2.5"},"street":"5 Mill Lane"},)"
    R"("contacts":[{"contactSource":1,"firstName":"Ann","id":1},{"contactSource":0,"firstName":"Bo","id":3}],)"
    R"("customer":{"address":{"city":"Port"},"contactSource":7,"lastName":"Roe","phones":{"home":"555-1"},)"
    R"("web":{"site":"roe.example"}},)"
    R"("id":"job-1","jobSize":48,"locked":true,)"
    R"("media":[{"cameraInclinometerAngle":-12,"cameraRollAngle":0,"distance":{"absolute":1500,"relative":-20},)"
    R"("files":[{"name":"m2-imageFile","size":10,"type":"imageFile"}],"id":"m2","isIncludedInReport":true,)"
    R"("name":"Joint","notes":"Crack","position":{"latitude":"3.5","longitude":"4.5"},"privateNotes":[21,75],)"
    R"("source":{"model":"Reel","serial":"S1","version":"1.2"},)"
    R"("timestamp":{"createTime":"2024-05-01T08:20:00Z","modifiedTime":"2024-05-01T08:20:00Z"},"type":"image",)"
    R"("userData":[1,2]},)"
    R"({"files":[{"name":"m1-videoFile","size":10,"type":"videoFile"},)"
    R"({"name":"m1-recoveryFile","size":11,"type":"recoveryFile"},)"
    R"({"name":"m1-thumbnailFile","size":12,"type":"thumbnailFile"},)"
    R"({"name":"sub/extra","size":5,"type":"miscDataFile"}],"id":"m1","isIncludedInReport":false,)"
    R"("source":{"model":"Reel","serial":"S1","version":"1.2"},)"
    R"("timestamp":{"createTime":"2024-05-01T08:10:00Z","modifiedTime":"2024-05-01T08:10:00Z"},"type":"video",)"
    R"("userData":"plain words"}],)"
    R"("mediaCounts":{"autologs":0,"images":1,"photoTalks":0,"total":2,"videos":1},"mediaFolder":"media",)"
    R"("name":"North road","notes":"Line one\n\"Two\"","position":{"latitude":"47.50","longitude":"-122.25"},)"
    R"("privateNotes":[11,13],"source":{"model":"Reel","serial":"S1","version":"1.2"},)"
    R"("timestamp":{"createTime":"2024-05-01T08:00:00Z","modifiedTime":"2024-05-02T09:30:00Z"},)"
    R"("type":"videoInspection","userData":{"a":{"c":"d"},"b":[1,null]},"version":"2.0"})";

class JobFile : public testing::Test {
protected:
    // Thousands of saves: the medium need not keep them.
    JobFile() {
        systemCalls.sync = [](int) { return 0; };
    }
    ~JobFile() override { systemCalls = kernelCalls; }

    std::string Path(const std::string& name) const { return folder / name; }
    void Write(const json& document) { folder.Write("job.json", document.dump()); }
    /// A job of the file, read as far as it goes.
    std::unique_ptr<Job> Read() {
        auto job = std::make_unique<Job>(path);
        summaryResult = handler.ParseJobFileSummary(*job);
        if (job->Id().empty())
            job->ChangeSummary([](JobSummary& summary) { summary.id = "job-1"; });
        result = handler.ParseJobFile(*job);
        return job;
    }

    Testing::TemporaryFolder folder;
    Testing::TestLog log;
    const std::string path = Path("job.json");
    const JobFileHandlerJSON handler;
    jobFileOpRtn_e summaryResult = JOBFILE_OP_UNSUPPORTED;
    jobFileOpRtn_e result = JOBFILE_OP_UNSUPPORTED;
};

TEST_F(JobFile, HoldsAFullJobByteForByte) {
    Job job(path);
    Testing::FillSampleJob(job);
    job.SetSyncStatus(true);
    job.GetMediaItem("m1")->files[0].state = MEDIA_FILE_STATE_EMPTY;
    EXPECT_EQ(handler.UpdateJobFile(job), JOBFILE_OP_SUCCEEDED);
    EXPECT_EQ(folder.Read("job.json"), sampleFile);
    const auto lines = log.Take();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].priority, LOG_DEBUG);
    EXPECT_EQ(lines[0].text, "UpdateJobFile: Updated job file " + path);
    EXPECT_EQ(handler.GetFileExtension(), "json");
}

TEST_F(JobFile, ComesBackAsItWasWritten) {
    folder.Write("job.json", sampleFile);
    const auto job = Read();
    ASSERT_EQ(result, JOBFILE_OP_SUCCEEDED);
    EXPECT_EQ(job->Details().privateNotes, "ab");
    EXPECT_EQ(job->GetMediaItem("m2")->privateNotes, "xy");
    EXPECT_EQ(job->Details().contacts[1].id, 3);
    EXPECT_EQ(job->Details().userData, R"({"a":{"c":"d"},"b":[1,null]})");
    EXPECT_FALSE(job->GetMediaItem("m1")->cameraRollAngle);
    EXPECT_FALSE(job->GetMediaItem("m1")->distance.present);
    EXPECT_EQ(job->GetMediaItem("m2")->userData, "") << "a list is not read back";
    EXPECT_TRUE(log.TakeErrors().empty());

    job->GetMediaItem("m2")->userData = "[1,2]";
    EXPECT_EQ(handler.UpdateJobFile(*job), JOBFILE_OP_SUCCEEDED);
    EXPECT_EQ(folder.Read("job.json"), sampleFile);
    EXPECT_EQ(folder.Read("job.json.bak"), sampleFile);

    Job again(path);
    EXPECT_EQ(handler.ParseJobFileSummary(again), JOBFILE_OP_SUCCEEDED);
    EXPECT_EQ(again.SummaryJSONstring(JSON_MODE_FILE), job->SummaryJSONstring(JSON_MODE_FILE));
    EXPECT_TRUE(again.MediaRecords().empty()) << "a summary has no media";
}

TEST_F(JobFile, TheSummaryTrustsTheFileAndTheFullJobRecounts) {
    json document = json::parse(sampleFile);
    document["jobSize"] = 5;
    document["mediaCounts"]["total"] = 70;
    document.erase("position");
    document.erase("mediaFolder");
    Write(document);
    Job job(path);
    EXPECT_EQ(handler.ParseJobFileSummary(job), JOBFILE_OP_SUCCEEDED);
    EXPECT_EQ(job.Summary().jobSize, 5u);
    EXPECT_EQ(job.Summary().mediaCounts.total, 70u);
    for (int reading = 0; reading < 2; ++reading) {
        EXPECT_EQ(handler.ParseJobFile(job), JOBFILE_OP_SUCCEEDED);
        EXPECT_EQ(job.Summary().jobSize, 48u);
        EXPECT_EQ(job.Summary().mediaCounts, (MediaCounts{2, 0, 1, 0, 1}));
        EXPECT_EQ(job.MediaRecords().size(), 2u) << "also when it is read again";
    }
    EXPECT_EQ(job.Summary().position, (Position{"3.5", "4.5"})) << "that of the first located item";
    EXPECT_EQ(job.MediaFolder(), "media");
}

TEST_F(JobFile, UserDataOfEveryKindComesBack) {
    const std::string deep = std::string(100000, '[') + std::string(100000, ']');
    const std::vector<std::pair<std::string, std::string>> rows{
        {R"({ "b" : 1, "a" : "x" })", R"({"a":"x","b":1})"},
        {"bare word", "bare word"},
        {"5", "5"},
        {"-1.5e3", "-1.5e3"},
        {"true", "true"},
        {"null", "null"},
        {R"("")", R"("")"},
        {R"("text")", "text"},
        {"1e999", "1e999"},
        {R"({"broken":)", R"({"broken":)"},
        {"[1, 2]", ""}, // a list is not read back
        {deep, deep},
    };
    for (const auto& [given, expected] : rows) {
        Job job(path);
        Testing::FillSampleJob(job);
        job.Details().userData = given;
        job.GetMediaItem("m1")->userData = given;
        EXPECT_EQ(handler.UpdateJobFile(job), JOBFILE_OP_SUCCEEDED);
        const auto read = Read();
        EXPECT_EQ(summaryResult, JOBFILE_OP_SUCCEEDED) << given.substr(0, 30);
        ASSERT_EQ(result, JOBFILE_OP_SUCCEEDED) << given.substr(0, 30);
        EXPECT_EQ(read->Details().userData, expected);
        ASSERT_EQ(read->MediaRecords().size(), 2u) << given.substr(0, 30);
        EXPECT_EQ(read->GetMediaItem("m1")->userData, expected);
    }
}

TEST_F(JobFile, ContactsOfAnyIdComeBackAndKeepComingBack) {
    const auto readIds = [this] {
        const auto job = Read();
        EXPECT_EQ(result, JOBFILE_OP_SUCCEEDED);
        handler.UpdateJobFile(*job);
        std::map<std::string, int> ids;
        for (const Contact& contact : job->Details().contacts)
            ids[contact.names.at("firstName")] = contact.id;
        return ids;
    };
    json document = json::parse(sampleFile);
    document["contacts"] = json::parse(R"([{"firstName":"zero","id":0},{"firstName":"two","id":2.0},
        {"firstName":"wide","id":256},{"firstName":"part","id":0.4},{"firstName":"below","id":-1}])");
    Write(document);
    const std::map<std::string, int> expected{{"zero", 3}, {"two", 2}, {"wide", 4}, {"part", 5}, {"below", 6}};
    EXPECT_EQ(readIds(), expected);
    EXPECT_EQ(readIds(), expected);

    document["contacts"] = json::parse(R"({"a":{"firstName":"Ann","id":7},"b":5,"c":{"phones":1},
        "d":{"firstName":"Bo"}})");
    Write(document);
    const std::map<std::string, int> ofObject{{"Ann", 7}, {"Bo", 8}};
    EXPECT_EQ(readIds(), ofObject);
    EXPECT_EQ(readIds(), ofObject);
}

/// A save never writes what the reader refuses, wherever its limit for nesting lies.
TEST_F(JobFile, UserDataOfAnyDepthLeavesAFileThatCanBeRead) {
    Job job(path);
    Testing::FillSampleJob(job);
    for (size_t depth = 980; depth < 1020; ++depth) {
        const std::string nested = R"({"a":)" + std::string(depth, '[') + std::string(depth, ']') + "}";
        job.Details().userData = nested;
        job.GetMediaItem("m1")->userData = nested;
        ASSERT_EQ(handler.UpdateJobFile(job), JOBFILE_OP_SUCCEEDED);
        const auto read = Read();
        ASSERT_EQ(result, JOBFILE_OP_SUCCEEDED) << depth;
        EXPECT_EQ(read->Details().userData, nested);
        EXPECT_EQ(read->GetMediaItem("m1")->userData, nested);
    }
}

TEST_F(JobFile, PrivateNotesThatAreNoUtf8AreKeptAndShownReplaced) {
    Job job(path);
    Testing::FillSampleJob(job);
    job.Details().privateNotes = "a\x80z";
    job.Details().notes = "b\xffy";
    handler.UpdateJobFile(job);
    const auto read = Read();
    ASSERT_EQ(result, JOBFILE_OP_SUCCEEDED);
    EXPECT_EQ(read->Details().privateNotes, "a\x80z");
    EXPECT_EQ(json::parse(read->JSONstring(JSON_MODE_FILE))["notes"], "b\uFFFDy");
    EXPECT_NE(read->JSONstring(JSON_MODE_CLIENT).find("\"privateNotes\":\"a\uFFFDz\""), std::string::npos);
}

TEST_F(JobFile, ExtractionGivesTheDocumentAsItLies) {
    folder.Write("job.json", R"({"privateNotes":[1],"unknown":{}})");
    const Job job(path);
    json document;
    EXPECT_EQ(handler.ExtractJobJson(job, document), JOBFILE_OP_SUCCEEDED);
    EXPECT_EQ(document, json::parse(R"({"privateNotes":[1],"unknown":{}})"));
    fs::remove(path);
    EXPECT_EQ(handler.ExtractJobJson(job, document), JOBFILE_OP_FS_ERROR);
    EXPECT_EQ(log.TakeErrors().back(),
              "JobFileHandlerJSON::ExtractJobJson - Failed to parse job file : FILESYSTEM_ERROR");
    EXPECT_EQ(Read()->MediaRecords().size(), 0u);
    EXPECT_EQ(summaryResult, JOBFILE_OP_FS_ERROR);
    EXPECT_EQ(result, JOBFILE_OP_FS_ERROR);
}

TEST_F(JobFile, ASaveThatFailsIsReported) {
    Job job(Path("missing/job.json"));
    EXPECT_EQ(handler.UpdateJobFile(job), JOBFILE_OP_FS_ERROR);
    EXPECT_EQ(log.TakeErrors().back(), "UpdateJobFile: Failed to update job file " + Path("missing/job.json"));
}

enum Verdict { Good, NoSummary, NoDetails, OneItemLess };

struct Damage {
    const char* pointer;
    const char* value; // null takes the key away
    Verdict verdict;
};

class DamagedJobFile : public JobFile, public testing::WithParamInterface<Damage> {};

TEST_P(DamagedJobFile, IsReadAsFarAsItHolds) {
    const auto& [pointer, value, verdict] = GetParam();
    json document = json::parse(sampleFile);
    const json::json_pointer place(pointer);
    if (value)
        document[place] = json::parse(value);
    else if (json& parent = document[place.parent_pointer()]; parent.is_array())
        parent.erase(std::stoul(place.back()));
    else
        parent.erase(place.back());
    Write(document);

    Job job(path);
    summaryResult = handler.ParseJobFileSummary(job);
    const Lines summaryLines = log.TakeErrors();
    if (verdict == NoSummary) {
        EXPECT_EQ(summaryResult, JOBFILE_OP_MISSING_FIELDS);
        EXPECT_EQ(summaryLines.back(),
                  "JobFileHandlerJSON::ParseJobFileSummary - Valid job summary fields check failed");
        return;
    }
    ASSERT_EQ(summaryResult, JOBFILE_OP_SUCCEEDED);
    result = handler.ParseJobFile(job);
    const Lines lines = log.TakeErrors();
    if (verdict == NoDetails) {
        EXPECT_EQ(result, JOBFILE_OP_MISSING_FIELDS);
        EXPECT_TRUE(lines.back().starts_with("JobFileHandlerJSON::ParseJobFile - "));
        return;
    }
    EXPECT_EQ(result, JOBFILE_OP_SUCCEEDED);
    EXPECT_EQ(job.MediaRecords().size(), verdict == Good ? 2u : 1u);
    EXPECT_EQ(lines.empty(), verdict == Good) << testing::PrintToString(lines);
    EXPECT_TRUE(lines.empty() || lines.back() == "JobFileHandlerJSON::ParseJobFile - Invalid media item.  Skipping");
}

INSTANTIATE_TEST_SUITE_P(
    Summary, DamagedJobFile,
    testing::Values(Damage{"/id", nullptr, NoSummary}, Damage{"/id", R"("")", NoSummary},
                    Damage{"/version", nullptr, NoSummary}, Damage{"/version", "2.0", NoSummary},
                    Damage{"/locked", nullptr, NoSummary}, Damage{"/locked", "1", NoSummary},
                    Damage{"/source", nullptr, NoSummary}, Damage{"/source/serial", R"("")", NoSummary},
                    Damage{"/timestamp/modifiedTime", nullptr, NoSummary}, Damage{"/type", nullptr, NoSummary},
                    Damage{"/type", R"("walk")", Good}, Damage{"/jobSize", R"("5")", NoSummary},
                    Damage{"/jobSize", "-1", Good}, Damage{"/jobSize", "1e300", Good},
                    Damage{"/mediaCounts/total", nullptr, NoSummary}, Damage{"/mediaCounts", "[]", NoSummary},
                    Damage{"/name", nullptr, Good}, Damage{"/name", R"("")", NoSummary},
                    Damage{"/position", nullptr, Good}, Damage{"/position/latitude", "47.5", NoSummary},
                    Damage{"/unknown", "[{}]", Good}));

INSTANTIATE_TEST_SUITE_P(
    Details, DamagedJobFile,
    testing::Values(Damage{"/notes", R"("")", NoDetails}, Damage{"/notes", nullptr, Good},
                    Damage{"/privateNotes", R"("ab")", NoDetails}, Damage{"/privateNotes", "[1,300,-1,2.5]", Good},
                    Damage{"/privateNotes", R"(["a"])", NoDetails}, Damage{"/address", "[]", NoDetails},
                    Damage{"/address/position/longitude", nullptr, NoDetails}, Damage{"/address/city", "5", Good},
                    Damage{"/customer", R"("Roe")", NoDetails}, Damage{"/customer/phones", "[]", NoDetails},
                    Damage{"/customer/id", R"("x")", NoDetails}, Damage{"/customer/id", "12", Good},
                    Damage{"/contacts/0/id", nullptr, NoDetails}, Damage{"/contacts", "[5]", NoDetails},
                    Damage{"/contacts", R"("none")", Good}, Damage{"/contacts", R"({"a":{}})", Good},
                    Damage{"/userData", "5", NoDetails}, Damage{"/userData", "null", NoDetails},
                    Damage{"/userData", R"("")", NoDetails}, Damage{"/mediaFolder", R"("")", Good},
                    Damage{"/mediaFolder", "5", NoDetails}, Damage{"/media", R"("none")", NoDetails}));

INSTANTIATE_TEST_SUITE_P(
    Media, DamagedJobFile,
    testing::Values(
        Damage{"/media/1", "5", OneItemLess}, Damage{"/media/1", "null", OneItemLess},
        Damage{"/media/1", "[]", OneItemLess}, Damage{"/media/1", "{}", OneItemLess},
        Damage{"/media/1/id", nullptr, OneItemLess}, Damage{"/media/1/type", R"("none")", OneItemLess},
        Damage{"/media/1/type", R"("walk")", OneItemLess},
        Damage{"/media/1/type", R"("autolog")", Good}, // needs the same files
        Damage{"/media/1/type", R"("photoTalk")", OneItemLess}, Damage{"/media/1/timestamp", nullptr, OneItemLess},
        Damage{"/media/1/source/version", R"("")", OneItemLess},
        Damage{"/media/1/isIncludedInReport", "0", OneItemLess}, Damage{"/media/1/files", "{}", OneItemLess},
        Damage{"/media/1/files/2", nullptr, OneItemLess}, Damage{"/media/1/files/3", nullptr, Good},
        Damage{"/media/1/files/2/type", R"("hologram")", OneItemLess},
        Damage{"/media/1/files/3/size", R"("5")", OneItemLess}, Damage{"/media/1/files/3/name", R"("")", OneItemLess},
        Damage{"/media/0/name", R"("")", OneItemLess}, Damage{"/media/0/notes", "5", OneItemLess},
        Damage{"/media/0/position/latitude", nullptr, OneItemLess},
        Damage{"/media/0/distance/relative", nullptr, OneItemLess},
        Damage{"/media/0/cameraRollAngle", R"("5")", OneItemLess}, Damage{"/media/0/cameraRollAngle", "true", Good},
        Damage{"/media/0/cameraRollAngle", "null", Good}, Damage{"/media/0/cameraRollAngle", "1e300", Good},
        Damage{"/media/0/privateNotes", R"("xy")", OneItemLess}, Damage{"/media/0/privateNotes", "[{}]", OneItemLess},
        Damage{"/media/0/userData", "true", OneItemLess}));

TEST_F(JobFile, AnItemThatIsSkippedIsGoneAfterTheNextSave) {
    json document = json::parse(sampleFile);
    document["media"][1]["files"].erase(2);
    Write(document);
    const auto job = Read();
    EXPECT_EQ(result, JOBFILE_OP_SUCCEEDED);
    EXPECT_EQ(log.TakeErrors(), (Lines{"JobFileHandlerJSON::ParseMedia - Media type video is missing files",
                                       "JobFileHandlerJSON::ParseJobFile - Invalid media item.  Skipping"}));
    EXPECT_EQ(job->Summary().jobSize, 10u);
    handler.UpdateJobFile(*job);
    EXPECT_EQ(json::parse(folder.Read("job.json"))["media"].size(), 1u);
}

TEST_F(JobFile, AFileOfANewerTypeIsLeftOutWithoutAWord) {
    json document = json::parse(sampleFile);
    document["media"][1]["files"][3]["type"] = "hologram";
    Write(document);
    const auto job = Read();
    EXPECT_EQ(job->GetMediaItem("m1")->files.size(), 3u);
    EXPECT_EQ(job->Summary().jobSize, 43u);
    EXPECT_TRUE(log.TakeErrors().empty());
}

TEST_F(JobFile, TheValuesOfAnObjectServeAsMedia) {
    json document = json::parse(sampleFile);
    document["media"] = {{"x", document["media"][0]}, {"y", document["media"][1]}, {"z", 5}};
    Write(document);
    EXPECT_EQ(Read()->MediaRecords().size(), 2u);
}

TEST_F(JobFile, AJobThatCannotBeReadKeepsWhatItHeld) {
    folder.Write("job.json", sampleFile);
    const auto job = Read();
    const std::string before = job->JSONstring(JSON_MODE_FILE);
    for (const char* damage : {"/notes", "/customer/id", "/mediaFolder", "/version"}) {
        json document = json::parse(sampleFile);
        document["name"] = "other";
        document[json::json_pointer(damage)] = json::array();
        Write(document);
        if (std::string(damage) == "/version") {
            EXPECT_EQ(handler.ParseJobFileSummary(*job), JOBFILE_OP_MISSING_FIELDS);
        } else {
            EXPECT_EQ(handler.ParseJobFile(*job), JOBFILE_OP_MISSING_FIELDS) << damage;
        }
        EXPECT_EQ(job->JSONstring(JSON_MODE_FILE), before) << damage;
    }
}

/// Every place of a document, at any depth.
void CollectPlaces(const json& value, const json::json_pointer& place, std::vector<json::json_pointer>& places) {
    places.push_back(place);
    if (value.is_array())
        for (size_t i = 0; i < value.size(); ++i)
            CollectPlaces(value[i], place / i, places);
    if (value.is_object())
        for (const auto& [key, entry] : value.items())
            CollectPlaces(entry, place / key, places);
}

/// Whatever kind stands at whatever place: reading gives a code, and what is accepted can be saved and read again.
TEST_F(JobFile, AWrongKindAtAnyPlaceIsAnAnswerAndNoException) {
    const json sample = json::parse(sampleFile);
    std::vector<json::json_pointer> places;
    CollectPlaces(sample, json::json_pointer(), places);
    ASSERT_GT(places.size(), 100u);
    const std::vector<json> strangers{json(), 5, "x", json::array(), json::object(), true, -1, 1e300};
    size_t accepted = 0;
    for (const json::json_pointer& place : places)
        for (const json& stranger : strangers) {
            SCOPED_TRACE(place.to_string() + " = " + stranger.dump());
            json document = sample;
            document[place] = stranger;
            Write(document);
            std::unique_ptr<Job> job;
            ASSERT_NO_THROW(job = Read());
            ASSERT_TRUE(result == JOBFILE_OP_SUCCEEDED || result == JOBFILE_OP_MISSING_FIELDS);
            log.Take();
            if (summaryResult != JOBFILE_OP_SUCCEEDED || result != JOBFILE_OP_SUCCEEDED)
                continue;
            ++accepted;
            const std::string before = job->JSONstring(JSON_MODE_CLIENT);
            ASSERT_EQ(handler.UpdateJobFile(*job), JOBFILE_OP_SUCCEEDED);
            ASSERT_EQ(folder.Read("job.json"), CompactDump(json::parse(folder.Read("job.json"))));
            const auto again = Read();
            ASSERT_EQ(summaryResult, JOBFILE_OP_SUCCEEDED);
            ASSERT_EQ(result, JOBFILE_OP_SUCCEEDED);
            EXPECT_EQ(again->JSONstring(JSON_MODE_CLIENT), before);
        }
    EXPECT_GT(accepted, places.size());
}

/// Code, summary and log of reading the summary twice: by the fast parser, and behind a byte order mark, which that one
/// refuses, by the general one.
TEST_F(JobFile, TheFastReaderOfSummariesAndTheGeneralOneAgree) {
    const auto read = [this](const std::string& text) {
        folder.Write("job.json", text);
        Job job(path);
        const jobFileOpRtn_e code = handler.ParseJobFileSummary(job);
        return std::tuple(code, job.SummaryJSONstring(JSON_MODE_FILE), log.TakeErrors());
    };
    const auto expectAgreement = [&read](const std::string& text) {
        EXPECT_EQ(read(text), read("\xEF\xBB\xBF" + text)) << text;
    };
    std::string text = sampleFile;
    EXPECT_TRUE(ReadSummaryFast(text).has_value());
    EXPECT_EQ(text, sampleFile);
    expectAgreement(text);

    json sample = json::parse(sampleFile);
    for (const char* key : {"media", "contacts", "customer", "address", "userData", "privateNotes"})
        sample.erase(key);
    std::vector<json::json_pointer> places;
    CollectPlaces(sample, json::json_pointer(), places);
    for (const json::json_pointer& place : places)
        for (const json& stranger : std::vector<json>{json(), "", "\n\u00e4\\", 5, 70000, -1, 1.5, 1e19, true,
                                                      json::array(), json::object(), sample["source"]}) {
            json document = sample;
            document[place] = stranger;
            expectAgreement(document.dump());
            const json& outer = sample[place.parent_pointer()];
            if (place.empty() || !outer.is_object())
                continue;
            // Given twice, in either order.
            const std::string member = json(place.back()).dump() + ":" + stranger.dump();
            const std::string whole = sample.dump();
            const size_t start = whole.find(outer.dump()) + 1;
            expectAgreement(std::string(whole).insert(start, member + ","));
            expectAgreement(std::string(whole).insert(start + outer.dump().size() - 2, "," + member));
        }
}

} // namespace
} // namespace JobsManagerD
