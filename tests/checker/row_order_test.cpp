// The comparison of what has become of a statement's rows with the order in which it met them.

#include "tests/support/checker/row_order.h"

#include <gtest/gtest.h>

namespace ovrasql::checker {
namespace {

// The states of the records 1, 2, 3 ... of a table, as letters: o old, n new, x neither.
std::string Judged(const std::string& states) {
    std::vector<MetRecord> met;
    for (uint32_t record = 1; record <= states.size(); ++record) {
        met.push_back({"t.dbf", record});
    }
    return OutOfOrder(met, [&](const MetRecord& record) {
        const char state = states[record.record - 1];
        return state == 'n'   ? RecordState::kNew
               : state == 'o' ? RecordState::kOld
                              : RecordState::kNeither;
    });
}

TEST(RowOrder, APrefixOfTheRowsIsInOrder) {
    for (const char* states : {"", "o", "n", "ooo", "noo", "nno", "nnn"}) {
        EXPECT_EQ(Judged(states), "") << states;
    }
}

TEST(RowOrder, ARowBehindOneThatWasNotChangedIsNot) {
    EXPECT_EQ(Judged("on"), "t.dbf, record 2 was changed before t.dbf, record 1");
    EXPECT_EQ(Judged("nonn"), "t.dbf, record 3 was changed before t.dbf, record 2");
    EXPECT_EQ(Judged("noon"), "t.dbf, record 4 was changed before t.dbf, record 2");
}

TEST(RowOrder, ARowWrittenInPartIsTheLast) {
    EXPECT_EQ(Judged("nxo"), "");
    EXPECT_EQ(Judged("nxn"), "t.dbf, record 3 was changed before t.dbf, record 2");
    EXPECT_EQ(Judged("ox"), "t.dbf, record 2 was changed before t.dbf, record 1");
    EXPECT_EQ(Judged("xx"), "t.dbf, record 2 was changed before t.dbf, record 1");
}

TEST(RowOrder, ChangedRecordsAreThoseThatComeGoOrDiffer) {
    const NumberedRows before = {{1, {"a"}}, {2, {"b"}}, {3, {"c"}}};
    const NumberedRows after = {{1, {"a"}}, {3, {"C"}}, {4, {"d"}}};
    EXPECT_EQ(ChangedRecords(before, after), (std::set<uint32_t>{2, 3, 4}));
    EXPECT_EQ(ChangedRecords(after, before), (std::set<uint32_t>{2, 3, 4}));
    EXPECT_EQ(ChangedRecords(before, before), std::set<uint32_t>());
}

// A header of 65 bytes, records of 5.
TEST(RowOrder, ARecordIsToldByItsPlaceInTheFile) {
    FileBytes bytes(32);
    bytes[8] = 65;
    bytes[10] = 5;
    EXPECT_EQ(RecordAt(bytes, 0), 0U);
    EXPECT_EQ(RecordAt(bytes, 64), 0U);
    EXPECT_EQ(RecordAt(bytes, 65), 1U);
    EXPECT_EQ(RecordAt(bytes, 69), 1U);
    EXPECT_EQ(RecordAt(bytes, 70), 2U);
    EXPECT_EQ(RecordAt(FileBytes(31), 70), 0U);
    EXPECT_EQ(RecordAt(FileBytes(32), 70), 0U);
}

}  // namespace
}  // namespace ovrasql::checker
