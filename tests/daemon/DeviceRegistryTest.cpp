#include "device/ServiceTest.h"

#include <algorithm>
#include <syslog.h>

using namespace JobsManagerD;

namespace Testing {
namespace {

constexpr const char* storageRoot = "/com/corvane/common/StorageDaemon1";

class DeviceRegistryTest : public ServiceTest {
protected:
    using ServiceTest::ServiceTest;

    std::string Target() { return Call("GetTargetDeviceID").Read<std::string>(); }
    std::string CurrentJobID() { return Call("GetCurrentJobID").Read<std::string>(); }
    bool IsThere(const std::string& card) { return std::get<0>(Text("GetSearchStats", card)) == JOBS_RTN_SUCCEEDED; }
    void Pull(const std::string& card) {
        service.PullCard(card);
        SettleStorage();
    }
};

class EmptyUnitTest : public DeviceRegistryTest {
protected:
    static ServiceOptions Unmounted() {
        ServiceOptions options;
        options.cards = {{"front", false}, {"back", false}};
        return options;
    }
    EmptyUnitTest() : DeviceRegistryTest(Unmounted()) {}
};

TEST_F(EmptyUnitTest, ACardThatIsMountedBecomesADeviceAndTheFirstOneTheTarget) {
    EXPECT_EQ(service.InitResult(), 0);
    EXPECT_EQ(Target(), "");
    EXPECT_FALSE(IsThere("front"));
    EXPECT_EQ(std::get<0>(Text("GetJobName", "", "")), JOBS_RTN_DEVICE_NOT_FOUND) << "no target to stand in";
    ForgetTraffic();

    Unit().Storage().MountCard("back");
    SettleStorage();
    EXPECT_TRUE(IsThere("back"));
    EXPECT_EQ(TrafficBesideIndexing("back"), (Texts{"manager InterfacesAdded back", "manager TargetDeviceID=back"}));
    EXPECT_TRUE(Logged(LOG_INFO, "Storage Mounted."));
    EXPECT_TRUE(Logged(LOG_INFO, "MountPoint: " + service.CardFolder("back") + "."));
    EXPECT_TRUE(Logged(LOG_INFO, std::string("StoragePropertiesChanged - storageObjPath: ") + storageRoot +
                                     "/back. Name IsMounted"));

    Unit().Storage().SetPrimaryDevice("front");
    Unit().Storage().MountCard("front");
    Unit().Storage().MountCard("back");
    SettleStorage();
    EXPECT_EQ(TrafficBesideIndexing("front"), Texts{"manager InterfacesAdded front"})
        << "the target stays, and nothing comes twice";
    EXPECT_EQ(Errors().size(), 2u) << "those of the waiting alone";
}

TEST_F(EmptyUnitTest, OnlyAMountWithItsPlaceCounts) {
    ForgetTraffic();
    Unit().Storage().RawPropertiesChanged("front", {{"IsMounted", true}});
    Unit().Storage().RawPropertiesChanged("front", {{"MountPoint", service.CardFolder("front")}});
    Unit().Storage().RawPropertiesChanged("front", {{"ReadOnly", true}});
    Unit().Storage().EmitPropertiesChanged(Unit().Storage().CardPath("front"),
                                           "com.corvane.common.StorageDaemon1.Other",
                                           {{"IsMounted", true}, {"MountPoint", service.CardFolder("front")}});
    service.MakeCard("late");
    Unit().Storage().AddCard("late", service.CardFolder("late"));
    SettleStorage();
    EXPECT_FALSE(IsThere("front"));
    EXPECT_FALSE(IsThere("late")) << "that an object appears is no mount";
    EXPECT_EQ(Traffic(), Texts{});
}

TEST_F(EmptyUnitTest, ACardThatCannotBeReadStaysOutsideUntilItIsMountedAgain) {
    ForgetTraffic();
    for (const std::string property : {"MountPoint", "Id", "ReadOnly"}) {
        LogCapture::Take();
        Unit().Storage().Refuse(property);
        Unit().Storage().MountCard("front");
        SettleStorage();
        Unit().Storage().AnswerNormally(property);
        EXPECT_FALSE(IsThere("front")) << property;
        EXPECT_TRUE(Logged(LOG_ERR, "RegisterManagedDeviceDbusObject Failed to read StorageDevice Property '" +
                                        property + "', exit"));
        EXPECT_TRUE(Logged(LOG_ERR, std::string("JobsManagerDaemon::StoragePropertiesChanged - "
                                                "RegisterManagedDeviceDbusObject() failed on ") +
                                        storageRoot + "/front."));
    }
    EXPECT_EQ(Traffic(), Texts{});

    Unit().Storage().MountCard("front");
    Unit().Storage().SetSilently("back", "Id", "front");
    Unit().Storage().MountCard("back");
    Unit().Storage().SetSilently("back", "Id", "no good/id");
    Unit().Storage().MountCard("back");
    SettleStorage();
    EXPECT_TRUE(IsThere("front"));
    EXPECT_EQ(LogCapture::Count("RegisterManagedDeviceDbusObject Failed to create table, exit (-"), 2u);
    EXPECT_EQ(TrafficBesideIndexing("front"), (Texts{"manager InterfacesAdded front", "manager TargetDeviceID=front"}));
    EXPECT_EQ(service.DeviceProperty("front", "DeviceState"), "Idle") << "the first of the name is left alone";
}

TEST_F(DeviceRegistryTest, AStartWithACardThatCannotBeReadFails) {
    service.Stop();
    LogCapture::Take();
    Unit().Storage().DropProperty("back", "ReadOnly");
    service.Launch();
    EXPECT_EQ(service.InitResult(), -1);
    EXPECT_TRUE(Logged(LOG_ERR, std::string("JobsManagerDaemon::Init - RegisterManagedDeviceDbusObject() failed on "
                                            "Storage Object: ") +
                                    storageRoot + "/back"));
    EXPECT_EQ(LogCapture::Count("SelectTargetDevice"), 0u);
    EXPECT_EQ(LogCapture::Count("Init complete"), 0u);
}

TEST_F(DeviceRegistryTest, TheStartIsToldStepByStep) {
    const std::string root = storageRoot;
    Texts lines;
    for (const LogLine& line : LogCapture::Lines())
        if (line.text.starts_with("Init") || line.text.starts_with("JobsManagerDaemon::Init") ||
            line.text.starts_with(root))
            lines.push_back(line.text);
    const std::string registering = "JobsManagerDaemon::Init - Registering Managed Device for Storage Object: " + root;
    const std::string searching = "JobsManagerDaemon::Init - Searching for job files on device: ";
    EXPECT_EQ(lines,
              (Texts{"Init",
                     "Init Create and register Managed Device Dbus objects for all mounted storage "
                     "devices",
                     "JobsManagerDaemon::Init - GetStorageObjectPaths returned:", root + "/front", root + "/back",
                     registering + "/front", searching + RunningService::DevicePath("front"), registering + "/back",
                     searching + RunningService::DevicePath("back"), "Init Init complete"}));
    EXPECT_TRUE(Logged(LOG_DEBUG, "JobsManagerDaemon::SelectTargetDevice - New Target ID front."));
    EXPECT_EQ(TrafficBesideIndexing("back"),
              (Texts{"manager InterfacesAdded front", "manager InterfacesAdded back", "manager TargetDeviceID=front"}));
}

TEST_F(DeviceRegistryTest, APulledCardTakesItsCurrentJobAndTheTargetAway) {
    const CreatedJob job = CreateJob("Main Street", "front");
    ForgetTraffic();
    Pull("front");
    EXPECT_EQ(Traffic(),
              (Texts{"front CurrentJobID=", "manager InterfacesRemoved front", "manager TargetDeviceID=back"}));
    EXPECT_EQ(CurrentJobID(), "");
    EXPECT_TRUE(Logged(LOG_INFO, "JobsManagerDaemon::JobClosed: ID " + job.id));
    EXPECT_TRUE(Logged(LOG_INFO, "DeviceRemoved - Removing " + RunningService::DevicePath("front")));
    EXPECT_TRUE(Logged(LOG_INFO, std::string("Jobs Manager Daemon: Storage removed - Path ") + storageRoot + "/front"));
    EXPECT_EQ(Errors().at(0), std::string("JobsManagerDaemon::DeviceRemoved - no corresponding Managed Device for "
                                          "removed storage device ") +
                                  storageRoot + "/front")
        << "the object goes after its unmount: the second removal finds nothing";
    EXPECT_EQ(Errors().size(), 2u) << "and the waiting's own";
    EXPECT_THROW(service.DeviceProperty("front", "DeviceState"), std::runtime_error);

    service.InsertCard("front");
    ASSERT_TRUE(service.WaitForDeviceProperty("front", "DeviceState", "Idle"));
    EXPECT_EQ(Text("GetJobName", "front", job.id), CodeAndText(0, "Main Street")) << "it comes back with its jobs";
    EXPECT_EQ(CurrentJobID(), "");
    EXPECT_TRUE(service.Card("front").Exists(job.File()));
}

TEST_F(DeviceRegistryTest, NeitherARecordingNorADeadPeerKeepsACard) {
    const CreatedJob first = CreateJob("First", "front");
    Unit().Video().Start("Recording", first.Media("rec.mp4"));
    ForgetTraffic();
    Pull("front");
    EXPECT_EQ(Traffic(), (Texts{"manager InterfacesRemoved front", "manager TargetDeviceID=back"}))
        << "the job was not closed, it is gone";
    EXPECT_EQ(CurrentJobID(), "");

    CreateJob("Second");
    Unit().Video().GoAway();
    ForgetTraffic();
    Unit().Storage().RemoveCard("back");
    SettleStorage();
    EXPECT_EQ(Traffic(), (Texts{"manager InterfacesRemoved back", "manager TargetDeviceID="}));
    EXPECT_EQ(CurrentJobID(), "");
    EXPECT_EQ(std::get<0>(Text("CloseJob")), JOBS_RTN_NO_CURRENT_JOB);
}

TEST_F(DeviceRegistryTest, ACardWithoutTheTargetGoesQuietly) {
    const CreatedJob job = CreateJob("Main Street", "front");
    ForgetTraffic();
    Pull("back");
    const Signal removed = service.Client().WaitForSignal("InterfacesRemoved");
    EXPECT_NE(std::ranges::find(removed.arguments.values.at(1), "com.corvane.common.JobsManagerDaemon1.Device"),
              removed.arguments.values.at(1).end())
        << "from which clients know what has gone: " << removed.Text();
    EXPECT_EQ(Traffic(), Texts{"manager InterfacesRemoved back"});
    EXPECT_EQ(CurrentJobID(), job.id);
}

TEST_F(DeviceRegistryTest, ThePrimaryDeviceIsTrustedEvenWhenItIsNotThere) {
    Unit().Storage().SetPrimaryDevice("internal");
    ForgetTraffic();
    Pull("front");
    EXPECT_EQ(Target(), "internal");
    EXPECT_TRUE(Logged(LOG_DEBUG, "JobsManagerDaemon::SelectTargetDevice - New Target is primary device with ID "
                                  "internal"));
    EXPECT_EQ(std::get<0>(Text("GetJobName", "", "")), JOBS_RTN_DEVICE_NOT_FOUND);

    EXPECT_EQ(Code("SetTargetDeviceID", "back"), JOBS_RTN_SUCCEEDED);
    Unit().Storage().Refuse("PrimaryDevice");
    Unit().Storage().Refuse("AvailableDevices");
    Traffic();
    Pull("back");
    EXPECT_EQ(Traffic(), (Texts{"manager InterfacesRemoved back", "manager TargetDeviceID="}));
    EXPECT_TRUE(Logged(LOG_ERR, "JobsManagerDaemon::SelectTargetDevice - Failed to read primary device "
                                "(GetPrimaryDevice).  Selecting target based on priority list"));
    EXPECT_TRUE(Logged(LOG_ERR, "JobsManagerDaemon::SelectTargetDevice - Failed to read priority ordered device list "
                                "(GetAvailableDevices)"));
}

TEST_F(DeviceRegistryTest, ATargetThatComesOutTheSameIsToldAllTheSame) {
    Unit().Storage().SetPrimaryDevice("front");
    ForgetTraffic();
    Pull("front");
    EXPECT_EQ(Traffic(), (Texts{"manager InterfacesRemoved front", "manager TargetDeviceID=front"}));
}

TEST_F(DeviceRegistryTest, AChangeToReadOnlyIsFollowed) {
    const CreatedJob job = CreateJob();
    for (const auto& [isReadOnly, code] : {std::pair{true, JOBS_RTN_READ_ONLY_FS}, {false, JOBS_RTN_SUCCEEDED}}) {
        Unit().Storage().SetReadOnly("front", isReadOnly);
        SettleStorage();
        EXPECT_TRUE(Logged(LOG_INFO, std::string("Jobs Manager Daemon: Device front filesystem read-only changed to ") +
                                         (isReadOnly ? "true" : "false")));
        EXPECT_EQ(Code("SetJobNotes", "", "", "notes"), code);
    }
    Unit().Storage().RawPropertiesChanged("front", {{"IsMounted", true}, {"ReadOnly", true}});
    SettleStorage();
    EXPECT_EQ(Code("SetJobNotes", "", "", "notes"), JOBS_RTN_SUCCEEDED) << "beside a mount it is not looked at";
    service.InsertCard("locked", true);
    SettleStorage();
    CloseJob();
    EXPECT_EQ(std::get<0>(Call("CreateJob", "locked", "x").Read<int32_t, std::string, std::string>()),
              JOBS_RTN_READ_ONLY_FS);
}

TEST_F(DeviceRegistryTest, SyncedPathsOnNoDeviceAreToldInTheLog) {
    Unit().Sync().EmitDestinationSynced("/elsewhere/a");
    Unit().Sync().EmitJobFileSynced("/elsewhere/b");
    ASSERT_TRUE(LogCapture::WaitFor("JobFileSynced Storage device holding destination path /elsewhere/b not found"));
    EXPECT_TRUE(Logged(LOG_ERR, "SyncDestinationSynced Storage device holding synced destination path /elsewhere/a "
                                "not found"));
    const std::string folder = service.MakeCard("unmounted").Path();
    Unit().Storage().AddCard("unmounted", folder, {false, false});
    Unit().Sync().EmitDestinationSynced(folder + "/a");
    Unit().Sync().EmitJobFileSynced(folder + "/b");
    ASSERT_TRUE(LogCapture::WaitFor("JobFileSynced Managed device unmounted holding destination path " + folder +
                                    "/b not found"));
    EXPECT_TRUE(Logged(LOG_ERR, "SyncDestinationSynced Managed device unmounted holding synced destination path " +
                                    folder + "/a not found"));
}

} // namespace
} // namespace Testing
