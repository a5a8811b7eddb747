#include "jobs/JobFolder.h"

#include "fsutil/Paths.h"

#include <gtest/gtest.h>
#include <vector>

namespace JobsManagerD {
namespace {

TEST(JobFolderTest, NamesWhatLiesOnACard) {
    const JobFolder folder = JobFolder::Of("/card/Job 1/job.json");
    EXPECT_EQ(folder.Path(), "/card/Job 1");
    EXPECT_EQ(folder.NewJobFile(), "/card/Job 1/job.json");
    hideJobFiles = true;
    EXPECT_EQ(folder.NewJobFile(), "/card/Job 1/.job.json");
    hideJobFiles = false;
    EXPECT_EQ(folder.MediaFolder("clips"), "/card/Job 1/clips");
    EXPECT_EQ(folder.MediaFolder(""), "/card/Job 1");
    EXPECT_EQ(folder.RecordingStatus(), "/card/Job 1/recStat");
    EXPECT_EQ(folder.SyncFlag(), "/card/Job 1/syncStat");
    EXPECT_EQ(JobFolder::Backup("/card/Job 1/.job.json"), "/card/Job 1/.job.json.bak");
    EXPECT_EQ(JobFolder::ConvertedFlag("/card/a/old.jdb3"), "/card/a/.old.jdb3-converted");
    EXPECT_EQ(JobFolder::ConvertedFlag("/card/a/.old.jdb3"), "/card/a/.old.jdb3-converted");
    EXPECT_EQ(JobFolder::RecordingMarker("/card/a/media/v.1.mp4"), "/card/a/media/.v.1.mp4-recActive");
    EXPECT_EQ(JobFolder::IgnoreMarker("/card/a/media/v.wav"), "/card/a/media/.v.mp4-ignore");
    EXPECT_EQ(JobFolder::Trash("/card/"), "/card/.DeletedJobs");
}

TEST(JobFolderTest, KnowsThemAgain) {
    using enum EntryKind;
    const std::vector<std::pair<const char*, EntryKind>> names{
        {"job.json", jobFile},
        {".job.json", jobFile},
        {"any.json", jobFile},
        {"old.jdb3", legacyJobFile},
        {"job.json.bak", backup},
        {"media", mediaFolder},
        {"recStat", recordingStatus},
        {"syncStat", syncFlag},
        {".old.jdb3-converted", convertedFlag},
        {".v.mp4-recActive", recordingMarker},
        {".v.mp4-ignore", ignoreMarker},
        {".DeletedJobs", trash},
        {".json", other},
        {".json.bak", other},
        {"job.JSON", other},
        {"job.json.bak.bak", other},
        {"old.jdb3-converted", other},
        {".mp4-ignore", other},
        {"media2", other},
        {"Media", other},
        {"", other},
    };
    for (const auto& [name, kind] : names)
        EXPECT_EQ(JobFolder::KindOf(name), kind) << name;
}

} // namespace
} // namespace JobsManagerD
