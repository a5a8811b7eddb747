#include "fsutil/Paths.h"

#include "fsutil/LogLines.h"
#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>

namespace JobsManagerD {
namespace {

using Testing::Lines;

TEST(Paths, PartsOfAPath) {
    struct Row {
        const char *path, *folder, *name, *extension;
    };
    for (const Row& row : std::vector<Row>{
             {"/card/job/a.b.json", "/card/job", "a.b.json", "json"},
             {"/card/job/.job.json", "/card/job", ".job.json", "json"},
             {"/card/job/.hidden", "/card/job", ".hidden", ""},
             {"/file", "", "file", ""},
             {"file.mp4", "", "file.mp4", "mp4"},
             {"/card/file.", "/card", "file.", ""},
             {".", ".", ".", ""},
             {"..", "..", "..", ""},
             {"", "", "", ""},
         }) {
        EXPECT_EQ(DirectoryPart(row.path), row.folder) << row.path;
        EXPECT_EQ(FileName(row.path), row.name) << row.path;
        EXPECT_EQ(GetPathExtension(row.path), row.extension) << row.path;
    }
}

TEST(Paths, HiddenJobFilesHaveALeadingDot) {
    EXPECT_EQ(JobFileName(), "job.json");
    hideJobFiles = true;
    EXPECT_EQ(JobFileName(), ".job.json");
    hideJobFiles = false;
    EXPECT_EQ(BackupPath("/card/job/.job.json"), "/card/job/.job.json.bak");
}

TEST(Paths, OnlyWhatLiesBelowAFolderLiesUnderIt) {
    using namespace std::string_literals;
    const std::vector<std::pair<std::string, bool>> rows{
        {"/mnt/card/job", true},
        {"/mnt/card/job/../other/file", true},
        {"/mnt/card//job/./media", true},
        {"/mnt/card/..names/file", true},
        {"/mnt/card", false},
        {"/mnt/card/", false},
        {"/mnt/card/.", false},
        {"/mnt/card/job/..", false},
        {"/mnt/card/../card2/job", false},
        {"/mnt/cardinal/job", false},
        {"/mnt/card/job/../../../etc/passwd", false},
        {"/etc/passwd", false},
        {"mnt/card/job", false},
        {"", false},
        // The kernel reads up to the zero byte only.
        {"/mnt/card/../../etc/passwd\0/../../mnt/card/job"s, false},
    };
    for (const auto& [path, expected] : rows) {
        EXPECT_EQ(LiesUnder("/mnt/card", path), expected) << path;
        EXPECT_EQ(LiesUnder("/mnt/card/", path), expected) << path;
    }
}

TEST(Paths, AUniqueStemIsNoPrefixOfAnyEntry) {
    struct Row {
        std::vector<std::string> entries;
        std::string candidate, expected;
    };
    for (const Row& row : std::vector<Row>{
             {{}, "A", "A"},
             {{"B.mp4", "CA.mp4"}, "A", "A"},
             {{"A.mp4", "A_1.mp4"}, "A", "A_2"},
             {{"AB.mp4"}, "A", "A_1"},
             {{"A_10.mp4"}, "A", "A_2"}, // A_1 begins it
             {{"A.b.mp4"}, "A.b", "A.b_1"},
             {{"A.mp4"}, "A.mp4", "A.mp4"}, // the extension does not count
             {{".A.mp4-ignore"}, "A", "A"},
         }) {
        Testing::TemporaryFolder folder;
        for (const std::string& entry : row.entries)
            folder.Write(entry, "");
        EXPECT_EQ(GetUniqueFileStem(folder.Path(), row.candidate, 50), row.expected)
            << testing::PrintToString(row.entries);
    }
}

TEST(Paths, TheSearchForAStemEndsAtItsLimit) {
    Testing::TemporaryFolder folder;
    Testing::TestLog log;
    folder.Write("A.mp4", "");
    folder.Write("A_1.mp4", "");
    folder.Write("A_2.mp4", "");
    EXPECT_EQ(GetUniqueFileStem(folder.Path(), "A", 3), "A_3");
    EXPECT_EQ(log.Take().size(), 0u);
    EXPECT_EQ(GetUniqueFileStem(folder.Path(), "A", 2), "");
    EXPECT_EQ(log.TakeErrors(), Lines{"GetUniqueFileStem - Unable to create unique Stem under parentPath " +
                                      folder.Path().string() + " from candidateStem A"});

    const std::string missing = folder / "missing";
    EXPECT_EQ(GetUniqueFileStem(missing, "A", 50), "");
    const auto lines = log.Take();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].priority, LOG_INFO);
    EXPECT_TRUE(
        lines[0].text.starts_with("GetUniqueFileStem - directory_iterator threw an exception in " + missing + ": "))
        << lines[0].text;
}

} // namespace
} // namespace JobsManagerD
