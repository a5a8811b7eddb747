#pragma once

#include "device/ServiceTest.h"

namespace Testing {

/// A job document of the least size, which a test completes.
inline Json JobDocument(const std::string& id, const std::string& time = "2026-01-01T10:00:00Z") {
    return {{"id", id},
            {"version", "2.0"},
            {"locked", false},
            {"type", "videoInspection"},
            {"source", {{"model", "m"}, {"serial", "s"}, {"version", "v"}}},
            {"timestamp", {{"createTime", time}, {"modifiedTime", time}}},
            {"jobSize", 5},
            {"mediaCounts", {{"total", 1}, {"autologs", 0}, {"images", 1}, {"photoTalks", 0}, {"videos", 0}}}};
}

/// Jobs on the card "front" as somebody else may have put them there.
class FindingJobsTest : public ServiceTest {
protected:
    using ServiceTest::ServiceTest;

    void PutJob(const std::string& folder, const Json& document, const std::string& file = "job.json") {
        service.Card("front").Write(folder + "/" + file, document.dump());
    }

    /// Indexes the card and waits for the end.
    void FindJobs() {
        ASSERT_TRUE(service.WaitForDeviceProperty("front", "DeviceState", "Idle"));
        LogCapture::Take();
        ASSERT_EQ(Code("FindJobs", "front"), 0);
        ASSERT_TRUE(service.WaitForDeviceProperty("front", "DeviceState", "Idle"));
    }

    Json List(uint8_t criterion = 0, uint8_t order = 0, uint16_t start = 0, uint16_t limit = 0) {
        return Json::parse(std::get<1>(Text("GetJobList", "front", criterion, order, start, limit)));
    }
    Texts ListedIds(uint8_t criterion = 0, uint8_t order = 0, uint16_t start = 0, uint16_t limit = 0) {
        Texts ids;
        for (const Json& summary : List(criterion, order, start, limit))
            ids.push_back(summary["id"]);
        return ids;
    }
    /// In the list's own order: an unsupported criterion sorts nothing.
    Texts IdsInListOrder() { return ListedIds(2); }

    Json Stats() { return Json::parse(std::get<1>(Text("GetJobListStats", "front"))); }
};

} // namespace Testing
