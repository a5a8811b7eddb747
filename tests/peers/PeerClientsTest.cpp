#include "peers/PeerTesting.h"
#include "peers/SettingsDaemon.h"
#include "peers/StorageDaemon.h"
#include "peers/SyncDaemon.h"
#include "peers/VideoDaemon.h"
#include "peers/buslink/PeerConnection.h"
#include "simulator/SimulatedUnit.h"
#include "support/LogCapture.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sys/socket.h>
#include <syslog.h>

using Storage = Storaged::StorageDaemonDbusHandler;
using Settings = Settingsd::SettingsDaemonDbusHandler;
using Simulator::Structure;
using Texts = std::vector<std::string>;

namespace Testing {
namespace {

constexpr const char* propertiesInterface = "org.freedesktop.DBus.Properties";

class PeerClientTest : public testing::Test {
protected:
    PeerClientTest() { LogCapture::Take(); }

    /// The one line since the last look is an error that names the caller's signature, then says `rest`.
    static void ExpectErrorLine(const std::string& caller, const std::string& rest) {
        SCOPED_TRACE(caller);
        const auto lines = LogCapture::Take();
        ASSERT_EQ(lines.size(), 1u);
        EXPECT_EQ(lines[0].priority, LOG_ERR);
        EXPECT_NE(lines[0].text.find("DbusHandler::" + caller + "("), std::string::npos) << lines[0].text;
        EXPECT_NE(lines[0].text.find(rest), std::string::npos) << lines[0].text;
    }

    Simulator::SimulatedUnit unit{PrivateBus::Instance().Address()};
    Texts heard;
};

using StorageClientTest = PeerClientTest;

TEST_F(StorageClientTest, PropertiesAreReadAndFailuresLoggedUnderTheirNames) {
    unit.Storage().AddCard("usb", "/mnt/usb", {true, true});
    unit.Storage().SetPrimaryDevice("usb");
    unit.Storage().SetAvailableDevices({"usb", "internal"});
    const std::string path = unit.Storage().CardPath("usb");
    std::string primary, mountPoint, id;
    Texts available;
    bool isReadOnly = false, isMounted = false;
    struct Getter {
        const char* name;
        const char* nameInLog;
        const char* deviceId;
        const char* property;
        std::function<int32_t()> read;
    };
    const Getter getters[] = {
        {"GetPrimaryDevice", "PRIMARY_DEVICE", "", "PrimaryDevice", [&] { return Storage::GetPrimaryDevice(primary); }},
        {"GetAvailableDevices", "AVAILABLE_DEVICES", "", "AvailableDevices",
         [&] { return Storage::GetAvailableDevices(available); }},
        {"GetMountPoint", "MOUNTPOINT", "usb", "MountPoint", [&] { return Storage::GetMountPoint(path, mountPoint); }},
        {"GetId", "READ_ONLY", "usb", "Id", [&] { return Storage::GetId(path, id); }},
        {"GetReadOnly", "READ_ONLY", "usb", "ReadOnly", [&] { return Storage::GetReadOnly(path, isReadOnly); }},
        {"GetMounted", "IS_MOUNTED", "usb", "IsMounted", [&] { return Storage::GetMounted(path, isMounted); }},
    };
    for (const Getter& getter : getters)
        EXPECT_GE(getter.read(), 0) << getter.name;
    EXPECT_EQ(primary + mountPoint + id, "usb/mnt/usbusb");
    EXPECT_EQ(available, (Texts{"usb", "internal"}));
    EXPECT_TRUE(isReadOnly && isMounted);
    EXPECT_TRUE(LogCapture::Take().empty());

    for (const Getter& getter : getters) {
        unit.Storage().DropProperty(getter.deviceId, getter.property);
        EXPECT_LT(getter.read(), 0);
        ExpectErrorLine(getter.name, std::string(": buslink_utils::GetProperty PROP_") + getter.nameInLog + " failed ");
    }
}

TEST_F(StorageClientTest, WriteActiveIsToldAndARefusalLogged) {
    unit.Storage().AddCard("usb", "/mnt/usb");
    EXPECT_GE(Storage::SetWriteActive(unit.Storage().CardPath("usb"), 0, true), 0);
    EXPECT_GE(Storage::SetWriteActive(unit.Storage().CardPath("usb"), 3, false), 0);
    const std::vector<Simulator::WriteActiveCall> expected = {{"usb", 0, true}, {"usb", 3, false}};
    EXPECT_EQ(unit.Storage().WriteActiveCalls(), expected);
    EXPECT_TRUE(LogCapture::Take().empty());

    unit.Storage().Refuse("SetWriteActive", Simulator::Failure("org.freedesktop.DBus.Error.Failed", "busy"));
    const int32_t result = Storage::SetWriteActive(unit.Storage().CardPath("usb"), 0, true);
    EXPECT_LT(result, 0);
    EXPECT_EQ(LogCapture::Take(), (std::vector<LogLine>{{LOG_ERR, "SetWriteActive: sd_bus_call_method failed r = " +
                                                                      std::to_string(result) + ", reason = busy"}}));
}

TEST_F(StorageClientTest, AFileBelongsToTheFirstMountPointThatBeginsItsName) {
    unit.Storage().AddCard("unmounted", "");
    unit.Storage().AddCard("usb", "/mnt/usb");
    unit.Storage().AddCard("usb2", "/mnt/usb2");
    unit.Storage().AddCard("silent", "/mnt/silent");
    unit.Storage().AddCard("last", "/mnt");
    unit.Storage().DropProperty("silent", "MountPoint");
    const auto pathOf = [](const std::string& filename) {
        std::string path = "as it was";
        return std::pair(Storage::GetPathFromFilename(filename, path), path);
    };
    EXPECT_EQ(pathOf("/mnt/usb/a"), std::pair(0, unit.Storage().CardPath("usb")));
    EXPECT_EQ(pathOf("/mnt/usb"), std::pair(0, unit.Storage().CardPath("usb")));
    EXPECT_EQ(pathOf("/mnt/usb2/a"), std::pair(0, unit.Storage().CardPath("usb2"))) << "whose name only begins alike";
    EXPECT_EQ(pathOf("/mnt/silent/a"), std::pair(0, unit.Storage().CardPath("last")));
    EXPECT_EQ(pathOf("/media/mnt/usb/a"), std::pair(-1, std::string()));
    EXPECT_EQ(pathOf(""), std::pair(-1, std::string()));

    std::string deviceId = "as it was";
    EXPECT_FALSE(Storage::GetDeviceIdFromFilename("/media/a", deviceId));
    EXPECT_EQ(deviceId, "as it was");
    EXPECT_TRUE(Storage::GetDeviceIdFromFilename("/mnt/usb/a", deviceId));
    EXPECT_EQ(deviceId, "usb");

    unit.Storage().Refuse("GetManagedObjects");
    LogCapture::Take();
    EXPECT_EQ(pathOf("/mnt/usb/a"), std::pair(-1, std::string()));
    EXPECT_EQ(LogCapture::Count("Storage.GetStorageObjectPaths() failed -"), 1u);
}

TEST_F(StorageClientTest, CardsThatComeChangeAndGoAreHeardAndOtherNoticesAreNot) {
    const auto event = NewLoop();
    Storage storage(event.get());
    ASSERT_GE(storage.Listen(), 0);
    const auto names = [](const buslink_utils::PropertyMap& properties) {
        std::string text;
        for (const auto& [name, value] : properties)
            text += " " + name;
        return text;
    };
    storage.interfaceAdded.connect([&](const auto& path, auto& map) { heard.push_back("+" + path + names(map)); });
    storage.interfaceRemoved.connect([&](const auto& path) { heard.push_back("-" + path); });
    storage.propertiesChanged.connect([&](const auto& path, auto& map) { heard.push_back(path + names(map)); });

    const std::string path = unit.Storage().CardPath("usb");
    unit.Storage().InsertCard("usb", "/mnt/usb");
    unit.Storage().SetPrimaryDevice("usb");
    unit.Storage().EmitPropertiesChanged(path, "com.corvane.other", {{"IsMounted", false}});
    unit.Storage().EmitSignal(path, propertiesInterface, "PropertiesChanged", {int32_t{5}});
    unit.Storage().EmitSignal(path, propertiesInterface, "PropertiesChanged",
                              {std::string(Simulator::StorageService::deviceInterface), "no map"});
    unit.Storage().SetReadOnly("usb", true);
    unit.Storage().RemoveCard("usb");
    EXPECT_TRUE(ServeUntil(event.get(), [this] { return !heard.empty() && heard.back().starts_with("-"); }));
    EXPECT_EQ(heard, (Texts{"+" + path + " Id IsMounted MountPoint ReadOnly", path + " IsMounted MountPoint",
                            path + " ReadOnly", "-" + path}));
    EXPECT_EQ(LogCapture::Count("Failed to read interface"), 1u);
    EXPECT_EQ(LogCapture::Count("ParseProperties failed:-"), 1u);
    EXPECT_EQ(LogCapture::Count("[StorageDaemonDbusHandler] Interface Added"), 1u);
    EXPECT_EQ(LogCapture::Count("[StorageDaemonDbusHandler] Interface Removed"), 1u);
}

TEST_F(StorageClientTest, TheLossOfAListenersConnectionEndsTheLoop) {
    struct Breakable : Storage {
        using Storage::Storage;
        void Break() { shutdown(sd_bus_get_fd(Bus()), SHUT_RDWR); }
    };
    const auto event = NewLoop();
    Breakable storage(event.get());
    ASSERT_GE(storage.Listen(), 0);
    storage.Break();
    ASSERT_TRUE(ServeUntil(event.get(), [&event] { return sd_event_get_state(event.get()) == SD_EVENT_FINISHED; }));
    int exitCode = 0;
    ASSERT_GE(sd_event_get_exit_code(event.get(), &exitCode), 0);
    EXPECT_LT(exitCode, 0);
    EXPECT_EQ(
        LogCapture::Take(),
        (std::vector<LogLine>{{LOG_ERR, "The listener of com.corvane.common.StorageDaemon1 lost the message bus"}}));
}

/// The thread's own connection, as those see it who would write to it or cut it.
class OwnConnectionTest : public PeerClientTest {
protected:
    static int32_t Ask() {
        std::string id;
        return Storage::GetPrimaryDevice(id);
    }
    static std::string Name() {
        std::string name;
        Buslink::PeerConnection::With([&name](sd_bus* bus) {
            const char* text = nullptr;
            sd_bus_get_unique_name(bus, &text);
            name = text;
            return CallBus(bus);
        });
        return name;
    }
    static int CallBus(sd_bus* bus) {
        return sd_bus_call_method(bus, "org.freedesktop.DBus", "/", "org.freedesktop.DBus", "GetId", nullptr, nullptr,
                                  "");
    }
};

TEST_F(OwnConnectionTest, IsKeptUntilStrangersWriteToIt) {
    ASSERT_GE(Ask(), 0);
    const std::string name = Name();
    ASSERT_GE(Ask(), 0);
    ASSERT_EQ(Name(), name) << "kept, though the bus has greeted it";

    const auto stranger = OpenBus();
    Simulator::Message signal;
    Simulator::Check(sd_bus_message_new_signal(stranger.get(), Simulator::Out(signal), "/a", "a.b", "C"), "make it");
    Simulator::Check(sd_bus_message_append(signal.get(), "s", std::string(1 << 20, 'x').c_str()), "fill it");
    Simulator::Check(sd_bus_message_set_destination(signal.get(), name.c_str()), "address it");
    Simulator::Check(sd_bus_send(stranger.get(), signal.get(), nullptr), "send it");
    // The bus has passed it on when it answers.
    Simulator::Check(sd_bus_flush(stranger.get()), "flush");
    Simulator::Check(CallBus(stranger.get()), "wait");
    ASSERT_GE(Ask(), 0) << "served, and then given up";
    EXPECT_NE(Name(), name);
    EXPECT_TRUE(LogCapture::Take().empty());
}

TEST_F(OwnConnectionTest, IsMadeAnewWhenItWasLostAndTheCallRepeatedOnce) {
    ASSERT_GE(Ask(), 0);
    int calls = 0;
    const auto cut = [&calls](sd_bus* bus) {
        ++calls;
        shutdown(sd_bus_get_fd(bus), SHUT_RDWR);
        return CallBus(bus);
    };
    EXPECT_LT(Buslink::PeerConnection::With(cut), 0);
    EXPECT_EQ(calls, 2);
    EXPECT_LT(Buslink::PeerConnection::With(cut), 0);
    EXPECT_EQ(calls, 3) << "a new one that is lost is a failure";

    ASSERT_GE(Ask(), 0);
    int socket = -1;
    Buslink::PeerConnection::With([&socket](sd_bus* bus) {
        socket = sd_bus_get_fd(bus);
        return CallBus(bus);
    });
    shutdown(socket, SHUT_RDWR);
    EXPECT_GE(Ask(), 0);
    EXPECT_TRUE(LogCapture::Take().empty()) << "nobody hears of it";
}

using SettingsClientTest = PeerClientTest;

TEST_F(SettingsClientTest, SettingsAreReadAndFailuresLogged) {
    bool hides = true;
    std::string name;
    uint32_t period = 0;
    nlohmann::json contact;
    unit.Settings().Set("contacts", "companyContact", R"({"name":"A"})");
    EXPECT_GE(Settings::GetSetting("jobs", "hideJobFiles", hides), 0);
    EXPECT_GE(Settings::GetSetting("jobs", "defaultJobName", name), 0);
    EXPECT_GE(Settings::GetSetting("jobs", "multiJobDeleteUpdatePeriod", period), 0);
    EXPECT_GE(Settings::GetSetting("contacts", "companyContact", contact), 0);
    EXPECT_EQ(std::tuple(hides, name, period, contact), std::tuple(false, "Job", 500u, nlohmann::json{{"name", "A"}}));
    EXPECT_TRUE(LogCapture::Take().empty());

    EXPECT_LT(Settings::GetSetting("jobs", "absent", name), 0);
    ExpectErrorLine("GetSetting", ": ERROR buslink_utils::GetProperty absent failed ");
    unit.Settings().SetSilently("contacts", "companyContact", "{");
    EXPECT_LT(Settings::GetSetting("contacts", "companyContact", contact), 0);
    ExpectErrorLine("GetSetting", ": ERROR buslink_utils::GetProperty companyContact failed Bad message");
}

TEST_F(SettingsClientTest, AChangeIsRaisedForAllAndForItsSection) {
    const auto event = NewLoop();
    Settings settings(event.get());
    ASSERT_GE(settings.Listen(), 0);
    settings.settingsChanged.connect([this](const auto& section, auto& map) {
        heard.push_back("all " + section + " " + map.begin()->first + " " + map.begin()->second.first);
    });
    for (const char* section : {"boot", "jobs", "contacts", "cooling"})
        settings.SectionChanged(section).connect(
            [this, section](auto& map) { heard.push_back(std::string(section) + " " + map.begin()->first); });
    EXPECT_THROW(settings.SectionChanged("gadgets"), std::out_of_range);

    unit.Settings().Set("jobs", "hideJobFiles", true);
    unit.Settings().Set("gadgets", "unknown", int32_t{1});
    unit.Settings().Set("contacts", "companyContact", R"({"name":"A"})");
    unit.Settings().Set("cooling", "fan", 2u);
    ASSERT_TRUE(ServeUntil(event.get(), [this] { return !heard.empty() && heard.back() == "cooling fan"; }));
    EXPECT_EQ(heard, (Texts{"all jobs hideJobFiles b", "jobs hideJobFiles", "all gadgets unknown i",
                            "all contacts companyContact (s)", "contacts companyContact", "all cooling fan u",
                            "cooling fan"}));
}

TEST_F(SettingsClientTest, MalformedNoticesAreLoggedAndTheNextIsHeard) {
    const auto event = NewLoop();
    Settings settings(event.get());
    ASSERT_GE(settings.Listen(), 0);
    settings.settingsChanged.connect([this](const auto& section, auto&) { heard.push_back(section); });
    const std::string jobs = unit.Settings().SectionPath("jobs");
    unit.Settings().RawChanged("/", {{"hideJobFiles", true}});
    unit.Settings().EmitSignal(jobs, propertiesInterface, "PropertiesChanged", {int32_t{5}});
    unit.Settings().EmitSignal(jobs, propertiesInterface, "PropertiesChanged", {"interface", "no map"});
    unit.Settings().Set("reel", "unit", "m");
    ASSERT_TRUE(ServeUntil(event.get(), [this] { return !heard.empty(); }));
    EXPECT_EQ(heard, Texts{"reel"});
    Texts endings;
    for (const LogLine& line : LogCapture::Take())
        endings.push_back(line.text.substr(line.text.rfind("): ") + 3));
    EXPECT_EQ(endings, (Texts{"Mallformed path string", "Failed to skip interface string",
                              "ParsePropertiesWithType failed:" + std::to_string(-ENXIO)}));
}

using SyncClientTest = PeerClientTest;

TEST_F(SyncClientTest, PathsAreHeardAndCallsWithoutOneAreNot) {
    const auto event = NewLoop();
    SyncD::SyncDaemonDbusHandler sync(event.get());
    ASSERT_GE(sync.Listen(), 0);
    const auto record = [this](const char* what) {
        return [this, what](const std::string& path) { heard.push_back(std::string(what) + path); };
    };
    sync.destinationSynced.connect(record("destination "));
    sync.jobFileSynced.connect(record("job file "));
    sync.syncDestinationFull.connect(record("full "));
    sync.propertiesChanged.connect([this](auto& map) { heard.push_back("changed " + map.begin()->first); });

    const std::string root = unit.Sync().RootPath();
    unit.Sync().EmitSignal(root, unit.Sync().RootInterface(), "DestinationSynced", {int32_t{5}});
    unit.Sync().EmitPropertiesChanged(root, "com.corvane.other", {{"Other", true}});
    unit.Sync().EmitPropertiesChanged(root, unit.Sync().RootInterface(), {{"HasActiveSyncs", true}});
    unit.Sync().EmitDestinationSynced("/mnt/a");
    unit.Sync().EmitJobFileSynced("/mnt/b");
    unit.Sync().EmitSyncDestinationFull("usb");
    ASSERT_TRUE(ServeUntil(event.get(), [this] { return !heard.empty() && heard.back() == "full usb"; }));
    EXPECT_EQ(heard, (Texts{"changed HasActiveSyncs", "destination /mnt/a", "job file /mnt/b", "full usb"}));
}

using VideoClientTest = PeerClientTest;

TEST_F(VideoClientTest, EachGetterAsksForItsOwnActivity) {
    using Video = Videod::VideoDaemonDbusHandler;
    struct Activity {
        const char* name;
        int32_t (*getState)(int32_t&);
        int32_t (*getFilename)(std::string&);
    };
    const Activity activities[] = {{"Recording", Video::GetRecordingState, Video::GetRecordingFilename},
                                   {"Playback", Video::GetPlaybackState, Video::GetPlaybackFilename},
                                   {"PhotoTalk", Video::GetPhotoTalkState, Video::GetPhotoTalkFilename},
                                   {"AutoLog", Video::GetAutoLogState, Video::GetAutoLogFilename}};
    int32_t state = 0;
    std::string filename;
    for (int32_t number = 1; const Activity& activity : activities)
        unit.Video().Start(activity.name, activity.name, number++);
    for (int32_t number = 1; const Activity& activity : activities) {
        EXPECT_GE(activity.getState(state), 0);
        EXPECT_GE(activity.getFilename(filename), 0);
        EXPECT_EQ(std::pair(state, filename), std::pair(number++, std::string(activity.name)));
    }
    unit.Video().GoAway();
    for (const Activity& activity : activities) {
        EXPECT_LT(activity.getState(state), 0);
        EXPECT_LT(activity.getFilename(filename), 0);
    }
    EXPECT_TRUE(LogCapture::Take().empty());
}

} // namespace
} // namespace Testing
