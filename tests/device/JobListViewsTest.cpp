#include "device/FindingJobsTest.h"

#include <syslog.h>

namespace Testing {
namespace {

class JobListViewsTest : public FindingJobsTest {
protected:
    /// Created in the order c, a, b; modified in the order b, c, a.
    void PutThreeJobs() {
        const auto put = [this](const char* id, const char* created, const char* modified) {
            Json document = JobDocument(id);
            document["timestamp"] = {{"createTime", created}, {"modifiedTime", modified}};
            PutJob(id, document);
        };
        put("a", "2026-01-02T00:00:00Z", "2026-03-03T00:00:00Z");
        put("b", "2026-01-03T00:00:00Z", "2026-03-01T00:00:00Z");
        put("c", "2026-01-01T00:00:00Z", "2026-03-02T00:00:00Z");
    }
};

TEST_F(JobListViewsTest, PagesByBothTimesInBothOrders) {
    EXPECT_EQ(Text("GetJobList", "front", uint8_t{0}, uint8_t{0}, uint16_t{0}, uint16_t{7}), CodeAndText(0, "[]"));
    PutThreeJobs();
    FindJobs();
    EXPECT_EQ(ListedIds(0, 1), (Texts{"c", "a", "b"}));
    EXPECT_EQ(ListedIds(0, 0), (Texts{"b", "a", "c"}));
    EXPECT_EQ(ListedIds(1, 1), (Texts{"b", "c", "a"}));
    EXPECT_EQ(ListedIds(1, 0), (Texts{"a", "c", "b"}));
    EXPECT_EQ(ListedIds(0, 9, 1, 1), (Texts{"a"}));
    EXPECT_EQ(ListedIds(0, 1, 1, 0), (Texts{"a", "b"}));
    EXPECT_EQ(ListedIds(0, 1, 2, 65535), (Texts{"b"}));
    EXPECT_EQ(Text("GetJobList", "front", uint8_t{0}, uint8_t{0}, uint16_t{3}, uint16_t{1}), CodeAndText(29, ""));
    EXPECT_TRUE(Logged(LOG_ERR, "GetJobListSummariesJSONstring startIdx 3 out of range - jobList has 3 entries"));
    EXPECT_EQ(ListedIds(7, 0, 1, 1), (Texts{"b"})) << "not sorted: the order of the walk";
    EXPECT_TRUE(Logged(LOG_ERR, "ManagedDevice::_SortJobList - Unsupported sort criterion: 7.  List not sorted"));
}

TEST_F(JobListViewsTest, TimesOfOtherFormsSortAsBytes) {
    PutThreeJobs();
    PutJob("odd", JobDocument("odd", "2026-01-02"));
    PutJob("odder", JobDocument("odder", "yesterday"));
    FindJobs();
    EXPECT_EQ(ListedIds(0, 1), (Texts{"c", "odd", "a", "b", "odder"}));
    EXPECT_EQ(ListedIds(0, 0, 1, 2), (Texts{"b", "a"}));
}

TEST_F(JobListViewsTest, WholeJobsAndMediaItemsNameTheirPlaces) {
    const CreatedJob job = CreateJob();
    const std::string mediaID = AddSnapshot(job, "picture.jpg");
    const std::string name = job.folder.filename();
    const auto [code, text] = Text("GetJob", "", "");
    ASSERT_EQ(code, 0);
    const Json whole = Json::parse(text);
    EXPECT_EQ(text, whole.dump()) << "compact, with the keys in ascending order";
    EXPECT_EQ(whole["jobFolderPath"], job.folder.string());
    EXPECT_EQ(whole["jobUrl"], "front/" + name);
    EXPECT_EQ(whole["mediaFolderPath"], job.folder.string() + "/media");
    EXPECT_EQ(whole["mediaUrl"], "front/" + name + "/media");
    EXPECT_FALSE(whole.contains("mediaFolder"));
    EXPECT_EQ(whole["media"].size(), 1u);

    const std::string itemText = std::get<1>(Text("GetMediaItem", "", "", mediaID));
    const Json item = Json::parse(itemText);
    EXPECT_EQ(itemText, item.dump());
    EXPECT_EQ(item["id"], mediaID);
    EXPECT_EQ(item["mediaFolderPath"], job.folder.string() + "/media");
    EXPECT_EQ(item["mediaUrl"], "front/" + name + "/media");
    EXPECT_FALSE(item.contains("jobUrl"));
    EXPECT_EQ(std::get<0>(Text("GetMediaItem", "", "", "none")), JobsManagerD::JOBS_RTN_MEDIA_ID_NOT_FOUND);
    EXPECT_EQ(std::get<0>(Text("GetJob", "", "none")), JobsManagerD::JOBS_RTN_JOB_ID_NOT_FOUND);

    // A media folder without a name is the job folder. Nobody is asked what the device knows.
    EXPECT_EQ(CloseJob(), 0);
    EditJobFile(job, [](Json& document) { document["mediaFolder"] = ""; });
    const Json moved = Json::parse(std::get<1>(Text("GetJob", "", job.id)));
    EXPECT_EQ(moved["mediaFolderPath"], job.folder.string());
    EXPECT_EQ(moved["mediaUrl"], "front/" + name);
    Unit().Storage().ForgetCalls();
    EXPECT_EQ(std::get<0>(Text("GetJob", "", job.id)), 0);
    EXPECT_TRUE(Unit().Storage().Calls().empty());
}

TEST_F(JobListViewsTest, ASummaryLeavesAJobClosedAndAWholeJobOpensIt) {
    PutThreeJobs();
    FindJobs();
    EXPECT_EQ(std::get<0>(Text("GetJob", "front", "a")), 0);
    LogCapture::Take();
    List();
    EXPECT_EQ(LogCapture::Count("Closing job"), 0u);
    EXPECT_EQ(std::get<0>(Text("GetJob", "front", "b")), 0);
    EXPECT_TRUE(Logged(LOG_INFO, "ManagedDevice::_FindAndCloseNonCurrentJob - Closing job with ID: a"));
}

} // namespace
} // namespace Testing
