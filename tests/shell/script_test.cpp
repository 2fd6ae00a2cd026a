// Statements in files, pipes and arguments of several lines: what is run, and in which pieces.

#include <gtest/gtest.h>

#include <string>

#include "tests/shell/program_fixture.h"

namespace {

using ovratest::ProgramTest;
using ovratest::Quoted;

class ScriptTest : public ProgramTest {
  protected:
    void SetUp() override {
        MakePorts();
        folder_.Write("codes", "select code from ports\n");
    }

    std::string Codes() { return Sql("select code from ports", "--no-headers -m csv"); }

    // Runs the text in each of the three ways; gives what is said about it, which must be the same,
    // but for the place.
    std::string ErrorOf(const std::string& text) {
        folder_.Write("script", text);
        EXPECT_EQ(Run("db.dbf", text).status, 1) << text;
        const std::string error = Errors();
        EXPECT_EQ(error.rfind("line ", 0), 0U) << error;
        EXPECT_EQ(Run("-f script db.dbf").status, 1) << text;
        EXPECT_EQ(Errors(), "script:" + error.substr(5)) << text;
        EXPECT_EQ(Run("db.dbf " + Quoted(text)).status, 1) << text;
        EXPECT_EQ(Errors(), text.find('\n') == std::string::npos ? error.substr(8) : error);
        return error;
    }
};

TEST_F(ScriptTest, StatementThatIsCutShortIsNotRun) {
    EXPECT_EQ(ErrorOf("delete from ports \\"),
              "line 1: The statement ends behind a backslash; nothing of it was run\n");
    EXPECT_EQ(ErrorOf("\ndelete from ports where code = 'x'\n; delete from ports \\\n \\\n"),
              "line 3: The statement ends behind a backslash; nothing of it was run\n");
    EXPECT_EQ(ErrorOf("delete from ports where code <> 'x"),
              "line 1: The statement ends inside a text in quotes; nothing of it was run\n");
    EXPECT_EQ(ErrorOf(".output rows\n.import \\\n"),
              "line 2: The statement ends behind a backslash; nothing of it was run\n");
    EXPECT_EQ(Codes(), "ANV\nBRK\n");
}

TEST_F(ScriptTest, StatementsBeforeOneThatIsCutShortAreRun) {
    EXPECT_EQ(ErrorOf("delete from ports where code = 'ANV'; delete from ports\nwhere code = 'B"),
              "line 1: The statement ends inside a text in quotes; nothing of it was run\n");
    EXPECT_EQ(Codes(), "BRK\n");
}

TEST_F(ScriptTest, ErrorTellsTheLineOfItsStatementNotOfTheOneThatItIsChainedTo) {
    EXPECT_EQ(ErrorOf("select code from ports;\nselect code\nfrom ports; select name\n"
                      "from ports; select nope from ports"),
              "line 4: Unknown field 'nope'\n");
}

TEST_F(ScriptTest, WordThatLeavesThePromptIsNoAlias) {
    for (const std::string word : {"exit", "QUIT", "help"}) {
        EXPECT_EQ(ErrorOf("select code from ports\n" + word + "\ndelete from ports"),
                  "line 2: Syntax Error: Empty SQL Statement\n");
    }
    EXPECT_EQ(Codes(), "ANV\nBRK\n");
}

TEST_F(ScriptTest, ContinuedDotCommandKeepsItsOptions) {
    folder_.Write("x.csv", "p;q,r\n1;2\n");
    EXPECT_EQ(Run("--no-headers -m csv db.dbf",
                  ".import \\\n--separator ; \\\n--no-header x.csv imp\nselect c2 from imp\n")
                  .output,
              "\"q,r\"\n2\n")
        << Errors();
}

TEST_F(ScriptTest, LinesOfAStatementAreOneStatement) {
    EXPECT_EQ(Run("db.dbf", "delete from ports\nwhere code = 'none'\n").status, 0) << Errors();
    EXPECT_EQ(Codes(), "ANV\nBRK\n");
    folder_.Write("script",
                  "update ports\r\n  set name = 'New'\r\n  where code = 'ANV'\r\n"
                  "delete from ports\r\n  -- the other one\r\n  where code = 'BRK'");
    EXPECT_EQ(Run("db.dbf '.read script'").status, 0) << Errors();
    EXPECT_EQ(Sql("select code, name\nfrom ports", "--no-headers -m csv"), "ANV,New\n");
    EXPECT_EQ(Sql("select code\nfrom ports\nunion\nselect name from ports\norder by code",
                  "--no-headers -m csv"),
              "ANV\nNew\n");
}

TEST_F(ScriptTest, ArgumentOfSeveralLinesIsAScript) {
    EXPECT_EQ(Sql("-- both\n  -- of them\nselect code from ports\n.headers off\n\n"
                  "select name \\\nfrom ports\nwhere code = 'BRK'\n-- the end",
                  "-m csv"),
              "code\nANV\nBRK\nBrackwater\n");
    EXPECT_EQ(
        Run("db.dbf " + Quoted("select code\nfrom ports;\n\nselect nothing\nfrom ports")).status,
        1);
    EXPECT_EQ(Errors(), "line 4: Unknown field 'nothing'\n");
    EXPECT_EQ(Sql("select code from ports; -- not: delete from ports", "--no-headers -m csv"),
              "ANV\nBRK\n");
}

TEST_F(ScriptTest, RemarkThatEndsWithABackslashHidesNoStatement) {
    EXPECT_EQ(
        Run("--no-headers -m csv db.dbf",
            "-- path C:\\data\\\nselect code from ports\n  -- all\\\nwhere depth > 9; -- so\\\n"
            "select name from ports; -- the end\\\n")
            .output,
        "ANV\nAnvil Bay\nBrackwater\n")
        << Errors();
}

TEST_F(ScriptTest, EchoShowsEachPieceBeforeItIsRun) {
    EXPECT_EQ(Run("--no-headers -m csv db.dbf",
                  ".echo on\n-- the codes\n\nselect code\nfrom ports\n-- and\n.echo off\n.tables\n")
                  .output,
              "-- the codes\n\novrasql> select code\nfrom ports\nANV\nBRK\n-- and\n"
              "ovrasql> .echo off\nports\n")
        << Errors();
}

TEST_F(ScriptTest, OutputThatCannotBeOpenedStaysWhereItWas) {
    std::filesystem::create_directory(folder_.File("folder"));
    for (const std::string path : {"folder", "nowhere/rows"}) {
        EXPECT_EQ(Run("db.dbf '.output " + path + "' 'drop table ports'").status, 1);
        EXPECT_EQ(Errors(), "Cannot write '" + path + "'\n");
    }
    EXPECT_EQ(Codes(), "ANV\nBRK\n");
}

TEST_F(ScriptTest, ReportOfAnImportStandsAmongNoRows) {
    folder_.Write("more.csv", "a\nx\n");
    EXPECT_EQ(Run("-m json db.dbf '.output rows' '.import more.csv' 'select a from more'").output,
              "");
    EXPECT_EQ(folder_.Read("rows"), "[\n  {\"a\":\"x\"}\n]\n");
    EXPECT_EQ(Errors(), "1 row imported into more\n");
}

TEST_F(ScriptTest, HomeFolderIsMeantByATilde) {
    const std::string home = "HOME=" + Quoted(folder_.Path());
    EXPECT_EQ(Run("db.dbf '.output ~/rows' .tables '.trace ~/log' '.read ~/codes' .output "
                  "'.read ~/codes'",
                  "", home)
                  .output,
              "code\n----\nANV\nBRK\n")
        << Errors();
    EXPECT_EQ(folder_.Read("rows"), "ports\ncode\n----\nANV\nBRK\n");
    EXPECT_NE(folder_.Read("log").find("select code"), std::string::npos);
}

}  // namespace
