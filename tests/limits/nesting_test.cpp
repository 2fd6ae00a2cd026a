#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <string>

#include "tests/limits/small_stack.h"
#include "tests/support/test_database.h"

// Statements in statements: 500 levels of anything run to their rows on a stack of 1 MiB, and
// whatever is deeper than the parser allows ends in one message, however deep it is.

namespace ovrasql {
namespace {

constexpr int32_t kDepth = 500;
constexpr int32_t kFarTooDeep = 100000;
constexpr const char* kTooDeep = "error: Syntax Error: Statement is nested too deeply";

// `open` and `close` stand around `core` as often as the test says.
struct Nesting {
    const char* name;
    const char* head;
    const char* open;
    const char* core;
    const char* close;
    const char* tail;
    const char* result;  // rows, or the message
    int32_t levels = 1;  // that each `open` counts for
};

// Table t has the row (1, 'x') alone: a sub-query runs again for each row around it.
const Nesting kNestings[] = {
    {"a condition in parentheses", "select a from t where ", "(", "a = 1", ")", "", "1\n"},
    {"a value in parentheses", "select ", "(", "a", ")", " from t", "1\n"},
    {"an operand in parentheses", "select a from t where a = 0 + ", "(", "1", ")", "", "1\n"},
    {"sums", "select ", "(0 + ", "a", ")", " from t", "1\n"},
    {"upper", "select ", "upper(", "s", ")", " from t", "X\n"},
    {"length", "select ", "length(", "s", ")", " from t", "1\n"},
    {"ifnull", "select ", "ifnull(", "a", ", 7)", " from t", "1\n"},
    {"the text of substring", "select ", "substring(", "s", " from 1 for 1)", " from t", "x\n"},
    {"the start of substring", "select ", "substring('1' from ", "1", ")", " from t", "1\n"},
    {"the length of substring", "select ", "substring('1' from 1 for ", "1", ")", " from t", "1\n"},
    {"not before a parenthesis", "select a from t where ", "not (", "a = 1", ")", "", "1\n"},
    {"exists", "select a from t where ", "exists (select a from t where ", "a = 1", ")", "", "1\n"},
    {"in", "select a from t where ", "a in (select a from t where ", "a = 1", ")", "", "1\n"},
    {"not in", "select a from t where ", "a not in (select a from t where ", "a = 1", ")", "",
     "1\n"},
    {"a sub-query as a value", "select ", "(select ", "1", " from t where a = 1)", " from t",
     "1\n"},
    {"a compared sub-query", "select a from t where ", "a = (select a from t where ", "a = 1", ")",
     "", "1\n"},
    {"a sub-query in a sum", "select ", "sum((select ", "1", " from t where a = 1))", " from t",
     "1\n", 2},
    {"a sub-query in upper", "select ", "upper((select ", "1", " from t where a = 1))", " from t",
     "1\n", 2},
    {"a sub-query in substring", "select ", "substring((select ", "1",
     " from t where a = 1) from 1)", " from t", "1\n", 2},
    {"sum", "select ", "sum(", "a", ")", " from t",
     "error: Aggregate is not valid in this context"},
    {"count", "select ", "count(", "a", ")", " from t",
     "error: Aggregate is not valid in this context"},
    {"count distinct", "select ", "count(distinct ", "a", ")", " from t",
     "error: Aggregate is not valid in this context"},
    {"a sub-query between", "select a from t where ", "a between 0 and (select a from t where ",
     "a = 1", ")", "", "1\n"},
    {"group by", "select a from t group by ", "upper(", "a", ")", "", "1\n"},
    {"order by", "select a from t order by ", "upper(", "a", ")", "", "1\n"},
    {"group by sub-queries", "select a from t group by ", "(select a from t group by ", "a", ")",
     "", "1\n"},
    {"derived tables in sub-queries", "select ", "(select a from (select ", "1", " as a from t) d)",
     " from t", "1\n", 2},
    {"union branches", "select a from t", " union select a from t where a in (select a from t", "",
     ")", "", "1\n"},
    {"insert of derived", "insert into u select * from ", "(select a from ", "t", ") d", "", ""},
    {"derived tables", "select * from ", "(select a from ", "t", ") d", "", "1\n"},
    {"derived tables with order", "select * from ", "(select a from ", "t", " order by a) d", "",
     "1\n"},
    {"derived tables with groups", "select * from ", "(select a from ", "t", " group by a) d", "",
     "1\n"},
    {"derived tables with unions", "select * from ", "(select a from ", "t",
     " union select a from t) d", "", "1\n"},
    {"an update", "update t set a = ", "(", "a", ")", "", ""},
    {"an update by sub-queries", "update t set a = a where ", "a in (select a from t where ",
     "a = 1", ")", "", ""},
    {"a delete", "delete t from t where ", "exists (select a from t where ", "a = 9", ")", "", ""},
    {"an insert", "insert into u values (", "(", "1", ")", ")", ""},
    {"an insert of sub-queries", "insert into u select a from t where ",
     "a in (select a from t where ", "a = 9", ")", "", ""},
};

class NestingTest : public ::testing::Test {
  protected:
    void SetUp() override {
        TheHost().Reset();
        TheHost().SetLogging(false);
        TestDatabase database;
        ASSERT_TRUE(database.Create());
        ASSERT_EQ(database.Run("create table t (a integer, s char(5))"), "");
        ASSERT_EQ(database.Run("create table u (a integer)"), "");
        ASSERT_EQ(database.Run("insert into t values (1, 'x')"), "");
    }

    static std::string Text(const Nesting& form, int32_t depth) {
        return form.head + Repeat(form.open, depth) + form.core + Repeat(form.close, depth) +
               form.tail;
    }

    // The whole life of a statement, from opening the database to freeing it, is on the stack of
    // the thread: parse, compile, run, destroy.
    static std::string Result(const std::string& sql, size_t stack = kSmallStack,
                              size_t* used = nullptr) {
        std::string result;
        const size_t bytes = OnStack(stack, [&] {
            TestDatabase database;
            EXPECT_TRUE(database.Open());
            result = database.RowsText(sql);
        });
        if (used != nullptr) {
            *used = bytes;
        }
        return result;
    }
};

// What a level costs is why the parser's bound stands where it does: with all its levels, a
// statement leaves a quarter of a stack of 1 MiB to the host, or an eighth where the compiler makes
// larger frames.
TEST_F(NestingTest, FiveHundredLevelsOfAnythingRunOnASmallStack) {
    size_t most = 0;
    for (const Nesting& form : kNestings) {
        size_t used = 0;
        EXPECT_EQ(Result(Text(form, kDepth / form.levels), kSmallStack, &used), form.result)
            << form.name;
        most = std::max(most, used / kDepth);
    }
    std::printf("a level of nesting takes up to %zu bytes of stack\n", most);
    EXPECT_LT(most * 512, kSmallStack - kSmallStack / kPartOfHost);
}

TEST_F(NestingTest, TheSameRunOnAnOrdinaryStack) {
    for (const Nesting& form : kNestings) {
        EXPECT_EQ(Result(Text(form, kDepth / form.levels), 8 * kMebibyte), form.result)
            << form.name;
    }
}

TEST_F(NestingTest, AHundredThousandLevelsAreRefusedInOneMessage) {
    for (const Nesting& form : kNestings) {
        EXPECT_EQ(Result(Text(form, kFarTooDeep)), kTooDeep) << form.name;
        EXPECT_EQ(Result(form.head + Repeat(form.open, kFarTooDeep)), kTooDeep) << form.name;
    }
}

// Each level shows the columns of the one inside it twice. A row has no more than 2,046 values, and
// a statement that doubles on is refused before it takes more memory than its text can account for.
TEST_F(NestingTest, StarsThatDoubleTheColumnsOfEachLevelAreBounded) {
    const auto doubled = [](int32_t levels) {
        return "select a from (" + Repeat("select d.*, d.* from (", levels) + "select a from t" +
               Repeat(") d", levels) + ") d";
    };
    EXPECT_EQ(Result(doubled(1)), "1\n");
    EXPECT_EQ(Result(doubled(10)), "1\n");
    EXPECT_EQ(Result(doubled(11)), "error: Stack overflow");
    EXPECT_EQ(Result(doubled(14)), "error: Stack overflow");
    for (const int32_t levels : {16, 24, 64, kDepth}) {
        EXPECT_EQ(Result(doubled(levels)), "error: Statement is too complex") << levels;
    }
    TestDatabase database;
    ASSERT_TRUE(database.Open());
    ASSERT_EQ(database.Run("delete from t"), "");
    EXPECT_EQ(database.RowsText(doubled(14)), "");
}

// The parser never nests by a run of the word alone.
TEST_F(NestingTest, ARunOfNotIsNoCondition) {
    for (const int32_t depth : {2, kDepth, kFarTooDeep}) {
        EXPECT_EQ(Result("select a from t where " + Repeat("not ", depth) + "a"),
                  "error: Syntax Error: 'not' unexpected");
    }
}

// A statement that was refused leaves nothing behind that counts for the next.
TEST_F(NestingTest, TheDatabaseGoesOnAfterARefusal) {
    TestDatabase database;
    ASSERT_TRUE(database.Open());
    const std::string deep = "select a from t where " + Repeat("(", kFarTooDeep);
    for (int32_t round = 0; round < 20; ++round) {
        EXPECT_EQ(database.RowsText(deep), kTooDeep);
        EXPECT_EQ(database.RowsText("select a from t where (a = 1)"), "1\n");
    }
}

}  // namespace
}  // namespace ovrasql
