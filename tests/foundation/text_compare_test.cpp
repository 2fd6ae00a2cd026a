#include "foundation/text_compare.h"

#include <gtest/gtest.h>

#include "foundation/text_hash.h"
#include "tests/foundation/foundation_support.h"

namespace ovrasql {
namespace {

TEST(CompareNoCase, GivesMinusOneZeroOrOne) {
    EXPECT_EQ(CompareNoCase("abc", "ABC", 3), 0);
    EXPECT_EQ(CompareNoCase("abd", "ABC", 3), 1);
    EXPECT_EQ(CompareNoCase("abb", "ABC", 3), -1);
    EXPECT_EQ(CompareNoCase("abx", "ABY", 2), 0);
    EXPECT_EQ(CompareNoCase("a", "b", 0), 0);
}

TEST(CompareNoCase, DoesNotStopAtANul) {
    EXPECT_EQ(CompareNoCase("a\0b", "A\0c", 3), -1);
    EXPECT_EQ(CompareNoCase("a\0B", "A\0b", 3), 0);
}

TEST(CompareNoCase, HighBytesAreGreaterThanLettersAndDoNotFold) {
    EXPECT_EQ(CompareNoCase("\xff", "z", 1), 1);
    EXPECT_EQ(CompareNoCase("\xe4", "\xc4", 1), 1);
}

// '_' lies between the upper and the lower letters, so the direction of folding decides.
TEST(CompareNoCase, DiffersFromTheUpperCaseFormBetweenTheCases) {
    EXPECT_EQ(CompareNoCase("_", "a", 1), -1);
    EXPECT_EQ(CompareNoCaseUpper("_", "a", 1), 1);
    EXPECT_EQ(CompareNoCaseUpper("abc", "ABC", 3), 0);
    EXPECT_EQ(CompareNoCaseUpper("a", "b", 0), 0);
    EXPECT_EQ(CompareNoCaseUpper("a", "B", 1), -1);
}

TEST(EqualsNoCase, NeedsEqualLengths) {
    EXPECT_TRUE(EqualsNoCase("Select", "SELECT"));
    EXPECT_FALSE(EqualsNoCase("Select", "SELECT "));
    EXPECT_TRUE(EqualsNoCase("", ""));
}

TEST(CharacterClasses, AreThoseOfTheCLocale) {
    for (int code = 0; code < 256; ++code) {
        const char c = static_cast<char>(code);
        const bool upper = code >= 'A' && code <= 'Z';
        const bool lower = code >= 'a' && code <= 'z';
        const bool digit = code >= '0' && code <= '9';
        EXPECT_EQ(IsAlpha(c), upper || lower) << code;
        EXPECT_EQ(IsDigit(c), digit) << code;
        EXPECT_EQ(IsAlnum(c), upper || lower || digit) << code;
        EXPECT_EQ(IsSpace(c), code == 32 || (code >= 9 && code <= 13)) << code;
        EXPECT_EQ(IsTrimSpace(c), code == 32 || code == 9 || code == 10 || code == 13) << code;
        EXPECT_EQ(IsPrintable(c), code >= 32 && code <= 126) << code;
        EXPECT_EQ(static_cast<uint8_t>(ToLower(c)), upper ? code + 32 : code);
        EXPECT_EQ(static_cast<uint8_t>(ToUpper(c)), lower ? code - 32 : code);
    }
}

// Worked out by hand from the published steps with a second program.
TEST(TextHash, GivesThePublishedHash) {
    EXPECT_EQ(HashText(""), 0xBD49D10Du);
    EXPECT_EQ(HashText("a"), 0x29EEC818u);
    EXPECT_EQ(HashText("abcdefgh"), 0x053F775Eu);
    EXPECT_EQ(HashText("abcdefghijk"), 0xE52B8E4Cu);
    EXPECT_EQ(HashText("abcdefghijkl"), 0x0B1B3EA5u);
    EXPECT_EQ(HashText("the quick brown fox jumps"), 0xB78C7C4Du);
    EXPECT_EQ(HashText(TextView("\xff\x80\x00\x01", 4)), 0x01D62FBAu);
    EXPECT_EQ(HashText("abc", 7), 0x2F61DCABu);
}

TEST(TextHash, IgnoringCaseHashesTheLowerCaseText) {
    EXPECT_EQ(HashTextNoCase("The Quick BROWN fox Jumps"), HashText("the quick brown fox jumps"));
    EXPECT_EQ(HashTextNoCase("ABC", 7), HashText("abc", 7));
    EXPECT_NE(HashText("A"), HashText("a"));
    EXPECT_EQ(HashTextNoCase("\xc4"), HashText("\xc4"));
}

}  // namespace
}  // namespace ovrasql
