#include "device/FindingJobsTest.h"
#include "fsutil/SmallCard.h"
#include "fsutil/WatchedCalls.h"

#include <algorithm>
#include <optional>

using namespace JobsManagerD;
namespace fs = std::filesystem;

namespace Testing {
namespace {

/// The names of five jobs in the order of the list.
const Texts five{"E", "D", "C", "B", "A"};

/// A task that stands still in the middle of its second job, while a card leaves and comes back.
class CardsThatLeaveTest : public WithWatchedCalls,
                           public FindingJobsTest,
                           public testing::WithParamInterface<std::tuple<const char*, const char*>> {
protected:
    CardsThatLeaveTest() {
        for (const std::string& id : five) {
            PutJob(id, JobDocument(id));
            for (const char* name : {"1", "2"})
                service.Card("front").Write(id + "/media/" + name, std::string(5000, *name));
        }
        FindJobs();
    }
    bool IsWhole(const std::string& card, const std::string& id) {
        const TemporaryFolder& folder = service.Card(card);
        return folder.Exists(id + "/job.json") && folder.Read(id + "/job.json") == JobDocument(id).dump() &&
               folder.Read(id + "/media/1") == std::string(5000, '1') &&
               folder.Read(id + "/media/2") == std::string(5000, '2');
    }
    /// Empty while the card is not there.
    std::optional<Texts> ListedOn(const std::string& card) {
        const auto [code, text] = Text("GetJobList", card, uint8_t{2}, uint8_t{0}, uint16_t{0}, uint16_t{0});
        if (code != JOBS_RTN_SUCCEEDED)
            return std::nullopt;
        Texts ids;
        for (const Json& summary : Json::parse(text))
            ids.push_back(summary["id"]);
        std::ranges::sort(ids);
        return ids;
    }
    /// A card that comes back is known when the task has ended, and indexed then.
    bool ListsWhatItHolds(const std::string& card) {
        return service.WaitForDeviceProperty(card, "DeviceState", "Idle") &&
               service.Client().WaitUntil([&] { return ListedOn(card) == service.Card(card).List(); });
    }
};

TEST_P(CardsThatLeaveTest, LeaveNoJobBehindAndComeBackWithWhatLiesOnThem) {
    const std::string method = std::get<0>(GetParam());
    const std::string leaving = std::get<1>(GetParam());
    const bool isMove = method.starts_with("Move");
    auto held = calls.Hold("open", service.Card("front") / "D/media/2");
    ASSERT_EQ(method.ends_with("List") ? Code(method, "front", "back", five) : Code(method, "front", "back"), 0);
    ASSERT_TRUE(held.WaitUntilReached());
    service.Client().TakeSignals();
    for (int times = 0; times < 3; ++times) {
        service.PullCard(leaving);
        service.InsertCard(leaving);
    }
    SettleStorage();
    const int32_t second = Code("DeleteAllJobs", leaving);
    EXPECT_TRUE(second == JOBS_RTN_DEVICE_BUSY || second == JOBS_RTN_DEVICE_NOT_FOUND) << second;
    EXPECT_EQ(Code("CopyAllJobs", leaving, leaving == "front" ? "back" : "front"), second);
    held.LetGo();
    const std::string kind = isMove ? "JobListMove" : "JobListCopy";
    const Signal finish = service.Client().WaitForSignal(kind + "Finish");
    for (const char* card : {"front", "back"})
        EXPECT_TRUE(ListsWhatItHolds(card)) << card;

    std::vector<std::pair<std::string, int32_t>> failed;
    for (const Signal& signal : service.Client().Signals())
        if (signal.member == kind + "Error")
            failed.emplace_back(signal.arguments.values.at(1), signal.arguments.values.at(2));
    // A source takes its task along, and cannot be written any more; without its destination each job is told.
    decltype(failed) expected;
    if (leaving == "back")
        expected = {
            {"C", JOBS_RTN_DEVICE_NOT_FOUND}, {"B", JOBS_RTN_DEVICE_NOT_FOUND}, {"A", JOBS_RTN_DEVICE_NOT_FOUND}};
    else if (isMove)
        expected = {{"D", JOBS_RTN_FS_ERROR}};
    EXPECT_EQ(failed, expected);
    EXPECT_EQ(finish.arguments.values.at(1), leaving == "front") << "cancelled";
    EXPECT_TRUE(IsWhole("back", "E"));
    EXPECT_EQ(IsWhole("front", "E"), !isMove);
    for (const std::string& id : five) {
        const bool isOn[] = {service.Card("front").Exists(id), service.Card("back").Exists(id)};
        EXPECT_TRUE(isOn[0] || isOn[1]) << id;
        EXPECT_EQ(isOn[0], IsWhole("front", id)) << id;
        EXPECT_EQ(isOn[1], IsWhole("back", id)) << id;
    }
    for (const char* id : {"C", "B", "A"})
        EXPECT_TRUE(IsWhole("front", id) && !service.Card("back").Exists(id)) << id;
    EXPECT_EQ(std::get<0>(Text("GetJobNotes", "front", "A")), 0);
    EXPECT_EQ(Code("MoveJob", "front", "back", "A"), 0) << "all is as if nothing had been";
}

INSTANTIATE_TEST_SUITE_P(Tasks, CardsThatLeaveTest,
                         testing::Combine(testing::Values("MoveAllJobs", "CopyAllJobs", "MoveJobList"),
                                          testing::Values("back", "front")),
                         [](const auto& test) {
                             return std::string(std::get<0>(test.param)) + "_" + std::get<1>(test.param);
                         });

TEST_F(CardsThatLeaveTest, OnAMountPointWithoutItsMediumNothingIsMade) {
    SmallCard card("tmpfs");
    if (!card.IsMounted())
        GTEST_SKIP() << "only root can mount a card of its own";
    Unit().Storage().InsertCard("small", card.Folder());
    ASSERT_TRUE(service.WaitForDeviceProperty("small", "DeviceState", "Idle"));
    CreateJob("On the card", "small");
    EXPECT_EQ(CloseJob(), 0);
    const auto create = [this] {
        return std::get<0>(Call("CreateJob", "small", "Job").Read<int32_t, std::string, std::string>());
    };
    // While it is being made, and before.
    calls.Watch([&card](const auto& call) {
        if (call.what == "create" && call.path.filename() == "job.json")
            card.Pull();
        return 0;
    });
    for (const char* when : {"meanwhile", "before"}) {
        EXPECT_EQ(create(), JOBS_RTN_FS_ERROR) << when;
        EXPECT_TRUE(fs::is_empty(card.Folder())) << when;
    }
    EXPECT_EQ(Call("GetCurrentJobID").Read<std::string>(), "");
    EXPECT_EQ(Json::parse(std::get<1>(Text("GetJobListStats", "small")))["nRuvoJobs"], 1);
}

} // namespace
} // namespace Testing
