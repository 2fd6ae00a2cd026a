// Cells as other programs write them: dates, which the dialect can't make, and NULs in the place of
// blanks. An index finds the same rows as a search without one, whoever wrote the record last.

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>

#include "tests/support/test_database.h"

namespace ovrasql {
namespace {

class ForeignCells : public testing::Test {
  protected:
    // Of t (id numeric(2), c char(4), d D(8)) the rows 1, 2, 3 are: full, of blanks, of NULs.
    void SetUp() override {
        TheHost().Reset();
        database_ = std::make_unique<TestDatabase>();
        ASSERT_TRUE(database_->Create());
        for (const char* sql :
             {"create table t (id numeric(2), c char(4), d char(8))",
              "insert into t values (1, 'ab', '20260101')", "insert into t values (2, '', '')",
              "insert into t values (3, '', '')"}) {
            ASSERT_EQ(database_->Run(sql), "");
        }
        database_.reset();
        constexpr std::ptrdiff_t kRecordLength = 1 + 2 + 4 + 8;
        Bytes bytes = TheHost().FileBytes("t.dbf");
        bytes[3 * 32 + 11] = 'D';
        const auto cells = bytes.begin() + (1 + 3) * 32 + 1 + 2 * kRecordLength + 1 + 2;
        std::fill(cells, cells + 4 + 8, uint8_t{0});
        *cells = ' ';
        TheHost().SetFile("t.dbf", bytes);
        database_ = std::make_unique<TestDatabase>();
        ASSERT_TRUE(database_->Open());
    }

    // The numbers of the rows that each of some conditions finds.
    [[nodiscard]] std::string Found() {
        std::string found;
        for (const char* condition : {"d = '20260101'", "d = ''", "d = '        '", "d is null",
                                      "d > '20250101'", "d < '20270101'", "length(d) = 8", "c = ''",
                                      "c = ' '", "c = 'ab'", "upper(c) < 'B'", "c is null"}) {
            std::vector<Row> rows =
                database_->Rows(std::string("select id from t where ") + condition);
            EXPECT_EQ(database_->Error(), "") << condition;
            std::sort(rows.begin(), rows.end());
            found += std::string(condition) + ":";
            for (const Row& row : rows) {
                found += " " + row[0];
            }
            found += "\n";
        }
        return found;
    }

    std::unique_ptr<TestDatabase> database_;
};

constexpr const char* kFound =
    "d = '20260101': 1\n"
    "d = '':\n"  // a date keeps its blanks
    "d = '        ': 2 3\n"
    "d is null:\n"
    "d > '20250101': 1\n"
    "d < '20270101': 1 2 3\n"
    "length(d) = 8: 1 2 3\n"
    "c = '': 2 3\n"
    "c = ' ':\n"
    "c = 'ab': 1\n"
    "upper(c) < 'B': 1 2 3\n"
    "c is null: 2 3\n";

TEST_F(ForeignCells, AnIndexFindsWhatASearchWithoutOneFinds) {
    EXPECT_EQ(Found(), kFound);
    ASSERT_EQ(database_->Run("create index td on t (d)"), "");
    ASSERT_EQ(database_->Run("create index tc on t (c)"), "");
    EXPECT_EQ(Found(), kFound);
    // Every record is written anew, and no key changes.
    ASSERT_EQ(database_->Run("update t set id = id"), "");
    EXPECT_EQ(Found(), kFound);
    ASSERT_TRUE(database_->Pack()) << database_->Error();
    EXPECT_EQ(Found(), kFound);
    ASSERT_EQ(database_->Run("alter table t add n numeric(3)"), "");
    EXPECT_EQ(Found(), kFound);
    ASSERT_EQ(database_->Run("update t set c = c, d = d, n = 1"), "");
    EXPECT_EQ(Found(), kFound);
    ASSERT_EQ(database_->Run("update t set c = null, d = null where id > 1"), "");
    EXPECT_EQ(Found(), kFound);
    ASSERT_EQ(database_->Run("delete from t"), "");
    ASSERT_EQ(database_->Run("insert into t (id, c, d) values (1, 'ab', '20260101')"), "");
    ASSERT_EQ(database_->Run("insert into t (id) values (2)"), "");
    ASSERT_EQ(database_->Run("insert into t (id, d) values (3, '   ')"), "");
    EXPECT_EQ(Found(), kFound);
}

TEST_F(ForeignCells, AnEmptyDateIsOneValueForAUniqueIndex) {
    ASSERT_EQ(database_->Run("delete from t where id > 1"), "");
    ASSERT_EQ(database_->Run("create unique index td on t (d)"), "");
    ASSERT_EQ(database_->Run("insert into t (id) values (5)"), "");
    for (const bool packed : {false, true}) {
        EXPECT_EQ(database_->Run("insert into t (id) values (6)"),
                  "Inserted record violates UNIQUE constraint on index 'td'")
            << packed;
        EXPECT_EQ(database_->Run("update t set d = '' where id = 1"),
                  "Updated record violates UNIQUE constraint on index 'td'")
            << packed;
        EXPECT_EQ(database_->Run("update t set d = '' where id = 5"), "") << packed;
        ASSERT_TRUE(database_->Pack()) << database_->Error();
    }
    EXPECT_EQ(database_->Run("delete from t where id = 5"), "");
    EXPECT_EQ(database_->Run("insert into t (id) values (6)"), "");
}

// The same for a boolean of two bytes: a record's key has its blank, and so has the one looked for.
TEST_F(ForeignCells, AnIndexOnAWideBooleanFindsItsRows) {
    ASSERT_EQ(database_->Run("create table w (id numeric(2), f char(2))"), "");
    ASSERT_EQ(database_->Run("insert into w values (1, 'T')"), "");
    ASSERT_EQ(database_->Run("insert into w values (2, 'F')"), "");
    database_.reset();
    Bytes bytes = TheHost().FileBytes("w.dbf");
    bytes[2 * 32 + 11] = 'L';
    TheHost().SetFile("w.dbf", bytes);
    database_ = std::make_unique<TestDatabase>();
    ASSERT_TRUE(database_->Open());
    ASSERT_EQ(database_->Run("create index wf on w (f)"), "");
    ASSERT_EQ(database_->Run("insert into w values (3, 1)"), "");
    EXPECT_EQ(database_->RowsText("select id from w where f = 1"), "3\n1\n");
    EXPECT_EQ(database_->RowsText("select id from w where f = 0"), "2\n");
    ASSERT_EQ(database_->Run("delete from w where f = 1"), "");
    EXPECT_EQ(database_->RowsText("select id from w"), "2\n");
}

// The value in hand is the text without its blanks until the record is written.
TEST_F(ForeignCells, AStatementThatSetsADateGoesOnWithItsText) {
    ASSERT_EQ(database_->Run("alter table t add n numeric(3)"), "");
    EXPECT_EQ(database_->Run("update t set d = '2026', n = length(d) where id = 1"), "");
    EXPECT_EQ(database_->RowsText("select n, length(d) from t where id = 1"), "4|8\n");
}

}  // namespace
}  // namespace ovrasql
