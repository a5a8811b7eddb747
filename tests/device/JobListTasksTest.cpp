#include "device/FindingJobsTest.h"
#include "device/ManagedDevice.h"

#include <future>
#include <syslog.h>

namespace Testing {
namespace {

using namespace JobsManagerD;

/// The names of five jobs in the order of the list.
const Texts five{"E", "D", "C", "B", "A"};

class JobListTasksTest : public FindingJobsTest {
protected:
    JobListTasksTest() {
        for (const std::string& id : five)
            PutJob(id, JobDocument(id));
        FindJobs();
        SetPeriods(1000000);
    }

    /// In milliseconds.
    void SetPeriods(uint32_t period) {
        Unit().Settings().Set("jobs", "multiJobDeleteUpdatePeriod", period);
        Unit().Settings().Set("jobs", "multiJobMoveCopyUpdatePeriod", period);
        SettleSettings();
        ForgetTraffic();
    }

    /// The signals of a task, with their arguments, and the states: "front JobListDeleteProgress 0 0 5".
    Texts TaskTraffic(const std::string& lastCard) {
        // The property changes before its signal is sent.
        service.Client().WaitForSignal("PropertiesChanged", [&lastCard](const Signal& signal) {
            return signal.path.ends_with("/" + lastCard) && signal.Changed("DeviceState") == WireValue("Idle");
        });
        Call("GetTargetDeviceID");
        Texts lines;
        for (const Signal& signal : service.Client().TakeSignals()) {
            const std::string card = signal.path.substr(signal.path.rfind('/') + 1);
            if (const auto state = signal.Changed("DeviceState"))
                lines.push_back(card + " " + state->get<std::string>());
            if (signal.member.rfind("JobList", 0) != 0)
                continue;
            lines.push_back(card + " " + signal.member);
            for (const WireValue& value : signal.arguments.values)
                lines.back() += " " + (value.is_string() ? value.get<std::string>() : value.dump());
        }
        return lines;
    }

    /// Runs `meanwhile` once, when a task has told of `done` jobs, and the task waits for it.
    template <typename Meanwhile>
    static void At(ManagedDevice::TransferProgress& progress, int32_t done, Meanwhile meanwhile) {
        const auto check = [done, meanwhile, hasRun = std::make_shared<bool>()](int32_t percent, int32_t nDone) {
            if (nDone == done && percent < 100 && !std::exchange(*hasRun, true))
                meanwhile();
        };
        progress.Connect([check](ManagedDevice&, const std::string&, int32_t percent, int32_t nDone, int32_t) {
            check(percent, nDone);
        });
    }
};

TEST_F(JobListTasksTest, DeletesAListAndTellsWhatItCouldNot) {
    ASSERT_EQ(Code("SetJobLocked", "front", "C", true), 0);
    ForgetTraffic();
    EXPECT_EQ(Code("DeleteJobList", "front", Texts{"A", "none", "C", "E"}), 0);
    EXPECT_EQ(TaskTraffic("front"),
              (Texts{"front Deleting", "front JobListDeleteProgress 0 0 4", "front JobListDeleteError none 9",
                     "front JobListDeleteError C 17", "front JobListDeleteProgress 100 2 4",
                     "front JobListDeleteFinish false 2 4", "front Idle"}));
    EXPECT_TRUE(LogCapture::WaitFor("Deleting 2 jobs took ")) << "the last that the task does";
    EXPECT_EQ(WriteActive(), (Texts{"front on", "front off"}));
    EXPECT_EQ(IdsInListOrder(), (Texts{"D", "C", "B"}));
    EXPECT_EQ(service.Card("front").List(), (Texts{"B", "C", "D"}));
    for (const char* line : {"DeleteJobList", "PrepareMultipleJobDeletion", "_DeleteJobListTask",
                             "_DeleteJobListTask - Start", "_DeleteJobListTask -- JobID to delete: none",
                             "DeleteJobList - rtn = 0", "---------------------------------"})
        EXPECT_TRUE(Logged(LOG_INFO, line));
}

TEST_F(JobListTasksTest, EmptyListsComeToTheirEnd) {
    EXPECT_EQ(Code("DeleteJobList", "front", Texts{}), 0);
    EXPECT_EQ(TaskTraffic("front"),
              (Texts{"front Deleting", "front JobListDeleteProgress 0 0 0", "front JobListDeleteProgress 100 0 0",
                     "front JobListDeleteFinish false 0 0", "front Idle"}));
    EXPECT_EQ(Code("MoveJobList", "front", "back", Texts{}), 0);
    EXPECT_EQ(TaskTraffic("back"), (Texts{"front Moving From", "back Moving To", "front JobListMoveProgress back 0 0 0",
                                          "front JobListMoveProgress back 100 0 0",
                                          "front JobListMoveFinish back false 0 0", "front Idle", "back Idle"}));
}

TEST_F(JobListTasksTest, WithoutAPeriodEachJobButTheLastIsReported) {
    SetPeriods(0);
    ASSERT_EQ(OpenJob({"C", {}}, "front"), 0);
    ForgetTraffic();
    EXPECT_EQ(Code("DeleteAllJobs", "front"), 0);
    EXPECT_EQ(TaskTraffic("front"),
              (Texts{"front Deleting", "front JobListDeleteProgress 0 0 5", "front JobListDeleteProgress 20 1 5",
                     "front JobListDeleteProgress 40 2 5", "front JobListDeleteError C 16",
                     "front JobListDeleteProgress 80 3 5", "front JobListDeleteProgress 100 4 5",
                     "front JobListDeleteFinish false 4 5", "front Idle"}))
        << "the failed job changed nothing to report";
    EXPECT_EQ(IdsInListOrder(), Texts{"C"});
}

TEST_F(JobListTasksTest, MovesAndCopiesAllJobs) {
    SetPeriods(0);
    ASSERT_EQ(Code("SetJobLocked", "front", "D", true), 0);
    ForgetTraffic();
    EXPECT_EQ(Code("CopyAllJobs", "front", "back"), 0);
    EXPECT_EQ(TaskTraffic("back"),
              (Texts{"front Copying From", "back Copying To", "front JobListCopyProgress back 0 0 5",
                     "front JobListCopyProgress back 20 1 5", "front JobListCopyProgress back 40 2 5",
                     "front JobListCopyProgress back 60 3 5", "front JobListCopyProgress back 80 4 5",
                     "front JobListCopyProgress back 100 5 5", "front JobListCopyFinish back false 5 5", "front Idle",
                     "back Idle"}));
    EXPECT_TRUE(LogCapture::WaitFor("Copying 5 jobs took "));
    EXPECT_EQ(WriteActive(), (Texts{"back on", "back off"})) << "copying does not write to the source";
    EXPECT_EQ(service.Card("back").List(), (Texts{"A", "B", "C", "D", "E"}));

    EXPECT_EQ(Code("DeleteJobList", "back", Texts{"A", "B", "C", "D"}), 0);
    EXPECT_TRUE(service.WaitForDeviceProperty("back", "DeviceState", "Idle"));
    ForgetTraffic();
    EXPECT_EQ(Code("MoveAllJobs", "front", "back"), 0);
    EXPECT_EQ(TaskTraffic("back"), (Texts{"front Moving From", "back Moving To", "front JobListMoveProgress back 0 0 5",
                                          "front JobListMoveError back E 28", "front JobListMoveError back D 17",
                                          "front JobListMoveProgress back 100 3 5",
                                          "front JobListMoveFinish back false 3 5", "front Idle", "back Idle"}))
        << "a move reports every second";
    EXPECT_TRUE(LogCapture::WaitFor("Moving 3 jobs took "));
    EXPECT_EQ(WriteActive(), (Texts{"front on", "back on", "front off", "back off"}));
    EXPECT_EQ(service.Card("front").List(), (Texts{"D", "E"}));
    EXPECT_EQ(service.Card("back").List(), (Texts{"A", "B", "C", "D", "E"})) << "a copy of a locked job is locked";
}

TEST_F(JobListTasksTest, CancelAnswersAfterTheLastSignal) {
    SetPeriods(0);
    std::future<int32_t> answer;
    At(service.Device("front")->_jobListCopyProgress, 2, [this, &answer] {
        answer = std::async(std::launch::async, [this] { return Code("CancelCMD", "front"); });
        EXPECT_TRUE(LogCapture::WaitFor("ManagedDevice::CancelCMD - Waiting for any active threads to close."));
    });
    EXPECT_EQ(Code("CopyAllJobs", "front", "back"), 0);
    service.Client().WaitForSignal("JobListCopyFinish");
    EXPECT_EQ(answer.get(), 0);
    const std::vector<Signal> signals = service.Client().TakeSignals();
    const auto last = std::ranges::find(signals.rbegin(), signals.rend(), "JobListCopyFinish", &Signal::member);
    ASSERT_NE(last, signals.rend());
    EXPECT_EQ(last->arguments.values, (std::vector<WireValue>{"back", true, 2, 5}));
    EXPECT_EQ(service.DeviceProperty("front", "DeviceState"), "Idle");
    EXPECT_EQ(service.DeviceProperty("back", "DeviceState"), "Idle");
    EXPECT_TRUE(LogCapture::WaitFor("Copying 2 jobs took "));

    // The flag has gone with the task.
    EXPECT_EQ(Code("DeleteJobList", "back", Texts{"E"}), 0);
    service.Client().WaitForSignal("JobListDeleteFinish");
    EXPECT_EQ(Code("CancelCMD", "back"), 0);
    EXPECT_EQ(service.Card("back").List(), Texts{"D"});
}

TEST_F(JobListTasksTest, ABusyDeviceRefusesAnotherTask) {
    SetPeriods(0);
    std::promise<void> refused;
    At(service.Device("front")->_jobListMoveProgress, 0, [&] { refused.get_future().wait(); });
    EXPECT_EQ(Code("MoveAllJobs", "front", "back"), 0);
    for (const char* card : {"front", "back"}) {
        const std::string other = card == std::string("front") ? "back" : "front";
        EXPECT_EQ(Code("FindJobs", card), JOBS_RTN_DEVICE_BUSY);
        EXPECT_EQ(Code("DeleteAllJobs", card), JOBS_RTN_DEVICE_BUSY);
        EXPECT_EQ(Code("MoveAllJobs", card, other), JOBS_RTN_DEVICE_BUSY);
        EXPECT_EQ(Code("CopyJobList", card, other, Texts{}), JOBS_RTN_DEVICE_BUSY);
    }
    for (const char* line : {"PrepareMultipleJobDeletion - device is already in DEVICE_STATE_MOVING_[FROM|TO] state",
                             "PrepareMultipleJobMove - device is already in DEVICE_STATE_MOVING[FROM|TO] state",
                             "PrepareMultipleJobCopy - device is already in DEVICE_STATE_MOVING_[FROM|TO] state"})
        EXPECT_EQ(LogCapture::Count(line), 2u) << line;
    refused.set_value();
    EXPECT_TRUE(service.WaitForDeviceProperty("back", "DeviceState", "Idle"));
}

TEST_F(JobListTasksTest, ReadOnlyCardsAreRefused) {
    Unit().Storage().SetReadOnly("front", true);
    SettleStorage();
    LogCapture::Take();
    EXPECT_EQ(Code("DeleteAllJobs", "front"), JOBS_RTN_READ_ONLY_FS);
    EXPECT_EQ(Code("MoveJobList", "front", "back", Texts{"A"}), JOBS_RTN_READ_ONLY_FS);
    EXPECT_EQ(Code("CopyAllJobs", "back", "front"), JOBS_RTN_READ_ONLY_FS);
    EXPECT_EQ(Errors(),
              (Texts{"DeleteAllJobs - Filesystem is read-only", "MoveJobList - Source filesystem is read-only",
                     "CopyAllJobs - Destination filesystem is read-only"}));
    EXPECT_EQ(Code("CopyAllJobs", "front", "back"), 0) << "copying only reads";
    ASSERT_TRUE(service.WaitForDeviceProperty("back", "DeviceState", "Idle"));
    EXPECT_EQ(service.Card("back").List().size(), 5u);
}

/// Clients go on reading, changing and opening jobs while a task takes them away.
TEST_F(JobListTasksTest, AJobInUseIsTakenFromUnderNobody) {
    for (int round = 0; round < 5; ++round) {
        ASSERT_EQ(Code("MoveAllJobs", round % 2 == 0 ? "front" : "back", round % 2 == 0 ? "back" : "front"), 0);
        while (service.DeviceProperty("front", "DeviceState") != "Idle" ||
               service.DeviceProperty("back", "DeviceState") != "Idle")
            for (const std::string& id : five)
                for (const char* card : {"front", "back"}) {
                    Text("GetJobContacts", card, id);
                    Code("SetJobNotes", card, id, "changed meanwhile");
                    if (OpenJob({id, {}}, card) == 0) {
                        EXPECT_EQ(std::get<0>(Text("GetJobNotes", card, id)), 0) << "the current job is protected";
                        CloseJob();
                    }
                }
    }
    const size_t onFront = service.Card("front").List().size();
    EXPECT_EQ(onFront + service.Card("back").List().size(), five.size()) << "each is on one card";
    EXPECT_EQ(Stats()["nRuvoJobs"], onFront);
}

/// All operations of a card use one trash folder, and each empties it first.
TEST_F(JobListTasksTest, OperationsOnOneCardKeepOutOfEachOthersTrash) {
    const std::string contents(300000, 'v');
    for (int i = 0; i < 20; ++i) {
        const std::string id = "sent" + std::to_string(i);
        PutJob(id, JobDocument(id));
        for (const char* file : {"1", "2", "3"})
            service.Card("front").Write(id + "/media/" + file, contents);
        service.Card("back").Write("gone" + std::to_string(i) + "/job.json",
                                   JobDocument("gone" + std::to_string(i)).dump());
    }
    FindJobs();
    ASSERT_EQ(Code("FindJobs", "back"), 0);
    ASSERT_TRUE(service.WaitForDeviceProperty("back", "DeviceState", "Idle"));
    ASSERT_EQ(Code("DeleteAllJobs", "back"), 0);
    for (int i = 0; i < 20; ++i)
        EXPECT_EQ(Code("MoveJob", "front", "back", "sent" + std::to_string(i)), 0) << i;
    ASSERT_TRUE(service.WaitForDeviceProperty("back", "DeviceState", "Idle"));
    for (int i = 0; i < 20; ++i) {
        EXPECT_FALSE(service.Card("back").Exists("gone" + std::to_string(i)));
        for (const char* file : {"1", "2", "3"})
            EXPECT_EQ(service.Card("back").Read("sent" + std::to_string(i) + "/media/" + file), contents);
    }
    EXPECT_EQ(LogCapture::Count("failed"), 0u);
}

} // namespace
} // namespace Testing
