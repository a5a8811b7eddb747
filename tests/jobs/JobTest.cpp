#include "jobs/Job.h"

#include "fsutil/LogLines.h"
#include "jobs/Json.h"
#include "jobs/SampleJob.h"

#include <gtest/gtest.h>
#include <stdexcept>

using nlohmann::json;

namespace JobsManagerD {
namespace {

using Testing::Lines;
using Testing::SampleMedia;

constexpr const char* jobFile = "/card/North road/.job.json";

TEST(JobPaths, FollowTheJobFile) {
    Job job(jobFile);
    EXPECT_EQ(job.JobFolderPath(), "/card/North road");
    EXPECT_EQ(job.DefaultMediaFolderPath(), "/card/North road/media");
    EXPECT_EQ(job.MediaFolderPath(), "/card/North road") << "no folder of their own";
    job.SetMediaFolder("pictures");
    EXPECT_EQ(job.MediaFolderPath(), "/card/North road/pictures");
    EXPECT_EQ(job.DefaultMediaFolderPath(), "/card/North road/media");
    job.SetJobFilePath("/other/South/job.json");
    EXPECT_EQ(job.MediaFolderPath(), "/other/South/pictures");
}

TEST(JobPaths, ThoseBehindTheMediaFolderAreRelativeToIt) {
    Testing::TestLog log;
    Job job(jobFile);
    job.SetMediaFolder("media");
    EXPECT_EQ(job.GetPathRelativeToMediaFolder("/card/North road/media/a.mp4"), "a.mp4");
    EXPECT_EQ(job.GetPathRelativeToMediaFolder("/card/North road/media/sub/a.mp4"), "sub/a.mp4");
    EXPECT_EQ(log.Take().size(), 0u);
    EXPECT_EQ(job.GetPathRelativeToMediaFolder("/card/South/a.mp4"), "/card/South/a.mp4");
    EXPECT_EQ(log.TakeErrors(), Lines{"Job::GetPathRelativeToMediaFolder - File path /card/South/a.mp4 is not under "
                                      "mediaFolderPath /card/North road/media"});
    EXPECT_EQ(job.GetPathRelativeToMediaFolder("/card/North road/media2/x.jpg"), "/card/North road/media2/x.jpg");
    EXPECT_THROW(job.GetPathRelativeToMediaFolder("/card/North road/media"), std::out_of_range);
}

TEST(JobPaths, AFileNameDoesNotLeaveTheCard) {
    using namespace std::string_literals;
    Job job(jobFile);
    for (const auto& [name, expected] : std::vector<std::pair<std::string, bool>>{
             {"a.mp4", true},
             {"../../South/media/a.mp4", true}, // another job of the same card
             {"../../../etc/passwd", false},
             {"../../../card/../etc/passwd", false},
             {"../../../cards/a.mp4", false},
             {"../../../etc/passwd\0/../../../card/a.mp4"s, false},
         })
        EXPECT_EQ(job.IsOnMedium("/card/North road/media/" + name), expected) << name;
}

class JobMedia : public testing::Test {
protected:
    JobMedia() { job.SetMediaFolder("media"); }

    Testing::TestLog log;
    Job job{jobFile};
};

TEST_F(JobMedia, AnItemIsCountedWhileItIsListed) {
    const auto video = SampleMedia(MEDIA_TYPE_VIDEO, "m1");
    video->position.longitude = "2.5";
    const auto image = SampleMedia(MEDIA_TYPE_IMAGE, "m2");
    image->position = {"8", "9"};
    job.AddMediaItem(SampleMedia(MEDIA_TYPE_AUTOLOG, "m0"));
    EXPECT_FALSE(job.Summary().position.IsSet());
    job.AddMediaItem(video);
    job.AddMediaItem(image);

    EXPECT_EQ(job.Summary().jobSize, 33u + 33u + 10u);
    EXPECT_EQ(job.Summary().mediaCounts, (MediaCounts{3, 1, 1, 0, 1}));
    EXPECT_EQ(job.Summary().position, (Position{"", "2.5"})) << "that of the first item that has one";
    EXPECT_EQ(job.Summary().timestamp.modifiedTime, "");
    EXPECT_EQ(job.GetMediaItem("m2"), image);
    EXPECT_EQ(job.MediaFilePaths("m1"),
              (std::vector<std::string>{"/card/North road/media/m1-videoFile", "/card/North road/media/m1-recoveryFile",
                                        "/card/North road/media/m1-thumbnailFile"}));

    EXPECT_EQ(job.RemoveMediaItem("m1"), JOB_RTN_SUCCEEDED);
    EXPECT_EQ(job.Summary().jobSize, 43u);
    EXPECT_EQ(job.Summary().mediaCounts, (MediaCounts{2, 1, 1, 0, 0}));
    EXPECT_EQ(job.Summary().position, (Position{"", "2.5"})) << "stays when its item goes";
    EXPECT_EQ(job.Summary().timestamp.modifiedTime.size(), std::string("2024-05-01T08:00:00Z").size());
    ASSERT_EQ(job.MediaRecords().size(), 2u);
    EXPECT_EQ(job.MediaRecords()[1].id, "m2");
    EXPECT_EQ(log.Take().size(), 0u);
}

TEST_F(JobMedia, RemovalDoesNotTakeMoreThanTheJobHas) {
    job.AddMediaItem(SampleMedia(MEDIA_TYPE_IMAGE, "m1"));
    job.ChangeSummary([](JobSummary& summary) { summary.jobSize = 4; });
    EXPECT_EQ(job.RemoveMediaItem("m1"), JOB_RTN_SUCCEEDED);
    EXPECT_EQ(job.Summary().jobSize, 0u);
}

TEST_F(JobMedia, AnUnknownItemIsReportedAndChangesNothing) {
    EXPECT_EQ(job.GetMediaItem("m9"), nullptr);
    EXPECT_TRUE(job.MediaFilePaths("m9").empty());
    EXPECT_EQ(job.RemoveMediaItem("m9"), JOB_RTN_NOT_FOUND);
    EXPECT_EQ(log.TakeErrors(), (Lines{"Job::GetMediaItem - No Media item found with ID: m9",
                                       "Job::GetMediaItem - No Media item found with ID: m9",
                                       "Job::RemoveMediaItem - No Media item found with ID: m9"}));
    EXPECT_EQ(job.Summary().timestamp.modifiedTime, "");
}

TEST_F(JobMedia, AFileIsFoundInTheMediaFolderOrOneBelow) {
    const auto item = SampleMedia(MEDIA_TYPE_IMAGE, "m1");
    item->files.push_back({MEDIA_FILE_MISC_DATA, "sub/extra", 1, MEDIA_FILE_STATE_OK});
    item->files.push_back({MEDIA_FILE_MISC_DATA, "sub/sub/extra", 1, MEDIA_FILE_STATE_OK});
    job.AddMediaItem(item);
    struct Row {
        std::string path;
        jobRtn_e result;
        std::string id;
    };
    for (const Row& row : std::vector<Row>{
             {"/card/North road/media/m1-imageFile", JOB_RTN_SUCCEEDED, "m1"},
             {"/card/North road/media/sub/extra", JOB_RTN_SUCCEEDED, "m1"},
             {"/card/North road/media/other", JOB_RTN_SUCCEEDED, ""},
             {"/card/North road/media/sub/sub/extra", JOB_RTN_NOT_FOUND, ""},
             {"/card/North road/m1-imageFile", JOB_RTN_NOT_FOUND, ""},
             {"m1-imageFile", JOB_RTN_NOT_FOUND, ""},
             {"", JOB_RTN_NOT_FOUND, ""},
         }) {
        std::string id = "earlier";
        EXPECT_EQ(job.GetMediaIdOfFile(row.path, id), row.result) << row.path;
        EXPECT_EQ(id, row.id) << row.path;
    }
}

TEST(JobJson, WritesTheLatestMediaFirstAndKeepsItsOwnOrder) {
    Job job(jobFile);
    EXPECT_FALSE(json::parse(job.JSONstring(JSON_MODE_FILE)).contains("media"));
    for (const char* minute : {"2", "9", "1", "5"})
        job.AddMediaItem(SampleMedia(MEDIA_TYPE_IMAGE, minute, std::string("2024-05-01T08:0") + minute + ":00Z"));
    std::string written, listed;
    const json document = json::parse(job.JSONstring(JSON_MODE_CLIENT));
    for (const json& item : document["media"])
        written += item["id"].get<std::string>();
    for (const MediaRecord& record : job.MediaRecords())
        listed += record.id;
    EXPECT_EQ(written, "9521");
    EXPECT_EQ(listed, "2915");
}

TEST(JobJson, TheSummaryOfAnEmptyJobHoldsWhatAlwaysIsThere) {
    Job job;
    EXPECT_EQ(job.SummaryJSONstring(),
              R"({"id":"","jobSize":0,"locked":false,)"
              R"("mediaCounts":{"autologs":0,"images":0,"photoTalks":0,"total":0,"videos":0},)"
              R"("source":{"model":"","serial":"","version":""},"timestamp":{"createTime":"","modifiedTime":""},)"
              R"("type":"videoInspection","version":""})");
    EXPECT_EQ(job.JSONstring(JSON_MODE_CLIENT), job.SummaryJSONstring());
    job.SetSyncStatus(true);
    EXPECT_EQ(json::parse(job.SummaryJSONstring(JSON_MODE_CLIENT))["syncStatus"], true);
    EXPECT_FALSE(json::parse(job.SummaryJSONstring(JSON_MODE_FILE)).contains("syncStatus"));
    EXPECT_FALSE(job.IsLegacy());
    job.ChangeSummary([](JobSummary& summary) { summary.version = "1.0"; });
    EXPECT_TRUE(job.IsLegacy());
}

TEST(JobJson, ClientsSeeAJobWithoutWhatOnlyItsFileNeeds) {
    Job job(jobFile);
    Testing::FillSampleJob(job);
    json expected = json::parse(job.JSONstring(JSON_MODE_FILE));
    expected.erase("mediaFolder");
    expected["privateNotes"] = "ab";
    expected["customer"].erase("contactSource");
    for (json& contact : expected["contacts"])
        contact.erase("contactSource");
    expected["media"][0]["privateNotes"] = "xy";
    EXPECT_EQ(job.JSONstring(JSON_MODE_CLIENT), CompactDump(expected));
    EXPECT_EQ(job.AddressJSONstring(),
              R"({"city":"Ørsted","position":{"latitude":"1.5","longitude":"2.5"},"street":"5 Mill Lane"})");
    EXPECT_EQ(job.CustomerJSONstring(),
              R"({"address":{"city":"Port"},"lastName":"Roe","phones":{"home":"555-1"},"web":{"site":"roe.example"}})");
}

TEST(JobDetailsTest, ClosingDropsThemAndClearingACustomerKeepsItsSource) {
    Job job(jobFile);
    Testing::FillSampleJob(job);
    job.ClearCustomer();
    job.ClearAddress();
    EXPECT_TRUE(job.Details().customer.IsEmpty());
    EXPECT_EQ(job.Details().customer.contactSource, 7u);
    EXPECT_TRUE(job.Details().address.IsEmpty());

    job.SetDetails({});
    EXPECT_EQ(job.MediaRecords().size(), 2u) << "new details keep the media";
    job.ClearDetails();
    EXPECT_TRUE(job.MediaRecords().empty());
    EXPECT_EQ(job.Id(), "job-1") << "the summary stays";
}

} // namespace
} // namespace JobsManagerD
