// The instructions that work on the stack alone, run as programs.

#include <string>

#include "tests/engine/program.h"

namespace ovrasql {
namespace {

class OperationTest : public EngineTest {
  protected:
    // The value of an instruction on up to two literals.
    static std::string Of(int32_t opcode, const std::string& first) {
        Program program;
        program.Literal(first).Do(opcode);
        return Evaluate(program);
    }
    static std::string Of(int32_t opcode, const std::string& first, const std::string& second,
                          bool caseInsensitive = false) {
        Program program;
        program.Literal(first).Literal(second).Do(opcode);
        return Evaluate(program, caseInsensitive);
    }
    static std::string Substring(const std::string& text, int32_t start) {
        Program program;
        program.Literal(text).Integer(start).Do(SQL_Substring, 0);
        return Evaluate(program);
    }
    static std::string Substring(const std::string& text, int32_t start, int32_t length) {
        Program program;
        program.Literal(text).Integer(start).Integer(length).Do(SQL_Substring, 1);
        return Evaluate(program);
    }
};

TEST_F(OperationTest, Pushes) {
    Program program;
    program.Literal("abc").Integer(-3).Null().Do(SQL_Push_RecordNumber);
    EXPECT_EQ(Evaluate(program), "abc|-3||1");
}

TEST_F(OperationTest, ArithmeticIsInDoubles) {
    EXPECT_EQ(Of(SQL_Add, "1", "2"), "3");
    EXPECT_EQ(Of(SQL_Subtract, "1", "2.5"), "-1.5");
    EXPECT_EQ(Of(SQL_Multiply, "4", "0.25"), "1");
    EXPECT_EQ(Of(SQL_Divide, "7", "2"), "3.5");
    EXPECT_EQ(Of(SQL_Add, "2147483647", "1"), "2147483648");
}

TEST_F(OperationTest, ArithmeticTakesNullAndBadTextAsZero) {
    EXPECT_EQ(Of(SQL_Add, "1", ""), "1");
    EXPECT_EQ(Of(SQL_Add, "abc", "1"), "1");
    EXPECT_EQ(Of(SQL_Subtract, "", ""), "0");
    EXPECT_EQ(Of(SQL_Multiply, "", "5"), "0");
    EXPECT_EQ(Of(SQL_Divide, "", "5"), "0");
}

TEST_F(OperationTest, DividingByZeroFailsWithNothing) {
    EXPECT_EQ(Of(SQL_Divide, "1", "0"), "Infinity");
    EXPECT_EQ(Of(SQL_Divide, "-1", "0"), "-Infinity");
    // The sign of this NaN is the processor's.
    const std::string none = Of(SQL_Divide, "0", "0");
    EXPECT_TRUE(none == "NaN" || none == "-NaN") << none;
}

TEST_F(OperationTest, AndOrNotGoByTruth) {
    EXPECT_EQ(Of(SQL_And, "1", "x"), "1");
    EXPECT_EQ(Of(SQL_And, "1", "0"), "0");
    EXPECT_EQ(Of(SQL_And, "", "1"), "0");
    EXPECT_EQ(Of(SQL_Or, "0", "0.0"), "0");
    EXPECT_EQ(Of(SQL_Or, "0", "F"), "1");
    EXPECT_EQ(Of(SQL_Or, "", ""), "0");
    EXPECT_EQ(Of(SQL_Not, ""), "1");
    EXPECT_EQ(Of(SQL_Not, "0"), "1");
    EXPECT_EQ(Of(SQL_Not, "abc"), "0");
}

TEST_F(OperationTest, AndOrPopBothOperands) {
    for (const int32_t opcode : {SQL_And, SQL_Or}) {
        for (const char* left : {"0", "1"}) {
            Program program;
            program.Literal("below").Literal(left).Literal("1").Do(opcode).Do(SQL_Pop);
            EXPECT_EQ(Evaluate(program), "below");
        }
    }
}

TEST_F(OperationTest, LikeFoldsWithTheDatabase) {
    EXPECT_EQ(Of(SQL_Like, "abc", "a%"), "1");
    EXPECT_EQ(Of(SQL_Like, "abc", "A%"), "0");
    EXPECT_EQ(Of(SQL_Like, "abc", "A%", true), "1");
    EXPECT_EQ(Of(SQL_Like, "", "a%"), "0");
    EXPECT_EQ(Of(SQL_Like, "", "%"), "1");
    EXPECT_EQ(Of(SQL_Like, "", ""), "1");
    Program numbers;
    numbers.Integer(1234).Literal("1%4").Do(SQL_Like);
    EXPECT_EQ(Evaluate(numbers), "1");
    Program both;
    both.Integer(12).Integer(12).Do(SQL_Like);
    EXPECT_EQ(Evaluate(both), "1");
}

TEST_F(OperationTest, IsNullIsTheEmptyText) {
    EXPECT_EQ(Of(SQL_IsNull, ""), "1");
    EXPECT_EQ(Of(SQL_IsNull, " "), "0");
    Program number;
    number.Integer(0).Do(SQL_IsNull);
    EXPECT_EQ(Evaluate(number), "0");
    Program pushed;
    pushed.Null().Do(SQL_IsNull);
    EXPECT_EQ(Evaluate(pushed), "1");
}

TEST_F(OperationTest, IncAddsAndWraps) {
    Program program;
    program.Integer(5).Do(SQL_Inc, -7);
    EXPECT_EQ(Evaluate(program), "-2");
    Program wrapping;
    wrapping.Integer(2147483647).Do(SQL_Inc, 1);
    EXPECT_EQ(Evaluate(wrapping), "-2147483648");
}

TEST_F(OperationTest, UpperAndLowerFoldTextsOnly) {
    EXPECT_EQ(Of(SQL_Upper, "aBc1\xE4"), "ABC1\xE4");
    EXPECT_EQ(Of(SQL_Lower, "aBc1\xC4"), "abc1\xC4");
    EXPECT_EQ(Of(SQL_Upper, ""), "");
    Program twice;
    twice.Literal("aB").Do(SQL_Upper).Do(SQL_Lower).Do(SQL_Upper);
    EXPECT_EQ(Evaluate(twice), "AB");
    // A number stays the number it is: an integer, not the text of one.
    Program number;
    number.Integer(12).Do(SQL_Upper).Do(SQL_Inc, 1);
    EXPECT_EQ(Evaluate(number), "13");
    Program infinity;
    infinity.Double("inf").Do(SQL_Lower);
    EXPECT_EQ(Evaluate(infinity), "Infinity");
}

TEST_F(OperationTest, LengthCountsBytes) {
    EXPECT_EQ(Of(SQL_Length, "abc"), "3");
    EXPECT_EQ(Of(SQL_Length, ""), "0");
    EXPECT_EQ(Of(SQL_Length, "\xC3\xA4"), "2");
    Program number;
    number.Double("-1.5").Do(SQL_Length);
    EXPECT_EQ(Evaluate(number), "4");
}

TEST_F(OperationTest, IfNullReplacesNullByText) {
    EXPECT_EQ(Of(SQL_IfNull, "", "b"), "b");
    EXPECT_EQ(Of(SQL_IfNull, "a", "b"), "a");
    EXPECT_EQ(Of(SQL_IfNull, "", ""), "");
    Program number;
    number.Null().Double("1.5").Do(SQL_IfNull);
    EXPECT_EQ(Evaluate(number), "1.5");
    Program kept;
    kept.Integer(0).Literal("b").Do(SQL_IfNull);
    EXPECT_EQ(Evaluate(kept), "0");
    Program owned;
    owned.Null().Literal("ab").Do(SQL_Upper).Do(SQL_IfNull).Literal("cd").Do(SQL_Upper);
    EXPECT_EQ(Evaluate(owned), "AB|CD");
}

TEST_F(OperationTest, SubstringCountsFromOne) {
    EXPECT_EQ(Substring("abc", 0, 2), "ab");
    EXPECT_EQ(Substring("abc", 3, 5), "c");
    EXPECT_EQ(Substring("abc", 2), "bc");
    EXPECT_EQ(Substring("abc", -9), "abc");
    EXPECT_EQ(Substring("abcdef", 2, 3), "bcd");
}

TEST_F(OperationTest, SubstringOutsideIsNull) {
    Program beyond;
    beyond.Literal("abc").Integer(4).Do(SQL_Substring, 0).Do(SQL_IsNull);
    EXPECT_EQ(Evaluate(beyond), "1");
    Program none;
    none.Literal("abc").Integer(2).Integer(0).Do(SQL_Substring, 1).Do(SQL_IsNull);
    EXPECT_EQ(Evaluate(none), "1");
    EXPECT_EQ(Substring("", 1, 1), "");
    // NULL as start counts as 0, as length as 0.
    Program nullStart;
    nullStart.Literal("abc").Null().Integer(2).Do(SQL_Substring, 1);
    EXPECT_EQ(Evaluate(nullStart), "ab");
    Program nullLength;
    nullLength.Literal("abc").Integer(1).Null().Do(SQL_Substring, 1);
    EXPECT_EQ(Evaluate(nullLength), "");
}

TEST_F(OperationTest, SubstringOfASubstringStaysWhole) {
    Program program;
    program.Literal("xabcdefghijklmnopqrstuvwxyzabcdefghijklmnopqrstuvwxyz").Integer(2);
    program.Do(SQL_Substring, 0).Integer(3).Integer(40).Do(SQL_Substring, 1).Do(SQL_Upper);
    EXPECT_EQ(Evaluate(program), "CDEFGHIJKLMNOPQRSTUVWXYZABCDEFGHIJKLMNOP");
}

TEST_F(OperationTest, SubstringHasTwoForms) {
    for (const int32_t form : {-1, 2}) {
        Program program;
        program.Literal("abc").Integer(1).Integer(1).Do(SQL_Substring, form);
        EXPECT_EQ(Evaluate(program), "error: Invalid SUBSTRING opcode parameter");
    }
}

TEST_F(OperationTest, PopDropsTheTop) {
    Program program;
    program.Literal("a").Literal("b").Do(SQL_Upper).Do(SQL_Pop);
    EXPECT_EQ(Evaluate(program), "a");
}

TEST_F(OperationTest, EveryPopFailsOnAnEmptyStack) {
    for (const int32_t opcode :
         {SQL_Pop,      SQL_Add,       SQL_Subtract,    SQL_Multiply,      SQL_Divide,
          SQL_And,      SQL_Or,        SQL_Like,        SQL_Not,           SQL_Equal,
          SQL_NotEqual, SQL_LessThan,  SQL_GreaterThan, SQL_LessThanEqual, SQL_GreaterThanEqual,
          SQL_IsNull,   SQL_Inc,       SQL_Upper,       SQL_Lower,         SQL_Length,
          SQL_IfNull,   SQL_Substring, SQL_Jump_EQ,     SQL_Jump_NE,       SQL_Copy}) {
        Program program;
        program.Do(opcode);
        EXPECT_EQ(Evaluate(program), "error: Stack underflow") << OpcodeName(opcode);
    }
    for (const int32_t opcode :
         {SQL_Add, SQL_And, SQL_Like, SQL_Equal, SQL_IfNull, SQL_Substring}) {
        Program program;
        program.Literal("a").Do(opcode);
        EXPECT_EQ(Evaluate(program), "error: Stack underflow") << OpcodeName(opcode);
    }
}

}  // namespace
}  // namespace ovrasql
