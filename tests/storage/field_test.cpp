// Fields by themselves: record bytes to text and back, two values, and the number of a text.

#include "tests/storage/data_support.h"

namespace ovrasql {
namespace {

std::string ReadAs(int32_t type, const std::string& bytes) {
    OvraSQLField field(nullptr, "F", type, static_cast<int32_t>(bytes.size()), 0);
    EXPECT_TRUE(field.ReadFromRecord(bytes.data()));
    const std::string value = Text(field.ValueText());
    EXPECT_EQ(value, field.Value());       // NUL-ended
    EXPECT_EQ(value, field.SwapValues());  // a read fills both values
    return value;
}

std::string WrittenAs(int32_t type, int32_t length, TextView value) {
    OvraSQLField field(nullptr, "F", type, length, 0);
    field.SetValue(value);
    std::string record(static_cast<size_t>(length) + 2, '#');
    EXPECT_TRUE(field.WriteToRecord(record.data() + 1));
    EXPECT_EQ(record.front(), '#');
    EXPECT_EQ(record.back(), '#');
    return record.substr(1, static_cast<size_t>(length));
}

TEST(Field, KnowsWhatItWasMadeWith) {
    OvraSQLField field(nullptr, TextView("NAMEandmore", 4), 1, 12, 3);
    EXPECT_EQ(Text(field.Name()), "NAME");
    EXPECT_EQ(field.Type(), 1);
    EXPECT_EQ(field.Length(), 12);
    EXPECT_EQ(field.Decimals(), 3);
    EXPECT_EQ(Text(field.ValueText()), "");
    EXPECT_STREQ(field.SwapValues(), "");
}

TEST(Field, ACharacterFieldLosesItsTrailingBlanksOnly) {
    EXPECT_EQ(ReadAs(0, "abc  "), "abc");
    EXPECT_EQ(ReadAs(0, "  a b"), "  a b");
    EXPECT_EQ(ReadAs(0, "     "), "");
    EXPECT_EQ(ReadAs(0, "ab\t\n "), "ab\t\n");
    EXPECT_EQ(ReadAs(0, "abcde"), "abcde");
}

TEST(Field, ATextEndsAtItsFirstNul) {
    EXPECT_EQ(ReadAs(0, std::string("ab\0cd", 5)), "ab");
    EXPECT_EQ(ReadAs(0, std::string(5, '\0')), "");
    EXPECT_EQ(ReadAs(1, std::string("  7\0\0", 5)), "7");
    OvraSQLField field(nullptr, "F", 0, 5, 0);
    field.SetValue(TextView("a\0b", 3));
    EXPECT_EQ(Text(field.ValueText()), "a");
}

// As other programs leave them. The record is written without NULs, and its value must be the same
// then: an index has one key for it.
TEST(Field, ANulAndWhatStandsBehindItReadAsTheBlanksThatAreWrittenForThem) {
    EXPECT_EQ(ReadAs(0, std::string("ab \0 ", 5)), "ab");
    EXPECT_EQ(ReadAs(0, std::string("  \0cd", 5)), "");
    EXPECT_EQ(ReadAs(0, std::string(" a\0cd", 5)), " a");
    EXPECT_EQ(ReadAs(2, std::string(8, '\0')), "        ");
    EXPECT_EQ(ReadAs(2, std::string("2026\0xyz", 8)), "2026    ");
    EXPECT_EQ(ReadAs(3, std::string(1, '\0')), " ");
    EXPECT_EQ(ReadAs(3, std::string("T\0", 2)), "T ");
}

TEST(Field, AValueOutlivesItsWritingWhateverTheCell) {
    const char bytes[] = {'\0', ' ', '1', 'a'};
    for (const int32_t type : {0, 1, 2, 3, 4}) {
        for (int number = 0; number < 4 * 4 * 4 * 4; ++number) {
            std::string cell;
            for (int rest = number; cell.size() < 4; rest /= 4) {
                cell += bytes[rest % 4];
            }
            const std::string value = ReadAs(type, cell);
            EXPECT_EQ(ReadAs(type, WrittenAs(type, 4, value.c_str())), value)
                << type << " " << number;
        }
    }
}

TEST(Field, ANumberLosesItsLeadingBlanksOnly) {
    EXPECT_EQ(ReadAs(1, "   42"), "42");
    EXPECT_EQ(ReadAs(1, " 42  "), "42  ");
    EXPECT_EQ(ReadAs(1, "     "), "");
    EXPECT_EQ(ReadAs(1, "12345"), "12345");
    EXPECT_EQ(ReadAs(1, "*****"), "*****");
    EXPECT_EQ(ReadAs(4, "    7"), "7");
}

TEST(Field, DatesAndLogicalsKeepTheirBlanks) {
    EXPECT_EQ(ReadAs(2, "        "), "        ");
    EXPECT_EQ(ReadAs(2, " 9991231"), " 9991231");
    EXPECT_EQ(ReadAs(3, " "), " ");
    EXPECT_EQ(ReadAs(3, "T"), "T");
}

TEST(Field, WritesLeftOrRightJustifiedByItsType) {
    EXPECT_EQ(WrittenAs(0, 5, "ab"), "ab   ");
    EXPECT_EQ(WrittenAs(1, 5, "42"), "   42");
    EXPECT_EQ(WrittenAs(1, 5, "12345"), "12345");
    EXPECT_EQ(WrittenAs(2, 8, "2024"), "2024    ");
    EXPECT_EQ(WrittenAs(3, 1, ""), " ");
    EXPECT_EQ(WrittenAs(4, 5, "17"), "   17");
    EXPECT_EQ(WrittenAs(0, 5, ""), "     ");
}

TEST(Field, AnUnknownTypeReadsAndWritesNothing) {
    for (const int32_t type : {-1, 5, 99}) {
        OvraSQLField field(nullptr, "F", type, 3, 0);
        EXPECT_TRUE(field.ReadFromRecord("abc"));
        EXPECT_EQ(Text(field.ValueText()), "");
        field.SetValue("xy");
        std::string record = "###";
        EXPECT_TRUE(field.WriteToRecord(record.data()));
        EXPECT_EQ(record, "###");
    }
}

TEST(Field, AMemoFieldOfNoTableHasNoTextToReadOrStore) {
    OvraSQLMemoField field(nullptr, "M", 4, 0);
    EXPECT_TRUE(field.ReadFromRecord("   7"));
    EXPECT_EQ(Text(field.ValueText()), "");
    std::string record = "####";
    EXPECT_TRUE(field.WriteToRecord(record.data()));
    EXPECT_EQ(record, "   7");
    field.SetValue("text");
    EXPECT_FALSE(field.WriteToRecord(record.data()));
    EXPECT_EQ(record, "   7");
}

TEST(Field, AValueTooLongIsCutOnTheRightWithoutAMessage) {
    EXPECT_EQ(WrittenAs(0, 3, "abcdef"), "abc");
    EXPECT_EQ(WrittenAs(1, 3, "12345"), "123");
    OvraSQLField field(nullptr, "F", 0, 3, 0);
    EXPECT_STREQ(field.SetValue("abcdef"), "abc");
    EXPECT_STREQ(field.SetValue(TextView("xyz", 2)), "xy");
}

TEST(Field, WidthsThatNoRecordCanHaveAreHarmless) {
    for (const int32_t width : {0, -1, -2147483647, 2147483647}) {
        OvraSQLField field(nullptr, "F", 0, width, 0);
        EXPECT_EQ(field.Length(), width);
        field.SetValue("a");
        EXPECT_LE(field.ValueText().length, 1);
    }
}

TEST(Field, SetValueLeavesTheSavedValueAndSwapExchangesThem) {
    OvraSQLField field(nullptr, "F", 0, 5, 0);
    field.ReadFromRecord("old  ");
    field.SetValue("new");
    EXPECT_STREQ(field.SwapValues(), "old");
    EXPECT_EQ(Text(field.ValueText()), "old");
    EXPECT_STREQ(field.SwapValues(), "new");
    field.SaveValue();
    EXPECT_STREQ(field.SwapValues(), "new");
    field.SetValue(field.ValueText());  // its own text is a fair argument
    EXPECT_EQ(Text(field.ValueText()), "new");
}

TEST(Field, TheNumberFollowsTheCurrentValue) {
    OvraSQLField field(nullptr, "F", 1, 8, 2);
    field.ReadFromRecord("   12.50");
    EXPECT_TRUE(field.Number().valid);
    EXPECT_EQ(field.Number().value, 12.5);
    field.SetValue("-3");
    EXPECT_EQ(field.Number().value, -3.0);
    field.SwapValues();
    EXPECT_EQ(field.Number().value, 12.5);
    field.ReadFromRecord("  12    ");  // trailing blanks: no number
    EXPECT_FALSE(field.Number().valid);
    field.ReadFromRecord("********");
    EXPECT_FALSE(field.Number().valid);
}

// Fields in a table take their bytes when they are first asked. What was set before must not be
// lost by that, and what was saved must be the record's.
using LazyField = DataTest;

TEST_F(LazyField, ASetBeforeTheFirstUseKeepsTheRecordAsTheSavedValue) {
    TheHost().SetFile("t.dbf", DataFile(3, 2, 97, 12,
                                        Descriptor("A", 'C', 5) + Descriptor("B", 'N', 6) +
                                            "\r one       1 two       2"));
    OvraSQLTable table(database_);
    ASSERT_TRUE(table.Open("t.dbf", 3));
    OvraSQLField* a = table.FindField("A");
    OvraSQLField* b = table.FindField("B");
    EXPECT_EQ(Text(a->ValueText()), "");  // nothing read yet
    ASSERT_TRUE(table.ReadRecord(1));
    a->SetValue("set");
    EXPECT_STREQ(a->SwapValues(), "one");
    ASSERT_TRUE(table.ReadRecord(2));
    EXPECT_EQ(Text(a->ValueText()), "two");  // a read replaces what was set
    EXPECT_EQ(b->Number().value, 2.0);
    ASSERT_TRUE(table.ReadRecord(1));
    EXPECT_EQ(b->Number().value, 1.0);
    ASSERT_TRUE(table.ReadRecord(2));
    table.SwapFieldValues();  // first use is the exchange
    EXPECT_EQ(Text(a->ValueText()), "two");
    ASSERT_TRUE(table.ReadRecord(1));
    table.SaveFieldValues();
    EXPECT_STREQ(a->SwapValues(), "one");
}

TEST_F(LazyField, NamesAreFoundWithoutRegardToCase) {
    TheHost().SetFile("t.dbf", DataFile(3, 0, 129, 4,
                                        Descriptor("Name", 'C', 1) + Descriptor("NAME", 'C', 1) +
                                            Descriptor("na", 'C', 1) + "\r"));
    OvraSQLTable table(database_);
    ASSERT_TRUE(table.Open("t.dbf", 3));
    EXPECT_EQ(table.FindField("nAmE"), table.Fields().ItemAt(0));  // the first of equal names
    EXPECT_EQ(table.FindField("NA"), table.Fields().ItemAt(2));
    EXPECT_EQ(table.FindField("NAM"), nullptr);
    const OvraSQLField& name = *table.Fields().ItemAt(0);
    EXPECT_LT(table.Fields().CompareKey(name, "A LONGER ONE"), 0);  // length decides first
    EXPECT_GT(table.Fields().CompareKey(name, "ZZ"), 0);
    EXPECT_EQ(table.Fields().CompareKey(name, "NAME"), 0);
}

}  // namespace
}  // namespace ovrasql
