#include "device/ManagedDevice.h"
#include "device/ServiceTest.h"
#include "support/Deadline.h"

#include <algorithm>
#include <future>
#include <syslog.h>

using namespace JobsManagerD;

namespace Testing {
namespace {

/// A task that stops in its middle until the test lets it go on.
class NobodyWaitsTest : public ServiceTest {
protected:
    ~NobodyWaitsTest() override { LetGo(); }

    /// Deletes the two jobs of the card, and stands still after the first.
    void StandStillWhileDeleting(const std::string& card) {
        Unit().Settings().Set("jobs", "multiJobDeleteUpdatePeriod", uint32_t{0});
        SettleSettings();
        for (const char* name : {"First", "Second"}) {
            CreateJob(name, card);
            CloseJob();
        }
        ForgetTraffic();
        auto isReached = std::make_shared<std::promise<void>>();
        service.Device(card)->_jobListDeleteProgress.Connect(
            [isReached, goOn = goOn](ManagedDevice&, int32_t percent, int32_t done, int32_t) {
                if (done != 1 || percent == 100)
                    return;
                isReached->set_value();
                goOn.wait();
            });
        ASSERT_EQ(Code("DeleteAllJobs", card), JOBS_RTN_SUCCEEDED);
        ASSERT_EQ(isReached->get_future().wait_for(deadline), std::future_status::ready);
    }
    void LetGo() {
        if (!isLetGo)
            mayGoOn.set_value();
        isLetGo = true;
    }
    bool IsServed() { return Call("GetTargetDeviceID").Read<std::string>() == "front"; }
    int32_t Answer(const std::string& card) { return std::get<0>(Text("GetSearchStats", card)); }

    std::promise<void> mayGoOn;
    std::shared_future<void> goOn = mayGoOn.get_future().share();
    bool isLetGo = false;
};

TEST_F(NobodyWaitsTest, OthersAreServedWhileTwoWaitForTheEndOfWhatTheyCancelled) {
    StandStillWhileDeleting("front");
    const auto cancel = [this] { return Code("CancelCMD", "front"); };
    auto first = std::async(std::launch::async, cancel);
    auto second = std::async(std::launch::async, cancel);
    ASSERT_TRUE(LogCapture::WaitFor("ManagedDevice::CancelCMD - Waiting for any active threads to close.", 2));
    EXPECT_TRUE(IsServed());
    EXPECT_EQ(Code("CancelCMD", "back"), JOBS_RTN_SUCCEEDED) << "nothing runs there";
    EXPECT_EQ(Code("CancelCMD", "nowhere"), JOBS_RTN_DEVICE_NOT_FOUND);
    for (const auto* answer : {&first, &second})
        EXPECT_EQ(answer->wait_for(std::chrono::seconds(0)), std::future_status::timeout);
    LetGo();
    EXPECT_EQ(first.get(), JOBS_RTN_SUCCEEDED);
    EXPECT_EQ(second.get(), JOBS_RTN_SUCCEEDED);
    const auto signals = service.Client().Signals();
    const auto finish = std::ranges::find(signals, "JobListDeleteFinish", &Signal::member);
    ASSERT_NE(finish, signals.end()) << "the answer comes after it";
    EXPECT_EQ(finish->arguments.values, (std::vector<WireValue>{true, 1, 2}));
}

TEST_F(NobodyWaitsTest, ACardWhoseTaskStillEndsTakesNothingNewAndHoldsNobodyUp) {
    StandStillWhileDeleting("front");
    Traffic();
    service.PullCard("front");
    SettleStorage();
    EXPECT_TRUE(IsServed());
    EXPECT_EQ(Answer("back"), JOBS_RTN_SUCCEEDED);
    EXPECT_EQ(Answer("front"), JOBS_RTN_DEVICE_NOT_FOUND);
    EXPECT_EQ(std::get<0>(Text("GetJobName", "", "")), JOBS_RTN_DEVICE_NOT_FOUND) << "nor as the target";
    EXPECT_EQ(service.DeviceProperty("front", "DeviceState"), "Deleting") << "it stays until it has ended";
    EXPECT_EQ(Traffic(), Texts{});
    EXPECT_EQ(LogCapture::Count("DeviceRemoved - Removing"), 0u);
    LetGo();
    service.Client().WaitForSignal("InterfacesRemoved");
    const Texts traffic = Traffic();
    const auto at = [&](const std::string& line) { return std::ranges::find(traffic, line); };
    EXPECT_LT(at("front JobListDeleteFinish"), at("manager InterfacesRemoved front"));
    EXPECT_EQ(Texts(at("manager InterfacesRemoved front"), traffic.end()),
              (Texts{"manager InterfacesRemoved front", "manager TargetDeviceID=back"}));
    EXPECT_TRUE(Logged(LOG_INFO, "DeviceRemoved - Removing " + RunningService::DevicePath("front")));
}

TEST_F(NobodyWaitsTest, ACardThatComesBackMeanwhileIsRegisteredAfterItsRemoval) {
    StandStillWhileDeleting("front");
    service.PullCard("front");
    service.InsertCard("front");
    SettleStorage();
    EXPECT_EQ(Answer("front"), JOBS_RTN_DEVICE_NOT_FOUND);
    Traffic();
    LetGo();
    service.Client().WaitForSignal("InterfacesAdded");
    EXPECT_EQ(Answer("front"), JOBS_RTN_SUCCEEDED);
    Texts traffic = TrafficBesideIndexing("front");
    std::erase_if(traffic, [](const std::string& line) { return !line.starts_with("manager"); });
    EXPECT_EQ(traffic, (Texts{"manager InterfacesRemoved front", "manager TargetDeviceID=back",
                              "manager InterfacesAdded front"}));
    EXPECT_EQ(service.Card("front").List().size(), 1u) << "the job that was not reached";
}

TEST_F(NobodyWaitsTest, ACardThatComesBackAndGoesAgainIsGone) {
    StandStillWhileDeleting("front");
    service.PullCard("front");
    service.InsertCard("front");
    service.PullCard("front");
    SettleStorage();
    LetGo();
    service.Client().WaitForSignal("InterfacesRemoved");
    SettleStorage();
    EXPECT_EQ(Answer("front"), JOBS_RTN_DEVICE_NOT_FOUND);
    const Texts traffic = Traffic();
    EXPECT_EQ(std::ranges::count(traffic, "manager InterfacesAdded front"), 0);
}

} // namespace
} // namespace Testing
