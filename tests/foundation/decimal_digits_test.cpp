#include "foundation/decimal_digits.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

namespace ovrasql {
namespace {

struct Made {
    std::string digits;
    int32_t count;
    int32_t point;
    int32_t negative;
};

// Written as "digits@point", with '-' in front for a sign.
std::string Digits(double value, int32_t mode, int32_t asked) {
    char buffer[2000] = "unset";
    Made made{"", 0, 0, 0};
    made.count =
        DoubleToDigits(buffer, sizeof(buffer), value, mode, asked, &made.point, &made.negative);
    EXPECT_EQ(made.count, static_cast<int32_t>(std::string(buffer).size()));
    return (made.negative != 0 ? "-" : "") + std::string(buffer) + "@" + std::to_string(made.point);
}

TEST(DoubleToDigits, Mode0GivesTheShortestDigits) {
    EXPECT_EQ(Digits(0.1, 0, 0), "1@0");
    EXPECT_EQ(Digits(1.0 / 3, 0, 0), "3333333333333333@0");
    EXPECT_EQ(Digits(1e23, 0, 0), "1@24");
    EXPECT_EQ(Digits(5e-324, 0, 0), "5@-323");
    EXPECT_EQ(Digits(-120, 1, 0), "-12@3");
}

TEST(DoubleToDigits, Mode2RoundsToDigitsAndDropsTrailingZeros) {
    EXPECT_EQ(Digits(1234.5, 2, 2), "12@4");
    EXPECT_EQ(Digits(1999.0, 2, 3), "2@4");
    EXPECT_EQ(Digits(2.5, 2, 1), "2@1");
    EXPECT_EQ(Digits(3.5, 2, 1), "4@1");
    EXPECT_EQ(Digits(1234.5, 2, -7), "1@4");
    EXPECT_EQ(Digits(0.1, 2, 20), "10000000000000000555@0");
}

TEST(DoubleToDigits, Mode3RoundsTheExactValueAtADecimal) {
    EXPECT_EQ(Digits(0.1, 3, 20), "10000000000000000555@0");
    EXPECT_EQ(Digits(0.125, 3, 2), "12@0");
    EXPECT_EQ(Digits(0.375, 3, 2), "38@0");
    EXPECT_EQ(Digits(0.05, 3, 2), "5@-1");
    EXPECT_EQ(Digits(9.995, 3, 2), "999@1");  // the double lies below 9.995
    EXPECT_EQ(Digits(99.96, 3, 1), "1@3");
    EXPECT_EQ(Digits(120, 3, 0), "12@3");
}

TEST(DoubleToDigits, Mode3OfNegativeDecimalsRoundsInFrontOfThePoint) {
    EXPECT_EQ(Digits(1234, 3, -2), "12@4");
    EXPECT_EQ(Digits(1250, 3, -2), "12@4");
    EXPECT_EQ(Digits(1350, 3, -2), "14@4");
    EXPECT_EQ(Digits(51, 3, -2), "1@3");
    EXPECT_EQ(Digits(50, 3, -2), "@2");
    EXPECT_EQ(Digits(7, 3, -2), "@2");
    EXPECT_EQ(Digits(1e22, 3, -2000000000), "@767");
}

TEST(DoubleToDigits, AValueThatRoundsAwayHasNoDigitAndThePointAtTheDecimals) {
    EXPECT_EQ(Digits(0.001, 5, 2), "@-2");
    EXPECT_EQ(Digits(0.4, 3, 0), "@0");
    EXPECT_EQ(Digits(0.5, 3, 0), "@0");  // a tie goes to the even 0
    EXPECT_EQ(Digits(0.6, 3, 0), "1@1");
    EXPECT_EQ(Digits(-1e-30, 5, 20), "-@-20");
}

TEST(DoubleToDigits, Modes4And5PreferTheShortestDigits) {
    EXPECT_EQ(Digits(0.1, 5, 20), "1@0");
    EXPECT_EQ(Digits(0.1, 4, 20), "1@0");
    EXPECT_EQ(Digits(1.0 / 3, 5, 4), "3333@0");
    EXPECT_EQ(Digits(1.0 / 3, 4, 4), "3333@0");
    EXPECT_EQ(Digits(9223372036854775807.0, 5, 20), "9223372036854776@19");
    EXPECT_EQ(Digits(1.2345678901234567e-10, 5, 20), "12345678901@-9");
    EXPECT_EQ(Digits(1e23, 5, 0), "1@24");
}

TEST(DoubleToDigits, ZeroIsOneDigitWithThePointBehindIt) {
    EXPECT_EQ(Digits(0.0, 5, 2), "0@1");
    EXPECT_EQ(Digits(-0.0, 5, 2), "-0@1");
    char small[1] = {'x'};
    int32_t point = 0;
    int32_t negative = 0;
    EXPECT_EQ(DoubleToDigits(small, 1, 0.0, 5, 2, &point, &negative), -1);
    EXPECT_EQ(small[0], 'x');
    EXPECT_EQ(point, 1);
}

TEST(DoubleToDigits, InfinityAndNaNGiveAWordIfThereIsRoom) {
    char buffer[16] = "";
    int32_t point = 0;
    int32_t negative = 0;
    const double infinity = std::numeric_limits<double>::infinity();
    EXPECT_EQ(DoubleToDigits(buffer, 9, -infinity, 5, 2, &point, &negative), 0);
    EXPECT_STREQ(buffer, "Infinity");
    EXPECT_EQ(point, 9999);
    EXPECT_EQ(negative, 1);
    const double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(DoubleToDigits(buffer, 4, nan, 5, 2, &point, &negative), 0);
    EXPECT_STREQ(buffer, "NaN");
    EXPECT_EQ(negative, 0);
    char unwritten[] = "untouched";
    EXPECT_EQ(DoubleToDigits(unwritten, 8, infinity, 5, 2, &point, &negative), 0);
    EXPECT_EQ(DoubleToDigits(unwritten, 3, nan, 5, 2, &point, &negative), 0);
    EXPECT_STREQ(unwritten, "untouched");
}

TEST(DoubleToDigits, ABufferTooSmallIsNotWritten) {
    char buffer[] = "untouched";
    int32_t point = 0;
    int32_t negative = 0;
    EXPECT_EQ(DoubleToDigits(buffer, 3, 123.0, 0, 0, &point, &negative), -1);
    EXPECT_STREQ(buffer, "untouched");
    EXPECT_EQ(DoubleToDigits(buffer, 4, 123.0, 0, 0, &point, &negative), 3);
    EXPECT_STREQ(buffer, "123");
}

TEST(DoubleToDigits, TakesTheLargestRequests) {
    EXPECT_EQ(Digits(5e-324, 3, 2000000000).size(), 751u + 5);
    EXPECT_EQ(Digits(1.7976931348623157e308, 3, 2000000000).size(), 309u + 4);
    EXPECT_EQ(Digits(5e-324, 2, 2000000000).size(), 751u + 5);
}

}  // namespace
}  // namespace ovrasql
