#include "fsutil/SafeFileWrite.h"

#include "fsutil/FakeFatCard.h"
#include "fsutil/FileDescriptor.h"
#include "fsutil/LogLines.h"
#include "fsutil/OrdinaryUser.h"
#include "fsutil/RecordedCalls.h"
#include "fsutil/SmallCard.h"
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
    std::string Text(const std::string& name) const {
        return fs::is_regular_file(Path(name)) ? folder.Read(name) : "none";
    }

    bool Save(const std::string& text) { return SafeFileWrite(job, text, isTorn); }

    void RecordSyncs() {
        _recorder = this;
        syncs.clear();
        systemCalls.sync = [](int descriptor) {
            const fs::path file = fs::read_symlink("/proc/self/fd/" + std::to_string(descriptor));
            _recorder->syncs.push_back(
                {file.filename(), _recorder->Text("job/job.json"), _recorder->Text("job/job.json.bak")});
            return 0;
        };
    }

    Testing::TemporaryFolder folder;
    Testing::TestLog log;
    const std::string job = Path("job/job.json");
    const std::string backup = Path("job/job.json.bak");
    std::vector<Synced> syncs;
    bool isTorn = false;

private:
    static inline SafeFileWriteTest* _recorder = nullptr;
};

TEST_F(SafeFileWriteTest, BackupIsOnTheMediumBeforeTheFileIsTouched) {
    RecordSyncs();
    EXPECT_TRUE(Save("first"));
    EXPECT_EQ(syncs, (std::vector<Synced>{{"job.json", "first", "none"}}));

    RecordSyncs();
    EXPECT_TRUE(Save("2nd"));
    EXPECT_EQ(syncs, (std::vector<Synced>{{"job.json.bak", "first", "first"}, {"job.json", "2nd", "first"}}));

    RecordSyncs();
    EXPECT_TRUE(Save(""));
    EXPECT_EQ(syncs, (std::vector<Synced>{{"job.json.bak", "2nd", "2nd"}, {"job.json", "", "2nd"}}));
    EXPECT_EQ(log.Take().size(), 0u);
}

/// The whole promise: whichever call fails, alone or with all that follow, the medium holds the old state or the new
/// one, and the next save on a medium that works again succeeds.
TEST_F(SafeFileWriteTest, WhateverFailsTheOldStateOrTheNewOneIsWhole) {
    const std::string old(5000, 'o'), fresh(9000, 'f');
    enum { nothing, file, folderInItsPlace };
    for (const bool hasFile : {false, true})
        for (const int backupIs : {nothing, file, folderInItsPlace})
            for (const bool isDead : {false, true}) {
                bool hasFailed = true;
                for (int number = 1; hasFailed; ++number) {
                    SCOPED_TRACE(std::to_string(hasFile) + std::to_string(backupIs) + std::to_string(isDead) +
                                 " call " + std::to_string(number));
                    fs::remove_all(Path("job"));
                    if (hasFile)
                        folder.Write("job/job.json", old);
                    if (backupIs == file)
                        folder.Write("job/job.json.bak", "older");
                    fs::create_directories(backupIs == folderInItsPlace ? backup : Path("job"));
                    isTorn = false;
                    bool saved = false;
                    {
                        Testing::RecordedCalls calls;
                        int left = number;
                        calls.before = [&](const std::string&) {
                            return --left == 0 || (isDead && left < 0) ? EIO : 0;
                        };
                        saved = Save(fresh);
                        hasFailed = left <= 0;
                    }
                    const std::string now = Text("job/job.json");
                    EXPECT_TRUE(saved ? now == fresh : hasFailed);
                    if (!saved && hasFile && isTorn && backupIs != folderInItsPlace) {
                        EXPECT_TRUE(Text("job/job.json.bak") == old);
                    } else if (!saved && hasFile) {
                        EXPECT_TRUE(now == old || (isTorn && now == fresh)) << now.size();
                    } else if (!saved) {
                        EXPECT_TRUE(now == "none" || isTorn);
                    }
                    const bool keepsBackup = now == "none" || isTorn || backupIs == folderInItsPlace;
                    const std::string expectedBackup = keepsBackup ? Text("job/job.json.bak") : now;
                    EXPECT_TRUE(Save("last"));
                    EXPECT_EQ(Text("job/job.json"), "last");
                    EXPECT_EQ(Text("job/job.json.bak"), expectedBackup) << "a torn file is no backup";
                    EXPECT_FALSE(isTorn);
                }
            }
}

TEST_F(SafeFileWriteTest, AFailureIsTold) {
    folder.Write("job/job.json", "old");
    Testing::RecordedCalls calls;
    std::string failing = "sync job.json";
    calls.before = [&failing](const std::string& line) { return line == failing ? EIO : 0; };
    EXPECT_FALSE(Save("new"));
    EXPECT_TRUE(isTorn) << "nobody knows what the medium has";
    EXPECT_EQ(log.TakeErrors(), Lines{"SafeFileWrite - Exception writing to " + job});
    calls.lines.clear();
    EXPECT_FALSE(Save("newer"));
    EXPECT_EQ(calls.lines[0], "truncate job.json") << "straight to the file";
    EXPECT_EQ(Text("job/job.json.bak"), "old");

    isTorn = false;
    folder.Write("job/job.json", "old");
    failing = "sync job.json.bak";
    log.Take();
    EXPECT_FALSE(Save("new"));
    EXPECT_EQ(Text("job/job.json"), "old");
    EXPECT_EQ(log.TakeErrors(),
              (Lines{"TryFsCopyFile - error copying " + job + " to " + backup + ": Input/output error",
                     "SafeFileWrite - Could not copy " + job + " to " + backup}));

    EXPECT_FALSE(Save(std::string(longestFile + 1, 'n')));
    EXPECT_EQ(Text("job/job.json"), "old");
    EXPECT_EQ(log.TakeErrors(), Lines{"SafeFileWrite - 67108865 bytes are too long for " + job});
}

TEST_F(SafeFileWriteTest, FilesAreHiddenOnFatAndOnlyWhenAsked) {
    folder.Write("job/job.json", "old");
    hideJobFiles = true;
    EXPECT_TRUE(Save("new"));
    EXPECT_EQ(log.Take().size(), 0u) << "no attribute is tried where there is none";

    Testing::FakeFatCard card;
    hideJobFiles = false;
    EXPECT_TRUE(Save("newer"));
    EXPECT_EQ(card.Attributes(job) | card.Attributes(backup), 0u);
    hideJobFiles = true;
    EXPECT_TRUE(Save("newest"));
    EXPECT_EQ(card.Attributes(job), uint32_t{ATTR_HIDDEN});
    EXPECT_EQ(card.Attributes(backup), uint32_t{ATTR_HIDDEN});
    EXPECT_EQ(log.Take().size(), 0u);

    card.RefuseToWrite();
    EXPECT_TRUE(Save("last"));
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
        EXPECT_FALSE(Save("new"));
    }
    fs::permissions(Path("job"), fs::perms(0755));
    const Lines lines = log.TakeErrors();
    ASSERT_EQ(lines.size(), 3u) << testing::PrintToString(lines);
    EXPECT_TRUE(lines[0].starts_with("TryFsCopyFile - error copying " + job + " to " + backup + ": ")) << lines[0];
    EXPECT_EQ(lines[1], "SafeFileWrite - Could not copy " + job + " to " + backup);
    EXPECT_EQ(lines[2], "SafeFileWrite - Could not open " + job + " for truncating write");
    EXPECT_EQ(Text("job/job.json"), "old");
    EXPECT_FALSE(fs::exists(backup));
    EXPECT_FALSE(SafeFileWrite(Path("missing/job.json"), "new", isTorn));
}

class SaveOnAFullCard : public testing::TestWithParam<const char*> {
protected:
    ~SaveOnAFullCard() override { systemCalls = kernelCalls; }
    std::string Read(const std::string& path) const {
        std::string text;
        return ReadRegularFile(path, text) ? text : "none";
    }

    Testing::TestLog log;
};

/// Every amount of room, from none to enough, in steps below a block.
TEST_P(SaveOnAFullCard, LosesNothing) {
    Testing::SmallCard card(GetParam());
    if (!card.IsMounted())
        GTEST_SKIP() << "only root can mount a card of its own";
    const std::string job = card.Path("job.json");
    const std::string older(3000, 'a'), old(14000, 'o'), fresh(21000, 'f');
    int saves = 0;
    int failures = 0;
    for (uintmax_t room = 0; room < 48 * 1024; room += 3000) {
        bool isTorn = false;
        fs::remove(card.Path("recording"));
        fs::remove(job + ".bak");
        fs::remove(job);
        ASSERT_TRUE(SafeFileWrite(job, older, isTorn));
        ASSERT_TRUE(SafeFileWrite(job, old, isTorn));
        card.Fill();
        card.Free(room);
        const bool saved = SafeFileWrite(job, fresh, isTorn);
        ++(saved ? saves : failures);
        EXPECT_EQ(Read(isTorn ? job + ".bak" : job), saved ? fresh : old) << room;
        EXPECT_EQ(isTorn, false) << "the room that the old text had is there for it again";
    }
    EXPECT_GT(saves, 0);
    EXPECT_GT(failures, 0);
}

/// A recording takes the room that the truncation gives away.
TEST_P(SaveOnAFullCard, KeepsTheBackupUntilTheFileIsWholeAgain) {
    Testing::SmallCard card(GetParam());
    if (!card.IsMounted())
        GTEST_SKIP() << "only root can mount a card of its own";
    const std::string job = card.Path("job.json");
    const std::string old(14000, 'o'), fresh(21000, 'f');
    bool isTorn = false;
    ASSERT_TRUE(SafeFileWrite(job, old, isTorn));
    {
        Testing::RecordedCalls calls;
        calls.before = [&](const std::string& line) {
            if (line == "write job.json")
                card.Fill();
            return 0;
        };
        for (int i = 0; i < 3; ++i) {
            EXPECT_FALSE(SafeFileWrite(job, fresh, isTorn));
            EXPECT_TRUE(isTorn);
            EXPECT_EQ(Read(job + ".bak"), old);
        }
    }
    card.Free(100000);
    EXPECT_TRUE(SafeFileWrite(job, fresh, isTorn));
    EXPECT_FALSE(isTorn);
    EXPECT_EQ(Read(job), fresh);
    EXPECT_EQ(Read(job + ".bak"), old);
}

INSTANTIATE_TEST_SUITE_P(SafeFileWrite, SaveOnAFullCard, testing::Values("tmpfs", "ext4"));

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
    EXPECT_FALSE(Save("new"));
    ExpectNothingElseWritten(job, before);
    EXPECT_EQ(log.TakeErrors().back(), "SafeFileWrite - Could not open " + job + " for truncating write");
}

TEST_P(StrangerInPlace, OfTheBackupCostsTheBackupOnly) {
    folder.Write("job/job.json", "old");
    Put(backup);
    const fs::file_type before = fs::symlink_status(backup).type();
    EXPECT_TRUE(Save("new"));
    EXPECT_EQ(Text("job/job.json"), "new");
    ExpectNothingElseWritten(backup, before);
    EXPECT_EQ(log.TakeErrors(), Lines{"SafeFileWrite - Could not copy " + job + " to " + backup});
}

INSTANTIATE_TEST_SUITE_P(SafeFileWrite, StrangerInPlace,
                         testing::Values(Stranger::link, Stranger::danglingLink, Stranger::fifo, Stranger::directory));

} // namespace
} // namespace JobsManagerD
