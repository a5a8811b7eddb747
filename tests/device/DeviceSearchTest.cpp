#include "device/DeviceSearch.h"

#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <semaphore>

using namespace JobsManagerD;
using Json = nlohmann::json;

namespace Testing {
namespace {

/// A device of one job, whose searches begin when the test lets them.
class DeviceSearchTest : public testing::Test {
protected:
    DeviceSearchTest() {
        const Json document{{"id", "j"}, {"notes", "needle"}};
        job = std::make_shared<Job>(folder.Write("job.json", document.dump()));
    }
    ~DeviceSearchTest() override {
        mayBegin.release(10);
        std::binary_semaphore isDone{0};
        search->Stop([&isDone] { isDone.release(); });
        isDone.acquire();
    }

    jobsDaemonRtn_e Start(const std::string& term) {
        const auto newestFirst = [this] {
            hasBegun.release();
            mayBegin.acquire();
            return std::vector<JobList::Entry>{job};
        };
        const auto tellComplete = [this] {
            told.push_back(Results());
            completions.release();
        };
        return search->Start(JobSearch(term, {}), {Json(term).dump(), {}, 0},
                             {search, files, newestFirst, tellComplete});
    }
    Json Results() const {
        uint16_t limit = 0;
        std::string text;
        EXPECT_EQ(search->ResultsJSONstring(0, limit, text), JOBS_RTN_SUCCEEDED);
        Json results = Json::parse(text);
        EXPECT_EQ(text, results.dump()) << "compact, with the keys in ascending order";
        return results;
    }

    const TemporaryFolder folder;
    const JobFiles files;
    std::shared_ptr<Job> job;
    const std::shared_ptr<DeviceSearch> search = std::make_shared<DeviceSearch>();
    std::counting_semaphore<> hasBegun{0}, mayBegin{0}, completions{0};
    std::vector<Json> told;
};

TEST_F(DeviceSearchTest, ASearchGivesWayToTheNextWithoutBeingWaitedFor) {
    ASSERT_EQ(Start("needle"), JOBS_RTN_SUCCEEDED);
    hasBegun.acquire();
    for (const char* term : {"never begun", "needle", "zebra"})
        ASSERT_EQ(Start(term), JOBS_RTN_SUCCEEDED) << "while the first is held up";
    EXPECT_EQ(Json::parse(search->StatsJSONstring())["field"], "zebra");
    mayBegin.release(2);
    completions.acquire();
    EXPECT_EQ(told, std::vector<Json>{Json::array()}) << "only the last one is told, with its own results";

    ASSERT_EQ(Start("needle"), JOBS_RTN_SUCCEEDED);
    mayBegin.release();
    completions.acquire();
    ASSERT_EQ(told.size(), 2u);
    EXPECT_EQ(told[1][0]["matchResult"], Json::parse(R"({"term":{"notes":"needle"}})"));
}

TEST_F(DeviceSearchTest, StoppingWaitsForNobodyAndIsForGood) {
    ASSERT_EQ(Start("needle"), JOBS_RTN_SUCCEEDED);
    hasBegun.acquire();
    std::binary_semaphore isDone{0};
    search->Stop([&isDone] { isDone.release(); });
    EXPECT_FALSE(isDone.try_acquire());
    EXPECT_EQ(Start("needle"), JOBS_RTN_DEVICE_BUSY);
    mayBegin.release();
    isDone.acquire();
    EXPECT_EQ(told.size(), 0u);
    EXPECT_EQ(Results(), Json::array());
    search->Stop([&isDone] { isDone.release(); });
    EXPECT_TRUE(isDone.try_acquire()) << "nothing runs any more";
}

} // namespace
} // namespace Testing
