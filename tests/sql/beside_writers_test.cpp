// What a statement meets while one of another process is at work: here the second runs behind one
// of the changes of the first.

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <string>

#include "tests/support/test_database.h"

namespace ovrasql {
namespace {

class BesideWriters : public testing::Test {
  protected:
    void SetUp() override {
        TheHost().Reset();
        first_ = std::make_unique<TestDatabase>(0);
        second_ = std::make_unique<TestDatabase>(1);
        ASSERT_TRUE(first_->Create());
        for (const char* sql :
             {"create table t (a integer, b char(5))", "insert into t values (1, 'old')",
              "insert into t values (2, 'old')", "insert into t values (3, 'old')"}) {
            ASSERT_EQ(first_->Run(sql), "");
        }
        ASSERT_TRUE(second_->Open());
    }

    // The second process runs `meanwhile` when the first has changed the data file so many times.
    void RunBeside(const std::string& sql, int changes, const std::function<void()>& meanwhile) {
        int seen = 0;
        TheHost().SetChangeHandler([&](const FileChange& change) {
            if (change.path == "t.dbf" && ++seen == changes) {
                meanwhile();
                first_->BeCurrent();
            }
        });
        EXPECT_EQ(first_->Run(sql), "");
        TheHost().SetChangeHandler(nullptr);
        EXPECT_GE(seen, changes);
    }

    std::unique_ptr<TestDatabase> first_;
    std::unique_ptr<TestDatabase> second_;
};

// An UPDATE writes each record and behind it the header.
TEST_F(BesideWriters, AReaderSeesAStatementHalfDone) {
    std::string rows;
    RunBeside("update t set b = 'new'", 2, [&] { rows = second_->RowsText("select b from t"); });
    EXPECT_EQ(rows, "new\nold\nold\n");
}

// A DELETE takes the keys away behind all records, and a range is not looked for behind a first
// entry whose record is deleted.
TEST_F(BesideWriters, ARangeThatBeginsWithARowThatIsBeingDeletedReadsAsEmpty) {
    EXPECT_EQ(first_->Run("create index ta on t (a)"), "");
    std::string rows;
    RunBeside("delete from t where a < 2", 1,
              [&] { rows = second_->RowsText("select a from t where a > 0"); });
    EXPECT_EQ(rows, "");
    EXPECT_EQ(second_->RowsText("select a from t where a > 0"), "2\n3\n");
}

TEST_F(BesideWriters, ReadersTakeNoLockOnRecords) {
    TheHost().ClearLog();
    EXPECT_EQ(second_->RowsText("select a from t"), "1\n2\n3\n");
    const std::vector<HostCall>& calls = TheHost().Calls();
    EXPECT_TRUE(std::none_of(calls.begin(), calls.end(), [](const HostCall& call) {
        return call.name == "ovFile_Lock" && call.path == "t.dbf" && call.offset > 0;
    }));
}

// The INSERT has looked for the table's indexes at its start. What it appends behind the records
// that CREATE INDEX has met gets no key.
TEST_F(BesideWriters, AnIndexLacksTheKeysOfAStatementThatHasBegunBeforeIt) {
    RunBeside("insert into t select a + 10, 'more' from t where a < 4", 2,
              [&] { EXPECT_EQ(second_->Run("create index ta on t (a)"), ""); });
    EXPECT_EQ(second_->RowsText("select a from t"), "1\n2\n3\n11\n12\n13\n");
    EXPECT_EQ(second_->RowsText("select a from t where a > 0"), "1\n2\n3\n11\n");
    EXPECT_TRUE(second_->Pack()) << second_->Error();
    EXPECT_EQ(second_->RowsText("select a from t where a > 0"), "1\n2\n3\n11\n12\n13\n");
}

// The names of a table's columns are looked up once for an open database.
TEST_F(BesideWriters,
       ColumnsThatAnotherProcessHasDroppedOrAddedAreKnownWhenTheDatabaseIsOpenedAgain) {
    EXPECT_EQ(second_->RowsText("select b from t where a = 1"), "old\n");
    EXPECT_EQ(first_->Run("alter table t drop column b"), "");
    EXPECT_EQ(first_->Run("alter table t add c integer"), "");
    EXPECT_EQ(second_->RowsText("select b from t where a = 1"),
              "error: Invalid column reference 'b'");
    EXPECT_EQ(second_->Run("update t set a = 9, b = 'new'"), "Invalid column reference 'b'");
    EXPECT_EQ(second_->Run("update t set c = 5"), "Unknown field 'c'");
    second_ = std::make_unique<TestDatabase>(1);
    ASSERT_TRUE(second_->Open());
    EXPECT_EQ(second_->Run("update t set c = 5"), "");
    EXPECT_EQ(second_->RowsText("select * from t"), "1|5\n2|5\n3|5\n");
}

}  // namespace
}  // namespace ovrasql
