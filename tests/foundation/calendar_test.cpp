#include "foundation/calendar.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <limits>

namespace ovrasql {
namespace {

// 951 827 696 is the leap day of 2000, 12:34:56.
TEST(Calendar, BreaksUniversalTimeDown) {
    std::tm time{};
    ASSERT_TRUE(GmTime(951827696, &time));
    EXPECT_EQ(time.tm_year, 100);
    EXPECT_EQ(time.tm_mon, 1);
    EXPECT_EQ(time.tm_mday, 29);
    EXPECT_EQ(time.tm_hour, 12);
    EXPECT_EQ(time.tm_min, 34);
    EXPECT_EQ(time.tm_sec, 56);
    EXPECT_EQ(time.tm_wday, 2);
    EXPECT_EQ(time.tm_yday, 59);
}

TEST(Calendar, BreaksTimesBefore1970Down) {
    std::tm time{};
    ASSERT_TRUE(GmTime(-1, &time));
    EXPECT_EQ(time.tm_year, 69);
    EXPECT_EQ(time.tm_hour, 23);
    EXPECT_EQ(time.tm_sec, 59);
}

TEST(Calendar, LocalTimeReadsBackAsTheSameSecond) {
    std::tm time{};
    ASSERT_TRUE(LocalTime(951827696, &time));
    EXPECT_EQ(std::mktime(&time), 951827696);
}

TEST(Calendar, ATimeWithoutACalendarDateZeroFillsTheRecord) {
    std::tm time{};
    time.tm_year = 77;
    time.tm_mday = 5;
    EXPECT_FALSE(GmTime(std::numeric_limits<int64_t>::max(), &time));
    EXPECT_EQ(time.tm_year, 0);
    EXPECT_EQ(time.tm_mday, 0);
    time.tm_year = 77;
    EXPECT_FALSE(LocalTime(std::numeric_limits<int64_t>::max(), &time));
    EXPECT_EQ(time.tm_year, 0);
}

TEST(Calendar, NowIsBetweenTwoLooksAtTheClock) {
    const std::time_t before = std::time(nullptr);
    ClockTime now;
    ASSERT_TRUE(CurrentTime(&now));
    const std::time_t after = std::time(nullptr);
    // std::time may read a coarser clock that lags by a tick.
    EXPECT_GE(now.seconds, static_cast<int64_t>(before));
    EXPECT_LE(now.seconds, static_cast<int64_t>(after) + 1);
    EXPECT_EQ(now.microseconds % 1000, 0);
    EXPECT_GE(now.microseconds, 0);
    EXPECT_LT(now.microseconds, 1000000);
}

}  // namespace
}  // namespace ovrasql
