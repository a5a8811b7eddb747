#include "device/ManagedDevice.h"
#include "device/ServiceTest.h"

#include <algorithm>
#include <syslog.h>
#include <thread>

using namespace JobsManagerD;

namespace Testing {
namespace {

class SignalsTest : public ServiceTest {
protected:
    /// Runs on a thread of its own, as the tasks of a device do, and gives what came of it.
    Texts Raised(const std::function<void(ManagedDevice&)>& raise) {
        ForgetTraffic();
        std::thread([&] { raise(*service.Device("front")); }).join();
        Call("GetTargetDeviceID");
        Texts lines;
        for (const Signal& signal : service.Client().TakeSignals()) {
            EXPECT_EQ(signal.path, RunningService::DevicePath("front"));
            EXPECT_EQ(signal.interface, signal.member == "PropertiesChanged" ? "org.freedesktop.DBus.Properties"
                                                                             : "com.corvane.common.JobsManagerDaemon1");
            lines.push_back(signal.member + " " + signal.arguments.signature + " " + signal.arguments.values.dump());
        }
        return lines;
    }
};

TEST_F(SignalsTest, WhatTasksRaiseGoesOutWithItsArguments) {
    struct Case {
        std::function<void(ManagedDevice&)> raise;
        std::string sent;
        std::string logged;
    };
    const std::string daemon = "JobsManagerDaemon::";
    const Case cases[] = {
        {[](ManagedDevice& d) { d._jobListDeleteProgress.Raise(d, 50, 1, 2); }, "JobListDeleteProgress iii [50,1,2]",
         "JobListDeleteProgress - 50 percent 1 nDeleted 2 nTotal"},
        {[](ManagedDevice& d) { d._jobListDeleteFinish.Raise(d, true, 1, 2); }, "JobListDeleteFinish bii [true,1,2]",
         "JobListDeleteFinish - 1 cancel 1 nDeleted 2 nTotal"},
        {[](ManagedDevice& d) { d._jobListDeleteError.Raise(d, "job", 17); }, R"(JobListDeleteError si ["job",17])",
         "JobListDeleteError - job jobID"},
        {[](ManagedDevice& d) { d._jobListMoveProgress.Raise(d, "back", 50, 1, 2); },
         R"(JobListMoveProgress siii ["back",50,1,2])",
         "JobListMoveProgress - back destination, 50 percent 1 nMoved 2 nTotal"},
        {[](ManagedDevice& d) { d._jobListMoveFinish.Raise(d, "back", false, 1, 2); },
         R"(JobListMoveFinish sbii ["back",false,1,2])",
         "JobListMoveFinish - back destination, 0 cancel 1 nMoved 2 nTotal"},
        {[](ManagedDevice& d) { d._jobListMoveError.Raise(d, "back", "job", 5); },
         R"(JobListMoveError ssi ["back","job",5])", "JobListMoveError - back destination, job jobID"},
        {[](ManagedDevice& d) { d._jobListCopyProgress.Raise(d, "back", 50, 1, 2); },
         R"(JobListCopyProgress siii ["back",50,1,2])",
         "JobListCopyProgress - back destination, 50 percent 1 nCopied 2 nTotal"},
        {[](ManagedDevice& d) { d._jobListCopyFinish.Raise(d, "back", true, 1, 2); },
         R"(JobListCopyFinish sbii ["back",true,1,2])",
         "JobListCopyFinish - back destination, 1 cancel 1 nCopied 2 nTotal"},
        {[](ManagedDevice& d) { d._jobListCopyError.Raise(d, "back", "job", 4); },
         R"(JobListCopyError ssi ["back","job",4])", "JobListCopyError - back destination, job jobID"},
    };
    for (const auto& [raise, sent, logged] : cases) {
        EXPECT_EQ(Raised(raise), Texts{sent});
        EXPECT_TRUE(Logged(LOG_INFO, daemon + logged));
    }
    EXPECT_EQ(Raised([](ManagedDevice& d) { d._jobChanged.Raise(d, "{}"); }), Texts{R"(JobChanged s ["{}"])"});
    EXPECT_TRUE(Logged(LOG_INFO, "JobChanged"));

    EXPECT_EQ(Raised([](ManagedDevice& d) { d._jobChanged.Raise(d, std::string(size_t{32} << 20, 'x')); }), Texts{});
    EXPECT_TRUE(
        Logged(LOG_ERR, "JobChanged Failed to emit JobChanged signal on device " + RunningService::DevicePath("front")))
        << "too large for the bus, and told to nobody";
}

TEST_F(SignalsTest, WhatChangesOnADeviceIsReadAnew) {
    const std::string told = R"(PropertiesChanged sa{sv}as ["com.corvane.common.JobsManagerDaemon1.Device",{)";
    EXPECT_EQ(Raised([](ManagedDevice& d) { d.SetState(DEVICE_STATE_COPYING_FROM, true); }),
              Texts{told + R"("DeviceState":"Copying From"},[]])"});
    EXPECT_TRUE(Logged(LOG_INFO, "JobsManagerDaemon::DeviceStateUpdate - Device front state changed to 6"));
    EXPECT_EQ(Raised([](ManagedDevice& d) { d._jobSearchComplete.Raise(d); }),
              Texts{told +
                    R"("SearchStats":"{\"caseSensitive\":false,\"field\":null,\"matchCriterion\":\"contains\",)" +
                    R"(\"matchLimit\":0,\"nMatches\":0}"},[]])"});
    EXPECT_EQ(Raised([](ManagedDevice& d) { d._jobClosed.Raise(d, "job"); }),
              Texts{told + R"("CurrentJobID":""},[]])"});
}

TEST_F(SignalsTest, StepsOfAJobListChangeAreToldAsTheSettingSays) {
    struct Case {
        std::string setting;
        size_t steps;
        size_t ends;
    };
    for (const auto& [setting, steps, ends] :
         {Case{"All", 1, 1}, {"OnChangeCompletion", 0, 1}, {"", 0, 0}, {"other", 0, 0}}) {
        Unit().Settings().Set("jobs", "signalJobListChanges", setting);
        SettleSettings();
        EXPECT_EQ(Raised([](ManagedDevice& d) { d._jobListStatsChanged.Raise(d, false); }).size(), steps) << setting;
        const Texts told = Raised([](ManagedDevice& d) { d._jobListStatsChanged.Raise(d, true); });
        EXPECT_EQ(told.size(), ends) << setting;
        for (const std::string& line : told)
            EXPECT_NE(line.find(R"({"JobListStatus":true,"JobListStats":"{\"nRuvoJobs\":0,)"), std::string::npos)
                << line;
    }
}

TEST_F(SignalsTest, WorkersEmitWhileTheServiceAnswers) {
    constexpr int rounds = 200;
    ForgetTraffic();
    std::thread worker([this] {
        ManagedDevice& device = *service.Device("front");
        for (int i = 1; i <= rounds; ++i) {
            device._jobListDeleteProgress.Raise(device, i, i, rounds);
            device._jobListStatsChanged.Raise(device, false);
        }
    });
    for (int i = 0; i < rounds; ++i)
        EXPECT_EQ(Call("GetTargetDeviceID").Read<std::string>(), "front");
    worker.join();
    Call("GetTargetDeviceID");
    int32_t last = 0;
    size_t changes = 0;
    for (const Signal& signal : service.Client().TakeSignals()) {
        if (signal.member == "JobListDeleteProgress") {
            EXPECT_EQ(signal.arguments.values.at(0), ++last) << "in their order";
        } else {
            ++changes;
        }
    }
    EXPECT_EQ(last, rounds);
    EXPECT_EQ(changes, static_cast<size_t>(rounds));
}

} // namespace
} // namespace Testing
