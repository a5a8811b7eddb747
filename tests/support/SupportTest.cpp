#include "simulator/Console.h"
#include "support/BusClient.h"
#include "support/LogCapture.h"
#include "support/PrivateBus.h"
#include "support/TemporaryFolder.h"

#include <future>
#include <gtest/gtest.h>
#include <syslog.h>

using namespace std::chrono_literals;
using Simulator::Call;
using Simulator::Structure;

namespace Testing {
namespace {

constexpr const char* storageName = "com.corvane.common.StorageDaemon1";
constexpr const char* storagePath = "/com/corvane/common/StorageDaemon1";
constexpr const char* cardInterface = "com.corvane.common.StorageDaemon1.Device";
constexpr const char* objectManager = "org.freedesktop.DBus.ObjectManager";
constexpr const char* settingsName = "com.corvane.common.Settings1";

using Texts = std::vector<std::string>;

std::string CardPath(const std::string& id) { return std::string(storagePath) + "/" + id; }

Texts TextsOf(const std::vector<Signal>& signals) {
    Texts texts;
    for (const Signal& signal : signals)
        texts.push_back(signal.Text());
    return texts;
}

/// Two cards, of which the second ID sorts before the first.
class SimulatedUnitTest : public testing::Test {
protected:
    SimulatedUnitTest() {
        unit.Storage().AddCard("usb2", "/mnt/usb2");
        unit.Storage().AddCard("internal", "/mnt/internal", {false, true});
    }

    Reply SetWriteActive(const std::string& id, uint8_t reserved, bool isActive) {
        return storage.CallOn(CardPath(id), cardInterface, "SetWriteActive", {reserved, isActive});
    }

    /// What the client has heard once the service has answered it, which comes after all that it sent before.
    static std::vector<Signal> Heard(BusClient& client, const std::string& rootPath) {
        client.CallOn(rootPath, "org.freedesktop.DBus.Properties", "GetAll", {std::string()});
        return client.TakeSignals();
    }

    Simulator::SimulatedUnit unit{PrivateBus::Instance().Address()};
    BusClient storage{storageName};
    BusClient settings{settingsName};
};

TEST_F(SimulatedUnitTest, StorageListsItsCardsInTheOrderInWhichTheyCame) {
    const WireArguments objects = storage.CallOn(storagePath, objectManager, "GetManagedObjects").Arguments();
    EXPECT_EQ(objects.signature, "a{oa{sa{sv}}}");
    const WireValue expected = {
        {CardPath("usb2"),
         {{"org.freedesktop.DBus.Properties", WireValue::object()},
          {cardInterface, {{"Id", "usb2"}, {"MountPoint", "/mnt/usb2"}, {"IsMounted", true}, {"ReadOnly", false}}}}},
        {CardPath("internal"),
         {{"org.freedesktop.DBus.Properties", WireValue::object()},
          {cardInterface,
           {{"Id", "internal"}, {"MountPoint", "/mnt/internal"}, {"IsMounted", false}, {"ReadOnly", true}}}}},
    };
    EXPECT_EQ(objects.values.at(0).dump(), expected.dump());
    EXPECT_EQ(objects.variantTypes, (Texts{"s", "s", "b", "b", "s", "s", "b", "b"}));
}

TEST_F(SimulatedUnitTest, StoragePropertiesHaveTheirTypesAndUnknownOnesAreRefused) {
    unit.Storage().SetPrimaryDevice("usb2");
    unit.Storage().SetAvailableDevices({"usb2", "internal"});
    const WireArguments primary = storage.ReadProperty(storagePath, storageName, "PrimaryDevice");
    EXPECT_EQ(primary.values.at(0), "usb2");
    EXPECT_EQ(primary.variantTypes, Texts{"s"});
    const WireArguments available = storage.ReadProperty(storagePath, storageName, "AvailableDevices");
    EXPECT_EQ(available.values.at(0), (WireValue{"usb2", "internal"}));
    EXPECT_EQ(available.variantTypes, Texts{"as"});

    const auto error = [this](const std::string& path, const std::string& interface, const std::string& name) {
        return storage.CallOn(path, "org.freedesktop.DBus.Properties", "Get", {interface, name}).ErrorName();
    };
    EXPECT_EQ(error(CardPath("usb9"), cardInterface, "Id"), "org.freedesktop.DBus.Error.UnknownObject");
    EXPECT_EQ(error(CardPath("usb2"), storageName, "Id"), "org.freedesktop.DBus.Error.UnknownInterface");
    unit.Storage().DropProperty("usb2", "Id");
    EXPECT_EQ(error(CardPath("usb2"), cardInterface, "Id"), "org.freedesktop.DBus.Error.UnknownProperty");
}

TEST_F(SimulatedUnitTest, StorageTellsWhatBecomesOfCards) {
    Heard(storage, storagePath);
    unit.Storage().UnmountCard("usb2");
    EXPECT_EQ(storage.GetProperty(CardPath("usb2"), cardInterface, "IsMounted"), false);
    unit.Storage().MountCard("usb2");
    unit.Storage().SetReadOnly("usb2", true);
    unit.Storage().RemoveCard("usb2");
    unit.Storage().AddCard("usb3", "/mnt/usb3");
    unit.Storage().RawPropertiesChanged("usb3", {{"IsMounted", "yes"}});
    unit.Storage().SetPrimaryDevice("usb3");

    const std::string device = std::string("\"") + cardInterface + "\"";
    const Texts expected = {
        CardPath("usb2") + " PropertiesChanged [" + device + R"(,{"IsMounted":false},[]])",
        CardPath("usb2") + " PropertiesChanged [" + device + R"(,{"IsMounted":true,"MountPoint":"/mnt/usb2"},[]])",
        CardPath("usb2") + " PropertiesChanged [" + device + R"(,{"ReadOnly":true},[]])",
        storagePath + std::string(" InterfacesRemoved [\"") + CardPath("usb2") +
            R"(",["org.freedesktop.DBus.Properties",)" + device + "]]",
        storagePath + std::string(" InterfacesAdded [\"") + CardPath("usb3") +
            R"(",{"org.freedesktop.DBus.Properties":{},)" + device +
            R"(:{"Id":"usb3","MountPoint":"/mnt/usb3","IsMounted":true,"ReadOnly":false}}])",
        CardPath("usb3") + " PropertiesChanged [" + device + R"(,{"IsMounted":"yes"},[]])",
        storagePath + std::string(" PropertiesChanged [\"") + storageName + R"(",{"PrimaryDevice":"usb3"},[]])",
    };
    EXPECT_EQ(TextsOf(Heard(storage, storagePath)), expected);
    EXPECT_THROW(unit.Storage().MountCard("usb2"), Simulator::Failure);
}

TEST_F(SimulatedUnitTest, WriteActiveIsRecordedAlsoWhenRefused) {
    EXPECT_EQ(SetWriteActive("usb2", 0, true).Arguments().signature, "");
    unit.Storage().Refuse("SetWriteActive", Simulator::Failure("com.example.Busy", "The card is busy"));
    const Reply refused = SetWriteActive("internal", 7, true);
    EXPECT_EQ(refused.ErrorName(), "com.example.Busy");
    EXPECT_EQ(refused.ErrorMessage(), "The card is busy");
    unit.Storage().AnswerNormally("SetWriteActive");
    EXPECT_FALSE(SetWriteActive("usb2", 0, false).IsError());
    EXPECT_EQ(SetWriteActive("usb9", 0, false).ErrorName(), "org.freedesktop.DBus.Error.UnknownObject");
    EXPECT_TRUE(storage.CallOn(CardPath("usb2"), cardInterface, "SetWriteActive", {true, true}).IsError());

    const std::vector<Simulator::WriteActiveCall> expected = {
        {"usb2", 0, true}, {"internal", 7, true}, {"usb2", 0, false}, {"usb9", 0, false}};
    EXPECT_EQ(unit.Storage().WriteActiveCalls(), expected);
    unit.Storage().ForgetCalls();
    EXPECT_TRUE(unit.Storage().WriteActiveCalls().empty());
}

TEST_F(SimulatedUnitTest, HeldAndLateCallsHoldUpNoOthers) {
    unit.Storage().Hold("MountPoint");
    auto held = std::async(std::launch::async,
                           [this] { return storage.GetProperty(CardPath("usb2"), cardInterface, "MountPoint"); });
    ASSERT_TRUE(unit.Storage().WaitForCall("MountPoint"));
    EXPECT_EQ(storage.GetProperty(CardPath("usb2"), cardInterface, "Id"), "usb2");
    EXPECT_EQ(held.wait_for(0s), std::future_status::timeout);
    unit.Storage().SetSilently("usb2", "MountPoint", int32_t{5});
    unit.Storage().Release("MountPoint");
    EXPECT_EQ(held.get(), 5);

    unit.Storage().AnswerLate("ReadOnly", 20ms);
    EXPECT_EQ(storage.GetProperty(CardPath("internal"), cardInterface, "ReadOnly"), true);
}

TEST_F(SimulatedUnitTest, ServicesGoAwayOneByOneAndComeBack) {
    unit.Storage().Hold("Id");
    auto held = std::async(std::launch::async, [this] {
        return storage.CallOn(CardPath("usb2"), "org.freedesktop.DBus.Properties", "Get",
                              {std::string(cardInterface), std::string("Id")});
    });
    ASSERT_TRUE(unit.Storage().WaitForCall("Id"));
    unit.Storage().GoAway();
    EXPECT_EQ(held.get().ErrorName(), "org.freedesktop.DBus.Error.NoReply");
    EXPECT_EQ(SetWriteActive("usb2", 0, true).ErrorName(), "org.freedesktop.DBus.Error.ServiceUnknown");
    EXPECT_EQ(settings.GetProperty("/com/corvane/common/Settings1/jobs", settingsName, "defaultJobName"), "Job");

    unit.Storage().AddCard("usb3", "/mnt/usb3");
    unit.Storage().ComeBack();
    unit.Storage().AnswerNormally("Id");
    EXPECT_EQ(storage.GetProperty(CardPath("usb3"), cardInterface, "Id"), "usb3");
    EXPECT_THROW(Simulator::SimulatedUnit(PrivateBus::Instance().Address()), std::system_error);
}

TEST_F(SimulatedUnitTest, SettingsHaveTheirKeysAndTypes) {
    const WireArguments jobs = settings
                                   .CallOn("/com/corvane/common/Settings1/jobs", "org.freedesktop.DBus.Properties",
                                           "GetAll", {std::string(settingsName)})
                                   .Arguments();
    const WireValue expected = {{"hideJobFiles", false},
                                {"defaultJobName", "Job"},
                                {"jobNameSuffixFormat", "%Y-%m-%d"},
                                {"signalJobListChanges", "All"},
                                {"multiJobIndexUpdatePeriod", 500},
                                {"multiJobMoveCopyUpdatePeriod", 500},
                                {"multiJobConvertUpdatePeriod", 500},
                                {"multiJobDeleteUpdatePeriod", 500}};
    EXPECT_EQ(jobs.values.at(0), expected);
    EXPECT_EQ(jobs.variantTypes, (Texts{"b", "s", "s", "s", "u", "u", "u", "u"}));
}

TEST_F(SimulatedUnitTest, ACompanyContactIsReadAsATextAndToldAsAStructure) {
    const std::string contacts = "/com/corvane/common/Settings1/contacts";
    unit.Settings().Set("contacts", "companyContact", R"({"name":"A"})");
    const WireArguments read = settings.ReadProperty(contacts, settingsName, "companyContact");
    EXPECT_EQ(read.values.at(0), R"({"name":"A"})");
    EXPECT_EQ(read.variantTypes, Texts{"s"});
    const Signal told = settings.WaitForSignal("PropertiesChanged");
    EXPECT_EQ(told.path, contacts);
    EXPECT_EQ(told.arguments.variantTypes, Texts{"(s)"});
    EXPECT_EQ(told.Changed("companyContact"), WireValue::array({R"({"name":"A"})"}));
    EXPECT_FALSE(told.Changed("defaultJobName"));
}

TEST_F(SimulatedUnitTest, SettingsChangeTogetherSilentlyOrMalformed) {
    unit.Settings().SetSilently("jobs", "defaultJobName", "Quiet");
    unit.Settings().Set("jobs", {{"hideJobFiles", true}, {"multiJobDeleteUpdatePeriod", 1500u}});
    unit.Settings().Set("reel", "unit", "m");
    unit.Settings().RawChanged("/", {{"defaultJobName", int32_t{3}}});
    unit.Settings().EmitSignal("/a", "org.freedesktop.DBus.Properties", "PropertiesChanged", {Structure{"odd"}});

    const std::string root = "/com/corvane/common/Settings1";
    const Texts expected = {
        root + R"(/jobs PropertiesChanged ["com.corvane.common.Settings1",)" +
            R"({"hideJobFiles":true,"multiJobDeleteUpdatePeriod":1500},[]])",
        root + R"( InterfacesAdded ["/com/corvane/common/Settings1/reel",)" +
            R"({"org.freedesktop.DBus.Properties":{},"com.corvane.common.Settings1":{}}])",
        root + R"(/reel PropertiesChanged ["com.corvane.common.Settings1",{"unit":"m"},[]])",
        R"(/ PropertiesChanged ["com.corvane.common.Settings1",{"defaultJobName":3},[]])",
        R"(/a PropertiesChanged [["odd"]])",
    };
    EXPECT_EQ(TextsOf(Heard(settings, root + "/jobs")), expected);
    EXPECT_EQ(settings.GetProperty(root + "/jobs", settingsName, "defaultJobName"), "Quiet");
    EXPECT_EQ(settings.GetProperty(root + "/jobs", settingsName, "multiJobDeleteUpdatePeriod"), 1500);
    EXPECT_EQ(settings.GetProperty(root + "/reel", settingsName, "unit"), "m");
}

TEST_F(SimulatedUnitTest, VideoTellsWhatRunsAndFromWhichFile) {
    BusClient video("com.corvane.common.Video1");
    const auto read = [&video](const std::string& name) {
        return video.ReadProperty("/com/corvane/common/Video1", "com.corvane.common.Video1.Control", name);
    };
    for (const std::string activity : {"Recording", "Playback", "PhotoTalk", "AutoLog"}) {
        EXPECT_EQ(read(activity + "State").values.at(0), 0);
        EXPECT_EQ(read(activity + "State").variantTypes, Texts{"i"});
        EXPECT_EQ(read(activity + "Filename").values.at(0), "");
        unit.Video().Start(activity, "/mnt/" + activity + ".mp4", 2);
        EXPECT_EQ(read(activity + "State").values.at(0), 2);
        EXPECT_EQ(read(activity + "Filename").values.at(0), "/mnt/" + activity + ".mp4");
    }
    unit.Video().Stop("Playback");
    EXPECT_EQ(read("PlaybackState").values.at(0), 0);
    unit.Video().Set("RecordingState", "wrong");
    EXPECT_EQ(read("RecordingState").variantTypes, Texts{"s"});
}

TEST_F(SimulatedUnitTest, SyncTellsPaths) {
    BusClient sync("com.corvane.common.SyncDaemon1");
    unit.Sync().EmitDestinationSynced("/mnt/usb2/a job");
    unit.Sync().EmitJobFileSynced("/mnt/usb2/b/.job.json");
    unit.Sync().EmitSyncDestinationFull("usb2");
    const std::string root = "/com/corvane/common/SyncDaemon1";
    const Texts expected = {root + R"( DestinationSynced ["/mnt/usb2/a job"])",
                            root + R"( JobFileSynced ["/mnt/usb2/b/.job.json"])",
                            root + R"( SyncDestinationFull ["usb2"])"};
    const std::vector<Signal> heard = Heard(sync, root);
    EXPECT_EQ(TextsOf(heard), expected);
    EXPECT_EQ(heard.at(0).interface, "com.corvane.common.SyncDaemon1");
}

TEST_F(SimulatedUnitTest, FileRepairRecordsFoldersAndAnswersItsResult) {
    BusClient repair("com.corvane.common.FileRepairDaemon1");
    const std::string path = "/com/corvane/common/FileRepairDaemon1/usb2";
    const auto check = [&] {
        return repair
            .CallOn(path, "com.corvane.common.FileRepairDaemon1.Device", "CheckDevice", {path, Texts{"/a", "/b"}})
            .Read<int32_t>();
    };
    EXPECT_EQ(check(), 0);
    unit.FileRepair().SetResult(3);
    EXPECT_EQ(check(), 3);
    const Simulator::CheckDeviceCall expected{path, path, {"/a", "/b"}};
    EXPECT_EQ(unit.FileRepair().CheckDeviceCalls(), (std::vector{expected, expected}));
}

TEST_F(SimulatedUnitTest, TheConsoleDrivesTheUnit) {
    Simulator::Console console(unit);
    for (const char* line : {"insert usb 4", "unmount usb", "readonly usb on", "primary usb", "mount usb2",
                             "remove usb2", R"(setting jobs defaultJobName "My job")", "setting jobs hideJobFiles true",
                             "setting jobs multiJobDeleteUpdatePeriod 7", "video PlaybackState 1",
                             "video PlaybackFilename /mnt/a b.mp4", "synced /mnt/a b", "jobfile-synced /mnt/c"})
        EXPECT_EQ(console.Execute(line), "ok") << line;
    EXPECT_EQ(console.Execute("mount usb2"), "error: Unknown object '/com/corvane/common/StorageDaemon1/usb2'.");
    EXPECT_EQ(console.Execute("mount"), "error: mount takes 1 arguments");
    EXPECT_EQ(console.Execute("dismount usb"), "error: unknown command 'dismount'");
    EXPECT_FALSE(console.HasQuit());
    console.Execute("quit");
    EXPECT_TRUE(console.HasQuit());

    EXPECT_EQ(storage.GetProperty(CardPath("usb"), cardInterface, "MountPoint"), "4");
    EXPECT_EQ(storage.GetProperty(CardPath("usb"), cardInterface, "ReadOnly"), true);
    const WireArguments jobs = settings
                                   .CallOn("/com/corvane/common/Settings1/jobs", "org.freedesktop.DBus.Properties",
                                           "GetAll", {std::string(settingsName)})
                                   .Arguments();
    EXPECT_EQ(jobs.values.at(0).at("defaultJobName"), "My job");
    EXPECT_EQ(jobs.values.at(0).at("hideJobFiles"), true);
    EXPECT_EQ(jobs.values.at(0).at("multiJobDeleteUpdatePeriod"), 7);
    BusClient video("com.corvane.common.Video1");
    EXPECT_EQ(video.GetProperty("/com/corvane/common/Video1", "com.corvane.common.Video1.Control", "PlaybackFilename"),
              "/mnt/a b.mp4");
}

TEST_F(SimulatedUnitTest, RepliesAreReadByTheirSignature) {
    const Reply reply = storage.CallOn("/org/freedesktop/DBus", "org.freedesktop.DBus.Peer", "GetMachineId");
    EXPECT_FALSE(reply.Read<std::string>().empty());
    EXPECT_THROW(reply.Read<int32_t>(), std::runtime_error);
    EXPECT_THROW(storage.Call("NoSuchMethod", "usb2").Read<std::string>(), std::runtime_error);
    WireArguments arguments{"(is)", {{15, "usb2"}}, {}};
    EXPECT_EQ((arguments.Read<int32_t, std::string>()), std::tuple(15, "usb2"));
}

TEST(LogCaptureTest, KeepsWhatIsLoggedOnAnyThread) {
    LogCapture::Take();
    syslog(LOG_ERR, "%s failed: %d", "Open", -2);
    std::thread logger([] { syslog(LOG_USER | LOG_DEBUG, "from %d threads", 2); });
    EXPECT_TRUE(LogCapture::WaitFor("from 2"));
    logger.join();
    EXPECT_EQ(LogCapture::Count("fr"), 1u);
    const std::vector<LogLine> expected = {{LOG_ERR, "Open failed: -2"}, {LOG_DEBUG, "from 2 threads"}};
    EXPECT_EQ(LogCapture::Take(), expected);
    EXPECT_TRUE(LogCapture::Lines().empty());
}

TEST(TemporaryFolderTest, HoldsFilesAndGoesWithThem) {
    std::filesystem::path path;
    {
        const TemporaryFolder folder;
        path = folder.Path();
        EXPECT_EQ(folder.Write("a/.job.json", std::string("{}\0", 3)), path / "a/.job.json");
        folder.MakeFolder("b/c");
        EXPECT_EQ(folder.Read("a/.job.json").size(), 3u);
        EXPECT_TRUE(folder.Exists("b/c"));
        EXPECT_FALSE(folder.Exists("b/d"));
        EXPECT_EQ(folder.List(), (Texts{"a", "b"}));
        EXPECT_THROW(folder.Read("b/d"), std::runtime_error);
    }
    EXPECT_FALSE(std::filesystem::exists(path));
}

} // namespace
} // namespace Testing
