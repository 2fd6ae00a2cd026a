// The statement cache as definitions and open views leave it. The trace tells what came out of it.

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "tests/support/test_database.h"

namespace ovrasql {
namespace {

class StatementCacheTest : public ::testing::Test {
  protected:
    void SetUp() override {
        TheHost().Reset();
        database_ = std::make_unique<TestDatabase>();
        ASSERT_TRUE(database_->Create());
        Run("create table t (a integer, b integer)");
        Run("insert into t values (1, 10)");
        ASSERT_TRUE(database_->Option("log", "trace.txt"));
    }

    void Run(const std::string& sql) { ASSERT_EQ(database_->Run(sql), "") << sql; }

    // What a run of this text leaves in the trace.
    std::string TraceOf(const std::string& sql) {
        const size_t before = TheHost().FileText("trace.txt").size();
        IgnoredOutcome(database_->Run(sql));
        return TheHost().FileText("trace.txt").substr(before);
    }

    bool IsCached(const std::string& sql) {
        return TraceOf(sql).find("*** Using Cached Prepared Statement\n") != std::string::npos;
    }

    // Puts a statement into the cache, runs the other one, and tells whether the first is still
    // there.
    bool Survives(const std::string& other) {
        IgnoredOutcome(database_->Run(kStatement));
        EXPECT_TRUE(IsCached(kStatement));
        IgnoredOutcome(database_->Run(other));
        return IsCached(kStatement);
    }

    static void IgnoredOutcome(const std::string&) {}

    static constexpr const char* kStatement = "update t set b = 11";
    std::unique_ptr<TestDatabase> database_;
};

TEST_F(StatementCacheTest, CreateTableLeavesItAlone) {
    EXPECT_TRUE(Survives("create table u (a integer)"));
}

TEST_F(StatementCacheTest, DefinitionsEmptyIt) {
    EXPECT_FALSE(Survives("create index ia on t (a)"));
    EXPECT_FALSE(Survives("drop index ia"));
    EXPECT_FALSE(Survives("alter table t add c integer"));
    EXPECT_FALSE(Survives("alter table t drop column c"));
    Run("create table u (a integer)");
    EXPECT_FALSE(Survives("drop table u"));
}

TEST_F(StatementCacheTest, PackEmptiesIt) {
    EXPECT_FALSE(IsCached(kStatement));
    EXPECT_TRUE(IsCached(kStatement));
    ASSERT_TRUE(database_->Pack());
    EXPECT_FALSE(IsCached(kStatement));
}

TEST_F(StatementCacheTest, DefinitionsThatFailEmptyItToo) {
    EXPECT_FALSE(Survives("create index ia on nowhere (a)"));
    EXPECT_FALSE(Survives("alter table nowhere add c integer"));
    EXPECT_FALSE(Survives("alter table t drop column nope"));
    EXPECT_FALSE(Survives("drop table nowhere"));
}

TEST_F(StatementCacheTest, DropOfAnUnknownIndexLeavesItAlone) {
    EXPECT_TRUE(Survives("drop index nope")) << "the name is looked at first";
}

TEST_F(StatementCacheTest, KeysAreExactBytes) {
    IgnoredOutcome(database_->Run(kStatement));
    EXPECT_FALSE(IsCached("update t set b = 11 "));
    EXPECT_FALSE(IsCached("UPDATE t set b = 11"));
    EXPECT_FALSE(IsCached("update t set b = 1")) << "a prefix";
    EXPECT_TRUE(IsCached(kStatement));
}

TEST_F(StatementCacheTest, AStatementThatDoesNotCompileIsNotKept) {
    EXPECT_FALSE(IsCached("update t set nope = 1"));
    EXPECT_FALSE(IsCached("update t set nope = 1"));
}

TEST_F(StatementCacheTest, AStatementThatFailsInItsRunIsKept) {
    EXPECT_FALSE(IsCached("update t set b = 'x'"));
    EXPECT_TRUE(IsCached("update t set b = 'x'"));
    EXPECT_EQ(database_->Error(), "Data type mismatch");
}

TEST_F(StatementCacheTest, AHitShowsItsProgramAgain) {
    const std::string fresh = TraceOf(kStatement);
    const std::string cached = TraceOf(kStatement);
    const std::string mark = "*** Using Cached Prepared Statement\n";
    const size_t at = cached.find(mark);
    ASSERT_NE(at, std::string::npos);
    const std::string query = "*** OvQUERY\n" + std::string(kStatement) + "\n";
    ASSERT_EQ(fresh.substr(0, query.size()), query);
    EXPECT_EQ(cached.substr(0, at), query);
    EXPECT_EQ(cached.substr(at + mark.size()), fresh.substr(query.size()));
}

TEST_F(StatementCacheTest, AnOpenViewHoldsItsStatement) {
    const std::string sql = "select a from t";
    {
        TestView first(*database_, sql);
        ASSERT_TRUE(first.Ok());
        EXPECT_FALSE(IsCached(sql)) << "it is out of the cache as long as the view is open";
        TestView second(*database_, sql);
        EXPECT_EQ(second.Text("a"), "1");
    }
    EXPECT_TRUE(IsCached(sql));
}

TEST_F(StatementCacheTest, TwoViewsOfOneTextWalkApart) {
    Run("insert into t values (2, 20)");
    TestView first(*database_, "select a from t");
    TestView second(*database_, "select a from t");
    ASSERT_TRUE(first.Skip());
    EXPECT_EQ(first.Text("a"), "2");
    EXPECT_EQ(second.Text("a"), "1");
}

TEST_F(StatementCacheTest, AStatementHeldAcrossADefinitionComesBackAsItStands) {
    // Its program asks for two parts of a key; the index that then bears the name has one.
    Run("create index ix on t (a, b)");
    const std::string sql = "select b from t where a = 1 and b = 10";
    {
        TestView view(*database_, sql);
        EXPECT_EQ(view.Text("b"), "10");
        Run("drop index ix");
        Run("create index ix on t (a)");
    }
    EXPECT_EQ(database_->RowsText(sql), "error: Invalid instruction");
    Run("create table u (a integer)");
    Run("drop table u");
    EXPECT_EQ(database_->RowsText(sql), "10\n") << "compiled anew";
}

TEST_F(StatementCacheTest, AStatementHeldAcrossADropFindsNoTable) {
    const std::string sql = "select a from t";
    {
        TestView view(*database_, sql);
        Run("drop table t");
    }
    EXPECT_EQ(database_->RowsText(sql),
              "error: Unable to create cursor for table 't': Unknown table 't'");
}

TEST_F(StatementCacheTest, AStatementHeldAcrossAnAlterMissesItsColumn) {
    const std::string sql = "select b from t";
    {
        TestView view(*database_, sql);
        Run("alter table t drop column b");
    }
    EXPECT_EQ(database_->RowsText(sql), "error: Invalid column reference 'b'");
}

TEST_F(StatementCacheTest, ARunThatFailedLeavesNothingBehind) {
    Run("insert into t values (2, 20)");
    const std::string sql = "select (select x.a from t x where x.a <= t.a) from t";
    EXPECT_EQ(database_->RowsText(sql), "1\nerror: Sub-query returns more than one row");
    EXPECT_EQ(database_->RowsText(sql), "1\nerror: Sub-query returns more than one row");
    Run("delete from t where a = 2");
    EXPECT_EQ(database_->RowsText(sql), "1\n");
}

TEST_F(StatementCacheTest, RowNumbersStartAnewWithEachRun) {
    EXPECT_EQ(database_->RowsText("select recno from t"), "1\n");
    EXPECT_EQ(database_->RowsText("select recno from t"), "1\n");
}

}  // namespace
}  // namespace ovrasql
