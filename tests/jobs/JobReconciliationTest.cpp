#include "jobs/Job.h"

#include "fsutil/FakeFatCard.h"
#include "fsutil/LogLines.h"
#include "fsutil/RecordedCalls.h"
#include "jobs/SampleJob.h"
#include "support/TemporaryFolder.h"

#include <algorithm>
#include <filesystem>
#include <gtest/gtest.h>
#include <linux/msdos_fs.h>

namespace fs = std::filesystem;

namespace JobsManagerD {
namespace {

using Testing::Lines;
using Testing::SampleMedia;

/// A job folder on a card, with something outside of the card that nothing may touch.
class Reconciliation : public testing::Test {
protected:
    Reconciliation() {
        fs::create_directories(Path("card/J/media"));
        folder.Write("outside/victim", "kept");
        job.SetMediaFolder("media");
    }
    std::string Path(const std::string& name) const { return folder / name; }
    Lines Entries(const std::string& name) const {
        Lines names;
        for (const auto& entry : fs::recursive_directory_iterator(Path(name)))
            if (!entry.is_directory())
                names.push_back(fs::relative(entry.path(), Path(name)));
        std::ranges::sort(names);
        return names;
    }
    /// An item whose files lie in the media folder with the sizes it tells.
    std::shared_ptr<Media> PutMedia(mediaType_e type, const std::string& id) {
        auto item = SampleMedia(type, id);
        for (const MediaFile& file : item->files)
            folder.Write("card/J/media/" + file.name, std::string(file.size, 'x'));
        job.AddMediaItem(item);
        return item;
    }

    Testing::TemporaryFolder folder;
    Testing::TestLog log;
    Job job{Path("card/J/.job.json")};
};

TEST_F(Reconciliation, WithoutARecordingStatusFileNothingHappens) {
    EXPECT_FALSE(job.ConvertBrokenFileArtefacts());
    EXPECT_EQ(log.Take().size(), 0u);
    EXPECT_TRUE(Entries("card").empty());
}

TEST_F(Reconciliation, EachEntryOfTheRecordingStatusFileBecomesAHiddenMarker) {
    Testing::FakeFatCard card;
    folder.Write("card/J/recStat", "J/media/rec.mp4\n\nJ/a.b.mp4\nloose");
    EXPECT_TRUE(job.ConvertBrokenFileArtefacts());
    EXPECT_EQ(Entries("card"), (Lines{".loose.mp4-recActive", "J/.a.b.mp4-recActive", "J/media/.rec.mp4-recActive"}));
    EXPECT_EQ(card.Attributes(Path("card/J/media/.rec.mp4-recActive")), uint32_t{ATTR_HIDDEN});
    EXPECT_EQ(log.Take().size(), 0u);
}

TEST_F(Reconciliation, MarkersAreOnTheMediumBeforeTheStatusFileIsRemoved) {
    folder.Write("card/J/recStat", "J/media/a.mp4\nJ/media/b.mp4\nJ/c.mp4\n");
    Lines synced;
    {
        Testing::RecordedCalls calls;
        calls.before = [&](const std::string& line) {
            if (line.starts_with("sync "))
                synced.push_back(line + (fs::exists(Path("card/J/recStat")) ? "" : " too late"));
            return line == "sync media" ? EIO : 0;
        };
        EXPECT_TRUE(job.ConvertBrokenFileArtefacts());
        EXPECT_EQ(synced, (Lines{"sync J", "sync media"}));
        EXPECT_EQ(log.TakeErrors(),
                  Lines{"Job::ConvertBrokenFileArtefacts - Error processing " + Path("card/J/recStat") + ": " +
                        Path("card/J/media") + ": Input/output error"});
        EXPECT_TRUE(fs::exists(Path("card/J/recStat"))) << "the markers may be lost";
    }
    EXPECT_TRUE(job.ConvertBrokenFileArtefacts());
    EXPECT_FALSE(fs::exists(Path("card/J/recStat")));
}

TEST_F(Reconciliation, AnEntryThatFailsIsLoggedAndNotTriedAgain) {
    folder.Write("card/J/recStat", "missing/rec.mp4\n");
    EXPECT_FALSE(job.ConvertBrokenFileArtefacts());
    EXPECT_EQ(log.TakeErrors(), Lines{"Job::ConvertBrokenFileArtefacts - Failed to create " +
                                      Path("card/missing/.rec.mp4-recActive") + " for recStat entry missing/rec.mp4"});
    EXPECT_TRUE(Entries("card").empty());

    folder.Write("card/J/recStat", "missing/rec.mp4\nJ/rec.mp4\nmissing/rec.mp4\n");
    EXPECT_TRUE(job.ConvertBrokenFileArtefacts()) << "one is enough";
    EXPECT_EQ(log.TakeErrors().size(), 2u);
    EXPECT_EQ(Entries("card"), Lines{"J/.rec.mp4-recActive"});

    fs::create_directory(Path("card/J/recStat"));
    EXPECT_FALSE(job.ConvertBrokenFileArtefacts());
    EXPECT_EQ(log.TakeErrors(), Lines{"Job::ConvertBrokenFileArtefacts - Error opening " + Path("card/J/recStat")});
    EXPECT_TRUE(fs::exists(Path("card/J/recStat")));
}

TEST_F(Reconciliation, NoEntryMakesAMarkerOutsideOfTheCard) {
    std::string climb;
    for (size_t depth = 0; depth < 40; ++depth)
        climb += "../";
    const std::vector<std::string> entries{
        "../outside/rec.mp4",
        "J/../../outside/rec.mp4",
        Path("outside/rec.mp4"),
        climb + Path("outside/rec.mp4").substr(1),
        // Behind a zero byte stands a way back onto the card, which the kernel would not see.
        "../outside/victim" + std::string(1, '\0') + "/../../card/J/rec.mp4",
    };
    for (const std::string& entry : entries) {
        folder.Write("card/J/recStat", entry + "\n");
        EXPECT_FALSE(job.ConvertBrokenFileArtefacts()) << entry;
        EXPECT_EQ(log.TakeErrors().size(), 1u) << entry;
        EXPECT_EQ(Entries("outside"), Lines{"victim"}) << entry;
        EXPECT_EQ(folder.Read("outside/victim"), "kept") << entry;
    }
    EXPECT_TRUE(Entries("card").empty());
}

TEST_F(Reconciliation, UnchangedFilesChangeNothing) {
    PutMedia(MEDIA_TYPE_VIDEO, "m1");
    job.SetModifiedTime("then");
    EXPECT_FALSE(job.UpdateAllMediaFileSizes());
    EXPECT_EQ(job.Summary().jobSize, 33u);
    EXPECT_EQ(job.Summary().timestamp.modifiedTime, "then");
    EXPECT_EQ(log.Take().size(), 0u);
}

TEST_F(Reconciliation, OpeningWorksOutSizesAndStatesWithoutATime) {
    const auto video = PutMedia(MEDIA_TYPE_VIDEO, "m1");
    const auto image = PutMedia(MEDIA_TYPE_IMAGE, "m2");
    job.SetModifiedTime("then");
    folder.Write("card/J/media/m1-videoFile", "");
    fs::remove(Path("card/J/media/m1-thumbnailFile"));
    folder.Write("card/J/media/m2-imageFile", std::string(25, 'x'));

    EXPECT_TRUE(job.UpdateAllMediaFileSizes());
    EXPECT_EQ(video->files[0].state, MEDIA_FILE_STATE_EMPTY);
    EXPECT_EQ(video->files[1].state, MEDIA_FILE_STATE_OK);
    EXPECT_EQ(video->files[2].state, MEDIA_FILE_STATE_NOT_PRESENT);
    EXPECT_EQ(job.Summary().jobSize, 11u + 25u);
    EXPECT_EQ(job.Summary().timestamp.modifiedTime, "then");
    EXPECT_EQ(image->timestamp.modifiedTime, image->timestamp.createTime);
    const auto lines = log.Take();
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[0].priority, LOG_DEBUG);
    EXPECT_EQ(lines[0].text, "Job::_UpdateMediaItemFileSizes - Updating size for filename m1-videoFile, type "
                             "videoFile, old size 10 bytes, new size 0 bytes");
    EXPECT_FALSE(job.UpdateAllMediaFileSizes()) << "once is enough";
}

TEST_F(Reconciliation, AnIgnoreMarkerMakesSoundAndPictureUnplayable) {
    const auto video = PutMedia(MEDIA_TYPE_VIDEO, "m1");
    const auto talk = PutMedia(MEDIA_TYPE_PHOTO_TALK, "m2");
    for (const auto& item : {video, talk})
        for (const MediaFile& file : item->files)
            folder.Write("card/J/media/." + file.name + ".mp4-ignore", "");
    EXPECT_FALSE(job.UpdateAllMediaFileSizes());
    for (const auto& item : {video, talk})
        for (const MediaFile& file : item->files) {
            const bool isPlayed = file.type == MEDIA_FILE_VIDEO || file.type == MEDIA_FILE_AUDIO;
            EXPECT_EQ(file.state, isPlayed ? MEDIA_FILE_STATE_UNPLAYABLE : MEDIA_FILE_STATE_OK) << file.name;
        }
}

TEST_F(Reconciliation, AFileThatChangedLaterStampsItemAndJob) {
    const auto image = PutMedia(MEDIA_TYPE_IMAGE, "m1");
    const std::string path = Path("card/J/media/m1-imageFile");
    job.SetModifiedTime("then");
    EXPECT_EQ(job.UpdateMediaItemFileSizes(path), JOB_RTN_SUCCEEDED);
    EXPECT_EQ(job.Summary().timestamp.modifiedTime, "then") << "nothing has changed";

    folder.Write("card/J/media/m1-imageFile", "");
    EXPECT_EQ(job.UpdateMediaItemFileSizes(path), JOB_RTN_SUCCEEDED);
    EXPECT_EQ(job.Summary().jobSize, 0u);
    EXPECT_EQ(image->files[0].state, MEDIA_FILE_STATE_OK) << "states belong to opening";
    EXPECT_NE(job.Summary().timestamp.modifiedTime, "then");
    EXPECT_EQ(job.Summary().timestamp.modifiedTime, image->timestamp.modifiedTime);
    log.Take();

    EXPECT_EQ(job.UpdateMediaItemFileSizes(Path("card/J/media/other")), JOB_RTN_NOT_FOUND);
    EXPECT_EQ(log.TakeErrors(),
              Lines{"Job::UpdateMediaItemFileSizes - No media item found holding file " + Path("card/J/media/other")});
}

TEST_F(Reconciliation, AFileThatCannotBeMeasuredDoesNotStopTheNextItem) {
    const auto broken = PutMedia(MEDIA_TYPE_IMAGE, "m1");
    broken->files[0].name = std::string(300, 'n');
    PutMedia(MEDIA_TYPE_IMAGE, "m2");
    folder.Write("card/J/media/m2-imageFile", "1");
    EXPECT_TRUE(job.UpdateAllMediaFileSizes());
    EXPECT_EQ(job.Summary().jobSize, 10u + 1u);
    EXPECT_EQ(log.TakeErrors().back(), "Job::_UpdateMediaItemFileSizes - Error reading file size for file " +
                                           Path("card/J/media/") + broken->files[0].name);
}

TEST_F(Reconciliation, AFileNameThatLeavesTheCardIsAFileThatIsNotThere) {
    const auto item = SampleMedia(MEDIA_TYPE_IMAGE, "m1");
    const std::string climb = "../../../outside/victim";
    item->files = {{MEDIA_FILE_IMAGE, climb, 4, MEDIA_FILE_STATE_OK},
                   {MEDIA_FILE_MISC_DATA, climb + std::string(1, '\0') + "/../../card/J/x", 4, MEDIA_FILE_STATE_OK},
                   {MEDIA_FILE_MISC_DATA, "../near", 4, MEDIA_FILE_STATE_OK}};
    folder.Write("card/J/near", "near");
    job.AddMediaItem(item);
    EXPECT_TRUE(job.UpdateAllMediaFileSizes());
    EXPECT_EQ(item->files[0].state, MEDIA_FILE_STATE_NOT_PRESENT);
    EXPECT_EQ(item->files[1].state, MEDIA_FILE_STATE_NOT_PRESENT);
    EXPECT_EQ(item->files[2].state, MEDIA_FILE_STATE_OK);
    EXPECT_EQ(job.Summary().jobSize, 4u);
}

} // namespace
} // namespace JobsManagerD
