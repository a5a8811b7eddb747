#include "codes/ReturnCodes.h"

#include "fsutil/LogLines.h"

#include <gtest/gtest.h>

namespace JobsManagerD {
namespace {

using Testing::Lines;

TEST(ReturnCodes, TheTwoProtectedCodesKeepTheirOwnTexts) {
    EXPECT_EQ(ReturnCodeText(16), "Failed: Cannot delete/move current job");
    EXPECT_EQ(ReturnCodeText(17), "Failed: Cannot delete/move locked job");
}

TEST(ReturnCodes, EveryTableHasAnAnswerForAStranger) {
    for (const int32_t code : {-1, 30})
        EXPECT_EQ(ReturnCodeText(code), "Unknown error code");
    EXPECT_EQ(ReturnCodeText(29), "Failed: Invalid range");
    EXPECT_EQ(MatchCriterionText(2), "exactly");
    EXPECT_EQ(MatchCriterionText(3), "Unknown criterion");
    EXPECT_EQ(SyncD::ReturnCodeText(9), "Failed : Internal error");
    EXPECT_EQ(SyncD::ReturnCodeText(10), "Unknown error code");
    EXPECT_EQ(FileRepairD::ReturnCodeText(1), "Failed : Device busy");
    EXPECT_EQ(FileRepairD::ReturnCodeText(5), "Failed : Unknown error");

    Testing::TestLog log;
    EXPECT_EQ(DeviceStateText(7), "Copying To");
    EXPECT_EQ(log.Take().size(), 0u);
    EXPECT_EQ(DeviceStateText(8), "Unknown");
    EXPECT_EQ(log.TakeErrors(), Lines{"GetStateString - Unknown state: 8."});
}

TEST(ReturnCodes, FileOperationResultsBecomeReturnCodes) {
    const std::vector<std::pair<std::string, int32_t>> rows{
        {"SUCCESS", 0},          {"FILESYSTEM_RO", 3},   {"INSUFFICIENT_SPACE", 4},
        {"FILESYSTEM_ERROR", 5}, {"MISSING_FIELDS", 18}, {"UNSUPPORTED", 21}};
    for (int32_t code = 0; const auto& [text, expected] : rows) {
        EXPECT_EQ(JobFileOpText(static_cast<jobFileOpRtn_e>(code)), text);
        EXPECT_EQ(ConvertFileOpRtn(code), expected) << text;
        ++code;
    }
    Testing::TestLog log;
    for (const int32_t stranger : {6, -1}) {
        EXPECT_EQ(ConvertFileOpRtn(stranger), JOBS_RTN_FS_ERROR);
        EXPECT_EQ(log.TakeErrors(), Lines{"Invalid jobFileOpRtn_e return value: " + std::to_string(stranger)});
    }
}

/// Job files hold the keywords: they must not change.
TEST(ReturnCodes, KeywordsStandForTheirNumbersInBothDirections) {
    const auto check = [](const std::vector<std::string>& keywords, auto fromKeyword, auto toKeyword) {
        using Number = decltype(fromKeyword(""));
        for (size_t number = 0; number < keywords.size(); ++number) {
            EXPECT_EQ(fromKeyword(keywords[number]), static_cast<Number>(number)) << keywords[number];
            EXPECT_EQ(toKeyword(static_cast<Number>(number)), keywords[number]);
        }
        for (const char* stranger : {"", "Image", "hologram"})
            EXPECT_EQ(fromKeyword(stranger), static_cast<Number>(keywords.size() - 1)) << stranger;
    };
    check({"image", "photoTalk", "video", "autolog", "none"}, MediaTypeFromKeyword, MediaTypeKeyword);
    check({"imageFile", "audioFile", "videoFile", "recoveryFile", "thumbnailFile", "miscDataFile", "none"},
          MediaFileTypeFromKeyword, MediaFileTypeKeyword);
    check({"videoInspection", "locateSession", "none"}, JobTypeFromKeyword, JobTypeKeyword);
    EXPECT_EQ(MediaFileStateKeyword(MEDIA_FILE_STATE_EMPTY), "empty");
    EXPECT_EQ(MediaFileStateKeyword(MEDIA_FILE_STATE_UNPLAYABLE), "unplayable");
    EXPECT_EQ(MediaFileStateKeyword(MEDIA_FILE_STATE_NOT_PRESENT), "notPresent");
}

} // namespace
} // namespace JobsManagerD
