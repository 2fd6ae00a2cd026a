// The value cell: which representation is up to date, what reading adds, and who owns the text.

#include <cmath>
#include <limits>
#include <memory>
#include <new>

#include "engine/text_buffer.h"
#include "tests/engine/program.h"

namespace ovrasql {
namespace {

constexpr uint8_t kText = SQLResult::kText;
constexpr uint8_t kInteger = SQLResult::kInteger;
constexpr uint8_t kDouble = SQLResult::kDouble;

TEST(Result, StartsEmpty) {
    SQLKeptResult cell;
    EXPECT_EQ(cell.Flags(), 0);
    EXPECT_TRUE(cell.IsNull());
    EXPECT_FALSE(cell.IsTrue());
}

TEST(Result, EachStoreLeavesOneRepresentation) {
    SQLKeptResult cell;
    cell.SetString("12", true);
    EXPECT_EQ(cell.Flags(), kText);
    cell.SetInteger(3);
    EXPECT_EQ(cell.Flags(), kInteger);
    cell.SetDouble(1.5);
    EXPECT_EQ(cell.Flags(), kDouble);
}

TEST(Result, ReadingAddsARepresentation) {
    SQLKeptResult cell;
    cell.SetString("12", true);
    EXPECT_EQ(cell.GetInteger(), 12);
    EXPECT_EQ(cell.Flags(), kText | kInteger);
    EXPECT_EQ(cell.GetDouble(), 12.0);
    EXPECT_EQ(cell.Flags(), kText | kInteger | kDouble);

    SQLKeptResult number;
    number.SetDouble(12.75);
    EXPECT_EQ(number.GetInteger(), 12);
    EXPECT_EQ(number.Flags(), kInteger | kDouble);
    EXPECT_EQ(ToText(number.GetString()), "12.75");
    EXPECT_EQ(number.Flags(), kText | kInteger | kDouble);
}

TEST(Result, TextOfANumberPrefersTheDouble) {
    SQLKeptResult cell;
    cell.SetInteger(-7);
    EXPECT_EQ(ToText(cell.GetString()), "-7");
    SQLKeptResult both;
    both.SetDouble(2.5);
    EXPECT_EQ(both.GetInteger(), 2);
    EXPECT_EQ(ToText(both.GetString()), "2.5");
}

TEST(Result, ABadTextReportsItsErrorOnceAndCountsAsZero) {
    SQLKeptResult cell;
    cell.SetString("12.5", true);
    int32_t error = 0;
    EXPECT_EQ(cell.GetInteger(&error), 0);
    EXPECT_EQ(error, 1);
    error = 0;
    EXPECT_EQ(cell.GetInteger(&error), 0);
    EXPECT_EQ(error, 0);
    EXPECT_EQ(cell.GetDouble(&error), 12.5);
    EXPECT_EQ(error, 0);

    cell.SetString("abc", true);
    EXPECT_EQ(cell.GetDouble(&error), 0.0);
    EXPECT_EQ(error, 1);
}

TEST(Result, ErrorsAreLeftAloneByGoodValues) {
    SQLKeptResult cell;
    cell.SetString("5", true);
    int32_t error = 7;
    EXPECT_EQ(cell.GetInteger(&error), 5);
    EXPECT_EQ(cell.GetDouble(&error), 5.0);
    EXPECT_EQ(error, 7);
}

TEST(Result, AnEmptyTextIsABadIntegerAndAGoodDouble) {
    SQLKeptResult cell;
    cell.SetString("", true);
    int32_t error = 0;
    EXPECT_EQ(cell.GetInteger(&error), 0);
    EXPECT_EQ(error, 1);
    error = 0;
    EXPECT_EQ(cell.GetDouble(&error), 0.0);
    EXPECT_EQ(error, 0);
    EXPECT_TRUE(cell.IsNull());
}

TEST(Result, ReadingAnEmptyCellAsANumberMakesItOne) {
    SQLKeptResult first;
    EXPECT_EQ(first.GetInteger(), 0);
    EXPECT_FALSE(first.IsNull());
    SQLKeptResult second;
    EXPECT_EQ(second.GetDouble(), 0.0);
    EXPECT_FALSE(second.IsNull());
    // As a text it becomes the empty text, which is NULL still.
    SQLKeptResult third;
    EXPECT_EQ(ToText(third.GetString()), "");
    EXPECT_TRUE(third.IsNull());
    EXPECT_EQ(third.Flags(), kText);
}

TEST(Result, CheckedDoubleLeavesAnEmptyCellEmpty) {
    SQLKeptResult cell;
    double value = 9;
    EXPECT_TRUE(cell.GetDoubleChecked(&value));
    EXPECT_EQ(value, 0.0);
    EXPECT_EQ(cell.Flags(), 0);
    cell.SetInteger(4);
    EXPECT_TRUE(cell.GetDoubleChecked(&value));
    EXPECT_EQ(value, 4.0);
    EXPECT_EQ(cell.Flags(), kInteger | kDouble);
}

TEST(Result, CheckedDoubleReadsTheTextBeforeTheNumber) {
    SQLKeptResult cell;
    cell.SetDouble(1e-25);  // no digit of it is left within twenty decimals
    EXPECT_EQ(ToText(cell.GetString()), "0");
    double value = 9;
    EXPECT_TRUE(cell.GetDoubleChecked(&value));
    EXPECT_EQ(value, 0.0);

    cell.SetString("x", true);
    EXPECT_FALSE(cell.GetDoubleChecked(&value));
    EXPECT_EQ(cell.Flags(), kText);
    EXPECT_FALSE(cell.GetDoubleChecked(&value));
    EXPECT_EQ(cell.GetDouble(), 0.0);
    EXPECT_FALSE(cell.GetDoubleChecked(&value));
}

TEST(Result, TruthGoesByTextThenByNumbers) {
    SQLKeptResult cell;
    cell.SetString("0.0", true);
    EXPECT_FALSE(cell.IsTrue());
    cell.SetString("F", true);
    EXPECT_TRUE(cell.IsTrue());
    cell.SetInteger(0);
    EXPECT_FALSE(cell.IsTrue());
    cell.SetInteger(-1);
    EXPECT_TRUE(cell.IsTrue());
    cell.SetDouble(0.5);
    EXPECT_TRUE(cell.IsTrue());
    EXPECT_EQ(cell.GetInteger(), 0);
    EXPECT_TRUE(cell.IsTrue());
    cell.SetDouble(std::nan(""));
    EXPECT_TRUE(cell.IsTrue());
    cell.SetDouble(-0.0);
    EXPECT_FALSE(cell.IsTrue());
    EXPECT_EQ(ToText(cell.GetString()), "-0");
    EXPECT_TRUE(cell.IsTrue());  // the text decides, and "-" is no zero
}

TEST(Result, ADoubleOutOfRangeIsTheLeastInteger) {
    SQLKeptResult cell;
    for (const double value : {1e10, -1e10, 2147483648.0, -2147483649.0, std::nan(""),
                               std::numeric_limits<double>::infinity()}) {
        cell.SetDouble(value);
        EXPECT_EQ(cell.GetInteger(), std::numeric_limits<int32_t>::min()) << value;
    }
    cell.SetDouble(2147483647.9);
    EXPECT_EQ(cell.GetInteger(), 2147483647);
    cell.SetDouble(-2147483648.9);
    EXPECT_EQ(cell.GetInteger(), std::numeric_limits<int32_t>::min());
    cell.SetDouble(-1.9);
    EXPECT_EQ(cell.GetInteger(), -1);
}

TEST(Result, BorrowsOrCopies) {
    char text[] = "abc";
    SQLKeptResult borrowing;
    borrowing.SetString(TextView(text, 3), false);
    SQLKeptResult copying;
    copying.SetString(TextView(text, 3), true);
    text[0] = 'x';
    EXPECT_EQ(ToText(borrowing.GetString()), "xbc");
    EXPECT_EQ(ToText(copying.GetString()), "abc");
    EXPECT_EQ(copying.GetString().data[3], '\0');
    borrowing.KeepText();
    text[0] = 'y';
    EXPECT_EQ(ToText(borrowing.GetString()), "xbc");
}

// A text that is out of date may be gone.
TEST(Result, KeepsATextOnlyWhereItIsTheValue) {
    SQLKeptResult cell;
    cell.SetString("12", false);
    cell.SetInteger(3);
    cell.KeepText();
    EXPECT_EQ(cell.OwnText(), nullptr);
    EXPECT_EQ(ToText(cell.GetString()), "3");
}

TEST(Result, ABorrowedTextIsNotItsOwn) {
    SQLKeptResult cell;
    cell.SetString("borrowed", false);
    EXPECT_EQ(cell.OwnText(), nullptr);
    EXPECT_EQ(cell.OwnTextLength(), 0);
    cell.KeepText();
    EXPECT_STREQ(cell.OwnText(), "borrowed");
    EXPECT_EQ(cell.OwnTextLength(), 8);
}

TEST(Result, ATextBufferOf2GiBIsRefused) {
    TextBuffer buffer;
    EXPECT_THROW(static_cast<void>(buffer.Room(int64_t{std::numeric_limits<int32_t>::max()} + 1)),
                 std::bad_alloc);
    EXPECT_EQ(buffer.Room(0), nullptr);
}

TEST(Result, ItsOwnTextMayBeStoredAgain) {
    SQLKeptResult cell;
    cell.SetString("hello world", true);
    cell.SetString(cell.GetString(), false);
    EXPECT_EQ(ToText(cell.GetString()), "hello world");
    cell.SetString(cell.GetString().Part(6), true);
    EXPECT_EQ(ToText(cell.GetString()), "world");
    cell.SetFrom(cell);
    EXPECT_EQ(ToText(cell.GetString()), "world");
}

TEST(Result, ReusesItsBuffer) {
    SQLKeptResult cell;
    cell.SetString("a text of some length", true);
    const char* const before = cell.GetString().data;
    cell.SetString("short", true);
    EXPECT_EQ(cell.GetString().data, before);
}

TEST(Result, CopiesAnotherCellWhole) {
    SQLKeptResult source;
    source.SetDouble(2.5);
    EXPECT_EQ(ToText(source.GetString()), "2.5");
    SQLKeptResult target;
    target.SetFrom(source);
    EXPECT_EQ(target.Flags(), kText | kDouble);
    source.SetString("gone", true);
    EXPECT_EQ(ToText(target.GetString()), "2.5");
    EXPECT_EQ(target.GetDouble(), 2.5);
}

class ViewResult : public EngineTest {};

TEST_F(ViewResult, TellsTheHostOfEachStore) {
    Machine machine;
    SQLViewResult result("price", true);
    result.SetInteger(1);  // no variable yet
    result.Register(machine.view);
    HostDatabaseVariable* const variable = machine.Variable("price");
    ASSERT_NE(variable, nullptr);
    EXPECT_EQ(variable->data, static_cast<SQLResult*>(&result));
    EXPECT_EQ(variable->dirtyCount, 0);
    result.SetString("a", true);
    result.SetInteger(1);
    result.SetDouble(1.0);
    SQLKeptResult other;
    result.SetFrom(other);
    EXPECT_EQ(variable->dirtyCount, 4);
    static_cast<void>(result.GetString());  // reading is no store
    EXPECT_EQ(variable->dirtyCount, 4);
}

}  // namespace
}  // namespace ovrasql
