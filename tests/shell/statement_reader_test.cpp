// How typed lines become statements.

#include "shell/statement_reader.h"

#include <gtest/gtest.h>

namespace ovrashell {
namespace {

using Statements = std::vector<std::string>;

TEST(SplitStatementsTest, SemicolonsEndStatementsAndGoAway) {
    EXPECT_EQ(SplitStatements("select a from t"), Statements{"select a from t"});
    EXPECT_EQ(SplitStatements("select a from t;"), Statements{"select a from t"});
    EXPECT_EQ(SplitStatements("drop table a; drop table b ;"),
              (Statements{"drop table a", "drop table b"}));
}

TEST(SplitStatementsTest, SemicolonInQuotesIsText) {
    EXPECT_EQ(SplitStatements("insert into t values ('a;b'); select ';' from t"),
              (Statements{"insert into t values ('a;b')", "select ';' from t"}));
    EXPECT_EQ(SplitStatements("select 'open; to the end"), Statements{"select 'open; to the end"});
}

TEST(SplitStatementsTest, NothingGivesNoStatement) {
    EXPECT_TRUE(SplitStatements("").empty());
    EXPECT_TRUE(SplitStatements(" \t ; ;; \n").empty());
}

TEST(StatementReaderTest, LineIsAStatement) {
    StatementReader reader;
    EXPECT_TRUE(reader.Add("select a from t"));
    EXPECT_EQ(reader.Take(), "select a from t");
    EXPECT_EQ(reader.Take(), "");
}

TEST(StatementReaderTest, BackslashGoesOnWithTheNextLine) {
    StatementReader reader;
    EXPECT_FALSE(reader.Add("select a \\"));
    EXPECT_TRUE(reader.IsContinuing());
    EXPECT_TRUE(reader.Add("from t"));
    EXPECT_FALSE(reader.IsContinuing());
    EXPECT_EQ(reader.Take(), "select a \nfrom t");
}

TEST(StatementReaderTest, CarriageReturnOfAnotherSystemIsDropped) {
    StatementReader reader;
    EXPECT_FALSE(reader.Add("select a \\\r"));
    EXPECT_TRUE(reader.Add("from t\r"));
    EXPECT_EQ(reader.Take(), "select a \nfrom t");
}

}  // namespace
}  // namespace ovrashell
