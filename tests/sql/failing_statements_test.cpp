// A statement that fails half-way has changed the rows that it met first, and no others.

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "tests/support/test_database.h"

namespace ovrasql {
namespace {

class FailingStatementsTest : public ::testing::Test {
  protected:
    void SetUp() override {
        TheHost().Reset();
        database_ = std::make_unique<TestDatabase>();
        ASSERT_TRUE(database_->Create());
        for (const char* sql : {"create table t (a char(1))", "create table u (a char(1))",
                                "insert into t values ('1')", "insert into t values ('2')",
                                "insert into u values ('2')", "insert into u values ('1')"}) {
            ASSERT_EQ(database_->Run(sql), "") << sql;
        }
        for (const char* file : {"t.dbf", "u.dbf"}) {
            before_[file[0] - 't'] = TheHost().FileText(file);
        }
    }

    // Both tables in one line: "t1 t2 u2 u1".
    std::string Rows() {
        std::string rows;
        for (const char* table : {"t", "u"}) {
            for (const Row& row : database_->Rows(std::string("select a from ") + table)) {
                rows += (rows.empty() ? "" : " ") + (table + row[0]);
            }
        }
        return rows;
    }

    // What the rows become, a line each, as the statement's first write fails, its second, and so
    // on until none does. Some writes change no row: those of headers.
    std::string AsWritesFail(const std::string& sql) {
        std::string all;
        std::string last;
        bool hasFailed = true;
        for (int64_t write = 1; hasFailed; ++write) {
            TheHost().FailCall("ovFile_Write", write, FailureKind::kOutright,
                               FailureSpan::kForEver);
            const std::string message = database_->Run(sql);
            hasFailed = TheHost().FailureHappened();
            TheHost().ClearFailures();
            EXPECT_EQ(message.empty(), !hasFailed) << message;
            if (const std::string rows = Rows(); write == 1 || rows != last) {
                all += rows + "\n";
                last = rows;
            }
            TheHost().SetFile("t.dbf", before_[0]);
            TheHost().SetFile("u.dbf", before_[1]);
        }
        return all;
    }

    std::unique_ptr<TestDatabase> database_;
    std::string before_[2];
};

TEST_F(FailingStatementsTest, UpdateHasChangedItsFirstRows) {
    EXPECT_EQ(AsWritesFail("update t set a = '9'"),
              "t1 t2 u2 u1\n"
              "t9 t2 u2 u1\n"
              "t9 t9 u2 u1\n");
}

TEST_F(FailingStatementsTest, DeleteHasDeletedItsFirstRows) {
    EXPECT_EQ(AsWritesFail("delete from u"),
              "t1 t2 u2 u1\n"
              "t1 t2 u1\n"
              "t1 t2\n");
}

// Row by row of the join, and of each row its tables in the order of the list.
TEST_F(FailingStatementsTest, DeleteFromTwoTablesGoesRowByRowOfTheJoin) {
    EXPECT_EQ(AsWritesFail("delete t, u from t, u where t.a = u.a"),
              "t1 t2 u2 u1\n"
              "t2 u2 u1\n"
              "t2 u2\n"
              "u2\n"
              "\n");
    EXPECT_EQ(AsWritesFail("delete u, t from t, u where t.a = u.a"),
              "t1 t2 u2 u1\n"
              "t1 t2 u2\n"
              "t2 u2\n"
              "t2\n"
              "\n");
}

// What is wrong inside BETWEEN and SUBSTRING is as wrong as anywhere else.
TEST_F(FailingStatementsTest, AWrongSubQueryInsideBetweenOrSubstringRefusesTheStatement) {
    const std::string notGrouped =
        "Non aggregate column in select list does not exist in the GROUP BY clause (or no GROUP BY "
        "clause)";
    const std::string value = "(select n from (select a, count(*) as n from t) d)";
    for (const std::string& condition :
         {"a in " + value, "a between " + value + " and '5'", "a between '0' and " + value,
          "a not between '8' and " + value, "a = substring(" + value + " from 1)",
          "a = substring(a from " + value + ")", "a = substring(a from 1 for " + value + ")"}) {
        EXPECT_EQ(database_->Run("delete from t where " + condition), notGrouped) << condition;
        EXPECT_EQ(database_->Run("update t set a = '9' where " + condition), notGrouped);
        EXPECT_EQ(database_->Run("insert into t select a from u where " + condition), notGrouped);
        EXPECT_EQ(database_->RowsText("select a from t where " + condition),
                  "error: " + notGrouped);
    }
    EXPECT_EQ(database_->Run("update t set a = substring(a from " + value + ")"), notGrouped);
    EXPECT_EQ(database_->Run("insert into t values (substring(" + value + " from 1))"), notGrouped);
    EXPECT_EQ(Rows(), "t1 t2 u2 u1");
}

}  // namespace
}  // namespace ovrasql
