// The one comparison, through the comparing instructions: numbers or texts, folded or not, what
// stays on the stack.

#include <string>

#include "storage/ovra_sql_field.h"
#include "tests/engine/program.h"

namespace ovrasql {
namespace {

class CompareTest : public EngineTest {};

// The six comparisons of two literals, in the order = <> < > <= >=.
std::string SixOf(const std::string& left, const std::string& right, bool caseInsensitive = false) {
    std::string answers;
    for (int32_t opcode = SQL_Equal; opcode <= SQL_GreaterThanEqual; ++opcode) {
        Program program;
        program.Literal(left).Literal(right).Do(opcode);
        answers += Evaluate(program, caseInsensitive);
    }
    return answers;
}

constexpr const char* kEqual = "100011";
constexpr const char* kLess = "011010";
constexpr const char* kGreater = "010101";

TEST_F(CompareTest, TextsThatReadAsNumbersCompareAsNumbers) {
    EXPECT_EQ(SixOf("10", "9"), kGreater);
    EXPECT_EQ(SixOf("1.0", "1"), kEqual);
    EXPECT_EQ(SixOf("1e2", "100"), kEqual);
    EXPECT_EQ(SixOf("-5", "-1"), kLess);
    EXPECT_EQ(SixOf(" 7", "7"), kEqual);
    EXPECT_EQ(SixOf("inf", "1e300"), kGreater);
}

TEST_F(CompareTest, OneBadNumberMakesBothTexts) {
    EXPECT_EQ(SixOf("10", "9x"), kLess);
    EXPECT_EQ(SixOf("abc", "abd"), kLess);
    EXPECT_EQ(SixOf("abc", "ab"), kGreater);
    EXPECT_EQ(SixOf("a ", "a"), kGreater);
    EXPECT_EQ(SixOf("7 ", "7"), kGreater);  // a blank behind a number spoils it
}

TEST_F(CompareTest, NullIsZeroAmongNumbersAndLeastAmongTexts) {
    EXPECT_EQ(SixOf("", "0"), kEqual);
    EXPECT_EQ(SixOf("", "a"), kLess);
    EXPECT_EQ(SixOf("", ""), kEqual);
    EXPECT_EQ(SixOf("", "-1"), kGreater);
}

TEST_F(CompareTest, ANumberMeetsATextAsText) {
    Program program;
    program.Integer(12).Literal("12a").Do(SQL_LessThan);
    EXPECT_EQ(Evaluate(program), "1");
    Program doubles;
    doubles.Double("1.5").Literal("1.5x").Do(SQL_LessThan);
    EXPECT_EQ(Evaluate(doubles), "1");
}

TEST_F(CompareTest, ANanCountsAsGreater) {
    Program left;
    left.Literal("nan").Integer(1).Do(SQL_LessThan);
    EXPECT_EQ(Evaluate(left), "0");
    Program right;
    right.Integer(1).Literal("nan").Do(SQL_GreaterThan);
    EXPECT_EQ(Evaluate(right), "1");
    EXPECT_EQ(SixOf("nan", "nan"), kGreater);
}

TEST_F(CompareTest, FoldsCaseOnACaseInsensitiveDatabase) {
    EXPECT_EQ(SixOf("abc", "ABC", false), kGreater);
    EXPECT_EQ(SixOf("abc", "ABC", true), kEqual);
    EXPECT_EQ(SixOf("abd", "ABC", true), kGreater);
}

TEST_F(CompareTest, UpperAndLowerMakeAValueExact) {
    Program upper;
    upper.Literal("abc").Do(SQL_Upper).Literal("abc").Do(SQL_Equal);
    EXPECT_EQ(Evaluate(upper, true), "0");
    Program lower;
    lower.Literal("ABC").Literal("ABC").Do(SQL_Lower).Do(SQL_Equal);
    EXPECT_EQ(Evaluate(lower, true), "0");
    // A number that has gone through UPPER as a text is still compared as a number.
    Program number;
    number.Literal("1.0").Do(SQL_Upper).Literal("1").Do(SQL_Equal);
    EXPECT_EQ(Evaluate(number), "1");
}

TEST_F(CompareTest, SubstringIsAlwaysText) {
    Program program;
    program.Literal("x10").Integer(2).Do(SQL_Substring, 0).Literal("9").Do(SQL_LessThan);
    EXPECT_EQ(Evaluate(program), "1");
    // The empty substring is NULL, which compares as a number.
    Program empty;
    empty.Literal("x").Integer(2).Do(SQL_Substring, 0).Literal("0").Do(SQL_Equal);
    EXPECT_EQ(Evaluate(empty), "1");
}

TEST_F(CompareTest, KeepsAsManyOperandsAsAsked) {
    Program none;
    none.Integer(1).Integer(2).Do(SQL_LessThan, 0);
    EXPECT_EQ(Evaluate(none), "1");
    Program left;
    left.Literal("a").Literal("b").Do(SQL_LessThan, 1);
    EXPECT_EQ(Evaluate(left), "a|1");
    Program both;
    both.Integer(1).Literal("2").Do(SQL_GreaterThan, 2);
    EXPECT_EQ(Evaluate(both), "1|2|0");
    for (const int32_t keep : {-1, 3}) {
        Program bad;
        bad.Integer(1).Integer(2).Do(SQL_Equal, keep);
        EXPECT_EQ(Evaluate(bad), "error: Invalid instruction");
    }
}

struct ColumnCompareTest : CompareTest {
    EngineFailure failure;
    SQL_Stack stack{&failure, false};
    OvraSQLField text{nullptr, "A", kFieldCharacter, 10, 0};
    OvraSQLField number{nullptr, "B", kFieldNumeric, 10, 0};
    OvraSQLField memo{nullptr, "C", kFieldMemo, 10, 0};
};

TEST_F(ColumnCompareTest, CharacterColumnsNeverCompareAsNumbers) {
    text.SetValue("1.0");
    stack.PushColumn(&text, 0);
    stack.PushInteger(1);
    EXPECT_GT(stack.Compare(0, false), 0);  // "1.0" against "1"
    text.SetValue("10");
    stack.PushString("9");
    stack.PushColumn(&text, 0);
    EXPECT_GT(stack.Compare(0, false), 0);  // "9" against "10"
    memo.SetValue("10");
    stack.PushColumn(&memo, 0);
    stack.PushString("9");
    EXPECT_LT(stack.Compare(0, false), 0);
}

TEST_F(ColumnCompareTest, NumericColumnsDo) {
    number.SetValue("10");
    stack.PushColumn(&number, 0);
    stack.PushString("9");
    EXPECT_GT(stack.Compare(0, false), 0);
    number.SetValue("9");
    stack.PushColumn(&number, 0);
    stack.PushString("10");
    EXPECT_LT(stack.Compare(0, false), 0);
}

TEST_F(ColumnCompareTest, ACopiedColumnMayCompareAsANumberAgain) {
    text.SetValue("10");
    stack.PushColumn(&text, 0);
    stack.CopyTop();
    stack.PushString("9");
    EXPECT_GT(stack.Compare(0, false), 0);
}

TEST_F(ColumnCompareTest, FoldingCanBeForced) {
    text.SetValue("abc");
    stack.PushColumn(&text, 0);
    stack.PushString("ABC");
    EXPECT_EQ(stack.Compare(0, true), 0);
    stack.PushColumn(&text, 0);
    stack.Upper();
    stack.PushString("abc");
    EXPECT_LT(stack.Compare(0, true), 0);  // an exact value stays exact
}

TEST_F(ColumnCompareTest, CellsCompareByTheirTextFirst) {
    SQLKeptResult cell;
    cell.SetInteger(10);
    stack.PushResult(&cell, StackHolder::kBucket, 0);
    stack.PushString("9");
    EXPECT_GT(stack.Compare(0, false), 0);
    cell.SetString("x", true);
    stack.PushResult(&cell, StackHolder::kBucket, 0);
    stack.PushString("y");
    EXPECT_LT(stack.Compare(0, false), 0);
    SQLKeptResult empty;
    stack.PushResult(&empty, StackHolder::kBucket, 0);
    stack.PushInteger(0);
    EXPECT_EQ(stack.Compare(0, false), 0);
    EXPECT_TRUE(empty.IsNull());
    stack.PushNothing();
    stack.PushString("a");
    EXPECT_LT(stack.Compare(0, false), 0);
}

TEST_F(ColumnCompareTest, AKeptLeftOperandCanBeComparedAgain) {
    stack.PushCopy("b");
    stack.PushString("a");
    EXPECT_GT(stack.Compare(1, false), 0);
    stack.PushString("c");
    EXPECT_LT(stack.Compare(1, false), 0);
    EXPECT_EQ(ToText(stack.PopText()), "b");
}

}  // namespace
}  // namespace ovrasql
