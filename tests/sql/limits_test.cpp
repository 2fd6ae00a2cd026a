// Large and hostile statements: they must end in rows or in a message.

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "tests/support/test_database.h"

namespace ovrasql {
namespace {

std::string Repeat(const std::string& text, int count) {
    std::string result;
    for (int i = 0; i < count; ++i) {
        result += text;
    }
    return result;
}

class LimitsTest : public ::testing::Test {
  protected:
    void SetUp() override {
        TheHost().Reset();
        TheHost().SetLogging(false);
        database_ = std::make_unique<TestDatabase>();
        ASSERT_TRUE(database_->Create());
        Run("create table t (a integer, s char(5))");
        Run("insert into t values (1, 'x')");
    }

    void Run(const std::string& sql) { ASSERT_EQ(database_->Run(sql), "") << sql.substr(0, 80); }
    std::string Rows(const std::string& sql) { return database_->RowsText(sql); }
    bool Fails(const std::string& sql) {
        return Rows(sql).compare(0, 7, "error: ") == 0 && !database_->Error().empty();
    }

    std::unique_ptr<TestDatabase> database_;
};

TEST_F(LimitsTest, LongChainsOfOrAndAnd) {
    EXPECT_EQ(Rows("select a from t where a = 2" + Repeat(" or a = 2", 50000) + " or a = 1"),
              "1\n");
    EXPECT_EQ(Rows("select a from t where a = 1" + Repeat(" and a = 1", 50000)), "1\n");
}

TEST_F(LimitsTest, LongChainsOfArithmetic) {
    EXPECT_EQ(Rows("select 0" + Repeat(" + 1", 50000) + " from t"), "50000\n");
    // Each minus climbs over the product in front of it alone, so the tree leans to the right:
    // 1 - ((1 * 1) - ((1 * 1) - ...)), which alternates between 1 and 0.
    EXPECT_EQ(Rows("select 1" + Repeat(" - 1 * 1", 1001) + " from t"), "0\n");
    EXPECT_EQ(Rows("select 1" + Repeat(" - 1 * 1", 1000) + " from t"), "1\n");
}

TEST_F(LimitsTest, ATreeThatLeansRightNeedsTheStack) {
    EXPECT_EQ(Rows("select 1" + Repeat(" - 1 * 1", 5000) + " from t"), "error: Stack overflow");
}

TEST_F(LimitsTest, DeepNestingIsRefused) {
    EXPECT_EQ(Rows("select " + Repeat("(", 50) + "a" + Repeat(")", 50) + " from t"), "1\n");
    for (const int depth : {10000, 200000}) {
        EXPECT_TRUE(Fails("select " + Repeat("(", depth) + "a" + Repeat(")", depth) + " from t"));
        EXPECT_TRUE(Fails("select a from t where " + Repeat("(", depth) + "a"));
        EXPECT_TRUE(Fails("select " + Repeat("upper(", depth) + "a from t"));
        EXPECT_TRUE(
            Fails("select a from t where a in " + Repeat("(select a from t where a in ", depth)));
        EXPECT_TRUE(Fails("select a from " + Repeat("(select a from ", depth) + "t"));
    }
}

TEST_F(LimitsTest, ManyBranchesAndTables) {
    EXPECT_EQ(Rows("select a from t" + Repeat(" union select a from t", 500)), "1\n");
    std::string from = "t t0";
    for (int i = 1; i < 60; ++i) {
        from += ", t t" + std::to_string(i);
    }
    EXPECT_EQ(Rows("select t0.a, t59.a from " + from), "1|1\n");
}

TEST_F(LimitsTest, LongListsAndTexts) {
    EXPECT_EQ(Rows("select a from t where a in (5" + Repeat(", 5", 20000) + ", 1)"), "1\n");
    const std::string text(100000, 'x');
    EXPECT_EQ(Rows("select length('" + text + "') from t"), "100000\n");
    EXPECT_EQ(Rows("select " + text + " from t"),
              "error: " + ("Unknown field '" + text).substr(0, 1023))
        << "the host's message has 1023 bytes";
}

TEST_F(LimitsTest, ASelectListWiderThanTheStackOverflows) {
    EXPECT_EQ(Rows("select 1" + Repeat(", 1", 2045) + " from t").size(), 2046U * 2);
    EXPECT_EQ(Rows("select 1" + Repeat(", 1", 2046) + " from t"), "error: Stack overflow");
}

TEST_F(LimitsTest, AValueLeftOnTheStackByEachRowOverflowsIt) {
    // Required: a folded sign behind a group replaces the group's value and leaves it on the stack.
    for (int i = 0; i < 12; ++i) {
        Run("insert into t select a, s from t order by a");
    }
    ASSERT_EQ(Rows("select count(*) from t"), "4096\n");
    EXPECT_EQ(Rows("select a from t where (a + 1) -2 > 3"), "error: Stack overflow");
    EXPECT_EQ(Rows("select count(*) from t"), "4096\n");
}

// The hundredth run takes the text's last byte, so there is nothing left to come back for.
TEST_F(LimitsTest, LikeKeepsNinetyNineRetryPoints) {
    const std::string pattern = Repeat("%a", 100);
    EXPECT_EQ(Rows("select a from t where '" + Repeat("a", 100) + "' like '" + pattern + "'"),
              "1\n");
    EXPECT_EQ(Rows("select a from t where '" + Repeat("a", 101) + "' like '%a" + pattern + "'"),
              "");
}

TEST_F(LimitsTest, LikeDoesNotBlowUp) {
    EXPECT_EQ(
        Rows("select a from t where '" + Repeat("a", 2000) + "' like '" + Repeat("%a", 40) + "b'"),
        "");
}

TEST_F(LimitsTest, SkippingAllRowsAtOnceEnds) {
    TestView view(*database_, "select a from t");
    ASSERT_FALSE(view.AtEnd());
    EXPECT_TRUE(view.Skip(2147483647));
    EXPECT_TRUE(view.AtEnd());
    EXPECT_TRUE(view.Skip(2147483647));
}

TEST_F(LimitsTest, ATableOfManyColumns) {
    std::string columns = "c0 integer";
    for (int i = 1; i < 255; ++i) {
        columns += ", c" + std::to_string(i) + " integer";
    }
    Run("create table wide (" + columns + ")");
    Run("insert into wide (c254) values (7)");
    EXPECT_EQ(Rows("select c0, c254 from wide"), "0|7\n");
    EXPECT_EQ(database_->Columns("select * from wide").size(), 255U);
}

TEST_F(LimitsTest, TooManyColumnsLeaveAnUnlistedFile) {
    std::string columns = "c0 char";
    for (int i = 1; i < 2047; ++i) {
        columns += ", c" + std::to_string(i) + " char";
    }
    EXPECT_EQ(database_->Run("create table wide (" + columns + ")"),
              "Error creating table datafile: too many fields (maximum 2046)");
    EXPECT_EQ(database_->Run("drop table wide"), "Table 'wide' does not exist");
    // The file was opened first, and stays in the way until it is removed by hand.
    EXPECT_EQ(database_->Run("create table wide (a integer)"),
              "Table 'wide' cannot be created because datafile 'wide.dbf' already exists");
    TheHost().RemoveFile("wide.dbf");
    Run("create table wide (a integer)");
}

TEST_F(LimitsTest, ALongKeyIsCutAtNinetyNineBytes) {
    Run("create table k (x char(120))");
    Run("create unique index uk on k (x)");
    Run("insert into k values ('" + Repeat("a", 99) + "1')");
    EXPECT_EQ(database_->Run("insert into k values ('" + Repeat("a", 99) + "2')"),
              "Inserted record violates UNIQUE constraint on index 'uk'");
    Run("insert into k values ('" + Repeat("a", 98) + "2')");
    EXPECT_EQ(Rows("select length(x) from k where x = '" + Repeat("a", 99) + "1'"), "100\n");
}

TEST_F(LimitsTest, BytesAboveTheLettersAreUnknownOutsideStrings) {
    EXPECT_EQ(Rows("select \xC3\xA9 from t"), "error: Syntax Error: '\xC3' unexpected");
    EXPECT_EQ(Rows("select '\xC3\xA9' from t"), "\xC3\xA9\n");
    EXPECT_EQ(Rows("select upper('\xC3\xA9') from t"), "\xC3\xA9\n");
}

TEST_F(LimitsTest, NulBytesInStatements) {
    EXPECT_EQ(Rows(std::string("select a\0 from t", 16)),
              std::string("error: Syntax Error: Expected operator, found '"));
}

}  // namespace
}  // namespace ovrasql
