// How typed lines become statements.

#include "shell/statement_reader.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

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

TEST(SplitStatementsTest, RemarkBehindASemicolonIsLeftOut) {
    EXPECT_EQ(SplitStatements("drop table a; -- and; drop table b\ndrop table c; --"),
              (Statements{"drop table a", "drop table c"}));
    EXPECT_EQ(SplitStatements("select 1--1, '--', a -- b"), Statements{"select 1--1, '--', a -- b"})
        << "inside a statement it is none";
}

TEST(SplitStatementsTest, NothingGivesNoStatement) {
    EXPECT_TRUE(SplitStatements("").empty());
    EXPECT_TRUE(SplitStatements(" \t ; ;; \n").empty());
}

// The pieces of a text, with the reader's lines ended by '\n' as in a file.
std::vector<Piece> PiecesOf(const std::string& text) {
    StatementReader reader;
    std::istringstream input(text);
    for (std::string line; std::getline(input, line);) {
        reader.Add(line);
    }
    reader.End();
    std::vector<Piece> pieces;
    while (auto piece = reader.Take()) {
        pieces.push_back(*piece);
    }
    return pieces;
}

Statements TextsOf(const std::string& text) {
    Statements texts;
    for (const Piece& piece : PiecesOf(text)) {
        texts.push_back(piece.text);
    }
    return texts;
}

TEST(StatementReaderTest, LineThatBeginsNothingGoesOnWithTheStatement) {
    EXPECT_EQ(TextsOf("delete from r\nwhere a = 'none'\n"),
              Statements{"delete from r\nwhere a = 'none'"});
    EXPECT_EQ(TextsOf("update r\n  set a = 1\n  where b = 2"),
              Statements{"update r\n  set a = 1\n  where b = 2"})
        << "the last line needs no line end";
    EXPECT_EQ(TextsOf("create table t (\n  selected char(3),\n  a char(1)\n)"),
              Statements{"create table t (\n  selected char(3),\n  a char(1)\n)"})
        << "only whole words begin statements";
}

TEST(StatementReaderTest, StatementEndsBeforeTheNextOne) {
    for (const std::string first :
         {"select b", "INSERT into b", "\tUpdate b", "delete b", "create b", "drop b", "alter b"}) {
        EXPECT_EQ(TextsOf("delete from a\n" + first), (Statements{"delete from a", first}));
    }
    EXPECT_EQ(TextsOf("delete from a\n .tables\nselect b\nfrom t"),
              (Statements{"delete from a", " .tables", "select b\nfrom t"}));
}

TEST(StatementReaderTest, SemicolonAndEmptyLineEndAStatement) {
    EXPECT_EQ(TextsOf("drop table a;\nwhere"), (Statements{"drop table a;", "where"}));
    EXPECT_EQ(TextsOf("drop table a ; \t\nwhere"), (Statements{"drop table a ; \t", "where"}));
    EXPECT_EQ(TextsOf("drop table a\n;\nwhere"), (Statements{"drop table a\n;", "where"}));
    EXPECT_EQ(TextsOf("drop table a; -- so\nwhere"), (Statements{"drop table a; -- so", "where"}));
    EXPECT_EQ(TextsOf("drop table a\n \t\nwhere"), (Statements{"drop table a", " \t", "where"}));
    EXPECT_EQ(TextsOf("drop table a; delete from b\nwhere c"),
              Statements{"drop table a; delete from b\nwhere c"});
}

TEST(StatementReaderTest, SelectInsideAStatementBeginsNoOther) {
    for (const std::string text :
         {"select a from t where b in (\nselect c\nfrom u\n)", "select a from t union\nselect b",
          "select a from t\nunion ALL\nselect b", "insert into t (a)\nselect b from u",
          "alter table t\ndrop column a", "alter table t drop column\na"}) {
        EXPECT_EQ(TextsOf(text), Statements{text});
    }
    EXPECT_EQ(TextsOf("insert into t values ('union')\nselect b"),
              (Statements{"insert into t values ('union')", "select b"}));
    EXPECT_EQ(TextsOf("alter table t add a char(1)\ndrop table u"),
              (Statements{"alter table t add a char(1)", "drop table u"}));
    EXPECT_EQ(TextsOf("insert into t\n(a) values (1); insert into t values (2)\nselect b"),
              (Statements{"insert into t\n(a) values (1); insert into t values (2)", "select b"}));
}

TEST(StatementReaderTest, QuotedTextHoldsWhatEndsStatementsElsewhere) {
    const std::string insert = "insert into t values ('one;\n\n-- two\nselect\n.three\\', 'x');";
    EXPECT_EQ(TextsOf(insert + "\nwhere"), (Statements{insert, "where"}));
}

TEST(StatementReaderTest, BackslashGoesOnWithTheNextLineWhateverItIs) {
    EXPECT_EQ(TextsOf("select a \\\nfrom t"), Statements{"select a \nfrom t"});
    EXPECT_EQ(TextsOf("select a; \\\nselect b"), Statements{"select a; \nselect b"});
    EXPECT_EQ(TextsOf(".import \\\na.csv\nwhere"), (Statements{".import \na.csv", "where"}));
    EXPECT_EQ(TextsOf("select a \\\n\nwhere"), (Statements{"select a \n", "where"}))
        << "an empty line ends it all the same";
    StatementReader reader;
    reader.Add("select a \\");
    EXPECT_TRUE(reader.IsPending());
    EXPECT_TRUE(reader.IsContinuing());
    EXPECT_FALSE(reader.Take().has_value());
    reader.Add("from t");
    EXPECT_TRUE(reader.IsPending());
    EXPECT_FALSE(reader.IsContinuing());
}

TEST(StatementReaderTest, RemarkIsPassedOver) {
    EXPECT_EQ(TextsOf("-- one\n  -- C:\\data\\\nselect a"),
              (Statements{"-- one", "  -- C:\\data\\", "select a"}))
        << "no backslash goes on with it";
    EXPECT_EQ(TextsOf("delete from r\n-- only\n  -- these\nwhere a = 1"),
              Statements{"delete from r\nwhere a = 1"});
    EXPECT_EQ(TextsOf("delete from r \\\n-- only these\nwhere a = 1"),
              Statements{"delete from r \nwhere a = 1"});
    EXPECT_EQ(TextsOf("delete from r\n-- then\nselect a\n-- the end"),
              (Statements{"delete from r", "-- then", "select a", "-- the end"}));
}

TEST(StatementReaderTest, CarriageReturnOfAnotherSystemIsDropped) {
    EXPECT_EQ(TextsOf("select a \\\r\nfrom t\r\nwhere b;\r\n\r\nwhere"),
              (Statements{"select a \nfrom t\nwhere b;", "", "where"}));
}

TEST(StatementReaderTest, PieceKnowsItsFirstLine) {
    std::vector<std::size_t> lines;
    for (const Piece& piece :
         PiecesOf("-- one\nselect a\n\nselect b\n-- five\nfrom t\n-- seven\n.tables\nselect c")) {
        lines.push_back(piece.line);
    }
    EXPECT_EQ(lines, (std::vector<std::size_t>{1, 2, 3, 4, 7, 8, 9}));
}

TEST(StatementReaderTest, StatementThatLacksItsEndIsBrokenOff) {
    const auto end = [](const std::string& text) { return PiecesOf(text).back().brokenOff; };
    EXPECT_EQ(end("drop table a\ndelete from r \\"), "behind a backslash");
    EXPECT_EQ(end("delete from r \\\r\n"), "behind a backslash");
    EXPECT_EQ(end("delete from r where a = 'x\nselect b\n"), "inside a text in quotes");
    EXPECT_EQ(end("delete from r where a = 'x'"), "");
}

}  // namespace
}  // namespace ovrashell
