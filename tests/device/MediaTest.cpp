#include "device/FixedClock.h"
#include "device/ServiceTest.h"
#include "peers/PositionSource.h"

#include <syslog.h>

using namespace JobsManagerD;
namespace fs = std::filesystem;

namespace Testing {
namespace {

class MediaTest : public ServiceTest {
protected:
    struct Files {
        std::string main;
        std::string recovery;
        std::string third;
        std::string misc;
    };

    /// Writes the files, of 1, 2, 3 and 4 bytes, and registers them.
    int32_t Add(const std::string& kind, const std::string& name, const CreatedJob& job, const Files& files) {
        const auto path = [&job](const std::string& file, size_t size) {
            if (file.empty())
                return file;
            Write(job.Media(file), std::string(size, 'm'));
            return job.Media(file).string();
        };
        return Code("Add" + kind + "Media", name, path(files.main, 1), path(files.recovery, 2), path(files.third, 3),
                    path(files.misc, 4), true, -7, false, 5, true, 120, -20);
    }
    int32_t AddSnapshotOf(const std::string& path) {
        return Code("AddSnapshotMedia", "s", path, false, 0, false, 0, false, 0, 0);
    }
    std::vector<int32_t> Counts(const std::string& method = "CurrentJobMediaCounts") {
        const Reply reply = method == "CurrentJobMediaCounts" ? Call(method) : Call(method, "", "");
        return reply.Arguments().values.at(0);
    }
    int32_t Delete(const std::string& media) { return Code("DeleteMediaItem", "", "", media); }
};

TEST_F(MediaTest, FourKindsAreRegisteredWithTheirFiles) {
    FixedClock clock("2024-05-01T08:00:00Z");
    const CreatedJob job = CreateJob();
    const std::string created = Read(job.File());
    ForgetTraffic();
    clock.Set("2024-05-01T08:00:01Z");
    Write(job.Media("s.jpg"), "12345");
    EXPECT_EQ(Code("AddSnapshotMedia", "Snap", job.Media("s.jpg").string(), false, 3, true, 0, false, 1, 2), 0);
    clock.Set("2024-05-01T08:00:02Z");
    EXPECT_EQ(Add("PhotoTalk", "Talk", job, {"t.wav", "t.rec", "t.jpg", ""}), 0);
    clock.Set("2024-05-01T08:00:03Z");
    EXPECT_EQ(Add("Video", "", job, {"v.mp4", "v.rec", "v.png", "v.dat"}), 0);
    clock.Set("2024-05-01T08:00:04Z");
    EXPECT_EQ(Add("Autolog", "Log", job, {"l.mp4", "l.rec", "l.png", ""}), 0);

    EXPECT_EQ(Traffic(), Texts(4, "front JobChanged"));
    EXPECT_EQ(WriteActive().size(), 8u);
    EXPECT_EQ(Errors(), Texts{});
    for (const auto& [kind, name] :
         {std::pair{"snapshot", "s.jpg"}, {"photoTalk", "t.wav"}, {"video", "v.mp4"}, {"autolog", "l.mp4"}})
        EXPECT_EQ(LogCapture::Count(std::string("MediaItem - Added ") + kind + " media item for capture file " +
                                    job.Media(name).string() + "."),
                  1u);
    EXPECT_EQ(Counts(), (std::vector<int32_t>{0, 4, 1, 1, 1, 1}));
    EXPECT_EQ(Counts("GetJobMediaCounts"), Counts());

    const auto id = [&](const char* file) { return MediaID(job.Media(file)); };
    const Source& unit = GetThisUnitInfo();
    const std::string source =
        R"("source":)" + Json{{"model", unit.model}, {"serial", unit.serial}, {"version", unit.version}}.dump();
    const auto times = [](int second) {
        const std::string time = "\"2024-05-01T08:00:0" + std::to_string(second) + "Z\"";
        return R"(,"timestamp":{"createTime":)" + time + R"(,"modifiedTime":)" + time + "}";
    };
    const std::string readings = R"({"cameraRollAngle":-7,"distance":{"absolute":120,"relative":-20},"files":[)";
    const auto file = [](const char* name, int size, const char* type) {
        return std::string(R"({"name":")") + name + R"(","size":)" + std::to_string(size) + R"(,"type":")" + type +
               R"("})";
    };
    const auto rest = [&](const char* capture, const std::string& name, int second, const char* type) {
        return R"(],"id":")" + id(capture) + R"(","isIncludedInReport":false)" + name + "," + source + times(second) +
               R"(,"type":")" + type + R"("})";
    };
    const std::string media =
        R"("media":[)" + readings + file("l.mp4", 1, "videoFile") + "," + file("l.rec", 2, "recoveryFile") + "," +
        file("l.png", 3, "thumbnailFile") + rest("l.mp4", R"(,"name":"Log")", 4, "autolog") + "," + readings +
        file("v.mp4", 1, "videoFile") + "," + file("v.rec", 2, "recoveryFile") + "," +
        file("v.png", 3, "thumbnailFile") + "," + file("v.dat", 4, "miscDataFile") + rest("v.mp4", "", 3, "video") +
        "," + readings + file("t.wav", 1, "audioFile") + "," + file("t.rec", 2, "recoveryFile") + "," +
        file("t.jpg", 3, "imageFile") + rest("t.wav", R"(,"name":"Talk")", 2, "photoTalk") + "," +
        R"({"cameraInclinometerAngle":0,"files":[)" + file("s.jpg", 5, "imageFile") +
        rest("s.jpg", R"(,"name":"Snap")", 1, "image") + "]";
    Json expected = Json::parse(created);
    expected["jobSize"] = 27;
    expected["mediaCounts"] = {{"autologs", 1}, {"images", 1}, {"photoTalks", 1}, {"total", 4}, {"videos", 1}};
    expected["timestamp"]["modifiedTime"] = "2024-05-01T08:00:04Z";
    expected["media"] = "here";
    std::string text = expected.dump();
    const std::string here = R"("media":"here")";
    text.replace(text.find(here), here.size(), media);
    EXPECT_EQ(Read(job.File()), text);

    CloseJob();
    EXPECT_EQ(OpenJob(job), 0);
    EXPECT_EQ(Counts(), (std::vector<int32_t>{0, 4, 1, 1, 1, 1}));
    EXPECT_EQ(Read(job.File()), text) << "opening changes nothing";
}

TEST_F(MediaTest, FilesThatAreMissingOrElsewhereAreRegisteredAsTheyAre) {
    const CreatedJob job = CreateJob();
    LogCapture::Take();
    EXPECT_EQ(Code("AddVideoMedia", "v", job.Media("v.mp4").string(), job.Media("v.rec").string(),
                   job.Media("v.png").string(), "", false, 0, false, 0, false, 0, 0),
              0);
    EXPECT_EQ(Errors(), Texts{}) << "a recording may come later";
    EXPECT_EQ(AddSnapshotOf(job.Media("s.jpg")), 0);
    EXPECT_EQ(Errors(), Texts{"GetFileSizeBytes - Failed existence check on file " + job.Media("s.jpg").string()});
    LogCapture::Take();
    const std::string elsewhere = service.Card("back").Write("s.jpg", "123");
    EXPECT_EQ(AddSnapshotOf(elsewhere), 0);
    EXPECT_EQ(Errors(), Texts{"Job::GetPathRelativeToMediaFolder - File path " + elsewhere +
                              " is not under mediaFolderPath " + (job.folder / "media").string()});
    EXPECT_EQ(JobFile(job).at("jobSize"), 3);
    EXPECT_EQ(Counts(), (std::vector<int32_t>{0, 3, 0, 2, 0, 1}));

    const std::string before = Read(job.File());
    for (const std::string& path : {(job.folder / "media").string(), (job.folder / "media/").string()})
        EXPECT_EQ(Call("AddSnapshotMedia", "s", path, false, 0, false, 0, false, 0, 0).ErrorName(),
                  "org.freedesktop.DBus.Error.Failed")
            << path;
    EXPECT_EQ(Read(job.File()), before) << "the folder itself is no file of it";
    EXPECT_EQ(Counts(), (std::vector<int32_t>{0, 3, 0, 2, 0, 1}));
}

TEST_F(MediaTest, AFileIsFoundByItsPath) {
    const CreatedJob job = CreateJob();
    fs::create_directories(job.Media("sub/deeper"));
    const std::string flat = AddSnapshot(job, "a.jpg");
    const std::string below = AddSnapshot(job, "sub/b.jpg");
    EXPECT_EQ(flat.size(), 36u);
    EXPECT_EQ(below.size(), 36u);
    EXPECT_NE(flat, below);
    EXPECT_EQ(Text("GetMediaID", job.Media("nobody.jpg").string()), CodeAndText(0, ""));
    for (const std::string& path : {job.Media("sub/deeper/c.jpg").string(), job.File().string(), std::string("a.jpg")})
        EXPECT_EQ(Text("GetMediaID", path), CodeAndText(JOBS_RTN_MEDIA_ID_NOT_FOUND, "")) << path;
}

TEST_F(MediaTest, AFileThatGrowsIsMeasuredWhenToldSo) {
    FixedClock clock("2024-05-01T08:00:00Z");
    const CreatedJob job = CreateJob();
    AddSnapshot(job, "a.jpg", 5);
    AddSnapshot(job, "b.jpg", 5);
    Write(job.Media("a.jpg"), std::string(12, 'x'));
    Write(job.Media("b.jpg"), std::string(100, 'x'));
    clock.Set("2024-05-01T09:00:00Z");
    ForgetTraffic();
    EXPECT_EQ(Code("UpdateMediaFileSizes", job.Media("a.jpg").string()), 0);
    EXPECT_EQ(Traffic(), Texts{"front JobChanged"});
    EXPECT_EQ(JobFile(job).at("jobSize"), 17) << "the other file is not looked at";
    EXPECT_EQ(JobFile(job).at("timestamp").at("modifiedTime"), "2024-05-01T09:00:00Z");
    clock.Set("2024-05-01T10:00:00Z");
    EXPECT_EQ(Code("UpdateMediaFileSizes", job.Media("a.jpg").string()), 0);
    EXPECT_EQ(Traffic(), Texts{"front JobChanged"}) << "saved and told all the same";
    EXPECT_EQ(JobFile(job).at("timestamp").at("modifiedTime"), "2024-05-01T09:00:00Z") << "but not stamped";

    EXPECT_EQ(Code("UpdateMediaFileSizes", job.Media("nobody.jpg").string()), JOBS_RTN_MEDIA_ID_NOT_FOUND);
    Unit().Storage().SetReadOnly("front", true);
    SettleStorage();
    LogCapture::Take();
    EXPECT_EQ(Code("UpdateMediaFileSizes", job.Media("b.jpg").string()), JOBS_RTN_READ_ONLY_FS);
    EXPECT_TRUE(Logged(LOG_ERR, "ManagedDevice::UpdateMediaFileSizes - UpdateJobFile returned error code: 3"));
    EXPECT_EQ(AddSnapshotOf(job.Media("a.jpg")), JOBS_RTN_READ_ONLY_FS);
    EXPECT_TRUE(Logged(LOG_ERR, "ManagedDevice::AddMediaItem - UpdateJobFile returned error code: 3"));
    EXPECT_EQ(Counts().at(1), 3) << "the item stays in memory";
}

TEST_F(MediaTest, AnItemGoesWithItsFiles) {
    FixedClock clock("2024-05-01T08:00:00Z");
    const CreatedJob job = CreateJob();
    EXPECT_EQ(Add("Video", "v", job, {"v.mp4", "v.rec", "v.png", "v.dat"}), 0);
    const std::string video = MediaID(job.Media("v.mp4"));
    AddSnapshot(job, "a.jpg", 5);
    EXPECT_EQ(Code("SetJobLocked", "", "", true), 0);
    CloseJob();
    fs::remove(job.Media("v.rec"));
    clock.Set("2024-05-01T09:00:00Z");
    ForgetTraffic();
    EXPECT_EQ(Code("DeleteMediaItem", "", job.id, video), 0) << "locked, closed, and a file gone already";
    EXPECT_EQ(Traffic(), (Texts{"front JobChanged", "front JobChanged"})) << "first of the missing file";
    EXPECT_EQ(WriteActive(), (Texts{"front on", "front off"})) << "both saves within the deletion";
    EXPECT_EQ(service.Card("front").List(job.folder / "media"), Texts{"a.jpg"});
    EXPECT_EQ(JobFile(job).at("media").size(), 1u);
    EXPECT_EQ(JobFile(job).at("jobSize"), 5);
    EXPECT_EQ(JobFile(job).at("mediaCounts").at("videos"), 0);
    EXPECT_EQ(JobFile(job).at("timestamp").at("modifiedTime"), "2024-05-01T09:00:00Z");
    EXPECT_EQ(Code("DeleteMediaItem", "", job.id, video), JOBS_RTN_MEDIA_ID_NOT_FOUND);
    EXPECT_EQ(Code("DeleteMediaItem", "", "nobody", video), JOBS_RTN_JOB_ID_NOT_FOUND);
}

TEST_F(MediaTest, WhatIsPlayedOrCannotBeRemovedStays) {
    const CreatedJob job = CreateJob();
    EXPECT_EQ(Add("Video", "v", job, {"v.mp4", "v.rec", "v.png", ""}), 0);
    const std::string video = MediaID(job.Media("v.mp4"));
    const std::string played = job.Media("v.png");
    for (const int32_t state : {1, 2}) {
        LogCapture::Take();
        Unit().Video().Start("Playback", played, state);
        EXPECT_EQ(Delete(video), JOBS_RTN_MEDIA_ACTIVE_PLAYBACK);
        EXPECT_EQ(Errors(), Texts{"ManagedDevice::DeleteMediaItem - Playback active from file assocaited with media "
                                  "item " +
                                  played});
    }
    for (const std::string property : {"PlaybackState", "PlaybackFilename"}) {
        LogCapture::Take();
        Unit().Video().Refuse(property);
        EXPECT_EQ(Delete(video), JOBS_RTN_DBUS_ERROR) << property;
        EXPECT_EQ(Errors(), Texts{"ManagedDevice::DeleteMediaItem - Dbus comms error"});
        Unit().Video().AnswerNormally(property);
    }
    EXPECT_EQ(JobFile(job).at("media").size(), 1u);

    Unit().Video().Start("Playback", played + "x");
    fs::remove(job.Media("v.rec"));
    fs::create_directories(job.Media("v.rec/full"));
    ForgetTraffic();
    EXPECT_EQ(Delete(video), JOBS_RTN_FS_ERROR);
    EXPECT_EQ(Errors().back(),
              "ManagedDevice::DeleteMediaItem - Failed to remove associated file: " + job.Media("v.rec").string());
    EXPECT_EQ(service.Card("front").List(job.folder / "media"), (Texts{"v.png", "v.rec"})) << "up to there";
    EXPECT_EQ(MediaID(job.Media("v.mp4")), video);
    EXPECT_EQ(Traffic(), Texts{});

    fs::remove_all(job.Media("v.rec"));
    Unit().Storage().SetReadOnly("front", true);
    SettleStorage();
    EXPECT_EQ(Delete(video), JOBS_RTN_FS_ERROR) << "whatever the code of the save";
    EXPECT_TRUE(Logged(LOG_ERR, "ManagedDevice::DeleteMediaItem - Failed to update job file"));
    EXPECT_EQ(Delete(video), JOBS_RTN_MEDIA_ID_NOT_FOUND) << "memory leads";
}

} // namespace
} // namespace Testing
