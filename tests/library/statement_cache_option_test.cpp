// The option "statement_cache_size" and the case options' effect on the cache. The trace file tells
// whether a statement came from the cache.

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "tests/support/test_database.h"

namespace ovrasql {
namespace {

class StatementCacheOptionTest : public ::testing::Test {
  protected:
    void SetUp() override {
        TheHost().Reset();
        database_ = std::make_unique<TestDatabase>();
        ASSERT_TRUE(database_->Create());
        ASSERT_EQ(database_->Run("create table t (a integer)"), "");
        ASSERT_TRUE(database_->Option("log", "trace.txt"));
    }

    // Whether this run takes the statement from the cache.
    bool RunsFromCache(const std::string& sql = "insert into t (a) values (1)") {
        TheHost().SetFile("trace.txt", "");
        EXPECT_EQ(database_->Run(sql), "");
        return TheHost().FileText("trace.txt").find("*** Using Cached Prepared Statement\n") !=
               std::string::npos;
    }

    std::unique_ptr<TestDatabase> database_;
};

TEST_F(StatementCacheOptionTest, KeepsTenStatementsUnlessTold) {
    for (int number = 0; number < 11; ++number) {
        RunsFromCache("insert into t (a) values (" + std::to_string(number) + ")");
    }
    EXPECT_TRUE(RunsFromCache("insert into t (a) values (1)"));
    EXPECT_FALSE(RunsFromCache("insert into t (a) values (0)")) << "released longest ago of eleven";
}

TEST_F(StatementCacheOptionTest, SizeZeroKeepsNothing) {
    RunsFromCache();
    EXPECT_TRUE(RunsFromCache());
    EXPECT_TRUE(database_->Option("statement_cache_size", "0"));
    EXPECT_FALSE(RunsFromCache());
    EXPECT_FALSE(RunsFromCache());
}

TEST_F(StatementCacheOptionTest, ANegativeSizeIsZero) {
    EXPECT_TRUE(database_->Option("statement_cache_size", "-5"));
    RunsFromCache();
    EXPECT_FALSE(RunsFromCache());
}

TEST_F(StatementCacheOptionTest, WhatIsNoNumberIsZero) {
    EXPECT_TRUE(database_->Option("statement_cache_size", "many"));
    RunsFromCache();
    EXPECT_FALSE(RunsFromCache());
}

TEST_F(StatementCacheOptionTest, AnEmptyValueIsZero) {
    EXPECT_TRUE(database_->Option("statement_cache_size", ""));
    RunsFromCache();
    EXPECT_FALSE(RunsFromCache());
}

TEST_F(StatementCacheOptionTest, JunkBehindTheNumberIsIgnored) {
    EXPECT_TRUE(database_->Option("statement_cache_size", " 2 statements"));
    const std::string first = "insert into t (a) values (1)";
    const std::string second = "insert into t (a) values (2)";
    RunsFromCache(first);
    RunsFromCache(second);
    EXPECT_TRUE(RunsFromCache(first));
    EXPECT_TRUE(RunsFromCache(second));
}

TEST_F(StatementCacheOptionTest, AValueOfTwentyBytesIsZeroWhateverItSays) {
    const std::string value = "00000000000000000012";
    ASSERT_EQ(value.size(), 20U);
    EXPECT_TRUE(database_->Option("statement_cache_size", value));
    RunsFromCache();
    EXPECT_FALSE(RunsFromCache());
    EXPECT_TRUE(database_->Option("statement_cache_size", "0" + value)) << "21 bytes are parsed";
    RunsFromCache();
    EXPECT_TRUE(RunsFromCache());
}

TEST_F(StatementCacheOptionTest, AHugeSizeIsTaken) {
    EXPECT_TRUE(database_->Option("statement_cache_size", "99999999999"));
    RunsFromCache();
    EXPECT_TRUE(RunsFromCache());
}

TEST_F(StatementCacheOptionTest, ALoweredSizeDropsTheOldest) {
    for (int number = 0; number < 5; ++number) {
        RunsFromCache("insert into t (a) values (" + std::to_string(number) + ")");
    }
    EXPECT_TRUE(database_->Option("statement_cache_size", "2"));
    EXPECT_TRUE(RunsFromCache("insert into t (a) values (3)"));
    EXPECT_TRUE(RunsFromCache("insert into t (a) values (4)"));
    EXPECT_FALSE(RunsFromCache("insert into t (a) values (2)"));
}

TEST_F(StatementCacheOptionTest, AChangedCaseSettingEmptiesTheCache) {
    RunsFromCache();
    EXPECT_TRUE(database_->Option("caseinsensitive"));
    EXPECT_FALSE(RunsFromCache());
}

TEST_F(StatementCacheOptionTest, TheSameCaseSettingLeavesTheCacheAlone) {
    RunsFromCache();
    EXPECT_TRUE(database_->Option("casesensitive", "anything"));
    EXPECT_TRUE(RunsFromCache());
    EXPECT_TRUE(database_->Option("caseinsensitive"));
    RunsFromCache();
    EXPECT_TRUE(database_->Option("caseinsensitive"));
    EXPECT_TRUE(RunsFromCache());
}

TEST_F(StatementCacheOptionTest, AStatementIsKnownByItsExactText) {
    RunsFromCache("insert into t (a) values (1)");
    EXPECT_FALSE(RunsFromCache("INSERT into t (a) values (1)"));
    EXPECT_FALSE(RunsFromCache("insert into t (a) values (1) "));
    EXPECT_FALSE(RunsFromCache("insert into t (a)  values (1)"));
}

// A statement that a view holds across a change of the setting has the old one built in.
TEST_F(StatementCacheOptionTest, AStatementHeldByAViewDoesNotBringTheOldCaseSettingBack) {
    const std::string sql = "select a from t where 'x' = 'X'";
    ASSERT_EQ(database_->Run("insert into t (a) values (1)"), "");
    {
        TestView view(*database_, sql);
        ASSERT_TRUE(view.Ok());
        EXPECT_TRUE(view.AtEnd());
        ASSERT_TRUE(database_->Option("caseinsensitive"));
    }
    EXPECT_EQ(database_->RowsText(sql), "1\n");
}

}  // namespace
}  // namespace ovrasql
