// The order of index keys: by value where both are numbers, by bytes otherwise.

#include "tests/storage/index_support.h"

namespace ovrasql {
namespace {

int32_t Exact(const char* first, const char* second, int32_t flags = 0) {
    return OvraSQLIndex::CompareKeys(first, second, true, flags);
}

int32_t Prefix(const char* first, const char* second, int32_t flags = 0) {
    return OvraSQLIndex::CompareKeys(first, second, false, flags);
}

TEST(IndexCompare, NumbersCompareByValue) {
    EXPECT_EQ(Exact("0010", "10.0"), 0);
    EXPECT_EQ(Exact("9", "10"), -1);
    EXPECT_EQ(Exact("10", "9"), 1);
    EXPECT_EQ(Exact("-2", "-1"), -1);
    EXPECT_EQ(Exact("1E2", "99"), 1);
    EXPECT_EQ(Exact(" 7", "+7"), 0);  // leading blanks and a sign belong to a number
    EXPECT_EQ(Exact("0X10", "16"), 0);
    EXPECT_EQ(Exact("-0", "0"), 0);
}

// Whatever a number can begin with makes one, in either case of its letters.
TEST(IndexCompare, NumbersBeginWithAPointOrALetterToo) {
    EXPECT_EQ(Exact(".5", "0.5"), 0);
    EXPECT_EQ(Exact(".25", ".5"), -1);
    EXPECT_EQ(Exact("5", "inf"), -1);
    EXPECT_EQ(Exact("inf", "Infinity"), 0);
    EXPECT_EQ(Exact("nan", "nan"), -1);
    EXPECT_EQ(Exact("nil", "nil"), 0);  // no number: the same bytes
    EXPECT_EQ(Exact("item", "5"), 1);
    EXPECT_EQ(Exact("5", "name"), -1);
}

TEST(IndexCompare, TheTextFlagComparesBytesOnly) {
    EXPECT_EQ(Exact("9", "10", kIndexTextOnly), 1);
    EXPECT_EQ(Exact("0010", "10.0", kIndexTextOnly), -1);
    EXPECT_EQ(Exact("10", "10", kIndexTextOnly), 0);
}

// One text that is not a number in whole makes both texts.
TEST(IndexCompare, TextsCompareByUnsignedBytes) {
    EXPECT_EQ(Exact("10X", "9"), -1);
    EXPECT_EQ(Exact("9", "10X"), 1);
    EXPECT_EQ(Exact("7 ", "7"), 1);  // a blank behind it: no number
    EXPECT_EQ(Exact("AB", "ABC"), -1);
    EXPECT_EQ(Exact("ABC", "AB"), 1);
    EXPECT_EQ(Exact("ABC", "ABC"), 0);
    EXPECT_EQ(Exact("\xC4", "Z"), 1);
    EXPECT_EQ(Exact("00042:1", "42:1"), -1);  // keys of several columns are texts
    EXPECT_EQ(Exact("00-5", "0003"), -1);     // as is a negative number behind padding
}

TEST(IndexCompare, TheEmptyTextIsZero) {
    EXPECT_EQ(Exact("", "0"), 0);
    EXPECT_EQ(Exact("0.00", ""), 0);
    EXPECT_EQ(Exact("", "-1"), 1);
    EXPECT_EQ(Exact("", ""), 0);
    EXPECT_EQ(Exact("", "A"), -1);
    EXPECT_EQ(Exact("", "0", kIndexTextOnly), -1);
    EXPECT_EQ(Exact("  ", "0"), -1);  // blanks alone are no number
}

// The second overflow test looks at the first value: only a first text that overflows, or a first
// infinity by name beside a second text that overflows, leaves the comparison to the bytes.
TEST(IndexCompare, OnlyTheFirstOverflowTurnsNumbersOff) {
    EXPECT_EQ(Exact("1E999", "2"), -1);     // as bytes
    EXPECT_EQ(Exact("1E999", "1E998"), 1);  // as bytes: 999 and 998
    EXPECT_EQ(Exact("2", "1E999"), -1);     // as numbers: bytes would give 1
    EXPECT_EQ(Exact("2", "-1E999"), 1);
    EXPECT_EQ(Exact("INF", "1E999"), 1);  // as bytes: values would be equal
    EXPECT_EQ(Exact("INF", "5"), 1);
    EXPECT_EQ(Exact("-INF", "5"), -1);
    EXPECT_EQ(Exact("INF", "INFINITY"), 0);
}

TEST(IndexCompare, NotANumberIsBelowEverythingAndItself) {
    EXPECT_EQ(Exact("NAN", "5"), -1);
    EXPECT_EQ(Exact("5", "NAN"), -1);
    EXPECT_EQ(Exact("NAN", "NAN"), -1);
    EXPECT_EQ(Exact("NAN", "NAN", kIndexTextOnly), 0);
    EXPECT_EQ(Exact("NAN", "NAN", kIndexDescending), 1);
}

TEST(IndexCompare, APrefixEqualsWhateverBeginsWithIt) {
    EXPECT_EQ(Prefix("AB", "ABC"), 0);
    EXPECT_EQ(Prefix("AB", "AB"), 0);
    EXPECT_EQ(Prefix("ABC", "AB"), 1);
    EXPECT_EQ(Prefix("AB", "AC"), -1);
    EXPECT_EQ(Prefix("", "Z"), 0);
    EXPECT_EQ(Prefix("9", "10"), 1);  // never by value
    EXPECT_EQ(Prefix("10", "0010"), 1);
    EXPECT_EQ(Prefix("\xC4", "Z"), 1);
    EXPECT_EQ(Prefix("1", "10", kIndexTextOnly), 0);
}

TEST(IndexCompare, DescendingNegatesEveryKindOfComparison) {
    EXPECT_EQ(Exact("9", "10", kIndexDescending), 1);
    EXPECT_EQ(Exact("A", "B", kIndexDescending), 1);
    EXPECT_EQ(Exact("10", "9", kIndexDescending | kIndexTextOnly), 1);
    EXPECT_EQ(Prefix("AB", "AC", kIndexDescending), 1);
    EXPECT_EQ(Prefix("AB", "ABC", kIndexDescending), 0);
    EXPECT_EQ(Exact("A", "A", kIndexDescending), 0);
}

// A column of width 19 in a key: more digits than a double holds.
TEST(IndexCompare, LongNumbersCompareAsDoubles) {
    EXPECT_EQ(Exact("9007199254740993", "9007199254740992"), 0);  // 2^53 + 1 and 2^53
    EXPECT_EQ(Exact("0000000000000000041", "0000000000000000042"), -1);
    EXPECT_EQ(Exact("9007199254740993", "9007199254740992", kIndexTextOnly), 1);
}

}  // namespace
}  // namespace ovrasql
