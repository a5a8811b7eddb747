#include "device/ServiceTest.h"

#include <syslog.h>

using namespace JobsManagerD;

namespace Testing {
namespace {

class TargetTest : public ServiceTest {
protected:
    std::string Target() { return Call("GetTargetDeviceID").Read<std::string>(); }

    template <typename... Arguments>
    CodeDeviceAndText Make(const std::string& method, const Arguments&... arguments) {
        return Call(method, arguments...).template Read<int32_t, std::string, std::string>();
    }
};

TEST_F(TargetTest, CallersMoveTheTargetToADeviceThatIsThere) {
    ForgetTraffic();
    EXPECT_EQ(Code("SetTargetDeviceID", "front"), JOBS_RTN_SUCCEEDED);
    EXPECT_EQ(Traffic(), Texts{}) << "it is the target already";
    EXPECT_EQ(Code("SetTargetDeviceID", "back"), JOBS_RTN_SUCCEEDED);
    EXPECT_EQ(Code("SetTargetDeviceID", "nowhere"), JOBS_RTN_DEVICE_NOT_FOUND);
    EXPECT_EQ(Code("SetTargetDeviceID", ""), JOBS_RTN_DEVICE_NOT_FOUND) << "not the target's stand-in";
    EXPECT_EQ(Traffic(), Texts{"manager TargetDeviceID=back"});
    EXPECT_EQ(LogCapture::Count("SetTargetDeviceID"), 4u);
    EXPECT_EQ(Target(), "back");
}

TEST_F(TargetTest, CreatingOnAnotherDeviceTakesTheTargetThere) {
    ForgetTraffic();
    const CreatedJob job = CreateJob("Main Street", "back");
    const std::string stats = R"( JobListStats={"nRuvoJobs":1,"nTamsyJobs":0,"nTamsyJobsAtReIndex":0})";
    EXPECT_EQ(Traffic(),
              (Texts{"manager TargetDeviceID=back", "back JobListStatus=true" + stats + " CurrentJobID=" + job.id}));
    EXPECT_EQ(WriteActive(), (Texts{"back on", "back off"})) << "the save counts within the creation";
    EXPECT_TRUE(Logged(LOG_DEBUG, "CreateJob TargetDeviceID changed to: back"));
    EXPECT_EQ(Call("GetCurrentJobID").Read<std::string>(), job.id);
    EXPECT_EQ(Call("GetCurrentJobDeviceID").Read<std::string>(), "back");
    EXPECT_EQ(service.DeviceProperty("back", "CurrentJobID"), job.id);
    EXPECT_EQ(service.DeviceProperty("front", "CurrentJobID"), "");

    EXPECT_EQ(CloseJob(), JOBS_RTN_SUCCEEDED);
    EXPECT_EQ(Target(), "back");
    EXPECT_EQ(Code("SetTargetDeviceID", "front"), JOBS_RTN_SUCCEEDED);
    ForgetTraffic();
    const auto [code, device, summary] = Make("OpenJob", "back", job.id);
    EXPECT_EQ(code, JOBS_RTN_SUCCEEDED);
    EXPECT_EQ(device, "back");
    EXPECT_EQ(Json::parse(summary).at("id"), job.id);
    EXPECT_EQ(Traffic(), (Texts{"manager TargetDeviceID=back", "back CurrentJobID=" + job.id}));
    EXPECT_TRUE(WriteActive().empty()) << "opening writes nothing";
}

TEST_F(TargetTest, AFailureTakesTheTargetBack) {
    const CreatedJob job = CreateJob();
    CloseJob();
    Unit().Storage().SetReadOnly("back", true);
    SettleStorage();
    ForgetTraffic();

    const Texts thereAndBack = {"manager TargetDeviceID=back", "manager TargetDeviceID=front"};
    EXPECT_EQ(Make("OpenJob", "back", job.id), CodeDeviceAndText(JOBS_RTN_JOB_ID_NOT_FOUND, "back", ""));
    EXPECT_EQ(Traffic(), thereAndBack);
    EXPECT_TRUE(Logged(LOG_DEBUG, "OpenJob TargetDeviceID changed to: back"));
    EXPECT_TRUE(Logged(LOG_DEBUG, "OpenJob TargetDeviceID reverted to: front"));
    EXPECT_EQ(Errors(), (Texts{"OpenJob - No job found on device back with ID: " + job.id + ".",
                               "OpenJob OpenJob failed: Failed: Job ID not found"}));

    LogCapture::Take();
    EXPECT_EQ(Make("CreateJob", "back", "Road"), CodeDeviceAndText(JOBS_RTN_READ_ONLY_FS, "back", ""));
    EXPECT_EQ(Traffic(), thereAndBack);
    EXPECT_EQ(WriteActive(), (Texts{"back on", "back off"}));
    EXPECT_EQ(Errors(), Texts{"CreateJob CreateJob failed: Failed: Filesystem is read only"});
    EXPECT_EQ(service.Card("back").List(), Texts{});

    LogCapture::Take();
    EXPECT_EQ(Make("OpenJob", "", ""), CodeDeviceAndText(JOBS_RTN_JOB_ID_NOT_FOUND, "front", ""))
        << "an empty job is not the current one";
    EXPECT_EQ(Make("CreateJob", "nowhere", "Road"), CodeDeviceAndText(JOBS_RTN_DEVICE_NOT_FOUND, "nowhere", ""));
    EXPECT_EQ(Make("OpenJob", "nowhere", job.id), CodeDeviceAndText(JOBS_RTN_DEVICE_NOT_FOUND, "nowhere", ""));
    EXPECT_EQ(Traffic(), Texts{});
    EXPECT_EQ(Call("GetCurrentJobID").Read<std::string>(), "");
}

TEST_F(TargetTest, OneCurrentJobForbidsAnotherBeforeAnyOtherCheck) {
    const CreatedJob job = CreateJob();
    ForgetTraffic();
    for (const std::string method : {"CreateJob", "OpenJob"}) {
        EXPECT_EQ(Make(method, "", "x"), CodeDeviceAndText(JOBS_RTN_CURRENT_JOB_OPEN, "front", ""));
        EXPECT_EQ(Make(method, "back", "x"), CodeDeviceAndText(JOBS_RTN_CURRENT_JOB_OPEN, "back", ""));
        EXPECT_EQ(Make(method, "nowhere", "x"), CodeDeviceAndText(JOBS_RTN_CURRENT_JOB_OPEN, "nowhere", ""));
    }
    EXPECT_EQ(Code("SetTargetDeviceID", "nowhere"), JOBS_RTN_CURRENT_JOB_OPEN);
    EXPECT_EQ(Code("SetTargetDeviceID", "front"), JOBS_RTN_CURRENT_JOB_OPEN);
    EXPECT_EQ(Traffic(), Texts{});
    EXPECT_TRUE(WriteActive().empty());
    EXPECT_EQ(Text("CloseJob"), CodeAndText(JOBS_RTN_SUCCEEDED, job.id));
    EXPECT_EQ(Text("CloseJob"), CodeAndText(JOBS_RTN_NO_CURRENT_JOB, ""));
}

} // namespace
} // namespace Testing
