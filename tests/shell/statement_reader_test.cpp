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
    EXPECT_EQ(TextsOf("drop table a ; \t\nwhere"), (Statements{"drop table a ;", "where"}));
    EXPECT_EQ(TextsOf("drop table a\n;\nwhere"), (Statements{"drop table a\n;", "where"}));
    EXPECT_EQ(TextsOf("drop table a\n \t\nwhere"), (Statements{"drop table a", " \t", "where"}));
}

TEST(StatementReaderTest, EachSemicolonEndsAStatementAtOnce) {
    EXPECT_EQ(TextsOf("drop table a; delete from b\nwhere c;drop table d; \ninsert ' ; '; -- so"),
              (Statements{"drop table a;", "delete from b\nwhere c;", "drop table d;",
                          "insert ' ; ';", "-- so"}));
    StatementReader reader;
    reader.Add("drop table a; delete from b");
    EXPECT_EQ(reader.Take()->text, "drop table a;");
    EXPECT_FALSE(reader.Take().has_value());
    EXPECT_TRUE(reader.IsPending());
}

TEST(StatementReaderTest, StatementBehindASemicolonInItsLineIsChained) {
    std::vector<bool> chained;
    for (const Piece& piece : PiecesOf("drop a; drop b\nc; drop d; \\\ndrop e\ndrop f;\ndrop g")) {
        chained.push_back(piece.isChained);
    }
    EXPECT_EQ(chained, (std::vector<bool>{false, true, true, true, false, false}));
}

TEST(StatementReaderTest, DotCommandBeginsALine) {
    for (const Piece& piece : PiecesOf(" .tables\nselect a; .tables\n\\\n.tables")) {
        EXPECT_EQ(piece.isCommand, piece.line == 1) << piece.text;
    }
    EXPECT_EQ(TextsOf(".echo a; b\nwhere"), (Statements{".echo a; b", "where"}));
}

TEST(StatementReaderTest, WordOfHabitIsALineOfItsOwn) {
    for (const std::string word : {"exit", " Quit", "HELP;", "exit ;"}) {
        EXPECT_EQ(TextsOf("select a from t\n" + word + "\nwhere"),
                  (Statements{"select a from t", word, "where"}));
    }
    EXPECT_EQ(TextsOf("select a\nfrom t\nexit u\nhelpful"),
              Statements{"select a\nfrom t\nexit u\nhelpful"})
        << "with others it is a word as any";
    EXPECT_EQ(TextsOf("insert into t (\nhelp\n) values ('\nquit\n', \\\nexit\n)"),
              Statements{"insert into t (\nhelp\n) values ('\nquit\n', \nexit\n)"});
}

TEST(StatementReaderTest, CommandWithoutPointStandsAlone) {
    EXPECT_EQ(CommandWithoutPoint(" Exit; "), ".quit");
    EXPECT_EQ(CommandWithoutPoint("quit"), ".quit");
    EXPECT_EQ(CommandWithoutPoint("HELP"), ".help");
    for (const char* line : {"", "exit now", "help; help", "helper", ".quit", "'quit'"}) {
        EXPECT_EQ(CommandWithoutPoint(line), "") << line;
    }
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
    EXPECT_EQ(
        TextsOf("insert into t\n(a) values (1); insert into t values (2)\nselect b"),
        (Statements{"insert into t\n(a) values (1);", "insert into t values (2)", "select b"}));
}

TEST(StatementReaderTest, QuotedTextHoldsWhatEndsStatementsElsewhere) {
    const std::string insert = "insert into t values ('one;\n\n-- two\nselect\n.three\\', 'x');";
    EXPECT_EQ(TextsOf(insert + "\nwhere"), (Statements{insert, "where"}));
    const std::string path = "insert into t values ('C:\\\n-- \\\n  \n', 1)";
    EXPECT_EQ(TextsOf(path), Statements{path}) << "no backslash is taken away";
}

TEST(StatementReaderTest, BackslashGoesOnWithTheNextLineWhateverItIs) {
    EXPECT_EQ(TextsOf("select a \\\nfrom t"), Statements{"select a \nfrom t"});
    EXPECT_EQ(TextsOf("select a \\\n-- b"), Statements{"select a \n-- b"});
    EXPECT_EQ(TextsOf("select a \\\nselect b"), Statements{"select a \nselect b"});
    EXPECT_EQ(TextsOf("select a \\\n\nwhere"), Statements{"select a \n\nwhere"});
    EXPECT_EQ(TextsOf("insert 'a' \\\nwhere"), Statements{"insert 'a' \nwhere"});
    EXPECT_EQ(TextsOf(".import \\\na.csv\nwhere"), (Statements{".import \na.csv", "where"}));
    EXPECT_EQ(TextsOf(".import \\\n--no-header \\\n.a.csv\nwhere"),
              (Statements{".import \n--no-header \n.a.csv", "where"}));
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
    EXPECT_EQ(TextsOf("drop table a; -- C:\\\n.tables"),
              (Statements{"drop table a;", "-- C:\\", ".tables"}));
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
    lines.clear();
    for (const Piece& piece : PiecesOf("drop a; select b\nfrom t; select c; \\\ndrop d\n;")) {
        lines.push_back(piece.line);
    }
    EXPECT_EQ(lines, (std::vector<std::size_t>{1, 1, 2, 3}));
}

TEST(StatementReaderTest, StatementThatLacksItsEndIsBrokenOff) {
    const auto end = [](const std::string& text) { return PiecesOf(text).back().brokenOff; };
    EXPECT_EQ(end("drop table a\ndelete from r \\"), "behind a backslash");
    EXPECT_EQ(end("delete from r \\\r\n"), "behind a backslash");
    EXPECT_EQ(end("delete from r where a = 'x\nselect b\n"), "inside a text in quotes");
    EXPECT_EQ(end("delete from r where a = 'x'"), "");
    EXPECT_EQ(end("drop table a; -- \\"), "");
    EXPECT_EQ(PiecesOf("drop table a; delete from r \\").front().brokenOff, "");
}

TEST(StatementReaderTest, StatementThatNothingHasEndedCanBeBrokenOff) {
    const auto end = [](const std::string& line) {
        StatementReader reader;
        reader.Add(line);
        reader.BreakOff();
        const auto piece = reader.Take();
        EXPECT_FALSE(reader.IsPending());
        return piece.has_value() ? std::string(piece->brokenOff) : "nothing is pending";
    };
    EXPECT_EQ(end("delete from r"), "with the input");
    EXPECT_EQ(end("delete from r \\"), "behind a backslash");
    EXPECT_EQ(end("insert 'x"), "inside a text in quotes");
    EXPECT_EQ(end("delete from r;"), "");
    StatementReader reader;
    reader.BreakOff();
    EXPECT_FALSE(reader.Take().has_value());
}

}  // namespace
}  // namespace ovrashell
