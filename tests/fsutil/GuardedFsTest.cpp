#include "fsutil/GuardedFs.h"

#include "fsutil/LogLines.h"
#include "fsutil/OrdinaryUser.h"
#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

namespace fs = std::filesystem;

namespace JobsManagerD {
namespace {

using Testing::Lines;

struct Call {
    const char* name;
    bool (*call)(const std::string& path, bool& error);
    std::string before;
    std::string after;
};

const std::vector<Call> calls{
    {"exists", TryFsExists, "TryFsExists - Filesystem error checking for existence of ", "."},
    {"folder", TryFsIsDirectory, "TryFsIsDirectory - error ", ""},
    {"file", TryFsIsRegularFile, "TryFsIsRegularFile - error ", ""},
    {"create", TryFsCreateDirectory, "TryFsCreateDirectory - error ", ""},
    {"remove", TryFsRemove, "TryFsRemove - error removing ", ""},
    {"remove all", TryFsRemoveAll, "TryFsRemoveAll - error removing ", ""},
};

class GuardedFs : public testing::Test {
protected:
    std::string Path(const std::string& name) const { return folder / name; }

    Testing::TemporaryFolder folder;
    Testing::TestLog log;
    bool error = false;
};

TEST_F(GuardedFs, AQuestionThatCannotBeAnsweredIsLoggedAndFlagged) {
    const std::string path = Path(std::string(300, 'n'));
    const std::string reason = std::make_error_code(std::errc::filename_too_long).message();
    for (const Call& row : calls) {
        error = false;
        EXPECT_FALSE(row.call(path, error)) << row.name;
        EXPECT_TRUE(error) << row.name;
        EXPECT_EQ(log.TakeErrors(), Lines{row.before + path + ": " + reason + row.after}) << row.name;
    }
    EXPECT_FALSE(TryFsCopyFile(Path("no"), Path("to"), error));
    EXPECT_TRUE(error);
    EXPECT_EQ(log.TakeErrors(), Lines{"TryFsCopyFile - error copying " + Path("no") + " to " + Path("to") + ": " +
                                      std::make_error_code(std::errc::no_such_file_or_directory).message()});
}

TEST_F(GuardedFs, ANoIsNoErrorAndAYesClearsAnEarlierOne) {
    folder.Write("folder/file", "text");
    using Function = bool (*)(const std::string&, bool&);
    const std::vector<std::tuple<Function, std::string, bool>> rows{
        {TryFsExists, "missing/file", false},     {TryFsExists, "folder/file", true},
        {TryFsIsDirectory, "folder/file", false}, {TryFsIsDirectory, "folder", true},
        {TryFsIsRegularFile, "folder", false},    {TryFsIsRegularFile, "folder/file", true},
        {TryFsCreateDirectory, "folder", false},  {TryFsCreateDirectory, "other", true},
        {TryFsRemove, "missing", false},          {TryFsRemove, "folder/file", true},
        {TryFsRemoveAll, "missing", false},       {TryFsRemoveAll, "folder", true},
    };
    for (const auto& [call, name, expected] : rows) {
        error = true;
        EXPECT_EQ(call(Path(name), error), expected) << name;
        EXPECT_FALSE(error) << name;
    }
    EXPECT_EQ(folder.List(), Lines{"other"});
    EXPECT_EQ(log.Take().size(), 0u);
}

TEST_F(GuardedFs, CopyOverwritesOnlyWhenAsked) {
    folder.Write("from", "new");
    folder.Write("to", "old");
    EXPECT_FALSE(TryFsCopyFile(Path("from"), Path("to"), error));
    EXPECT_EQ(folder.Read("to"), "old");
    EXPECT_TRUE(TryFsCopyFile(Path("from"), Path("to"), error, fs::copy_options::overwrite_existing));
    EXPECT_FALSE(error);
    EXPECT_EQ(folder.Read("to"), "new");
}

TEST_F(GuardedFs, SizeOfAMissingFileIsZeroAndNoError) {
    folder.Write("file", "12345");
    error = true;
    EXPECT_EQ(GetFileSizeBytes(Path("file"), error, false), 5u);
    EXPECT_FALSE(error);
    EXPECT_EQ(GetFileSizeBytes(Path("missing"), error, true), 0u);
    EXPECT_FALSE(error);
    EXPECT_EQ(log.TakeErrors(), Lines{});

    EXPECT_EQ(GetFileSizeBytes(Path("missing"), error, false), 0u);
    EXPECT_FALSE(error);
    EXPECT_EQ(log.TakeErrors(), Lines{"GetFileSizeBytes - Failed existence check on file " + Path("missing")});

    const std::string path = Path(std::string(300, 'n'));
    EXPECT_EQ(GetFileSizeBytes(path, error, true), 0u);
    EXPECT_TRUE(error);
    const Lines lines = log.TakeErrors();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[1], "GetFileSizeBytes - TryFsExists exception for file " + path);
}

TEST_F(GuardedFs, DeleteDirTakesLinksAwayAndLeavesWhatTheyPointTo) {
    folder.Write("outside/kept", "text");
    folder.Write("trash/job/media/.hidden", "text");
    fs::create_directory_symlink(Path("outside"), Path("trash/job/link"));
    fs::create_symlink(Path("gone"), Path("trash/dangling"));
    EXPECT_TRUE(DeleteDir(Path("trash")));
    EXPECT_FALSE(fs::exists(Path("trash")));
    EXPECT_EQ(log.TakeErrors(), Lines{});
    fs::create_directory_symlink(Path("outside"), Path("trash"));
    EXPECT_FALSE(DeleteDir(Path("trash"))) << "nor is a link in its own place followed";
    EXPECT_EQ(log.TakeErrors(), Lines{"DeleteDir: Failed to open directory " + Path("trash")});
    EXPECT_EQ(folder.Read("outside/kept"), "text");
}

TEST_F(GuardedFs, DeleteDirStopsAtTheFirstFailure) {
    folder.Write("file", "text");
    EXPECT_FALSE(DeleteDir(Path("file")));
    EXPECT_EQ(log.TakeErrors(), Lines{"DeleteDir: Failed to open directory " + Path("file")});

    folder.Write("trash/job/file", "text");
    fs::permissions(folder.Path(), fs::perms(0755));
    fs::permissions(Path("trash/job"), fs::perms(0555));
    if (const Testing::OrdinaryUser user; user) {
        EXPECT_FALSE(DeleteDir(Path("trash")));
    }
    EXPECT_EQ(log.TakeErrors(), Lines{"DeleteDir: Failed to unlink for filepath " + Path("trash/job/file")});
    EXPECT_EQ(folder.Read("trash/job/file"), "text");
    fs::permissions(Path("trash/job"), fs::perms(0755));

    fs::create_directory(Path("empty"));
    fs::permissions(folder.Path(), fs::perms(0555));
    if (const Testing::OrdinaryUser user; user) {
        EXPECT_FALSE(DeleteDir(Path("empty")));
    }
    fs::permissions(folder.Path(), fs::perms(0755));
    EXPECT_EQ(log.TakeErrors(), Lines{"DeleteDir: Failed to rmdir for " + Path("empty")});
}

} // namespace
} // namespace JobsManagerD
