// String: its buffer, its search and its cuts. The operations that edit stand in
// string_edit_test.cpp.

#include "foundation/string.h"

#include <gtest/gtest.h>

#include <memory>
#include <new>
#include <utility>

#include "tests/foundation/foundation_support.h"

namespace ovrasql {
namespace {

TEST(String, HasNullTextUntilItHasAValue) {
    String text;
    EXPECT_TRUE(text.IsNull());
    EXPECT_STREQ(text.CText(), "");
    EXPECT_EQ(text.Length(), 0);
    EXPECT_EQ(text.Capacity(), 0);
    text.Assign("");
    EXPECT_FALSE(text.IsNull());
    EXPECT_EQ(text.Capacity(), 24);
    EXPECT_TRUE(text.IsEmpty());
}

TEST(String, AssigningNullOrNothingMakesAnEmptyTextWithABuffer) {
    String fromNull;
    fromNull.Assign(nullptr, 5);
    EXPECT_FALSE(fromNull.IsNull());
    EXPECT_EQ(fromNull.Capacity(), 24);
    String fromNothing;
    fromNothing.Assign("abc", 0);
    EXPECT_STREQ(fromNothing.CText(), "");
    EXPECT_EQ(fromNothing.Capacity(), 24);
}

TEST(String, MeasuresATextOfLengthMinusOne) {
    EXPECT_EQ(String(TextView("abc", -1)).Length(), 3);
    EXPECT_EQ(String(TextView("abc\0def", 7)).Length(), 7);
}

// The needed bytes are length + 1, rounded up to a multiple of 24.
TEST(String, TheCapacityMovesInStepsOf24) {
    const std::string letters(200, 'x');
    for (int32_t length : {1, 22, 23, 24, 46, 47, 48, 71, 72, 200}) {
        const String text(TextView(letters.data(), length));
        EXPECT_EQ(text.Capacity(), (length + 1 + 23) / 24 * 24) << length;
        EXPECT_EQ(text.Length(), length);
    }
}

TEST(String, AShorterAssignKeepsTheBuffer) {
    String text(View(std::string(100, 'x')));
    EXPECT_EQ(text.Capacity(), 120);
    text.Assign("short");
    EXPECT_EQ(text.Capacity(), 120);
    EXPECT_STREQ(text.CText(), "short");
}

TEST(String, AppendExtendsOnlyWhenTheTextAndItsNulPassTheCapacity) {
    String text(View(std::string(20, 'x')));
    text.Append("yyy");
    EXPECT_EQ(text.Length(), 23);
    EXPECT_EQ(text.Capacity(), 24);
    text.Append("z");
    EXPECT_EQ(text.Capacity(), 48);
    EXPECT_EQ(Std(text), std::string(20, 'x') + "yyyz");
}

TEST(String, AppendTakesALengthBesideTheText) {
    String text("ab");
    text.Append("cdef", 2);
    text.Append(nullptr, 2);
    EXPECT_STREQ(text.CText(), "abcd");
}

TEST(String, AppendOnNullTextWorksAsAssign) {
    String text;
    text.Append("");
    EXPECT_FALSE(text.IsNull());
    String other;
    other.Append("abc");
    EXPECT_STREQ(other.CText(), "abc");
}

TEST(String, AppendCharGrowsWhileTwoBytesAreStillLeft) {
    String text;
    text.AppendChar('a');
    EXPECT_EQ(text.Capacity(), 24);
    while (text.Length() < 22) {
        text.AppendChar('b');
    }
    EXPECT_EQ(text.Capacity(), 24);
    text.AppendChar('c');
    EXPECT_EQ(text.Capacity(), 48);
    EXPECT_EQ(Std(text), "a" + std::string(21, 'b') + "c");
}

TEST(String, TextOfManyPiecesIsWhole) {
    String text;
    std::string expected;
    for (int32_t number = 0; number < 20000; ++number) {
        text.AppendChar(static_cast<char>('a' + number % 26));
        expected.push_back(static_cast<char>('a' + number % 26));
        if (number % 100 == 0) {
            text.Append("--");
            expected += "--";
        }
    }
    EXPECT_EQ(Std(text), expected);
    EXPECT_EQ(text.Capacity() % 24, 0);
}

TEST(String, PrependPutsTextInFront) {
    String text("world");
    text.Prepend("hello ");
    EXPECT_STREQ(text.CText(), "hello world");
    EXPECT_EQ(text.Capacity(), 24);
    String empty;
    empty.Prepend("x");
    EXPECT_STREQ(empty.CText(), "x");
}

TEST(String, TakesItsOwnTextAsAnArgument) {
    String text("abcdefghijklmnopqrstuvw");
    text.Append(text);
    EXPECT_STREQ(text.CText(), "abcdefghijklmnopqrstuvwabcdefghijklmnopqrstuvw");
    text.Assign(text.View().Part(3, 4));
    EXPECT_STREQ(text.CText(), "defg");
    text.Prepend(text);
    EXPECT_STREQ(text.CText(), "defgdefg");
    text = text.View();
    EXPECT_STREQ(text.CText(), "defgdefg");
    const String& self = text;
    text = self;
    EXPECT_STREQ(text.CText(), "defgdefg");
}

TEST(String, CopiesAndMoves) {
    const String original("text");
    String copy(original);
    copy.Append("!");
    EXPECT_STREQ(original.CText(), "text");
    String moved(std::move(copy));
    EXPECT_STREQ(moved.CText(), "text!");
    String assigned("before");
    assigned = std::move(moved);
    EXPECT_STREQ(assigned.CText(), "text!");
    assigned = String();
    EXPECT_TRUE(assigned.IsNull());
    assigned = original;
    EXPECT_TRUE(assigned == original);
    EXPECT_TRUE(String(String()).IsNull());
}

TEST(String, TakesABufferOverWhenItHasRoomForTheNul) {
    auto buffer = std::make_unique<char[]>(10);
    std::memcpy(buffer.get(), "abcXXXXXXX", 10);
    const char* address = buffer.get();
    String text(std::move(buffer), 3, 10);
    EXPECT_EQ(text.CText(), address);
    EXPECT_STREQ(text.CText(), "abc");
    EXPECT_EQ(text.Capacity(), 10);
    text.Append("defghi");  // which fills it with its NUL
    EXPECT_EQ(text.CText(), address);
    EXPECT_EQ(text.Capacity(), 10);
    text.Append("jk");
    EXPECT_STREQ(text.CText(), "abcdefghijk");
}

TEST(String, CopiesABufferWithoutRoomForTheNul) {
    auto buffer = std::make_unique<char[]>(3);
    std::memcpy(buffer.get(), "abc", 3);
    String text("old");
    text.TakeBuffer(std::move(buffer), 3, 3);
    EXPECT_STREQ(text.CText(), "abc");
    EXPECT_EQ(text.Capacity(), 24);
}

TEST(String, NeverReadsBehindAGivenBuffer) {
    auto buffer = std::make_unique<char[]>(3);
    std::memcpy(buffer.get(), "abc", 3);
    String text;
    text.TakeBuffer(std::move(buffer), 50, 3);
    EXPECT_STREQ(text.CText(), "abc");
    auto measured = std::make_unique<char[]>(8);
    std::memcpy(measured.get(), "ab\0defgh", 8);
    text.TakeBuffer(std::move(measured), -1, 8);
    EXPECT_EQ(text.Length(), 2);
    text.TakeBuffer(nullptr, 4, 4);
    EXPECT_TRUE(text.IsNull());
}

TEST(String, AGivenBufferOfNoNulIsTextToItsEnd) {
    auto buffer = std::make_unique<char[]>(3);
    std::memcpy(buffer.get(), "abc", 3);
    String text;
    text.TakeBuffer(std::move(buffer), -1, 3);
    EXPECT_STREQ(text.CText(), "abc");
    text.TakeBuffer(std::make_unique<char[]>(3), 0, -1);
    EXPECT_TRUE(text.IsNull());
}

TEST(String, MovedToItselfItStaysAsItWas) {
    String text("abc");
    String& same = text;
    text = std::move(same);
    EXPECT_STREQ(text.CText(), "abc");
    EXPECT_EQ(text.Length(), 3);
}

// A start or a count outside the text is cut to what is there.
TEST(String, APartIsCutToTheText) {
    const TextView text("abcdef");
    EXPECT_TRUE(text.Part(2, 3) == TextView("cde"));
    EXPECT_TRUE(text.Part(-2, 3) == TextView("abc"));
    EXPECT_TRUE(text.Part(4, 9) == TextView("ef"));
    EXPECT_TRUE(text.Part(7).IsEmpty());
    EXPECT_TRUE(text.Part(6, 1).IsEmpty());
    EXPECT_TRUE(text.Part(5) == TextView("f"));
}

TEST(String, ClearGoesBackToNullText) {
    String text("abc");
    text.Clear();
    EXPECT_TRUE(text.IsNull());
    EXPECT_EQ(text.Capacity(), 0);
    EXPECT_EQ(text.Length(), 0);
}

// The views below claim more bytes than they have; they must be refused before they are read.
TEST(String, RefusesTextsPast2GiBAndStaysAsItWas) {
    String text("text");
    const TextView huge("x", 2147483640);
    EXPECT_THROW(text.Append(huge), std::bad_alloc);
    EXPECT_THROW(text.Prepend(huge), std::bad_alloc);
    EXPECT_THROW(text.Assign(huge), std::bad_alloc);
    EXPECT_THROW(static_cast<void>(String::Join({huge, huge})), std::bad_alloc);
    EXPECT_THROW(static_cast<void>(text.PadLeft(2147483647, ' ')), std::bad_alloc);
    EXPECT_STREQ(text.CText(), "text");
    EXPECT_EQ(text.Length(), 4);
}

TEST(String, JoinsPieces) {
    const String name("customers");
    EXPECT_STREQ(String::Join({"Unknown table '", name, "'"}).CText(), "Unknown table 'customers'");
    EXPECT_STREQ(String::Join({}).CText(), "");
    EXPECT_FALSE(String::Join({}).IsNull());
    EXPECT_EQ(String::Join({TextView("a\0b", 3), "c"}).Length(), 4);
}

TEST(String, ComparesByteForByte) {
    EXPECT_TRUE(String("abc") == "abc");
    EXPECT_FALSE(String("abc") == "ABC");
    EXPECT_TRUE(String() == "");
    EXPECT_FALSE(String(TextView("ab\0", 3)) == "ab");
    EXPECT_TRUE(TextView("abc") == String("abc"));
}

TEST(String, FindsTheFirstMatchAtOrAfterTheStart) {
    const String text("one two one");
    EXPECT_EQ(text.Find("one"), 0);
    EXPECT_EQ(text.Find("one", 1), 8);
    EXPECT_EQ(text.Find("one", 8), 8);
    EXPECT_EQ(text.Find("one", 9), -1);
    EXPECT_EQ(text.Find("One"), -1);
    EXPECT_EQ(text.Find("e", 10), 10);
    EXPECT_EQ(text.Find("one", -5), 0);
}

TEST(String, FindRefusesEmptyAndImpossibleSearches) {
    const String text("abc");
    EXPECT_EQ(text.Find(""), -1);
    EXPECT_EQ(text.Find("abcd"), -1);
    EXPECT_EQ(text.Find("a", 3), -1);
    EXPECT_EQ(text.Find("a", 400), -1);
    EXPECT_EQ(String().Find("a"), -1);
    EXPECT_EQ(String("").Find("a"), -1);
}

TEST(String, FindLooksThroughNulsAndHighBytes) {
    const String text(TextView("a\0b\xff\xfe", 5));
    EXPECT_EQ(text.Find(TextView("\0b", 2)), 1);
    EXPECT_EQ(text.Find("\xff\xfe"), 3);
}

TEST(String, ContainsAndCountsOverlappingMatches) {
    const String text("aaaa");
    EXPECT_TRUE(text.Contains("aa"));
    EXPECT_FALSE(text.Contains("aa", 3));
    EXPECT_EQ(text.CountOf("aa"), 3);
    EXPECT_EQ(text.CountOf("b"), 0);
    EXPECT_EQ(text.CountOf(""), 0);
}

TEST(String, LeftCutsAndIsNullForANegativeCount) {
    const String text("abcdef");
    EXPECT_STREQ(text.Left(3).CText(), "abc");
    EXPECT_STREQ(text.Left(6).CText(), "abcdef");
    EXPECT_STREQ(text.Left(99).CText(), "abcdef");
    EXPECT_STREQ(text.Left(0).CText(), "");
    EXPECT_FALSE(text.Left(0).IsNull());
    EXPECT_TRUE(text.Left(-1).IsNull());
}

TEST(String, SliceCutsItsEndToTheLength) {
    const String text("abcdef");
    EXPECT_STREQ(text.Slice(1, 3).CText(), "bc");
    EXPECT_STREQ(text.Slice(4, 99).CText(), "ef");
    EXPECT_STREQ(text.Slice(6, 9).CText(), "");
    EXPECT_STREQ(text.Slice(7, 9).CText(), "");
    EXPECT_STREQ(text.Slice(3, 2).CText(), "");
    EXPECT_STREQ(text.Slice(-5, 2).CText(), "ab");
}

TEST(String, FromAndAfterGiveTheRest) {
    const String text("abc");
    EXPECT_STREQ(text.From(1).CText(), "bc");
    EXPECT_STREQ(text.From(2).CText(), "c");
    EXPECT_STREQ(text.From(3).CText(), "");
    EXPECT_STREQ(text.From(2147483647).CText(), "");
    EXPECT_STREQ(text.After(0).CText(), "bc");
    EXPECT_STREQ(text.After(2).CText(), "");
    EXPECT_STREQ(text.After(2147483647).CText(), "");
}

TEST(String, CutsAroundMatches) {
    const String text("key=value=more");
    EXPECT_STREQ(text.AfterMatch("=").CText(), "value=more");
    EXPECT_STREQ(text.AfterMatch("=", 4).CText(), "more");
    EXPECT_STREQ(text.AfterMatch("?").CText(), "");
    EXPECT_STREQ(text.BeforeMatch("=").CText(), "key");
    EXPECT_STREQ(text.BeforeMatch("?").CText(), "key=value=more");
    EXPECT_STREQ(text.FromMatch("=").CText(), "=value=more");
    EXPECT_STREQ(text.FromMatch("=", 4).CText(), "=more");
    EXPECT_STREQ(text.FromMatch("?").CText(), "");
}

}  // namespace
}  // namespace ovrasql
