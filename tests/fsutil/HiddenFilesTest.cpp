#include "fsutil/HiddenFiles.h"

#include "fsutil/FakeFatCard.h"
#include "fsutil/LogLines.h"
#include "support/TemporaryFolder.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <linux/msdos_fs.h>
#include <stdexcept>

namespace fs = std::filesystem;

namespace JobsManagerD {
namespace {

using Testing::Lines;

class HiddenFiles : public testing::Test {
protected:
    HiddenFiles() { folder.Write("file", "text"); }
    std::string Path(const std::string& name) const { return folder / name; }

    Testing::TemporaryFolder folder;
    Testing::TestLog log;
};

TEST_F(HiddenFiles, MakeHiddenKeepsTheOtherAttributes) {
    Testing::FakeFatCard card;
    card.Attributes(Path("file")) = ATTR_ARCH | ATTR_RO;
    EXPECT_TRUE(MakeHidden(Path("file")));
    EXPECT_EQ(card.Attributes(Path("file")), uint32_t{ATTR_ARCH | ATTR_RO | ATTR_HIDDEN});
    EXPECT_TRUE(MakeHidden(folder.Path())) << "a folder";
    EXPECT_EQ(card.Attributes(folder.Path()), uint32_t{ATTR_HIDDEN});
    EXPECT_EQ(log.Take().size(), 0u);
}

TEST_F(HiddenFiles, MakeHiddenNamesTheStepThatFailed) {
    const std::string path = Path("file");
    EXPECT_FALSE(MakeHidden(path)) << "no FAT here";
    EXPECT_EQ(log.TakeErrors(), Lines{"MakeHidden: Failed to read FAT attributes - " + path});

    Testing::FakeFatCard card;
    EXPECT_FALSE(MakeHidden(Path("missing")));
    EXPECT_EQ(log.TakeErrors(), Lines{"MakeHidden: Failed to open file - " + Path("missing")});
    card.RefuseToWrite();
    EXPECT_FALSE(MakeHidden(path));
    EXPECT_EQ(log.TakeErrors(), Lines{"MakeHidden: Failed to write FAT attributes - " + path});
}

TEST_F(HiddenFiles, CheckHiddenAsksTheCardOnlyWhenTheNameDoesNotTell) {
    folder.Write(".dot", "");
    EXPECT_EQ(CheckHidden(Path("file")), 0) << "no FAT here";

    Testing::FakeFatCard card;
    EXPECT_EQ(CheckHidden(Path(".dot")), 1);
    EXPECT_EQ(CheckHidden(".missing"), 1);
    EXPECT_EQ(card.Questions(), 0);
    EXPECT_EQ(CheckHidden(Path("file")), 0);
    card.Attributes(Path("file")) = ATTR_HIDDEN | ATTR_ARCH;
    EXPECT_EQ(CheckHidden(Path("file")), 1);
    EXPECT_EQ(log.Take().size(), 0u);

    EXPECT_EQ(CheckHidden(Path("missing")), -1);
    EXPECT_EQ(log.TakeErrors(), Lines{"CheckHidden: Failed to open file - " + Path("missing")});
    card.RefuseToRead();
    EXPECT_EQ(CheckHidden(Path("file")), -1);
    EXPECT_EQ(log.TakeErrors(), Lines{"CheckHidden: Failed to read FAT attributes - " + Path("file")});
    EXPECT_THROW(CheckHidden(""), std::out_of_range);
}

TEST_F(HiddenFiles, AMarkerIsAnEmptyFileOfItsOwner) {
    EXPECT_TRUE(CreateHiddenFile(Path(".marker")));
    EXPECT_EQ(fs::file_size(Path(".marker")), 0u);
    EXPECT_EQ(fs::status(Path(".marker")).permissions(), fs::perms(0300));

    Testing::FakeFatCard card;
    EXPECT_TRUE(CreateHiddenFile(Path(".onFat")));
    EXPECT_EQ(card.Attributes(Path(".onFat")), uint32_t{ATTR_HIDDEN});
    EXPECT_FALSE(CreateHiddenFile(Path("missing/.marker")));
    card.RefuseToWrite();
    EXPECT_FALSE(CreateHiddenFile(Path(".unset")));
    card.RefuseToRead();
    EXPECT_FALSE(CreateHiddenFile(Path(".unread")));
    EXPECT_EQ(log.Take().size(), 0u);
}

TEST_F(HiddenFiles, WhatStandsInTheWayOfAMarkerIsLeftAlone) {
    folder.Write("outside", "kept");
    fs::create_symlink(Path("outside"), Path(".link"));
    fs::create_symlink(Path("new"), Path(".dangling"));
    ASSERT_EQ(mkfifo(Path(".fifo").c_str(), 0600), 0);
    fs::create_directory(Path(".folder"));
    for (const std::string name : {".link", ".dangling", ".fifo", ".folder"})
        EXPECT_FALSE(CreateHiddenFile(Path(name))) << name;
    EXPECT_EQ(folder.Read("outside"), "kept");
    EXPECT_FALSE(fs::exists(Path("new")));

    Testing::FakeFatCard card;
    EXPECT_FALSE(MakeHidden(Path(".link")));
    EXPECT_EQ(card.Attributes(Path("outside")), 0u);
}

} // namespace
} // namespace JobsManagerD
