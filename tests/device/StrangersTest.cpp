#include "device/ServiceTest.h"
#include "simulator/Handles.h"

#include <sys/stat.h>
#include <syslog.h>

using namespace JobsManagerD;
namespace fs = std::filesystem;

namespace Testing {
namespace {

/// Job files that somebody else has edited while the job was closed.
class StrangersTest : public ServiceTest {
protected:
    StrangersTest() {
        media = AddSnapshot(job, "a.jpg", 5);
        EXPECT_EQ(Code("SetJobPrivateNotes", "", "", "private"), 0);
        EXPECT_EQ(Code("SetMediaPrivateNotes", "", "", media, "private"), 0);
        EXPECT_EQ(Code("SetJobAddress", "", "", R"({"street":"Main"})"), 0);
        EXPECT_EQ(std::get<0>(Call("AddJobContact", "", "", R"({"name":"Ada"})").Read<int32_t, uint8_t>()), 0);
        EXPECT_EQ(CloseJob(), 0);
        good = JobFile(job);
    }

    int32_t OpenEdited(const Json& document) {
        Write(job.File(), document.dump());
        return OpenJob(job);
    }
    bool StillServes() { return !Call("GetTargetDeviceID").IsError(); }

    CreatedJob job = CreateJob();
    std::string media;
    Json good;
};

TEST_F(StrangersTest, AnyKindOfValueAtAnyKeyIsSurvived) {
    const Json kinds[] = {nullptr,
                          true,
                          -1,
                          1e300,
                          18446744073709551615u,
                          "",
                          "text",
                          Json::array(),
                          {1, -1, "x"},
                          Json::object(),
                          {{"a", 1}},
                          Json::array({Json::array()}),
                          Json::array({Json::object()})};
    size_t opened = 0;
    size_t refused = 0;
    const auto pointers = good.flatten();
    std::set<std::string> places;
    for (const auto& [place, value] : pointers.items())
        for (Json::json_pointer at(place); !at.empty(); at = at.parent_pointer())
            places.insert(at.to_string());
    for (const std::string& place : places) {
        for (const Json& kind : kinds) {
            Json document = good;
            document[Json::json_pointer(place)] = kind;
            const int32_t code = OpenEdited(document);
            if (code == JOBS_RTN_SUCCEEDED) {
                ++opened;
                EXPECT_EQ(Code("SetJobNotes", "", "", "saved"), 0) << place << kind.dump();
                EXPECT_EQ(CloseJob(), 0);
                EXPECT_EQ(OpenJob(job), 0) << "what was saved can be read: " << place << kind.dump();
                EXPECT_EQ(CloseJob(), 0);
            } else {
                ++refused;
                EXPECT_EQ(code, JOBS_RTN_JOB_FILE_MISSING_FIELDS) << place << kind.dump();
            }
        }
    }
    ASSERT_TRUE(StillServes());
    EXPECT_GT(opened, 100u);
    EXPECT_GT(refused, 20u);
    EXPECT_EQ(OpenEdited(good), 0);
    EXPECT_EQ(Text("GetJobPrivateNotes", "", ""), CodeAndText(0, "private"));
}

TEST_F(StrangersTest, AnythingInThePlaceOfTheJobFileIsARefusalAtMost) {
    fs::remove(job.File().string() + ".bak");
    const auto expectRefused = [this](const std::string& what) {
        EXPECT_EQ(OpenJob(job), JOBS_RTN_FS_ERROR) << what;
        fs::remove_all(job.File());
    };
    for (const std::string& text : {std::string(), std::string("{\"a\":\"\xff\"}"), std::string("\0\0", 2),
                                    good.dump() + "x", std::string(200000, '['), std::string("1e999")}) {
        Write(job.File(), text);
        expectRefused(text.substr(0, 20));
    }
    fs::create_directory(job.File());
    expectRefused("a folder");
    ASSERT_EQ(mkfifo(job.File().c_str(), 0600), 0);
    expectRefused("a pipe that nobody writes to");
    fs::create_symlink("/no/such/file", job.File());
    expectRefused("a link to nothing");
    for (const char* text : {"[]", "3", "null", "\"text\"", "true"}) {
        Write(job.File(), text);
        EXPECT_EQ(OpenJob(job), JOBS_RTN_JOB_FILE_MISSING_FIELDS) << text;
    }
    EXPECT_EQ(OpenEdited(Json::object()), 0) << "no detail is required";
    EXPECT_EQ(Code("SetJobNotes", "", "", "saved"), 0);
    EXPECT_EQ(JobFile(job).at("name"), good.at("name")) << "and the summary is not lost";
    EXPECT_EQ(CloseJob(), 0);
    EXPECT_EQ(OpenEdited(good), 0);
}

TEST_F(StrangersTest, TextThatIsNoUtf8GoesOutWithReplacements) {
    const auto numbers = [](const std::string& text, const std::string& key) {
        Json bytes = Json::array();
        for (size_t at = 0; at < text.size(); ++at)
            bytes.push_back(static_cast<uint8_t>(text[at]) ^ static_cast<uint8_t>(key[at % key.size()]));
        return bytes;
    };
    const std::string tampered = "a\xff\xc3\xed\xa0\x80z";
    const std::string shown = "a\ufffd\ufffd\ufffd\ufffd\ufffdz";
    Json document = good;
    document["privateNotes"] = numbers(tampered, job.id);
    document["media"][0]["privateNotes"] = numbers(tampered, media);
    ASSERT_EQ(OpenEdited(document), 0);
    ForgetTraffic();
    EXPECT_EQ(Text("GetJobPrivateNotes", "", ""), CodeAndText(0, shown));
    EXPECT_EQ(Text("GetMediaPrivateNotes", "", "", media), CodeAndText(0, shown));
    EXPECT_EQ(Code("SetJobNotes", "", "", "saved"), 0);
    EXPECT_EQ(JobFile(job).at("privateNotes"), document["privateNotes"]) << "the card keeps the bytes";
    ASSERT_TRUE(StillServes());
    EXPECT_EQ(Traffic(), (Texts{"front JobChanged"})) << "on the same connection";
}

TEST_F(StrangersTest, AFileNameReachesNothingOutsideTheCard) {
    const fs::path outside = fs::path(service.CardFolder("back")) / "precious.jpg";
    Write(outside, "12345");
    const fs::path inside = job.folder.parent_path() / "other.jpg";
    Write(inside, "1234567");
    const std::string up = "../../../" + outside.parent_path().filename().string() + "/precious.jpg";
    ASSERT_TRUE(fs::equivalent(job.folder / "media" / up, outside));
    for (const std::string& name : {up, "x/../" + up, "../../../../../../../../" + outside.string()}) {
        Json document = good;
        document["media"][0]["files"][0]["name"] = name;
        ASSERT_EQ(OpenEdited(document), 0);
        EXPECT_EQ(JobFile(job).at("jobSize"), 0) << "a file that is not there: " << name;
        EXPECT_EQ(Code("DeleteMediaItem", "", "", media), 0) << name;
        EXPECT_EQ(Read(outside), "12345");
        CloseJob();
    }
    Json document = good;
    document["mediaFolder"] = "../..";
    document["media"][0]["files"][0]["name"] = outside.parent_path().filename().string() + "/precious.jpg";
    ASSERT_EQ(OpenEdited(document), 0);
    EXPECT_EQ(Code("DeleteMediaItem", "", "", media), 0);
    EXPECT_EQ(Read(outside), "12345");
    CloseJob();
    document = good;
    document["media"][0]["files"][0]["name"] = "../../other.jpg";
    ASSERT_EQ(OpenEdited(document), 0);
    EXPECT_EQ(JobFile(job).at("jobSize"), 7) << "on the card it counts";
}

TEST_F(StrangersTest, NobodyElseSpeaksForAPeer) {
    Simulator::Connection bus;
    ASSERT_GE(sd_bus_open_user(Simulator::Out(bus)), 0);
    // To every connection of the service, whichever they are: the card is gone.
    for (int number = 0; number < 400; ++number) {
        Simulator::Message forged;
        ASSERT_GE(sd_bus_message_new_signal(bus.get(), Simulator::Out(forged),
                                            "/com/corvane/common/StorageDaemon1/front",
                                            "org.freedesktop.DBus.Properties", "PropertiesChanged"),
                  0);
        ASSERT_GE(sd_bus_message_append(forged.get(), "sa{sv}as", "com.corvane.common.StorageDaemon1.Device", 1,
                                        "IsMounted", "b", 0, 0),
                  0);
        ASSERT_GE(sd_bus_send_to(bus.get(), forged.get(), (":1." + std::to_string(number)).c_str(), nullptr), 0);
    }
    ASSERT_GE(sd_bus_call_method(bus.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
                                 "GetId", nullptr, nullptr, nullptr),
              0);
    SettleStorage();
    EXPECT_EQ(OpenJob(job, "front"), 0);
}

TEST_F(StrangersTest, NothingIsRemovedThroughALinkedFolder) {
    const TemporaryFolder outside;
    outside.Write("a.jpg", "not the card's");
    fs::remove_all(job.folder / "media");
    fs::create_directory_symlink(outside.Path(), job.folder / "media");
    ASSERT_EQ(OpenJob(job), 0);
    EXPECT_EQ(Code("DeleteMediaItem", "", "", media), 0) << "its file counts as gone";
    EXPECT_EQ(outside.List(), Texts{"a.jpg"});
}

TEST_F(StrangersTest, ItemsThatAreNoMediaAreDroppedAtTheNextSave) {
    Json document = good;
    const Json item = document["media"][0];
    Json video = item;
    video["type"] = "video";
    Json unknown = item;
    unknown["type"] = "hologram";
    Json newer = item;
    newer["id"] = "newer";
    newer["files"].push_back({{"type", "scanFile"}, {"name", "a.scan"}, {"size", 99}});
    document["media"] = {item, video, unknown, newer, 3, "text", nullptr, Json::array()};
    document["jobSize"] = 12345;
    LogCapture::Take();
    ASSERT_EQ(OpenEdited(document), 0);
    EXPECT_EQ(LogCapture::Count("JobFileHandlerJSON::ParseJobFile - Invalid media item.  Skipping"), 6u);
    EXPECT_EQ(Code("SetJobNotes", "", "", "saved"), 0);
    EXPECT_EQ(JobFile(job).at("media").size(), 2u);
    EXPECT_EQ(JobFile(job).at("jobSize"), 10) << "recounted";
    EXPECT_EQ(JobFile(job).at("mediaCounts").at("total"), 2);
}

} // namespace
} // namespace Testing
