// The operand stack: limits, and every conversion of every kind of entry.

#include "engine/sql_stack.h"

#include <cmath>
#include <limits>
#include <memory>
#include <string>

#include "storage/ovra_sql_field.h"
#include "tests/engine/program.h"

namespace ovrasql {
namespace {

struct StackTest : testing::Test {
    EngineFailure failure;
    SQL_Stack stack{&failure, false};

    std::string Message() { return ToText(failure.message.View()); }
};

TEST_F(StackTest, HoldsTwoThousandAndFortySix) {
    for (int32_t i = 0; i < 2046; ++i) {
        stack.PushInteger(i);
    }
    EXPECT_FALSE(failure.failed);
    stack.PushInteger(0);
    EXPECT_TRUE(failure.failed);
    EXPECT_EQ(Message(), "Stack overflow");
    EXPECT_EQ(stack.Count(), 2046);
    EXPECT_EQ(stack.PopInteger(), 2045);
}

TEST_F(StackTest, EveryPushFailsOnAFullStack) {
    SQL_Stack small(&failure, false, 1);
    small.PushNull();
    OvraSQLField field(nullptr, "A", kFieldCharacter, 5, 0);
    SQLKeptResult result;
    const auto fails = [this, &small](auto push) {
        failure.failed = false;
        push();
        return failure.failed && small.Count() == 1 && Message() == "Stack overflow";
    };
    EXPECT_TRUE(fails([&] { small.PushInteger(1); }));
    EXPECT_TRUE(fails([&] { small.PushDouble(1); }));
    EXPECT_TRUE(fails([&] { small.PushString("a"); }));
    EXPECT_TRUE(fails([&] { small.PushCopy("a"); }));
    EXPECT_TRUE(fails([&] { small.PushNull(); }));
    EXPECT_TRUE(fails([&] { small.PushNothing(); }));
    EXPECT_TRUE(fails([&] { small.PushColumn(&field, 0); }));
    EXPECT_TRUE(fails([&] { small.PushResult(&result, StackHolder::kBucket, 0); }));
}

TEST_F(StackTest, EveryPopOfAnEmptyStackIsNeutral) {
    OvraSQLField field(nullptr, "A", kFieldCharacter, 5, 0);
    field.SetValue("keep");
    SQLKeptResult result;
    const auto fails = [this](auto pop) {
        failure.failed = false;
        pop();
        return failure.failed && stack.Count() == 0 && Message() == "Stack underflow";
    };
    EXPECT_TRUE(fails([&] { stack.PopDiscard(); }));
    EXPECT_TRUE(fails([&] { EXPECT_FALSE(stack.PopBoolean()); }));
    EXPECT_TRUE(fails([&] { EXPECT_EQ(stack.PopInteger(), 0); }));
    EXPECT_TRUE(fails([&] { EXPECT_EQ(stack.PopDouble(), 0.0); }));
    EXPECT_TRUE(fails([&] { EXPECT_TRUE(stack.PopText().IsEmpty()); }));
    EXPECT_TRUE(fails([&] { stack.PopResult(&result, true); }));
    EXPECT_TRUE(fails([&] { stack.PopField(&field); }));
    EXPECT_TRUE(fails([&] { EXPECT_TRUE(stack.IsTopNull()); }));
    EXPECT_TRUE(fails([&] { EXPECT_TRUE(stack.PopIsNull()); }));
    EXPECT_TRUE(fails([&] { stack.CopyTop(); }));
    EXPECT_TRUE(fails([&] { EXPECT_EQ(stack.Compare(0, false), 0); }));
    EXPECT_EQ(ToText(field.ValueText()), "keep");
    EXPECT_TRUE(result.IsNull());
}

TEST_F(StackTest, CompareNeedsTwo) {
    stack.PushInteger(1);
    EXPECT_EQ(stack.Compare(0, false), 0);
    EXPECT_EQ(Message(), "Stack underflow");
    EXPECT_EQ(stack.Count(), 1);
}

// One row of the conversion table: what an entry gives as boolean, integer, double and text.
struct Conversions {
    bool boolean;
    int32_t integer;
    double number;
    std::string text;
    bool isNull;
};

template <typename Push>
void ExpectConversions(SQL_Stack* stack, Push push, const Conversions& expected) {
    push();
    EXPECT_EQ(stack->PopBoolean(), expected.boolean) << expected.text;
    push();
    EXPECT_EQ(stack->PopInteger(), expected.integer) << expected.text;
    push();
    EXPECT_EQ(stack->PopDouble(), expected.number) << expected.text;
    push();
    EXPECT_EQ(ToText(stack->PopText()), expected.text);
    push();
    EXPECT_EQ(stack->IsTopNull(), expected.isNull) << expected.text;
    EXPECT_EQ(stack->PopIsNull(), expected.isNull) << expected.text;
    EXPECT_EQ(stack->Count(), 0);
}

TEST_F(StackTest, ConvertsIntegers) {
    ExpectConversions(&stack, [&] { stack.PushInteger(0); }, {false, 0, 0.0, "0", false});
    ExpectConversions(&stack, [&] { stack.PushInteger(-12); }, {true, -12, -12.0, "-12", false});
    constexpr int32_t kLeast = std::numeric_limits<int32_t>::min();
    ExpectConversions(&stack, [&] { stack.PushInteger(kLeast); },
                      {true, kLeast, -2147483648.0, "-2147483648", false});
}

TEST_F(StackTest, ConvertsDoubles) {
    ExpectConversions(&stack, [&] { stack.PushDouble(0.0); }, {false, 0, 0.0, "0", false});
    ExpectConversions(&stack, [&] { stack.PushDouble(-2.75); }, {true, -2, -2.75, "-2.75", false});
    ExpectConversions(&stack, [&] { stack.PushDouble(9223372036854775807.0); },
                      {true, std::numeric_limits<int32_t>::min(), 9223372036854775807.0,
                       "9223372036854776000", false});
    stack.PushDouble(std::nan(""));
    EXPECT_TRUE(stack.PopBoolean());
}

TEST_F(StackTest, ConvertsStrings) {
    ExpectConversions(&stack, [&] { stack.PushString("12"); }, {true, 12, 12.0, "12", false});
    ExpectConversions(&stack, [&] { stack.PushString("1.5"); }, {true, 0, 1.5, "1.5", false});
    ExpectConversions(&stack, [&] { stack.PushString("abc"); }, {true, 0, 0.0, "abc", false});
    ExpectConversions(&stack, [&] { stack.PushString("0.0"); }, {false, 0, 0.0, "0.0", false});
    ExpectConversions(&stack, [&] { stack.PushString("-"); }, {true, 0, 0.0, "-", false});
    ExpectConversions(&stack, [&] { stack.PushString(" 7"); }, {true, 0, 7.0, " 7", false});
    ExpectConversions(&stack, [&] { stack.PushString("4294967297"); },
                      {true, 1, 4294967297.0, "4294967297", false});
    ExpectConversions(&stack, [&] { stack.PushNull(); }, {false, 0, 0.0, "", true});
    ExpectConversions(&stack, [&] { stack.PushCopy("7"); }, {true, 7, 7.0, "7", false});
}

TEST_F(StackTest, ConvertsColumns) {
    OvraSQLField field(nullptr, "A", kFieldNumeric, 5, 2);
    field.SetValue("1.5");
    ExpectConversions(&stack, [&] { stack.PushColumn(&field, 0); }, {true, 0, 1.5, "1.5", false});
    field.SetValue("");
    ExpectConversions(&stack, [&] { stack.PushColumn(&field, 0); }, {false, 0, 0.0, "", true});
    OvraSQLField text(nullptr, "B", kFieldCharacter, 5, 0);
    text.SetValue("12");
    ExpectConversions(&stack, [&] { stack.PushColumn(&text, 0); }, {true, 12, 12.0, "12", false});
}

TEST_F(StackTest, ConvertsResults) {
    SQLKeptResult cell;
    cell.SetDouble(2.5);
    const auto push = [&] { stack.PushResult(&cell, StackHolder::kTemporary, 0); };
    ExpectConversions(&stack, push, {true, 2, 2.5, "2.5", false});
    cell.SetString("", true);
    ExpectConversions(&stack, push, {false, 0, 0.0, "", true});
}

TEST_F(StackTest, NothingIsNullZeroAndFalse) {
    ExpectConversions(&stack, [&] { stack.PushNothing(); }, {false, 0, 0.0, "", true});
    SQLKeptResult cell;
    cell.SetInteger(3);
    stack.PushNothing();
    stack.PopResult(&cell, true);
    EXPECT_EQ(cell.GetInteger(), 3);  // nothing is stored
}

TEST_F(StackTest, AColumnIsReadWhenItIsUsed) {
    OvraSQLField field(nullptr, "A", kFieldCharacter, 5, 0);
    field.SetValue("old");
    stack.PushColumn(&field, 0);
    stack.PushColumn(&field, 0);
    stack.CopyTop();
    field.SetValue("new");
    EXPECT_EQ(ToText(stack.PopText()), "old");
    EXPECT_EQ(ToText(stack.PopText()), "new");
}

TEST_F(StackTest, CopyLeavesOtherEntriesAlone) {
    stack.PushInteger(5);
    stack.CopyTop();
    EXPECT_EQ(stack.EntryAt(0).tag, StackTag::kInteger);
    SQLKeptResult cell;
    stack.PushResult(&cell, StackHolder::kBucket, 0);
    stack.CopyTop();
    EXPECT_EQ(stack.EntryAt(1).tag, StackTag::kResult);
}

TEST_F(StackTest, FlagsTellWhereAValueCameFrom) {
    OvraSQLField text(nullptr, "A", kFieldCharacter, 5, 0);
    OvraSQLField number(nullptr, "B", kFieldNumeric, 5, 0);
    OvraSQLField date(nullptr, "C", kFieldDate, 8, 0);
    text.SetValue("ab");
    stack.PushColumn(&text, 0);
    EXPECT_EQ(stack.EntryAt(0).flags, kTextOnly);
    stack.CopyTop();
    EXPECT_EQ(stack.EntryAt(0).flags, kOwnedText);  // the copy may compare as a number again
    stack.PushColumn(&number, 0);
    EXPECT_EQ(stack.EntryAt(1).flags, 0);
    stack.PushColumn(&date, 0);
    EXPECT_EQ(stack.EntryAt(2).flags, 0);
    stack.PushString("12");
    EXPECT_EQ(stack.EntryAt(3).flags, 0);
    stack.Upper();
    EXPECT_EQ(stack.EntryAt(3).flags, kOwnedText | kExactText);
    stack.PushColumn(&text, 0);
    stack.Lower();
    EXPECT_EQ(stack.EntryAt(4).flags, kOwnedText | kTextOnly | kExactText);
    stack.PushString("abc");
    stack.PushInteger(2);
    stack.Substring(false);
    EXPECT_EQ(stack.EntryAt(5).flags, kOwnedText | kTextOnly);
    stack.PushString("abc");
    stack.PushInteger(4);
    stack.Substring(false);
    EXPECT_EQ(stack.EntryAt(6).flags, 0);
}

// What IFNULL puts in place of NULL is a plain string: text only and exact are lost with it.
TEST_F(StackTest, AReplacedNullIsAPlainString) {
    OvraSQLField text(nullptr, "A", kFieldCharacter, 5, 0);
    text.SetValue("10");
    stack.PushNull();
    stack.PushColumn(&text, 0);
    stack.IfNull();
    EXPECT_EQ(stack.EntryAt(0).tag, StackTag::kString);
    EXPECT_EQ(stack.EntryAt(0).flags & (kTextOnly | kExactText), 0);
    stack.PushString("9");
    EXPECT_GT(stack.Compare(0, false), 0);  // as numbers

    stack.PushNull();
    stack.PushString("abc");
    stack.Upper();
    stack.IfNull();
    EXPECT_EQ(stack.EntryAt(0).flags, kOwnedText);
    stack.PushString("abc");
    EXPECT_EQ(stack.Compare(0, true), 0);  // folded

    stack.PushColumn(&text, 0);
    stack.PushString("x");
    stack.IfNull();
    EXPECT_EQ(stack.EntryAt(0).tag, StackTag::kColumn);
    EXPECT_EQ(stack.EntryAt(0).flags, kTextOnly);  // a left value that stays is as it was
}

TEST_F(StackTest, UpperLeavesColumnsOfOtherTypesAlone) {
    OvraSQLField number(nullptr, "A", kFieldNumeric, 5, 0);
    number.SetValue("12");
    stack.PushColumn(&number, 0);
    stack.Upper();
    EXPECT_EQ(stack.EntryAt(0).tag, StackTag::kColumn);
    OvraSQLField memo(nullptr, "B", kFieldMemo, 10, 0);
    memo.SetValue("ab");
    stack.PushColumn(&memo, 0);
    stack.Upper();
    EXPECT_EQ(ToText(stack.PopText()), "AB");
    SQLKeptResult cell;
    cell.SetDouble(1.5);
    stack.PushResult(&cell, StackHolder::kBucket, 0);
    stack.Lower();  // a cell is a text to it, whatever it holds
    EXPECT_EQ(stack.EntryAt(1).tag, StackTag::kString);
    stack.PushNothing();
    stack.Lower();
    EXPECT_EQ(stack.EntryAt(2).tag, StackTag::kNothing);
}

TEST_F(StackTest, KeyTextsStandInTheOrderOfTheirPushing) {
    stack.PushInteger(99);
    stack.PushString("a");
    stack.PushInteger(2);
    stack.PushDouble(0.5);
    String key;
    stack.PopKey(3, &key);
    EXPECT_EQ(ToText(key.View()), "a:2:0.5:");
    EXPECT_EQ(stack.Count(), 1);
    stack.PopKey(2, &key);
    EXPECT_EQ(Message(), "Stack underflow");
    EXPECT_EQ(stack.Count(), 0);
}

TEST_F(StackTest, ColumnsOfACursorThatGoesBecomeNulls) {
    OvraSQLField field(nullptr, "A", kFieldCharacter, 5, 0);
    field.SetValue("x");
    SQLKeptResult cell;
    cell.SetInteger(1);
    stack.PushColumn(&field, 1);
    stack.PushColumn(&field, 2);
    stack.PushResult(&cell, StackHolder::kTemporary, 1);
    stack.ForgetHolder(StackHolder::kCursor, 1);
    EXPECT_FALSE(stack.PopIsNull());
    EXPECT_FALSE(stack.PopIsNull());
    EXPECT_TRUE(stack.PopIsNull());
}

// The value is that of the moment at which the holder goes, and no other holder has to do with it.
TEST_F(StackTest, ResultsOfAHolderThatGoesKeepTheirValues) {
    auto cell = std::make_unique<SQLKeptResult>();
    SQLKeptResult other;
    other.SetInteger(5);
    stack.PushResult(cell.get(), StackHolder::kTemporary, 1);
    stack.PushResult(cell.get(), StackHolder::kBucket, 1);
    stack.PushResult(&other, StackHolder::kTemporary, 2);
    cell->SetString("a text that is longer than a cell's first buffer", true);
    stack.ForgetHolder(StackHolder::kTemporary, 1);
    cell->SetDouble(1.5);
    stack.ForgetHolder(StackHolder::kBucket, 1);
    cell.reset();
    other.SetInteger(6);
    EXPECT_EQ(stack.PopInteger(), 6);
    EXPECT_EQ(stack.PopDouble(), 1.5);
    EXPECT_EQ(ToText(stack.PopText()), "a text that is longer than a cell's first buffer");
}

// It is stored and folded as the result that it was: 1 is true by its text, and 12 becomes a text.
TEST_F(StackTest, AResultThatKeepsItsValueIsAResultStill) {
    for (const bool holderGoes : {false, true}) {
        SQLKeptResult cell;
        cell.SetDouble(1.0);
        OvraSQLField field(nullptr, "A", kFieldLogical, 1, 0);
        stack.PushResult(&cell, StackHolder::kTemporary, 1);
        stack.PushResult(&cell, StackHolder::kTemporary, 1);
        if (holderGoes) {
            stack.ForgetHolder(StackHolder::kTemporary, 1);
        }
        stack.PopField(&field);
        EXPECT_EQ(ToText(field.ValueText()), "T");
        stack.Upper();
        EXPECT_EQ(stack.EntryAt(0).tag, StackTag::kString);
        stack.PopDiscard();
    }
}

TEST_F(StackTest, AnEmptyResultThatKeepsItsValueIsNull) {
    SQLKeptResult cell;
    SQLKeptResult text;
    text.SetString("x", true);
    stack.PushResult(&text, StackHolder::kTemporary, 1);
    stack.ForgetHolder(StackHolder::kTemporary, 1);
    stack.PopDiscard();
    stack.PushResult(&cell, StackHolder::kTemporary, 1);  // where a text was kept before
    stack.ForgetHolder(StackHolder::kTemporary, 1);
    EXPECT_TRUE(stack.PopIsNull());
}

TEST_F(StackTest, ResultsCopyWhatMayGo) {
    OvraSQLField field(nullptr, "A", kFieldCharacter, 5, 0);
    field.SetValue("abc");
    SQLKeptResult target;
    stack.PushColumn(&field, 0);
    stack.PopResult(&target, false);
    EXPECT_EQ(target.GetString().data, field.Value());  // plain field text is borrowed
    stack.PushColumn(&field, 0);
    stack.PopResult(&target, true);
    EXPECT_NE(target.GetString().data, field.Value());

    SQLKeptResult cell;
    cell.SetString("cell", true);
    stack.PushResult(&cell, StackHolder::kTemporary, 0);
    stack.PopResult(&target, false);
    EXPECT_NE(target.GetString().data, cell.GetString().data);
    EXPECT_EQ(ToText(target.GetString()), "cell");

    stack.PushCopy("owned");
    stack.PopResult(&target, false);
    stack.PushCopy("other");
    EXPECT_EQ(ToText(target.GetString()), "owned");
    EXPECT_EQ(target.GetString().data[5], '\0');
}

}  // namespace
}  // namespace ovrasql
