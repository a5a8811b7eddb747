#include "fsutil/Times.h"

#include <algorithm>
#include <cstdlib>
#include <gtest/gtest.h>

namespace JobsManagerD {
namespace {

/// The text with each digit as a 0.
std::string Shape(std::string text) {
    std::ranges::replace_if(
        text, [](char c) { return c >= '1' && c <= '9'; }, '0');
    return text;
}

TEST(Times, AnEmptyFormatBecomesTheOneOfItsKind) {
    std::string format;
    EXPECT_EQ(Shape(GetFormattedTime(true, format)), "0000-00-00T00:00:00Z");
    EXPECT_EQ(format, "%Y-%m-%dT%H:%M:%SZ");
    format.clear();
    EXPECT_EQ(Shape(GetFormattedTime(false, format)), "0000-00-00-00-00-00");
    EXPECT_EQ(format, "%Y-%m-%d-%H-%M-%S");
    EXPECT_EQ(Shape(UtcTimeText()), "0000-00-00T00:00:00Z");
    EXPECT_EQ(Shape(LocalTimeText()), "0000-00-00-00-00-00");
}

TEST(Times, AGivenFormatIsUsedAndStays) {
    std::string format = "job %% of";
    EXPECT_EQ(GetFormattedTime(true, format), "job % of");
    EXPECT_EQ(format, "job %% of");
    format = std::string(79, 'x');
    EXPECT_EQ(GetFormattedTime(false, format), format);
    format = std::string(80, 'x');
    EXPECT_EQ(GetFormattedTime(false, format), "") << "longer than a time text may be";
}

TEST(Times, LocalTimeFollowsTheZoneOfTheUnit) {
    setenv("TZ", "UNIT-05:30", 1);
    tzset();
    std::string format = "%z";
    EXPECT_EQ(GetFormattedTime(false, format), "+0530");
    EXPECT_EQ(GetFormattedTime(true, format), "+0000");
    unsetenv("TZ");
    tzset();
}

TEST(Times, ElapsedTimeHasMicrosecondsAndCanStartAnew) {
    timeval start{};
    gettimeofday(&start, nullptr);
    const timeval later{start.tv_sec, start.tv_usec};
    start.tv_sec -= 1000;
    start.tv_usec = 0;
    const double elapsed = GetElapsedTime(start, false);
    EXPECT_GE(elapsed, 1000.0 + static_cast<double>(later.tv_usec) / 1e6 - 1e-9);
    EXPECT_GE(GetElapsedTime(start, true), elapsed);
    EXPECT_TRUE(!timercmp(&start, &later, <)) << "the start is now";
}

} // namespace
} // namespace JobsManagerD
