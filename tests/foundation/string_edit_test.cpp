// String: the operations that edit the text or give an edited copy.

#include <gtest/gtest.h>

#include "foundation/string.h"
#include "tests/foundation/foundation_support.h"

namespace ovrasql {
namespace {

std::string Replaced(TextView text, TextView needle, TextView replacement) {
    String edited(text);
    edited.Replace(needle, replacement);
    return Std(edited);
}

TEST(StringReplace, ReplacesEveryMatchAndScansOnBehindIt) {
    EXPECT_EQ(Replaced("a.b.c", ".", "::"), "a::b::c");
    EXPECT_EQ(Replaced("aaaa", "aa", "b"), "bb");
    EXPECT_EQ(Replaced("aaa", "aa", "a"), "aa");
    EXPECT_EQ(Replaced("a", "a", "aa"), "aa");
    EXPECT_EQ(Replaced("xaxa", "a", ""), "xx");
}

TEST(StringReplace, ANullReplacementRemovesTheMatches) {
    String text("a-b-c");
    text.Replace("-", TextView(nullptr, 0));
    EXPECT_STREQ(text.CText(), "abc");
}

TEST(StringReplace, AStringWithoutAMatchIsLeftAlone) {
    String text("abc");
    const char* address = text.CText();
    text.Replace("x", "y");
    EXPECT_EQ(text.CText(), address);
    String null;
    null.Replace("x", "y");
    EXPECT_TRUE(null.IsNull());
}

std::string SplitText(TextView text, int32_t maxParts, TextView delimiter) {
    String parts[8];
    const int32_t count = String(text).Split(parts, maxParts, delimiter);
    std::string shown = std::to_string(count) + ":";
    for (int32_t index = 0; index < count; ++index) {
        shown += "[" + Std(parts[index]) + "]";
    }
    return shown;
}

TEST(StringSplit, GivesThePiecesBetweenDelimiters) {
    EXPECT_EQ(SplitText("a,b,c", 8, ","), "3:[a][b][c]");
    EXPECT_EQ(SplitText("a, b, c", 8, ", "), "3:[a][b][c]");
    EXPECT_EQ(SplitText("abc", 8, ","), "1:[abc]");
    EXPECT_EQ(SplitText(",a,,b", 8, ","), "4:[][a][][b]");
}

TEST(StringSplit, DoesNotCountAnEmptyLastPiece) {
    EXPECT_EQ(SplitText("a,b,", 8, ","), "2:[a][b]");
    EXPECT_EQ(SplitText("a,,", 8, ","), "2:[a][]");
    EXPECT_EQ(SplitText("", 8, ","), "0:");
}

TEST(StringSplit, StopsAtTheMostParts) {
    EXPECT_EQ(SplitText("a,b,c", 2, ","), "2:[a][b]");
    EXPECT_EQ(SplitText("a,b,c", 0, ","), "0:");
}

TEST(StringSplit, AnEmptyDelimiterGivesTheWholeText) {
    EXPECT_EQ(SplitText("a,b", 8, ""), "1:[a,b]");
}

TEST(StringEqualsFromNoCase, ComparesTheRestOfTheString) {
    const String text("table.DBF");
    EXPECT_TRUE(text.EqualsFromNoCase(".dbf", 5));
    EXPECT_FALSE(text.EqualsFromNoCase(".dbt", 5));
    EXPECT_FALSE(text.EqualsFromNoCase(".dbfx", 5));
    EXPECT_FALSE(text.EqualsFromNoCase("table", 0));
    EXPECT_TRUE(text.EqualsFromNoCase("TABLE.dbf", 0));
    EXPECT_TRUE(text.EqualsFromNoCase("", 9));
    EXPECT_FALSE(text.EqualsFromNoCase("", 10));
    EXPECT_FALSE(text.EqualsFromNoCase("", -1));
}

// Upper case decides: '[' lies between the cases and differs from '{', which it does not fold to.
TEST(StringEqualsFromNoCase, FoldsLettersOnly) {
    EXPECT_FALSE(String("[").EqualsFromNoCase("{", 0));
    EXPECT_FALSE(String("\xe4").EqualsFromNoCase("\xc4", 0));
}

TEST(StringFolding, FoldsAsciiLettersInPlaceAndInCopies) {
    String text("MiXed 12\xc4_Z");
    EXPECT_STREQ(text.Lowered().CText(), "mixed 12\xc4_z");
    EXPECT_STREQ(text.Uppered().CText(), "MIXED 12\xc4_Z");
    text.ToLower();
    EXPECT_STREQ(text.CText(), "mixed 12\xc4_z");
    text.ToUpper();
    EXPECT_STREQ(text.CText(), "MIXED 12\xc4_Z");
    String null;
    null.ToUpper();
    null.ToLower();
    EXPECT_TRUE(null.IsNull());
    EXPECT_TRUE(null.Lowered().IsNull());
}

TEST(StringPadding, FillsUpToTheWidth) {
    const String text("42");
    EXPECT_STREQ(text.PadLeft(5, '0').CText(), "00042");
    EXPECT_STREQ(text.PadRight(5, ' ').CText(), "42   ");
    EXPECT_STREQ(text.PadLeft(2, '0').CText(), "42");
    EXPECT_STREQ(text.PadRight(1, '0').CText(), "42");
    EXPECT_STREQ(text.PadLeft(-3, '0').CText(), "42");
    EXPECT_STREQ(String().PadLeft(3, 'x').CText(), "xxx");
    EXPECT_STREQ(text.CText(), "42");
    EXPECT_EQ(text.PadLeft(24, '0').Capacity(), 48);
}

std::string Trimmed(TextView text) {
    String edited(text);
    edited.Trim();
    return Std(edited);
}

TEST(StringTrim, DropsTabNewlineReturnAndBlank) {
    EXPECT_EQ(Trimmed(" \t\r\n a b \t\r\n "), "a b");
    EXPECT_EQ(Trimmed("   "), "");
    EXPECT_EQ(Trimmed("abc"), "abc");
    EXPECT_EQ(Trimmed(""), "");
}

// Vertical tab and form feed are white space elsewhere, here not; nor is a NUL.
TEST(StringTrim, KeepsOtherControlCharacters) {
    EXPECT_EQ(Trimmed("\va\f"), "\va\f");
    EXPECT_EQ(Trimmed(TextView("\0 ", 2)), std::string("\0", 1));
}

TEST(StringTrim, TrimLeftLeavesTheEnd) {
    String text("  a  ");
    text.TrimLeft();
    EXPECT_STREQ(text.CText(), "a  ");
}

TEST(StringTrim, DoesNothingToNullText) {
    String null;
    null.Trim();
    null.TrimLeft();
    null.CollapseWhiteSpace();
    EXPECT_TRUE(null.IsNull());
}

TEST(StringCollapse, CutsEachRunToItsFirstCharacter) {
    String text("a  b\t\n c \n");
    text.CollapseWhiteSpace();
    EXPECT_STREQ(text.CText(), "a b\tc ");
    String plain("abc");
    plain.CollapseWhiteSpace();
    EXPECT_STREQ(plain.CText(), "abc");
}

}  // namespace
}  // namespace ovrasql
