#include "device/ManagedDevice.h"

#include "device/ServiceTest.h"
#include "device/Uuid.h"

#include <future>
#include <set>
#include <sys/statvfs.h>
#include <syslog.h>

using namespace JobsManagerD;

namespace Testing {
namespace {

/// A device of the service, used without a client.
class ManagedDeviceTest : public ServiceTest {
protected:
    std::shared_ptr<ManagedDevice> device = service.Device("front");
};

TEST_F(ManagedDeviceTest, TheStorageServiceHearsOfTheFirstReasonAndOfTheLast) {
    device->_SetWriteActive("JobFileUpdate", true);
    device->_SetWriteActive("JobFileUpdate", true);
    device->_SetWriteActive("SingleJobSynchronous", false);
    EXPECT_EQ(WriteActive(), Texts{"front on"});
    device->_SetWriteActive("SingleJobSynchronous", true);
    device->_SetWriteActive("JobFileUpdate", false);
    EXPECT_EQ(WriteActive(), Texts{}) << "one reason is left";
    device->_SetWriteActive("SingleJobSynchronous", false);
    device->_SetWriteActive("SingleJobSynchronous", false);
    EXPECT_EQ(WriteActive(), Texts{"front off"});

    Unit().Storage().Refuse("SetWriteActive");
    device->_SetWriteActive("JobFileUpdate", true);
    device->_SetWriteActive("JobFileUpdate", false);
    EXPECT_EQ(WriteActive(), (Texts{"front on", "front off"})) << "a refusal changes nothing";
    EXPECT_EQ(LogCapture::Count("SetWriteActive: sd_bus_call_method failed r = -"), 2u);
}

TEST_F(ManagedDeviceTest, StatesThatWriteMarkTheDevice) {
    struct Case {
        deviceState_e state;
        std::string text;
        bool writes;
    };
    for (const auto& [state, text, writes] : {Case{DEVICE_STATE_INDEXING, "Indexing", false},
                                              {DEVICE_STATE_CONVERTING, "Converting", true},
                                              {DEVICE_STATE_DELETING, "Deleting", true},
                                              {DEVICE_STATE_MOVING_FROM, "Moving From", true},
                                              {DEVICE_STATE_MOVING_TO, "Moving To", true},
                                              {DEVICE_STATE_COPYING_FROM, "Copying From", false},
                                              {DEVICE_STATE_COPYING_TO, "Copying To", true}}) {
        ForgetTraffic();
        device->SetState(state, true);
        device->SetState(DEVICE_STATE_IDLE, true);
        EXPECT_EQ(Traffic(), (Texts{"front DeviceState=" + text, "front DeviceState=Idle"}));
        EXPECT_EQ(WriteActive(), writes ? (Texts{"front on", "front off"}) : Texts{}) << text;
    }
    device->SetState(DEVICE_STATE_DELETING, true);
    WriteActive();
    device->SetState(DEVICE_STATE_COPYING_FROM, true);
    EXPECT_EQ(WriteActive(), Texts{"front off"});
}

TEST_F(ManagedDeviceTest, OnlyMultiJobWorkIsCancelledByAClient) {
    constexpr const char* refused =
        "ManagedDevice::CancelCMD no cancellable async activity (multi copy/move/delete) on device";
    for (int state = DEVICE_STATE_IDLE; state <= DEVICE_STATE_COPYING_TO; ++state) {
        device->SetState(static_cast<deviceState_e>(state), true);
        LogCapture::Take();
        EXPECT_EQ(Code("CancelCMD", "front"), JOBS_RTN_SUCCEEDED);
        const bool isCancelled = state >= DEVICE_STATE_DELETING;
        EXPECT_TRUE(Logged(LOG_INFO, isCancelled ? "ManagedDevice::CancelCMD - Complete." : refused)) << state;
        EXPECT_EQ(LogCapture::Lines().size(), isCancelled ? 4u : 2u) << state;
    }
    LogCapture::Take();
    std::promise<void> ended;
    device->Cancel([&ended] { ended.set_value(); });
    ended.get_future().wait();
    EXPECT_TRUE(Logged(LOG_INFO, "ManagedDevice::Cancel - Complete."));
}

TEST_F(ManagedDeviceTest, AJobAsLargeAsTheFreeSpaceDoesNotFit) {
    struct statvfs64 status {};
    ASSERT_EQ(statvfs64(device->GetMountPoint().c_str(), &status), 0);
    EXPECT_TRUE(device->CheckFileSpace(0));
    EXPECT_FALSE(device->CheckFileSpace(UINT64_MAX));
    EXPECT_FALSE(device->CheckFileSpace(uint64_t{status.f_bsize} * status.f_blocks));
    ManagedDevice nowhere;
    nowhere.SetMountPoint("/no/such/folder");
    EXPECT_FALSE(nowhere.CheckFileSpace(0));
    EXPECT_TRUE(Logged(LOG_ERR, "statvfs64 Unable to retrieve filesystem statistics for: /no/such/folder"));
}

TEST_F(ManagedDeviceTest, NoJobIsCurrentOnAFreshDevice) {
    EXPECT_FALSE(device->HasCurrentJob());
    EXPECT_FALSE(device->IsCurrentJob(""));
    const CreatedJob job = CreateJob();
    EXPECT_TRUE(device->HasCurrentJob());
    EXPECT_TRUE(device->IsCurrentJob(job.id));
    EXPECT_FALSE(device->IsCurrentJob(""));
    EXPECT_FALSE(service.Device("back")->HasCurrentJob());
}

TEST(JobList, KeepsItsOrderWhileJobsComeAndGo) {
    JobList list;
    const auto job = [](const std::string& id, const std::string& path = "") {
        auto made = std::make_shared<Job>(path);
        made->ChangeSummary([&id](JobSummary& summary) { summary.id = id; });
        return made;
    };
    const auto order = [&list] {
        std::string ids;
        for (const JobList::Entry& entry : list.Entries())
            ids += entry->Id();
        return ids;
    };
    for (const char* id : {"a", "b", "c", "d", "e", "f"})
        list.Append(job(id, "first"), false);
    list.Append(job("b", "second"), false);
    EXPECT_EQ(list.Size(), 6u) << "the earlier of two equal IDs stays";
    EXPECT_EQ(list.Find("b")->JobFilePath(), "first");

    EXPECT_TRUE(list.Remove("a"));
    EXPECT_TRUE(list.Remove("d"));
    EXPECT_FALSE(list.Remove("d"));
    EXPECT_EQ(list.Find("d"), nullptr);
    list.Replace(list.Find("e"), job("e", "new"));
    list.Append(job("d"), false);
    EXPECT_EQ(list.Size(), 5u);
    EXPECT_EQ(order(), "bcefd");
    EXPECT_EQ(list.Find("e")->JobFilePath(), "new");
    list.Replace(list.Find("f"), job("f", "newer"));
    EXPECT_EQ(list.Entries()[3]->JobFilePath(), "newer") << "numbers fit after the holes have been closed";

    // Nobody reads the list meanwhile.
    for (int i = 0; i < 1000; ++i) {
        list.Append(job("x"), false);
        EXPECT_TRUE(list.Remove("x"));
    }
    EXPECT_EQ(order(), "bcefd");
}

TEST(Uuid, IsOfItsFormAndNeverTheSame) {
    std::set<std::string> all;
    std::set<char> variants;
    for (int i = 0; i < 500; ++i) {
        const std::string id = GenerateUuid();
        all.insert(id);
        ASSERT_EQ(id.size(), 36u);
        for (size_t at = 0; at < id.size(); ++at) {
            const bool isDash = at == 8 || at == 13 || at == 18 || at == 23;
            EXPECT_TRUE(isDash ? id[at] == '-' : std::string("0123456789abcdef").find(id[at]) != std::string::npos)
                << id;
        }
        EXPECT_EQ(id[14], '4');
        variants.insert(id[19]);
    }
    EXPECT_EQ(all.size(), 500u);
    EXPECT_EQ(variants, (std::set<char>{'c', 'd'}));
}

} // namespace
} // namespace Testing
