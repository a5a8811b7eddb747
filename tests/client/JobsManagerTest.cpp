#include "libjobsdaemon/JobsManager.h"

#include "device/ServiceTest.h"
#include "simulator/Handles.h"
#include "support/Deadline.h"
#include "support/PrivateBus.h"

#include <csignal>
#include <future>
#include <poll.h>
#include <thread>
#include <unistd.h>

namespace client = libjobsdaemon;

namespace Testing {
namespace {

using client::JobsManager;

/// The values that a method takes, saying "nowhere" wherever a text may be said.
template <typename T>
T Nowhere() {
    if constexpr (std::is_same_v<T, std::string>)
        return "nowhere";
    else if constexpr (std::is_same_v<T, client::RecordingFiles>)
        return {"nowhere", "nowhere", "nowhere", "nowhere"};
    else
        return {};
}

struct CodeOf {
    int32_t operator()(client::jobsDaemonRtn_e code) const { return code; }
    template <typename Result>
    int32_t operator()(const Result& result) const {
        return result.code;
    }
};

class JobsManagerTest : public ServiceTest {
protected:
    template <typename Result, typename... Arguments>
    int32_t CallAbroad(Result (JobsManager::*method)(Arguments...)) {
        return CodeOf()((jobs.*method)(Nowhere<std::remove_cvref_t<Arguments>>()...));
    }

    /// The next event of the type, by the descriptor, as the loop of a program waits for it.
    template <typename Wanted>
    Wanted Next() {
        const auto end = std::chrono::steady_clock::now() + deadline;
        while (std::chrono::steady_clock::now() < end) {
            for (client::Event& event : jobs.Process())
                events.push_back(std::move(event));
            while (!events.empty()) {
                const client::Event event = events.front();
                events.erase(events.begin());
                if (const auto* wanted = std::get_if<Wanted>(&event))
                    return *wanted;
            }
            pollfd source{jobs.Fd(), jobs.PollEvents(), 0};
            const auto timeout = jobs.Timeout().value_or(deadline);
            poll(&source, 1, static_cast<int>(std::chrono::ceil<std::chrono::milliseconds>(timeout).count()));
        }
        throw std::runtime_error("no such event");
    }

    JobsManager jobs;
    std::vector<client::Event> events;
};

TEST_F(JobsManagerTest, EveryMethodSpeaksTheServicesForm) {
    using M = JobsManager;
    const auto codes = [this](auto... methods) { return std::vector<int32_t>{CallAbroad(methods)...}; };
    // A call of a wrong form would throw, and so would an answer of another one.
    const std::vector<int32_t> ofDevice = codes(
        &M::SetTargetDeviceID, &M::CreateJob, &M::OpenJob, &M::GetJob, &M::GetJobName, &M::GetJobNotes,
        &M::GetJobPrivateNotes, &M::GetJobUserData, &M::GetJobLocked, &M::GetJobAddress, &M::GetJobCustomer,
        &M::GetJobContacts, &M::GetJobFolderPath, &M::GetJobMediaCounts, &M::SetJobName, &M::SetJobNotes,
        &M::SetJobPrivateNotes, &M::SetJobUserData, &M::SetJobLocked, &M::SetJobAddress, &M::SetJobCustomer,
        &M::ClearJobAddress, &M::ClearJobCustomer, &M::GetJobContact, &M::AddJobContact, &M::UpdateJobContact,
        &M::RemoveJobContact, &M::RemoveJobContacts, &M::GetMediaItem, &M::GetMediaName, &M::GetMediaNotes,
        &M::GetMediaPrivateNotes, &M::GetMediaUserData, &M::GetMediaIsIncludedInReport, &M::SetMediaName,
        &M::SetMediaNotes, &M::SetMediaPrivateNotes, &M::SetMediaUserData, &M::SetMediaIsIncludedInReport,
        &M::DeleteMediaItem, &M::FindJobs, &M::ConvertJobs, &M::GetJobList, &M::GetJobListStats, &M::SearchJobs,
        &M::GetSearchResults, &M::GetSearchStats, &M::DeleteJob, &M::DeleteAllJobs, &M::DeleteJobList, &M::MoveJob,
        &M::MoveAllJobs, &M::MoveJobList, &M::CopyJob, &M::CopyAllJobs, &M::CopyJobList, &M::CancelCMD);
    EXPECT_EQ(ofDevice, std::vector<int32_t>(57, client::JOBS_RTN_DEVICE_NOT_FOUND));
    const std::vector<int32_t> ofCurrentJob =
        codes(&M::CloseJob, &M::GetNewMediaPathComponents, &M::AddSnapshotMedia, &M::AddVideoMedia, &M::AddAutologMedia,
              &M::AddPhotoTalkMedia, &M::UpdateMediaFileSizes, &M::GetMediaID, &M::CurrentJobMediaCounts);
    EXPECT_EQ(ofCurrentJob, std::vector<int32_t>(9, client::JOBS_RTN_NO_CURRENT_JOB));
    EXPECT_EQ(jobs.GetCurrentJobID() + jobs.GetCurrentJobDeviceID() + jobs.GetTargetDeviceID(), "front");
    const std::string xml = service.Client().Introspect("/com/corvane/common/JobsManagerDaemon1");
    const std::string ours = xml.substr(xml.find("<interface name=\"com.corvane"));
    size_t methods = 0;
    for (size_t at = ours.find("<method "); at != std::string::npos; at = ours.find("<method ", at + 1))
        ++methods;
    EXPECT_EQ(methods, 57 + 9 + 3u) << "a method of the service is missing here";
}

TEST_F(JobsManagerTest, AJobIsMadeFilledAndRead) {
    const client::JobResult created = jobs.CreateJob("back", "Main Street");
    ASSERT_EQ(created.code, client::JOBS_RTN_SUCCEEDED);
    EXPECT_EQ(created.deviceID, "back");
    const std::string id = Json::parse(created.summary)["id"];
    EXPECT_EQ(jobs.GetCurrentJobID(), id);
    EXPECT_EQ(jobs.SetJobLocked("", "", true), client::JOBS_RTN_SUCCEEDED);
    EXPECT_TRUE(jobs.GetJobLocked("", "").flag);
    EXPECT_EQ(jobs.AddJobContact("", "", R"({"firstName":"Tom"})").contactID, 1);
    const client::MediaPathResult place = jobs.GetNewMediaPathComponents();
    const std::string image = place.folder + "/" + place.stem + ".jpg";
    Write(image, "picture");
    client::Readings readings;
    readings.inclinometer = {true, -3};
    readings.distance = {true, 1250, 250};
    ASSERT_EQ(jobs.AddSnapshotMedia("Joint", image, readings), client::JOBS_RTN_SUCCEEDED);
    const std::string media = jobs.GetMediaID(image).text;
    const Json item = Json::parse(jobs.GetMediaItem("", "", media).text);
    EXPECT_EQ(item["cameraInclinometerAngle"], -3);
    EXPECT_EQ(item["distance"], Json({{"absolute", 1250}, {"relative", 250}}));
    EXPECT_FALSE(item.contains("cameraRollAngle"));
    EXPECT_EQ(jobs.SetMediaIsIncludedInReport("", "", media, 1), client::JOBS_RTN_SUCCEEDED);
    EXPECT_EQ(jobs.GetMediaIsIncludedInReport("", "", media).number, 1);
    const client::CountsResult counts = jobs.CurrentJobMediaCounts();
    EXPECT_EQ(std::tie(counts.total, counts.autologs, counts.images), std::tuple(1, 0, 1));
    EXPECT_EQ(jobs.CloseJob().text, id);
    const auto back = jobs.FindDevice("back");
    ASSERT_TRUE(back);
    EXPECT_EQ(Json::parse(back->jobListStats)["nRuvoJobs"], 1);
    EXPECT_EQ(back->state, "Idle");
    EXPECT_FALSE(jobs.FindDevice("nowhere") || jobs.FindDevice("no path"));
    const std::vector<client::Device> devices = jobs.Devices();
    ASSERT_EQ(devices.size(), 2u);
    EXPECT_EQ(devices[0].id + " " + devices[1].id + " " + jobs.TargetDeviceID(), "back front back");
}

TEST_F(JobsManagerTest, WhatTheServiceTellsComesAsEvents) {
    jobs.Subscribe();
    const std::string created = Json::parse(jobs.CreateJob("front", "A").summary)["id"];
    const auto opened = Next<client::PropertyChanged>();
    EXPECT_EQ(std::tie(opened.deviceID, opened.name), std::tuple("front", "CurrentJobID"));
    EXPECT_EQ(std::get<std::string>(opened.value), created);
    ASSERT_EQ(jobs.SetJobNotes("", "", "Roots"), client::JOBS_RTN_SUCCEEDED);
    const auto changed = Next<client::JobChanged>();
    EXPECT_EQ(changed.deviceID, "front");
    EXPECT_EQ(Json::parse(changed.summary)["id"], created);
    ASSERT_EQ(jobs.CloseJob().code, client::JOBS_RTN_SUCCEEDED);
    Next<client::PropertyChanged>();
    ASSERT_EQ(jobs.SetTargetDeviceID("back"), client::JOBS_RTN_SUCCEEDED);
    const auto target = Next<client::PropertyChanged>();
    EXPECT_EQ(target.deviceID + target.name + std::get<std::string>(target.value), "TargetDeviceIDback");

    ASSERT_EQ(jobs.CopyJobList("front", "back", {created, "unknown"}), client::JOBS_RTN_SUCCEEDED);
    const auto progress = Next<client::ListProgress>();
    EXPECT_EQ(std::tie(progress.operation, progress.deviceID, progress.destination, progress.percent, progress.total),
              std::tuple(client::Operation::Copy, "front", "back", 0, 2));
    const auto error = Next<client::ListError>();
    EXPECT_EQ(std::tie(error.destination, error.jobID, error.code),
              std::tuple("back", "unknown", client::JOBS_RTN_JOB_ID_NOT_FOUND));
    const auto copied = Next<client::ListFinished>();
    EXPECT_EQ(std::tie(copied.isCancelled, copied.done, copied.total), std::tuple(false, 1, 2));
    ASSERT_TRUE(service.WaitForDeviceProperty("back", "DeviceState", "Idle"));
    ASSERT_EQ(jobs.DeleteAllJobs("back"), client::JOBS_RTN_SUCCEEDED);
    const auto deleted = Next<client::ListFinished>();
    EXPECT_EQ(std::tie(deleted.operation, deleted.deviceID, deleted.destination, deleted.done),
              std::tuple(client::Operation::Delete, "back", "", 1));

    service.InsertCard("third");
    EXPECT_EQ(Next<client::DeviceAdded>().deviceID, "third");
    service.PullCard("third");
    EXPECT_EQ(Next<client::DeviceRemoved>().deviceID, "third");
    service.Stop();
    Next<client::ServiceStopped>();
    service.Start();
    Next<client::ServiceStarted>();
}

TEST_F(JobsManagerTest, FailuresOfACallAreToldApart) {
    EXPECT_THROW(JobsManager("unix:path=/nonexistent"), client::NotConnected);
    try {
        (void)jobs.GetMediaID("");
        FAIL() << "an empty path is a malformed call";
    } catch (const client::MalformedCall& malformed) {
        EXPECT_EQ(malformed.Name(), "org.freedesktop.DBus.Error.Failed");
        EXPECT_STREQ(malformed.what(), "Invalid media filepath");
    }
    EXPECT_THROW((void)jobs.SetJobName("", "", "\xFF"), client::MalformedCall);
    EXPECT_THROW((void)jobs.SetJobName("", "", std::string("a\0b", 3)), client::MalformedCall);
    service.Stop();
    EXPECT_THROW((void)jobs.GetTargetDeviceID(), client::ServiceNotRunning);

    // Somebody has the service's name who never answers, and then leaves.
    Simulator::Connection silent;
    ASSERT_GE(sd_bus_open_user(Simulator::Out(silent)), 0);
    ASSERT_GE(sd_bus_request_name(silent.get(), "com.corvane.common.JobsManagerDaemon1", 0), 0);
    jobs.SetTimeout("GetTargetDeviceID", std::chrono::milliseconds(1));
    EXPECT_THROW((void)jobs.GetTargetDeviceID(), client::TimedOut);
    jobs.SetTimeout(std::chrono::milliseconds(1));
    EXPECT_THROW((void)jobs.CopyJob("a", "b", "c"), client::TimedOut);
    jobs.SetTimeout(std::chrono::milliseconds(0));
    std::thread leaving([&silent] { silent.reset(); });
    EXPECT_THROW((void)jobs.GetTargetDeviceID(), client::ServiceNotRunning);
    leaving.join();
    service.Start();
    EXPECT_EQ(jobs.GetTargetDeviceID(), "front") << "and the object is as good as before";
}

TEST_F(JobsManagerTest, AMethodIsCalledByItsName) {
    using client::MalformedCall;
    using Values = std::vector<client::Wire::Value>;
    EXPECT_EQ(jobs.CallByName("GetTargetDeviceID", {}), Values{std::string("front")});
    EXPECT_EQ(jobs.CallByName("GetJobList", {"back", "0", "1", "0", "65535"}), (Values{0, std::string("[]")}));
    EXPECT_EQ(jobs.CallByName("SetJobLocked", {"nowhere", "a", "true"}), Values{2});
    EXPECT_EQ(jobs.CallByName("DeleteJobList", {"nowhere"}), Values{2}) << "the list is empty";
    const std::vector<Texts> unfit{{"GetTargetDeviceIDs"},
                                   {"GetTargetDeviceID", "a"},
                                   {"GetJobName", "a"},
                                   {"GetJobList", "back", "0", "1", "0", "65536"},
                                   {"SetJobLocked", "a", "b", "yes"},
                                   {"Get"}};
    for (const Texts& call : unfit)
        EXPECT_THROW((void)jobs.CallByName(call[0], Texts(call.begin() + 1, call.end())), MalformedCall) << call[0];
}

/// A bus that can be ended, with what connects to it.
class MortalBus {
public:
    MortalBus() : _output(popen("echo $$; exec dbus-daemon --session --nofork --nopidfile --print-address", "re")) {
        char line[512];
        if (fgets(line, sizeof line, _output))
            _process = std::stoi(line);
        if (fgets(line, sizeof line, _output))
            address = std::string(line).substr(0, std::string(line).find('\n'));
    }
    ~MortalBus() {
        End();
        pclose(_output);
    }
    void End() {
        if (_process > 0)
            kill(std::exchange(_process, -1), SIGTERM);
    }

    std::string address;

private:
    FILE* const _output;
    pid_t _process = -1;
};

TEST(JobsManagerConnectionTest, ALostBusWakesTheLoopAndIsTold) {
    MortalBus bus;
    JobsManager jobs(bus.address);
    jobs.Subscribe();
    EXPECT_FALSE(jobs.FindService());
    const int descriptor = jobs.Fd();
    const auto isReady = [&](std::chrono::milliseconds wait) {
        pollfd source{jobs.Fd(), jobs.PollEvents(), 0};
        return poll(&source, 1, static_cast<int>(wait.count())) == 1;
    };
    EXPECT_TRUE(jobs.Process().empty());
    EXPECT_FALSE(isReady(std::chrono::milliseconds(0)));
    bus.End();
    bool isLost = false;
    while (!isLost) {
        ASSERT_TRUE(isReady(deadline));
        try {
            EXPECT_TRUE(jobs.Process().empty());
        } catch (const client::NotConnected&) {
            isLost = true;
        }
    }
    EXPECT_EQ(jobs.Fd(), descriptor);
    EXPECT_TRUE(isReady(deadline)) << "for good";
    EXPECT_THROW((void)jobs.WaitForEvents(deadline), client::NotConnected);
    EXPECT_THROW((void)jobs.GetTargetDeviceID(), client::NotConnected);
}

TEST_F(JobsManagerTest, AnObjectThatWasMovedFromSaysSo) {
    JobsManager other = std::move(jobs);
    EXPECT_EQ(other.GetTargetDeviceID(), "front");
    EXPECT_EQ(jobs.Fd(), -1); // NOLINT(bugprone-use-after-move)
    EXPECT_THROW((void)jobs.GetTargetDeviceID(), client::NotConnected);
    EXPECT_THROW(jobs.Subscribe(), client::NotConnected);
    EXPECT_THROW((void)jobs.Process(), client::NotConnected);
    EXPECT_THROW((void)jobs.Devices(), client::NotConnected);
    jobs = std::move(other);
    EXPECT_EQ(jobs.GetTargetDeviceID(), "front");
}

/// Answers as the manager of services does for the unit of any process.
int AnswerUnit(sd_bus_message* call, void*, sd_bus_error*) { return sd_bus_reply_method_return(call, "o", "/unit"); }
int AnswerStatus(sd_bus*, const char*, const char*, const char*, sd_bus_message* reply, void*, sd_bus_error*) {
    return sd_bus_message_append(reply, "s", "Version 1.2.3, 2 devices");
}

TEST_F(JobsManagerTest, TheServicesProcessAndStatusLineAreFound) {
    const auto unmanaged = jobs.FindService();
    ASSERT_TRUE(unmanaged);
    EXPECT_EQ(unmanaged->processID, static_cast<uint32_t>(getpid())) << "the service runs in this very process";
    EXPECT_EQ(unmanaged->status, "");

    const sd_bus_vtable units[] = {SD_BUS_VTABLE_START(0), SD_BUS_METHOD("GetUnitByPID", "u", "o", AnswerUnit, 4),
                                   SD_BUS_VTABLE_END};
    const sd_bus_vtable unit[] = {SD_BUS_VTABLE_START(0), SD_BUS_PROPERTY("StatusText", "s", AnswerStatus, 0, 0),
                                  SD_BUS_VTABLE_END};
    Simulator::Connection manager;
    ASSERT_GE(sd_bus_open_user(Simulator::Out(manager)), 0);
    sd_bus_add_object_vtable(manager.get(), nullptr, "/org/freedesktop/systemd1", "org.freedesktop.systemd1.Manager",
                             units, nullptr);
    sd_bus_add_object_vtable(manager.get(), nullptr, "/unit", "org.freedesktop.systemd1.Service", unit, nullptr);
    ASSERT_GE(sd_bus_request_name(manager.get(), "org.freedesktop.systemd1", 0), 0);
    std::promise<std::string> told;
    std::future<std::string> status = told.get_future();
    std::thread asking([this, &told] { told.set_value(jobs.FindService()->status); });
    while (status.wait_for(std::chrono::seconds(0)) != std::future_status::ready)
        if (sd_bus_process(manager.get(), nullptr) == 0)
            sd_bus_wait(manager.get(), 10'000);
    asking.join();
    EXPECT_EQ(status.get(), "Version 1.2.3, 2 devices");
}

TEST(ClientReturnCodesTest, TheyAreTheServices) {
    for (int32_t code = -1; code <= client::returnCodeCount; ++code)
        EXPECT_EQ(client::ReturnCodeText(code), JobsManagerD::ReturnCodeText(code)) << code;
    EXPECT_STREQ(client::ReturnCodeText(client::JOBS_RTN_LOCKED_JOB), "Failed: Cannot delete/move locked job");
}

} // namespace
} // namespace Testing
