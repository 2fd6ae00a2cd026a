// Numbers to text. The reverse stands in parse_number_test.cpp, runs against the C library in
// number_differential_test.cpp.

#include "foundation/number_text.h"

#include <gtest/gtest.h>

#include <limits>
#include <new>

#include "tests/foundation/allocation_count.h"
#include "tests/foundation/foundation_support.h"

namespace ovrasql {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

// Both forms must agree, and the text must end with a NUL.
std::string Text(double value, int32_t decimals) {
    char out[kNumberTextRoom];
    const int32_t length = FormatDouble(value, decimals, out, kNumberTextRoom);
    EXPECT_EQ(length, static_cast<int32_t>(std::string(out).size()));
    const String owned = DoubleToText(value, decimals);
    EXPECT_EQ(Std(owned), std::string(out));
    return out;
}

TEST(DoubleToText, PadsToTheDecimalsAsked) {
    EXPECT_EQ(Text(1.5, 2), "1.50");
    EXPECT_EQ(Text(12, 2), "12.00");
    EXPECT_EQ(Text(12, 0), "12");
    EXPECT_EQ(Text(0, 3), "0.000");
    EXPECT_EQ(Text(0.05, 2), "0.05");
    EXPECT_EQ(Text(0.05, 4), "0.0500");
    EXPECT_EQ(Text(123.456, 3), "123.456");
}

TEST(DoubleToText, RoundsTheExactValueTiesToEven) {
    EXPECT_EQ(Text(0.125, 2), "0.12");
    EXPECT_EQ(Text(0.375, 2), "0.38");
    EXPECT_EQ(Text(2.5, 0), "2");
    EXPECT_EQ(Text(3.5, 0), "4");
    EXPECT_EQ(Text(0.5, 0), "0");
    EXPECT_EQ(Text(1.005, 2), "1.00");       // the double lies below 1.005
    EXPECT_EQ(Text(1.015, 2), "1.01");       // and this one below 1.015
    EXPECT_EQ(Text(999.995, 2), "1000.00");  // above it
    EXPECT_EQ(Text(99.96, 1), "100.0");
}

TEST(DoubleToText, GivesZerosForAValueThatRoundsAway) {
    EXPECT_EQ(Text(0.001, 2), "0.00");
    EXPECT_EQ(Text(0.006, 2), "0.01");
    EXPECT_EQ(Text(0.4, 0), "0");
    EXPECT_EQ(Text(1e-30, 20), "0.00000000000000000000");
    EXPECT_EQ(Text(1e-300, 255), "0." + std::string(255, '0'));
}

TEST(DoubleToText, KeepsTheSignOfNegativeZeroAndOfWhatRoundsAway) {
    EXPECT_EQ(Text(-0.0, 2), "-0.00");
    EXPECT_EQ(Text(-0.0, -1), "-0");
    EXPECT_EQ(Text(-0.001, 2), "-0.00");
    EXPECT_EQ(Text(-0.5, 0), "-0");
    EXPECT_EQ(Text(-1e-30, -1), "-0");
    EXPECT_EQ(Text(-1.5, 2), "-1.50");
}

TEST(DoubleToText, ByDefaultGivesTheShortestDigitsWithoutPadding) {
    EXPECT_EQ(Text(0.1, -1), "0.1");
    EXPECT_EQ(Text(0.05, -1), "0.05");
    EXPECT_EQ(Text(12, -1), "12");
    EXPECT_EQ(Text(-1.5, -1), "-1.5");
    EXPECT_EQ(Text(0.1 + 0.2, -1), "0.30000000000000004");
    EXPECT_EQ(Text(1.0 / 3, -1), "0.3333333333333333");
    EXPECT_EQ(Text(100.0 / 3, -1), "33.333333333333336");
    EXPECT_EQ(Text(123456.000001, -1), "123456.000001");
}

TEST(DoubleToText, ByDefaultCutsAtTwentyDecimals) {
    EXPECT_EQ(Text(1.2345678901234567e-10, -1), "0.00000000012345678901");
    EXPECT_EQ(Text(1e-20, -1), "0.00000000000000000001");
    EXPECT_EQ(Text(1e-21, -1), "0");
    EXPECT_EQ(Text(6e-21, -1), "0.00000000000000000001");
}

// Plain printing of the exact binary value would show digits that nobody wrote.
TEST(DoubleToText, PadsShortDigitsInsteadOfShowingTheBinaryValue) {
    EXPECT_EQ(Text(0.1, 17), "0.10000000000000000");
    EXPECT_EQ(Text(0.1, 20), "0.10000000000000000000");
    EXPECT_EQ(Text(0.1, 30), "0.1" + std::string(29, '0'));
    EXPECT_EQ(Text(9223372036854775807.0, -1), "9223372036854776000");
    EXPECT_EQ(Text(9223372036854775807.0, 1), "9223372036854776000.0");
    EXPECT_EQ(Text(1e23, 0), "1" + std::string(23, '0'));
    EXPECT_EQ(Text(-1e23, -1), "-1" + std::string(23, '0'));
}

TEST(DoubleToText, WholeNumbersAreExactUpTo2To53) {
    EXPECT_EQ(Text(9007199254740991.0, -1), "9007199254740991");
    EXPECT_EQ(Text(9007199254740992.0, -1), "9007199254740992");
    EXPECT_EQ(Text(9007199254740994.0, 2), "9007199254740994.00");
    EXPECT_EQ(Text(-9007199254740991.0, 1), "-9007199254740991.0");
    EXPECT_EQ(Text(4294967296.0, 0), "4294967296");
}

TEST(DoubleToText, HasRoomForTheLongestTexts) {
    const std::string most = "17976931348623157" + std::string(292, '0');
    EXPECT_EQ(Text(std::numeric_limits<double>::max(), -1), most);
    EXPECT_EQ(Text(std::numeric_limits<double>::lowest(), 255),
              "-" + most + "." + std::string(255, '0'));
    EXPECT_EQ(Text(5e-324, 255), "0." + std::string(255, '0'));
}

TEST(DoubleToText, GivesWordsForInfinitiesAndNaN) {
    EXPECT_EQ(Text(kInfinity, 2), "Infinity");
    EXPECT_EQ(Text(-kInfinity, -1), "-Infinity");
    EXPECT_EQ(Text(kNaN, 0), "NaN");
    EXPECT_EQ(Text(-kNaN, 2), "-NaN");
    EXPECT_EQ(DoubleToText(-kInfinity, 2).Capacity(), 10);
    EXPECT_EQ(DoubleToText(kNaN, 2).Capacity(), 4);
}

// Decimals + 3 + the number of digits or the place of the point, and 1 when the point stands at 0.
TEST(DoubleToText, StatesTheSizeOfTheDigitsAndDecimalsAsked) {
    EXPECT_EQ(DoubleToText(1.5, 2).Capacity(), 2 + 3 + 2);       // 15, the point at 1
    EXPECT_EQ(DoubleToText(12, 2).Capacity(), 2 + 3 + 2);        // 12, at 2
    EXPECT_EQ(DoubleToText(1200, 2).Capacity(), 2 + 3 + 4);      // 12, at 4
    EXPECT_EQ(DoubleToText(0.25, 2).Capacity(), 2 + 3 + 2 + 1);  // 25, at 0
    EXPECT_EQ(DoubleToText(0.05, 2).Capacity(), 2 + 3 + 1);      // 5, at -1
    EXPECT_EQ(DoubleToText(0.001, 2).Capacity(), 2 + 3 + 0);     // no digit, at -2
    EXPECT_EQ(DoubleToText(-0.0, 2).Capacity(), 2 + 3 + 1);      // 0, at 1
    EXPECT_EQ(DoubleToText(0.4, 0).Capacity(), 0 + 3 + 0 + 1);   // no digit, at 0
    EXPECT_EQ(DoubleToText(1e23, 0).Capacity(), 0 + 3 + 24);     // 1, at 24
    EXPECT_EQ(DoubleToText(12, -1).Capacity(), -1 + 3 + 2);      // 12, at 2
    EXPECT_EQ(DoubleToText(0.1 + 0.2, -1).Capacity(), -1 + 3 + 17 + 1);
    EXPECT_EQ(DoubleToText(1234.5, -2).Capacity(), -2 + 3 + 4);  // 12, at 4
    EXPECT_EQ(DoubleToText(0.5, 1000).Capacity(), 1000 + 3 + 1 + 1);
}

TEST(DoubleToText, StatesWhatTheTextNeedsWhereThatIsMore) {
    EXPECT_EQ(DoubleToText(-1.5, -1).Capacity(), 5);
    EXPECT_EQ(DoubleToText(0.05, -1).Capacity(), 5);
    EXPECT_EQ(DoubleToText(-0.001, 2).Capacity(), 6);
    EXPECT_EQ(DoubleToText(-1200, -2).Capacity(), 6);
}

TEST(DoubleToText, TakesMoreDecimalsThanTheUsualRoom) {
    EXPECT_EQ(Std(DoubleToText(0.5, 1000)), "0.5" + std::string(999, '0'));
    EXPECT_EQ(Std(DoubleToText(-7, 700)), "-7." + std::string(700, '0'));
    EXPECT_EQ(DoubleToText(5e-324, 1074).Length(), 1076);
}

TEST(DoubleToText, RefusesATextOf2GiB) {
    EXPECT_THROW(static_cast<void>(DoubleToText(0.5, std::numeric_limits<int32_t>::max())),
                 std::bad_alloc);
}

TEST(DoubleToText, RoundsInFrontOfThePointForOtherNegativeDecimals) {
    EXPECT_EQ(Text(1234.5, -2), "1200");
    EXPECT_EQ(Text(-1250, -2), "-1200");
    EXPECT_EQ(Text(1250.5, -2), "1300");
}

TEST(FormatDouble, WritesNothingWhenTheTextAndItsNulDoNotFit) {
    char out[] = "untouched";
    EXPECT_EQ(FormatDouble(12.5, 2, out, 5), -1);
    EXPECT_EQ(FormatDouble(12, 2, out, 5), -1);
    EXPECT_EQ(FormatDouble(1.0 / 3, -1, out, 10), -1);
    EXPECT_EQ(FormatDouble(kInfinity, 2, out, 8), -1);
    EXPECT_EQ(FormatDouble(1, 0, out, 0), -1);
    EXPECT_STREQ(out, "untouched");
    EXPECT_EQ(FormatDouble(12.5, 2, out, 6), 5);
    EXPECT_STREQ(out, "12.50");
}

TEST(FormatDouble, AllocatesNothing) {
    char out[kNumberTextRoom];
    int64_t written = 0;
    const int64_t before = AllocationCount();
    for (double value : {1.5, 1.0 / 3, 1e300, 5e-324, -0.001, 12345.678, kInfinity}) {
        for (int32_t decimals = -1; decimals < 60; ++decimals) {
            written += FormatDouble(value, decimals, out, kNumberTextRoom);
        }
    }
    written += FormatInteger(-12345, out, kNumberTextRoom);
    EXPECT_EQ(AllocationCount(), before);
    EXPECT_GT(written, 0);
}

std::string IntegerText(int32_t value) {
    char out[16];
    const int32_t length = FormatInteger(value, out, 16);
    EXPECT_EQ(length, static_cast<int32_t>(std::string(out).size()));
    const String owned = IntegerToText(value);
    EXPECT_EQ(Std(owned), std::string(out));
    EXPECT_EQ(owned.Capacity(), owned.Length() + 1);
    return out;
}

TEST(IntegerToText, GivesPlainDigits) {
    EXPECT_EQ(IntegerText(0), "0");
    EXPECT_EQ(IntegerText(7), "7");
    EXPECT_EQ(IntegerText(-7), "-7");
    EXPECT_EQ(IntegerText(2147483647), "2147483647");
}

TEST(IntegerToText, TheSmallestValueHas11BytesInABufferOf12) {
    EXPECT_EQ(IntegerText(std::numeric_limits<int32_t>::min()), "-2147483648");
    EXPECT_EQ(IntegerToText(std::numeric_limits<int32_t>::min()).Length(), 11);
    EXPECT_EQ(IntegerToText(std::numeric_limits<int32_t>::min()).Capacity(), 12);
}

TEST(IntegerToText, EveryPowerOfTenAndItsNeighbours) {
    for (int32_t power = 1; power <= 1000000000; power *= 10) {
        EXPECT_EQ(IntegerText(power), std::to_string(power));
        EXPECT_EQ(IntegerText(power - 1), std::to_string(power - 1));
        EXPECT_EQ(IntegerText(-power), std::to_string(-power));
        if (power == 1000000000) {
            break;
        }
    }
}

TEST(FormatInteger, WritesNothingWhenItDoesNotFit) {
    char out[] = "untouched";
    EXPECT_EQ(FormatInteger(1234, out, 4), -1);
    EXPECT_STREQ(out, "untouched");
    EXPECT_EQ(FormatInteger(1234, out, 5), 4);
    EXPECT_STREQ(out, "1234");
}

TEST(FormatUnsigned, TakesTheWholeRange) {
    char out[24];
    EXPECT_EQ(FormatUnsigned(std::numeric_limits<uint64_t>::max(), out, 24), 20);
    EXPECT_STREQ(out, "18446744073709551615");
    EXPECT_EQ(FormatUnsigned(4294967295u, out, 24), 10);
    EXPECT_STREQ(out, "4294967295");
}

}  // namespace
}  // namespace ovrasql
