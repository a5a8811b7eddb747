#include "device/FailingThreads.h"
#include "device/FindingJobsTest.h"
#include "jobs/Scramble.h"

#include <syslog.h>
#include <thread>

namespace Testing {
namespace {

class SearchTest : public FindingJobsTest {
protected:
    static Json Video(const std::string& id, const std::string& notes) {
        Json item{{"id", id},
                  {"type", "image"},
                  {"source", {{"model", "m"}, {"serial", "s"}, {"version", "v"}}},
                  {"timestamp", {{"createTime", "2026-01-01T10:00:00Z"}, {"modifiedTime", "2026-01-01T10:00:00Z"}}},
                  {"files", Json::array({{{"type", "imageFile"}, {"name", id + ".jpg"}, {"size", 1}}})},
                  {"isIncludedInReport", true}};
        if (!notes.empty())
            item["notes"] = notes;
        return item;
    }

    /// The newest first: "rich" holds something in every place, "plain" nothing.
    void PutJobs() {
        Json rich = JobDocument("rich", "2026-02-02T00:00:00Z");
        rich["name"] = "Mill Lane";
        rich["notes"] = "roots in the joint";
        rich["privateNotes"] = JobsManagerD::ScrambleBytes("owner keeps a Dragon", "rich");
        rich["customer"] = {{"lastName", "Berg"}};
        rich["contacts"] = Json::array({{{"id", 1}, {"lastName", "Reed"}}, {{"id", 2}, {"lastName", "Stone"}}});
        rich["media"] = Json::array({Video("m1", "clean"), Video("m2", "crack"), Video("m3", "")});
        rich["media"][2]["privateNotes"] = JobsManagerD::ScrambleBytes("hidden gem", "m3");
        PutJob("rich", rich);
        PutJob("plain", JobDocument("plain", "2026-01-01T00:00:00Z"));
        FindJobs();
    }

    /// Searches, waits for the end, and gives the results.
    Json Search(const std::string& field, uint8_t criterion = 0, uint16_t limit = 0, bool isCaseSensitive = false) {
        service.Client().TakeSignals();
        EXPECT_EQ(Code("SearchJobs", "front", field, criterion, limit, isCaseSensitive), 0);
        service.Client().WaitForSignal("PropertiesChanged",
                                       [](const Signal& signal) { return signal.Changed("SearchStats").has_value(); });
        return Json::parse(std::get<1>(Text("GetSearchResults", "front", uint16_t{0}, uint16_t{0})));
    }
    /// What "matchResult" says of the only hit.
    Json Match(const std::string& field) {
        const Json results = Search(field);
        EXPECT_EQ(results.size(), 1u) << field;
        return results.size() == 1 ? results[0]["matchResult"] : Json();
    }
};

TEST_F(SearchTest, ATextIsLookedForInContactsMediaAndTheJob) {
    PutJobs();
    EXPECT_EQ(Match(R"("stone")"), Json::parse(R"({"contactID":2,"term":{"contacts":{"lastName":"Stone"}}})"));
    EXPECT_EQ(Match(R"("crack")"), Json::parse(R"({"mediaID":"m2","term":{"media":{"notes":"crack"}}})"));
    EXPECT_EQ(Match(R"("m1.jpg")"), Json::parse(R"({"mediaID":"m1","term":{"media":{"files":[{"name":"m1.jpg"}]}}})"));
    EXPECT_EQ(Match(R"("berg")"), Json::parse(R"({"term":{"customer":{"lastName":"Berg"}}})"));
    EXPECT_EQ(Match(R"("dragon")"), Json::parse(R"({"term":{"privateNotes":"owner keeps a Dragon"}})"));
    EXPECT_EQ(Match(R"("hidden")"), Json::parse(R"({"mediaID":"m3","term":{"media":{"privateNotes":"hidden gem"}}})"));
    EXPECT_EQ(Search(R"("no such thing")"), Json::array());
    const Json whole = Search(R"("Mill")");
    EXPECT_EQ(whole[0]["id"], "rich");
    EXPECT_EQ(whole[0]["jobSize"], 5);
}

TEST_F(SearchTest, AnObjectLeadsToThePlace) {
    PutJobs();
    EXPECT_EQ(Match(R"({"address":"nobody","contacts":{"lastName":"Reed"}})"),
              Json::parse(R"({"contactID":1,"term":"Reed"})"))
        << "contacts and media are found at any of several keys";
    EXPECT_EQ(Match(R"({"media":{"notes":"crack"}})"), Json::parse(R"({"mediaID":"m2","term":"crack"})"));
    EXPECT_EQ(Match(R"({"contacts":{"lastName":"Reed"}})"), Json::parse(R"({"contactID":1,"term":"Reed"})"));
    EXPECT_EQ(Match(R"({"customer":{"lastName":"berg"}})"), Json::parse(R"({"term":"Berg"})"));
    EXPECT_EQ(Match(R"({"customer":"berg"})"), Json::parse(R"({"term":{"lastName":"Berg"}})"));
    EXPECT_EQ(Match(R"({"privateNotes":"dragon"})"),
              Json::parse(R"({"term":{"privateNotes":"owner keeps a Dragon"}})"));
    EXPECT_EQ(Match(R"({"media":{"privateNotes":"gem"}})"),
              Json::parse(R"({"mediaID":"m3","term":{"privateNotes":"hidden gem"}})"));
    // Of several keys the first in ascending order counts.
    EXPECT_EQ(Search(R"({"notes":"roots","customer":{"lastName":"nobody"}})"), Json::array());
    EXPECT_EQ(Search(R"({"notes":"nothing of the kind"})"), Json::array());
    EXPECT_EQ(Search(R"({"noSuchKey":"roots"})"), Json::array());
    EXPECT_EQ(Search(R"({"media":{"notes":"roots"}})"), Json::array());

    LogCapture::Take();
    EXPECT_EQ(Search(R"({"notes":{}})"), Json::array());
    EXPECT_TRUE(Logged(LOG_ERR, "ManagedDevice::SearchJsonStructForString Entry - fieldStruct at search term is not a "
                                "string {}"));
}

TEST_F(SearchTest, CriteriaAndCase) {
    PutJobs();
    struct Case {
        const char* field;
        uint8_t criterion;
        bool isCaseSensitive;
        size_t hits;
    };
    const Case cases[] = {
        {R"({"name":"LANE"})", 0, false, 1},
        {R"({"name":"LANE"})", 0, true, 0},
        {R"({"name":"Lane"})", 0, true, 1},
        {R"({"name":"mill"})", 1, false, 1},
        {R"({"name":"mill"})", 1, true, 0},
        {R"({"name":"Lane"})", 1, false, 0},
        {R"({"name":"Mill"})", 2, false, 0},
        {R"({"name":"mill lane"})", 2, false, 1},
        {R"({"name":"mill lane"})", 2, true, 0},
        {R"({"name":"Mill Lane"})", 2, true, 1},
        {R"({"name":"Mill"})", 3, false, 0},
        {R"({"id":""})", 0, false, 2},
        {R"({"id":""})", 2, false, 0},
        {R"({"privateNotes":"DRAGON"})", 0, true, 0},
        {R"({"privateNotes":"Dragon"})", 0, true, 1},
    };
    for (const Case& row : cases)
        EXPECT_EQ(Search(row.field, row.criterion, 0, row.isCaseSensitive).size(), row.hits)
            << row.field << " " << int{row.criterion} << " " << row.isCaseSensitive;
}

TEST_F(SearchTest, TheNewestComeFirstAndTheLimitEndsTheSearch) {
    PutJobs();
    const Json all = Search(R"("2.0")");
    ASSERT_EQ(all.size(), 2u);
    EXPECT_EQ(all[0]["id"], "rich");
    const Json one = Search(R"("2.0")", 0, 1);
    ASSERT_EQ(one.size(), 1u);
    EXPECT_EQ(one[0]["id"], "rich");
    EXPECT_EQ(Text("GetSearchStats", "front"),
              CodeAndText(0, R"({"caseSensitive":false,"field":"2.0","matchCriterion":"contains","matchLimit":1,)"
                             R"("nMatches":1})"));
    EXPECT_EQ(Text("GetSearchResults", "front", uint16_t{1}, uint16_t{0}), CodeAndText(29, ""));
    EXPECT_TRUE(Logged(LOG_ERR, "GetSearchResultsJSONstring startIdx 1 out of range - search results has 1 entries"));
}

TEST_F(SearchTest, FieldStructuresThatSayNothing) {
    const auto refused = [this](const std::string& field) {
        return Code("SearchJobs", "front", field, uint8_t{0}, uint16_t{0}, false);
    };
    for (const char* field : {"null", "[]", "{}", "[1]", "5", "true"})
        EXPECT_EQ(refused(field), JobsManagerD::JOBS_RTN_MISSING_FIELDS) << field;
    EXPECT_EQ(refused("{"), JobsManagerD::JOBS_RTN_INVALID_JSON);
    EXPECT_EQ(refused(std::string(100000, '[')), JobsManagerD::JOBS_RTN_INVALID_JSON);
    EXPECT_TRUE(Logged(LOG_ERR, "SearchJobs - Field structure does not contain a searchTerm: []"));
    EXPECT_TRUE(Logged(LOG_ERR, "SearchJobs - Field structure must be object or string: [1]"));
}

TEST_F(SearchTest, AFileThatCannotBeReadOrHoldsOtherKindsIsLeftOut) {
    PutJobs();
    Json odd = JobDocument("odd");
    odd["contacts"] = 5;
    odd["media"] = Json::array({Json{{"id", 7}, {"notes", "crack"}}, 3});
    odd["privateNotes"] = Json::array({"text", 1});
    PutJob("odd", odd);
    PutJob("gone", JobDocument("gone"));
    FindJobs();
    std::filesystem::remove(service.Card("front") / "gone/job.json");
    EXPECT_EQ(Match(R"("crack")")["mediaID"], "m2");
    EXPECT_EQ(Match(R"("dragon")").size(), 1u);
}

TEST_F(SearchTest, AKeyWithANulEndsNothing) {
    PutJobs();
    EXPECT_EQ(Search(R"({"notes\u0000x":""})"), Json::array());
    EXPECT_EQ(Search(R"({"media\u0000":{"notes":"crack"}})"), Json::array());
}

TEST_F(SearchTest, WithoutAThreadToBeHadTheLastSearchStays) {
    PutJobs();
    EXPECT_EQ(Search(R"("Mill")").size(), 1u);
    service.Client().TakeSignals();
    {
        const FailingThreads none(0);
        EXPECT_EQ(Code("SearchJobs", "front", R"("plain")", uint8_t{0}, uint16_t{0}, false),
                  JobsManagerD::JOBS_RTN_DEVICE_BUSY);
    }
    EXPECT_EQ(Json::parse(std::get<1>(Text("GetSearchStats", "front")))["field"], "Mill");
    EXPECT_EQ(Search(R"("Mill")").size(), 1u);
}

TEST_F(SearchTest, RunsBesideAnIndexRunSavesAndPages) {
    for (int i = 0; i < 200; ++i) {
        Json document = JobDocument("job" + std::to_string(i));
        document["notes"] = "needle";
        PutJob("f" + std::to_string(i), document);
    }
    const CreatedJob open = CreateJob("Open");
    FindJobs();
    std::atomic<bool> stop{false};
    std::thread pages([&] {
        BusClient client;
        while (!stop)
            client.Call("GetJobList", std::string("front"), uint8_t{1}, uint8_t{0}, uint16_t{0}, uint16_t{20});
    });
    for (int round = 0; round < 5; ++round) {
        Code("FindJobs", "front");
        EXPECT_EQ(Code("SearchJobs", "front", R"("needle")", uint8_t{0}, uint16_t{0}, false), 0);
        for (int save = 0; save < 10; ++save)
            EXPECT_EQ(Code("SetJobNotes", "", "", "saved " + std::to_string(save)), 0);
    }
    stop = true;
    pages.join();
    FindJobs();
    EXPECT_EQ(Search(R"("needle")").size(), 200u);
    EXPECT_EQ(JobFile(open)["notes"], "saved 9") << "a search that met half a file must not bring the backup back";
}

} // namespace
} // namespace Testing
