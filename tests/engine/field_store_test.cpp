// What each kind of value becomes in each kind of field.

#include <string>

#include "engine/sql_stack.h"
#include "storage/ovra_sql_field.h"
#include "storage/ovra_sql_memo_field.h"
#include "tests/engine/program.h"

namespace ovrasql {
namespace {

struct FieldStore : EngineTest {
    EngineFailure failure;
    SQL_Stack stack{&failure, false};
    OvraSQLField text{nullptr, "TEXT", kFieldCharacter, 5, 0};
    OvraSQLField number{nullptr, "NUMBER", kFieldNumeric, 10, 2};
    OvraSQLField whole{nullptr, "WHOLE", kFieldNumeric, 10, 0};
    OvraSQLField date{nullptr, "DATE", kFieldDate, 8, 0};
    OvraSQLField flag{nullptr, "FLAG", kFieldLogical, 1, 0};

    std::string Pop(OvraSQLField* field) {
        stack.PopField(field);
        EXPECT_EQ(stack.Count(), 0);
        return ToText(field->ValueText());
    }
    std::string Literal(OvraSQLField* field, TextView value) {
        stack.PushString(value);
        return Pop(field);
    }
};

TEST_F(FieldStore, IntegersRenderWithTheFieldsDecimals) {
    stack.PushInteger(-12);
    EXPECT_EQ(Pop(&number), "-12.00");
    stack.PushInteger(7);
    EXPECT_EQ(Pop(&whole), "7");
    stack.PushInteger(12345);
    EXPECT_EQ(Pop(&text), "12345");
    stack.PushInteger(0);
    EXPECT_EQ(Pop(&flag), "F");
    stack.PushInteger(-1);
    EXPECT_EQ(Pop(&flag), "T");
}

TEST_F(FieldStore, DoublesRoundInNumbersAndStayWholeElsewhere) {
    stack.PushDouble(2.345);
    EXPECT_EQ(Pop(&number), "2.35");  // nearest to the binary value, which is above the middle
    stack.PushDouble(-0.001);
    EXPECT_EQ(Pop(&number), "-0.00");
    stack.PushDouble(0.125);
    EXPECT_EQ(Pop(&text), "0.125");
}

TEST_F(FieldStore, ADoubleIsTrueByItsLowHalf) {
    stack.PushDouble(1.0);
    EXPECT_EQ(Pop(&flag), "F");
    stack.PushDouble(0.0);
    EXPECT_EQ(Pop(&flag), "F");
    stack.PushDouble(0.1);
    EXPECT_EQ(Pop(&flag), "T");
}

TEST_F(FieldStore, TextIntoABooleanGoesByItsTruth) {
    EXPECT_EQ(Literal(&flag, "F"), "T");
    EXPECT_EQ(Literal(&flag, "false"), "T");
    EXPECT_EQ(Literal(&flag, "0"), "F");
    EXPECT_EQ(Literal(&flag, "0.00"), "F");
    EXPECT_EQ(Literal(&flag, ""), "F");  // NULL
}

TEST_F(FieldStore, TextIntoANumberMustBeOne) {
    EXPECT_EQ(Literal(&number, "3"), "3.00");
    EXPECT_EQ(Literal(&number, "1e2"), "100.00");
    EXPECT_EQ(Literal(&number, ""), "0.00");  // NULL is zero, not blanks
    number.SetValue("9.99");
    EXPECT_EQ(Literal(&number, "abc"), "9.99");
    EXPECT_TRUE(failure.failed);
    EXPECT_EQ(ToText(failure.message.View()), "Data type mismatch");
}

TEST_F(FieldStore, TooWideANumberIsCutOnTheRight) {
    EXPECT_EQ(Literal(&number, "12345678.91"), "12345678.9");
    EXPECT_FALSE(failure.failed);
}

TEST_F(FieldStore, TextLosesTrailingWhiteSpace) {
    EXPECT_EQ(Literal(&text, "ab \t\n"), "ab");
    EXPECT_EQ(Literal(&text, "   "), "");
    EXPECT_EQ(Literal(&text, " ab"), " ab");
    EXPECT_EQ(Literal(&date, "20240101"), "20240101");
    EXPECT_EQ(Literal(&date, ""), "");
}

// The value in hand must equal the one that a later read gives, or its key could not be found.
TEST_F(FieldStore, ATextLosesTheBlanksThatItsCutLaysBare) {
    EXPECT_EQ(Literal(&text, "abc  def"), "abc");
    EXPECT_EQ(Literal(&text, "abcdef"), "abcde");
    EXPECT_EQ(Literal(&text, "abc\t def"), "abc\t");
    EXPECT_EQ(Literal(&text, "abc \tdef"), "abc \t");
}

TEST_F(FieldStore, ATextLosesTheBlanksInFrontOfItsNul) {
    EXPECT_EQ(Literal(&text, TextView("ab  \0q", 6)), "ab");
    EXPECT_EQ(Literal(&text, TextView("ab\0q", 4)), "ab");
    EXPECT_EQ(Literal(&text, TextView("ab \t\0q", 6)), "ab \t");
    EXPECT_EQ(Literal(&text, TextView("  \0", 3)), "");
    EXPECT_EQ(Literal(&text, TextView("abcd \0", 6)), "abcd");
}

// A date is read with its blanks, so those that its cut lays bare stay.
TEST_F(FieldStore, ADateIsTrimmedFirstAndCutThen) {
    EXPECT_EQ(Literal(&date, "202401  x"), "202401  ");
    EXPECT_EQ(Literal(&date, "202401   "), "202401");
}

TEST_F(FieldStore, AMemoKeepsItsTextWhole) {
    OvraSQLMemoField memo(nullptr, "MEMO", 10, 0);
    EXPECT_EQ(Literal(&memo, "a long text, with blanks behind it   "),
              "a long text, with blanks behind it   ");
}

TEST_F(FieldStore, AColumnIntoItselfIsLeftAlone) {
    flag.SetValue("X");
    stack.PushColumn(&flag, 0);
    EXPECT_EQ(Pop(&flag), "X");
    number.SetValue("junk");
    stack.PushColumn(&number, 0);
    EXPECT_EQ(Pop(&number), "junk");
    EXPECT_FALSE(failure.failed);
}

TEST_F(FieldStore, ColumnsAndCellsGoByTheirText) {
    whole.SetValue("42");
    stack.PushColumn(&whole, 0);
    EXPECT_EQ(Pop(&number), "42.00");
    stack.PushColumn(&whole, 0);
    EXPECT_EQ(Pop(&text), "42");
    SQLKeptResult cell;
    cell.SetDouble(1.5);
    stack.PushResult(&cell, StackHolder::kTemporary, 0);
    EXPECT_EQ(Pop(&number), "1.50");
    SQLKeptResult one;
    one.SetDouble(1.0);
    stack.PushResult(&one, StackHolder::kTemporary, 0);
    EXPECT_EQ(Pop(&flag), "T");  // by its text "1"
}

TEST_F(FieldStore, NothingStoresNothing) {
    text.SetValue("keep");
    stack.PushNothing();
    EXPECT_EQ(Pop(&text), "keep");
}

}  // namespace
}  // namespace ovrasql
