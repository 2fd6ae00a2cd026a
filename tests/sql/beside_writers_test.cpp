// What a statement meets while one of another process is at work: here the second runs behind one
// of the changes of the first, while the first waits for a lock, or between two rows of its view.

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <string>

#include "library/host_services.h"
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
    void RunBeside(const std::string& sql, int changes, const std::function<void()>& meanwhile,
                   const std::string& path = "t.dbf") {
        int seen = 0;
        TheHost().SetChangeHandler([&](const FileChange& change) {
            if (change.path == path && ++seen == changes) {
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

// Required: a walk along an index ends, without a message, where the entry that it stands on is
// gone.
class WalkBesideWriters : public BesideWriters {
  protected:
    using Action = std::function<void(const std::string& row)>;

    void SetUp() override {
        BesideWriters::SetUp();
        for (const char* sql :
             {"create index ta on t (a)", "insert into t values (4, 'old')",
              "insert into t values (5, 'old')", "insert into t values (6, 'old')"}) {
            ASSERT_EQ(first_->Run(sql), "");
        }
    }

    // The rows that the first process meets when `action` follows each of them.
    std::string Walk(const std::string& sql, const Action& action) {
        std::string met;
        TestView view(*first_, sql);
        bool ok = view.Ok();
        while (ok && !view.AtEnd()) {
            met += (met.empty() ? "" : " ") + view.Text("a");
            action(view.Text("a"));
            ok = view.Skip();
        }
        return ok ? met : met + " error: " + first_->Error();
    }

    // Runs a statement of the second process behind the row 3.
    [[nodiscard]] Action BehindRow3(const std::string& sql) {
        return [this, sql](const std::string& row) {
            if (row == "3") {
                EXPECT_EQ(second_->Run(sql), "");
            }
        };
    }

    // The second process runs a statement when the first has found record 3 and wants to lock it.
    void UpdateBeside(const std::string& sql, const std::string& meanwhile) {
        constexpr int64_t kRecordLength = 1 + 19 + 5;
        constexpr int64_t kRecord3 = 32 + 2 * 32 + 1 + 2 * kRecordLength;
        second_->BeCurrent();
        void* const file =
            ovFile_Open(TheHost().Program(), kDatabaseLocation, "t.dbf", 5, kOpenExisting);
        ASSERT_EQ(ovFile_Lock(file, kLockExclusive, kRecord3, kRecordLength), 0);
        int conflicts = 0;
        TheHost().SetConflictHandler([&] {
            ++conflicts;
            EXPECT_EQ(ovFile_Release(file, kRecord3, kRecordLength), 0);
            EXPECT_EQ(second_->Run(meanwhile), "");
            first_->BeCurrent();
        });
        EXPECT_EQ(first_->Run(sql), "");
        TheHost().SetConflictHandler(nullptr);
        EXPECT_EQ(conflicts, 1);
        ovFile_Close(file);
    }
};

TEST_F(WalkBesideWriters, AViewEndsWhereItsRowIsDeleted) {
    EXPECT_EQ(Walk("select a from t order by a", BehindRow3("delete from t where a = 3")), "1 2 3");
    EXPECT_EQ(second_->RowsText("select a from t"), "1\n2\n4\n5\n6\n");
}

TEST_F(WalkBesideWriters, AViewEndsWhereItsRowGetsAnotherKey) {
    EXPECT_EQ(Walk("select a from t where a > 0", BehindRow3("update t set a = 50 where a = 3")),
              "1 2 3");
    EXPECT_EQ(second_->RowsText("select a from t where a > 0"), "1\n2\n4\n5\n6\n50\n");
}

TEST_F(WalkBesideWriters, AViewGoesOnWhereOtherRowsAreDeleted) {
    EXPECT_EQ(Walk("select a from t order by a",
                   BehindRow3("delete from t where b = 'old' and (a = 2 or a = 4)")),
              "1 2 3 5 6");
}

// The usual loop of a program over rows that are done with: an order that no index gives is the way
// to meet them all.
TEST_F(WalkBesideWriters, AProgramThatDeletesEachRowOfItsViewMeetsTheFirstAlone) {
    const Action deletes = [this](const std::string& row) {
        EXPECT_EQ(first_->Run("delete from t where a = ?", {row}), "");
    };
    EXPECT_EQ(Walk("select a from t order by a", deletes), "1");
    EXPECT_EQ(Walk("select a from t order by a + 0", deletes), "2 3 4 5 6");
    EXPECT_EQ(first_->RowsText("select a from t"), "");
}

TEST_F(WalkBesideWriters, AnUpdateEndsWhereItsRowIsDeleted) {
    UpdateBeside("update t set b = 'new' where a > 0", "delete from t where a = 3");
    EXPECT_EQ(second_->RowsText("select a, b from t"), "1|new\n2|new\n4|old\n5|old\n6|old\n");
}

TEST_F(WalkBesideWriters, AnUpdateEndsWhereItsRowGetsAnotherKey) {
    UpdateBeside("update t set b = 'new' where a > 0", "update t set a = 50 where a = 3");
    EXPECT_EQ(second_->RowsText("select a, b from t"),
              "1|new\n2|new\n50|new\n4|old\n5|old\n6|old\n");
}

// Row by row of t, the rows of u with its number go. The second change of a row is the header.
TEST_F(WalkBesideWriters, ADeleteEndsWhereTheRowBesideItsOwnIsDeleted) {
    ASSERT_EQ(first_->Run("create table u (k integer)"), "");
    ASSERT_EQ(first_->Run("insert into u select a from t"), "");
    RunBeside(
        "delete u from t, u where t.a > 0 and u.k = t.a", 6,
        [&] { EXPECT_EQ(second_->Run("delete from t where a = 3"), ""); }, "u.dbf");
    EXPECT_EQ(second_->RowsText("select k from u"), "4\n5\n6\n");
}

}  // namespace
}  // namespace ovrasql
