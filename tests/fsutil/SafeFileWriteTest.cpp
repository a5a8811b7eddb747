#include "fsutil/SafeFileWrite.h"

#include "fsutil/FakeFatCard.h"
#include "fsutil/FileDescriptor.h"
#include "fsutil/LogLines.h"
#include "fsutil/OrdinaryUser.h"
#include "support/TemporaryFolder.h"

#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <linux/msdos_fs.h>
#include <optional>

namespace fs = std::filesystem;

namespace JobsManagerD {
namespace {

using Testing::Lines;

/// What lay on the medium when the kernel was asked to sync a file.
struct Synced {
    std::string file, job, backup;
    bool operator==(const Synced&) const = default;
};

class SafeFileWriteTest : public testing::Test {
protected:
    SafeFileWriteTest() { fs::create_directory(Path("job")); }
    ~SafeFileWriteTest() override { systemCalls = kernelCalls; }

    std::string Path(const std::string& name) const { return folder / name; }
    std::string Text(const std::string& name) const { return fs::exists(Path(name)) ? folder.Read(name) : "none"; }

    void RecordSyncs() {
        _recorder = this;
        syncs.clear();
        systemCalls.sync = [](int descriptor) {
            const fs::path file = fs::read_symlink("/proc/self/fd/" + std::to_string(descriptor));
            _recorder->syncs.push_back(
                {file.filename(), _recorder->Text("job/job.json"), _recorder->Text("job/job.json.bak")});
            return _recorder->syncResult;
        };
    }

    Testing::TemporaryFolder folder;
    Testing::TestLog log;
    const std::string job = Path("job/job.json");
    const std::string backup = Path("job/job.json.bak");
    std::vector<Synced> syncs;
    int syncResult = 0;

private:
    static inline SafeFileWriteTest* _recorder = nullptr;
};

TEST_F(SafeFileWriteTest, BackupIsOnTheMediumBeforeTheFileIsTouched) {
    RecordSyncs();
    EXPECT_TRUE(SafeFileWrite(job, "first"));
    EXPECT_EQ(syncs, (std::vector<Synced>{{"job.json", "first", "none"}}));

    RecordSyncs();
    EXPECT_TRUE(SafeFileWrite(job, "2nd"));
    EXPECT_EQ(syncs, (std::vector<Synced>{{"job.json.bak", "first", "first"}, {"job.json", "2nd", "first"}}));

    RecordSyncs();
    EXPECT_TRUE(SafeFileWrite(job, ""));
    EXPECT_EQ(syncs, (std::vector<Synced>{{"job.json.bak", "2nd", "2nd"}, {"job.json", "", "2nd"}}));
    EXPECT_EQ(log.Take().size(), 0u);
}

TEST_F(SafeFileWriteTest, AFailingSyncIsAFailingWriteAndStopsNothing) {
    folder.Write("job/job.json", "old");
    syncResult = -1;
    RecordSyncs();
    EXPECT_TRUE(SafeFileWrite(job, "new"));
    EXPECT_EQ(syncs.size(), 2u);
    EXPECT_EQ(Text("job/job.json"), "new");
    EXPECT_EQ(Text("job/job.json.bak"), "old");
    EXPECT_EQ(log.Take().size(), 0u);
}

TEST_F(SafeFileWriteTest, FilesAreHiddenOnFatAndOnlyWhenAsked) {
    folder.Write("job/job.json", "old");
    hideJobFiles = true;
    EXPECT_TRUE(SafeFileWrite(job, "new"));
    EXPECT_EQ(log.Take().size(), 0u) << "no attribute is tried where there is none";

    Testing::FakeFatCard card;
    hideJobFiles = false;
    EXPECT_TRUE(SafeFileWrite(job, "newer"));
    EXPECT_EQ(card.Attributes(job) | card.Attributes(backup), 0u);
    hideJobFiles = true;
    EXPECT_TRUE(SafeFileWrite(job, "newest"));
    EXPECT_EQ(card.Attributes(job), uint32_t{ATTR_HIDDEN});
    EXPECT_EQ(card.Attributes(backup), uint32_t{ATTR_HIDDEN});
    EXPECT_EQ(log.Take().size(), 0u);

    card.RefuseToWrite();
    EXPECT_TRUE(SafeFileWrite(job, "last"));
    EXPECT_EQ(Text("job/job.json"), "last");
    EXPECT_EQ(log.TakeErrors(),
              (Lines{"MakeHidden: Failed to write FAT attributes - " + backup,
                     "SafeFileWrite - Couldn't set hidden bit on file " + job + " - not on FAT based FS?",
                     "MakeHidden: Failed to write FAT attributes - " + job,
                     "SafeFileWrite - Couldn't write set hidden bit on file " + job + " - not on FAT based FS?"}));
}

TEST_F(SafeFileWriteTest, AFileThatCannotBeWrittenKeepsItsText) {
    folder.Write("job/job.json", "old");
    fs::permissions(folder.Path(), fs::perms(0755));
    fs::permissions(job, fs::perms(0444));
    fs::permissions(Path("job"), fs::perms(0555));
    if (const Testing::OrdinaryUser user; user) {
        EXPECT_FALSE(SafeFileWrite(job, "new"));
    }
    fs::permissions(Path("job"), fs::perms(0755));
    const Lines lines = log.TakeErrors();
    ASSERT_EQ(lines.size(), 3u) << testing::PrintToString(lines);
    EXPECT_TRUE(lines[0].starts_with("TryFsCopyFile - error copying " + job + " to " + backup + ": ")) << lines[0];
    EXPECT_EQ(lines[1], "SafeFileWrite - Could not copy " + job + " to " + backup);
    EXPECT_EQ(lines[2], "SafeFileWrite - Could not open " + job + " for truncating write");
    EXPECT_EQ(Text("job/job.json"), "old");
    EXPECT_FALSE(fs::exists(backup));
    EXPECT_FALSE(SafeFileWrite(Path("missing/job.json"), "new"));
}

enum class Stranger { link, danglingLink, fifo, directory };

/// Something that is no plain file in the place of a file, as a card may bring it along.
class StrangerInPlace : public SafeFileWriteTest, public testing::WithParamInterface<Stranger> {
protected:
    void Put(const std::string& path) {
        folder.Write("outside", "kept");
        switch (GetParam()) {
        case Stranger::link:
            return fs::create_symlink(Path("outside"), path);
        case Stranger::danglingLink:
            return fs::create_symlink(Path("new"), path);
        case Stranger::fifo:
            ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
            // Somebody reads it, so that nothing but the test of its kind stops a writer.
            reader.emplace(OpenWithoutWaiting(path, O_RDONLY));
            return;
        case Stranger::directory:
            ASSERT_TRUE(fs::create_directory(path));
        }
    }
    void ExpectNothingElseWritten(const std::string& path, fs::file_type before) const {
        EXPECT_EQ(fs::symlink_status(path).type(), before);
        EXPECT_EQ(Text("outside"), "kept");
        EXPECT_FALSE(fs::exists(Path("new")));
    }

    std::optional<FileDescriptor> reader;
};

TEST_P(StrangerInPlace, OfTheJobFileIsNotWrittenTo) {
    Put(job);
    const fs::file_type before = fs::symlink_status(job).type();
    EXPECT_FALSE(SafeFileWrite(job, "new"));
    ExpectNothingElseWritten(job, before);
    EXPECT_EQ(log.TakeErrors().back(), "SafeFileWrite - Could not open " + job + " for truncating write");
}

TEST_P(StrangerInPlace, OfTheBackupCostsTheBackupOnly) {
    folder.Write("job/job.json", "old");
    Put(backup);
    const fs::file_type before = fs::symlink_status(backup).type();
    EXPECT_TRUE(SafeFileWrite(job, "new"));
    EXPECT_EQ(Text("job/job.json"), "new");
    ExpectNothingElseWritten(backup, before);
    EXPECT_EQ(log.TakeErrors(), Lines{"SafeFileWrite - Could not copy " + job + " to " + backup});
}

INSTANTIATE_TEST_SUITE_P(SafeFileWrite, StrangerInPlace,
                         testing::Values(Stranger::link, Stranger::danglingLink, Stranger::fifo, Stranger::directory));

} // namespace
} // namespace JobsManagerD
