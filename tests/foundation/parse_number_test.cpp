#include <gtest/gtest.h>

#include <bit>
#include <clocale>
#include <cmath>
#include <limits>

#include "foundation/number_text.h"
#include "tests/foundation/allocation_count.h"
#include "tests/foundation/foundation_support.h"

namespace ovrasql {
namespace {

// The value, or a word for an error, so that one comparison sees both.
struct Parsed {
    double value = 0;
    int32_t error = 0;
    bool operator==(const Parsed& other) const {
        return std::bit_cast<uint64_t>(value) == std::bit_cast<uint64_t>(other.value) &&
               error == other.error;
    }
};

void PrintTo(const Parsed& parsed, std::ostream* out) {
    *out << parsed.value << " error " << parsed.error;
}

Parsed Parse(TextView text) {
    Parsed parsed;
    parsed.value = TextToDouble(text, &parsed.error);
    return parsed;
}

Parsed Value(double value) { return Parsed{value, 0}; }
const Parsed kRefused{0, 1};

TEST(TextToDouble, ReadsPlainDecimals) {
    EXPECT_EQ(Parse("0"), Value(0));
    EXPECT_EQ(Parse("-0"), Value(-0.0));
    EXPECT_EQ(Parse("42"), Value(42));
    EXPECT_EQ(Parse("-1.5"), Value(-1.5));
    EXPECT_EQ(Parse("0.1"), Value(0.1));
    EXPECT_EQ(Parse(".5"), Value(0.5));
    EXPECT_EQ(Parse("5."), Value(5));
    EXPECT_EQ(Parse("00000042.50"), Value(42.5));
}

// Every digit counts for the rounding, also those past what a word holds.
TEST(TextToDouble, RoundsCorrectlyAtAnyLength) {
    EXPECT_EQ(Parse("9007199254740993"), Value(9007199254740992.0));
    EXPECT_EQ(Parse("9007199254740993.0"), Value(9007199254740992.0));
    EXPECT_EQ(Parse("9007199254740993.00000000000000000000000001"), Value(9007199254740994.0));
    EXPECT_EQ(Parse("18446744073709551615"), Value(18446744073709551616.0));
    EXPECT_EQ(Parse("18446744073709551616"), Value(18446744073709551616.0));
    EXPECT_EQ(Parse("9999999999999999999"), Value(1e19));
    EXPECT_EQ(Parse("0.00000000000000000000000000000000000001"), Value(1e-38));
    EXPECT_EQ(Parse("0000000000000000000000000000000000007"), Value(7));
    const std::string longOne = "1" + std::string(400, '0');
    EXPECT_EQ(Parse(View(longOne)), (Parsed{kInfinity, 1}));
    const std::string manyDigits = "0." + std::string(5000, '3');
    EXPECT_EQ(Parse(View(manyDigits)), Value(1.0 / 3));
}

TEST(TextToDouble, TakesWhiteSpaceInFrontAndASign) {
    EXPECT_EQ(Parse(" \t\n\v\f\r7"), Value(7));
    EXPECT_EQ(Parse("+7.25"), Value(7.25));
    EXPECT_EQ(Parse("  -7"), Value(-7));
    EXPECT_EQ(Parse("7 "), kRefused);
    EXPECT_EQ(Parse("- 7"), kRefused);
    EXPECT_EQ(Parse("+-7"), kRefused);
}

TEST(TextToDouble, TakesExponents) {
    EXPECT_EQ(Parse("1e3"), Value(1000));
    EXPECT_EQ(Parse("1E+3"), Value(1000));
    EXPECT_EQ(Parse("-2.5e-3"), Value(-0.0025));
    EXPECT_EQ(Parse("1e"), kRefused);
    EXPECT_EQ(Parse("1e+"), kRefused);
    EXPECT_EQ(Parse("e5"), kRefused);
    EXPECT_EQ(Parse("0e999999999999999999999"), Value(0));
}

TEST(TextToDouble, TakesHexadecimals) {
    EXPECT_EQ(Parse("0x10"), Value(16));
    EXPECT_EQ(Parse("0X1.8p1"), Value(3));
    EXPECT_EQ(Parse("-0x.8"), Value(-0.5));
    EXPECT_EQ(Parse("0x1p-1074"), Value(5e-324));
    EXPECT_EQ(Parse("0x"), kRefused);
    EXPECT_EQ(Parse("0x."), kRefused);
    EXPECT_EQ(Parse("0x1p"), kRefused);
    EXPECT_EQ(Parse("0xg"), kRefused);
}

TEST(TextToDouble, ReadsTheSpecialWordsInAnyCase) {
    EXPECT_EQ(Parse("inf"), Value(kInfinity));
    EXPECT_EQ(Parse("Infinity"), Value(kInfinity));
    EXPECT_EQ(Parse("-INF"), Value(-kInfinity));
    EXPECT_EQ(Parse("-infinity"), Value(-kInfinity));
    EXPECT_TRUE(std::isnan(Parse("nan").value));
    EXPECT_FALSE(std::signbit(Parse("NaN").value));
    EXPECT_TRUE(std::isnan(Parse("-NAN").value));
    EXPECT_TRUE(std::signbit(Parse("-nan").value));
    EXPECT_EQ(Parse("nan").error, 0);
}

// With a plus sign or a blank in front the words are not told by their length any more; the number
// rules take the same words.
TEST(TextToDouble, ReadsTheWordsBehindAPlusSignAndBlanks) {
    EXPECT_EQ(Parse("+inf"), Value(kInfinity));
    EXPECT_EQ(Parse("+Infinity"), Value(kInfinity));
    EXPECT_EQ(Parse(" -inf"), Value(-kInfinity));
    EXPECT_TRUE(std::isnan(Parse("+nan").value));
    EXPECT_TRUE(std::isnan(Parse("nan(12_a)").value));
    EXPECT_TRUE(std::isnan(Parse(" nan()").value));
    EXPECT_EQ(Parse("nan(").error, 1);
    EXPECT_EQ(Parse("nan(-)").error, 1);
    EXPECT_EQ(Parse("nan(12").error, 1);
    EXPECT_EQ(Parse("infinit").error, 1);
    EXPECT_EQ(Parse("+-inf").error, 1);
}

TEST(TextToDouble, RefusesWhatIsNotWhollyANumber) {
    EXPECT_EQ(Parse("12x"), kRefused);
    EXPECT_EQ(Parse("abc"), kRefused);
    EXPECT_EQ(Parse("-"), kRefused);
    EXPECT_EQ(Parse("."), kRefused);
    EXPECT_EQ(Parse("   "), kRefused);
    EXPECT_EQ(Parse("1.2.3"), kRefused);
    EXPECT_EQ(Parse("--1"), kRefused);
    EXPECT_EQ(Parse(TextView("1\0", 2)), kRefused);
    EXPECT_EQ(Parse("1,5"), kRefused);
}

TEST(TextToDouble, EmptyTextIsZeroWithoutAnError) { EXPECT_EQ(Parse(""), Value(0)); }

TEST(TextToDouble, TooLargeGivesAnInfinityAndAnError) {
    EXPECT_EQ(Parse("1e999"), (Parsed{kInfinity, 1}));
    EXPECT_EQ(Parse("-1e999"), (Parsed{-kInfinity, 1}));
    EXPECT_EQ(Parse("0x1p1024"), (Parsed{kInfinity, 1}));
    EXPECT_EQ(Parse("1e99999999999999999999"), (Parsed{kInfinity, 1}));
    EXPECT_EQ(Parse("1.7976931348623157e308"), Value(std::numeric_limits<double>::max()));
    EXPECT_EQ(Parse("1.7976931348623159e308"), (Parsed{kInfinity, 1}));
}

TEST(TextToDouble, TooSmallGivesZeroWithoutAnError) {
    EXPECT_EQ(Parse("1e-999"), Value(0));
    EXPECT_EQ(Parse("-1e-999"), Value(-0.0));
    EXPECT_EQ(Parse("1e-99999999999999999999"), Value(0));
    EXPECT_EQ(Parse("0x1p-9999"), Value(0));
    EXPECT_EQ(Parse("4.9e-324"), Value(5e-324));
}

TEST(TextToDouble, LeavesTheErrorAloneOnSuccessAndTakesNone) {
    int32_t error = 5;
    EXPECT_EQ(TextToDouble("1.5", &error), 1.5);
    EXPECT_EQ(TextToDouble("inf", &error), kInfinity);
    EXPECT_EQ(error, 5);
    EXPECT_EQ(TextToDouble("12x", nullptr), 0);
    EXPECT_EQ(TextToDouble("1e999", nullptr), kInfinity);
}

// A text between two others is read to its own length only.
TEST(TextToDouble, ReadsACountedTextWithoutATerminator) {
    const char row[] = "12345678";
    EXPECT_EQ(Parse(TextView(row + 2, 3)), Value(345));
    EXPECT_EQ(Parse(TextView(row, 0)), Value(0));
}

TEST(TextToDouble, DoesNotFollowTheProcessLocale) {
    const char* const locales[] = {"de_DE.UTF-8", "de_DE.utf8", "fr_FR.UTF-8"};
    for (const char* name : locales) {
        if (std::setlocale(LC_ALL, name) != nullptr) {
            break;
        }
    }
    EXPECT_EQ(Parse("1.5"), Value(1.5));
    EXPECT_EQ(Parse("1.5e1"), Value(15));
    EXPECT_EQ(Parse("1,5"), kRefused);
    EXPECT_EQ(Std(DoubleToText(1.0 / 3, 3)), "0.333");
    EXPECT_EQ(Std(DoubleToText(1.0 / 3, -1)), "0.3333333333333333");
    std::setlocale(LC_ALL, "C");
}

TEST(TextToDouble, AllocatesNothing) {
    const std::string manyDigits = "0." + std::string(300, '3');
    double sum = 0;
    const int64_t before = AllocationCount();
    for (const char* text : {"12.5", "1e5", "0x1.8p1", " nan(1)", "1e-300", "inf", "junk"}) {
        sum += std::isnan(TextToDouble(text, nullptr)) ? 1 : 0;
    }
    sum += TextToDouble(View(manyDigits), nullptr);
    EXPECT_EQ(AllocationCount(), before);
    EXPECT_GT(sum, 1);
}

TEST(ParseNumber, KeepsTheValueAndWhetherItIsOne) {
    EXPECT_EQ(ParseNumber("12.5").value, 12.5);
    EXPECT_TRUE(ParseNumber("12.5").valid);
    EXPECT_FALSE(ParseNumber("12x").valid);
    EXPECT_EQ(ParseNumber("12x").value, 0);
    EXPECT_TRUE(ParseNumber("").valid);
    EXPECT_FALSE(ParseNumber("1e999").valid);
}

struct WholeNumber {
    int32_t value;
    int32_t error;
    bool operator==(const WholeNumber&) const = default;
};

void PrintTo(const WholeNumber& number, std::ostream* out) {
    *out << number.value << " error " << number.error;
}

WholeNumber Whole(TextView text) {
    WholeNumber number{0, 0};
    number.value = TextToInteger(text, &number.error);
    return number;
}

TEST(TextToInteger, ReadsASignAndDigits) {
    EXPECT_EQ(Whole("0"), (WholeNumber{0, 0}));
    EXPECT_EQ(Whole("42"), (WholeNumber{42, 0}));
    EXPECT_EQ(Whole("-42"), (WholeNumber{-42, 0}));
    EXPECT_EQ(Whole("007"), (WholeNumber{7, 0}));
    EXPECT_EQ(Whole("2147483647"), (WholeNumber{2147483647, 0}));
}

TEST(TextToInteger, ALoneMinusIsZeroWithoutAnError) { EXPECT_EQ(Whole("-"), (WholeNumber{0, 0})); }

TEST(TextToInteger, RefusesAnythingElse) {
    for (const char* text : {"12x", "x", "+1", " 1", "1 ", "1.5", "--1", "-x", "1-"}) {
        EXPECT_EQ(Whole(text), (WholeNumber{0, 1})) << text;
    }
    EXPECT_EQ(Whole(""), (WholeNumber{0, 1}));
}

TEST(TextToInteger, WrapsAt32BitsWithoutAnError) {
    constexpr int32_t kLeast = std::numeric_limits<int32_t>::min();
    EXPECT_EQ(Whole("-2147483648"), (WholeNumber{kLeast, 0}));
    EXPECT_EQ(Whole("2147483648"), (WholeNumber{kLeast, 0}));
    EXPECT_EQ(Whole("4294967295"), (WholeNumber{-1, 0}));
    EXPECT_EQ(Whole("4294967296"), (WholeNumber{0, 0}));
    EXPECT_EQ(Whole("-4294967297"), (WholeNumber{-1, 0}));
    EXPECT_EQ(Whole("100000000000000000000000000000000007"), (WholeNumber{7, 0}));
}

TEST(TextToInteger, LeavesTheErrorAloneOnSuccessAndTakesNone) {
    int32_t error = 9;
    EXPECT_EQ(TextToInteger("3", &error), 3);
    EXPECT_EQ(error, 9);
    EXPECT_EQ(TextToInteger("x", nullptr), 0);
}

TEST(TextToIntegerC, ReadsTheHeadOfTheText) {
    EXPECT_EQ(TextToIntegerC("42"), 42);
    EXPECT_EQ(TextToIntegerC(" \t\v+42abc"), 42);
    EXPECT_EQ(TextToIntegerC("-42.9"), -42);
    EXPECT_EQ(TextToIntegerC(""), 0);
    EXPECT_EQ(TextToIntegerC("abc"), 0);
    EXPECT_EQ(TextToIntegerC("- 1"), 0);
    EXPECT_EQ(TextToIntegerC("-"), 0);
    EXPECT_EQ(TextToIntegerC(TextView("123", 2)), 12);
}

TEST(TextToIntegerC, HoldsValuesInRange) {
    EXPECT_EQ(TextToIntegerC("2147483647"), 2147483647);
    EXPECT_EQ(TextToIntegerC("2147483648"), 2147483647);
    EXPECT_EQ(TextToIntegerC("-2147483648"), std::numeric_limits<int32_t>::min());
    EXPECT_EQ(TextToIntegerC("-2147483649"), std::numeric_limits<int32_t>::min());
    EXPECT_EQ(TextToIntegerC("99999999999999999999999999"), 2147483647);
    EXPECT_EQ(TextToIntegerC("-99999999999999999999999999"), std::numeric_limits<int32_t>::min());
}

}  // namespace
}  // namespace ovrasql
