// What goes wrong outside of the statements: nothing of it may pass in silence, or end the program
// without a word.

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "tests/shell/program_fixture.h"

namespace {

using ovratest::ProgramTest;

class ProgramFailureTest : public ProgramTest {
  protected:
    // A join of the two ports of MakePorts() with themselves, of so many rows that nobody lives to
    // see the last one.
    static std::string EndlessJoin() {
        std::string tables = "ports p0";
        for (int i = 1; i < 40; ++i) {
            tables += ", ports p" + std::to_string(i);
        }
        return tables;
    }
};

TEST_F(ProgramFailureTest, OutputThatCannotBeWrittenIsAnError) {
    MakePorts();
    for (const char* arguments :
         {"db.dbf 'select code from ports' > /dev/full", "db.dbf .schema > /dev/full",
          "db.dbf 'select code from ports' >&-", "db.dbf .schema >&-", "--help > /dev/full",
          "db.dbf '.output /dev/full' 'select code from ports'",
          "db.dbf '.output /dev/full' 'select code from ports' .output 'drop table ports'"}) {
        EXPECT_EQ(Run(arguments).status, 1) << arguments;
        EXPECT_EQ(Errors(), "The output cannot be written\n");
    }
    EXPECT_EQ(Sql(".tables"), "ports\n") << "nothing behind the failure was run";
}

// 2 to the power of 40 rows. "timeout" answers 124 when it ends the program itself.
TEST_F(ProgramFailureTest, OutputThatFailsEndsTheSelectBeforeItsLastRow) {
    MakePorts();
    for (const std::string mode : {"table", "csv", "tsv", "json", "line"}) {
        EXPECT_EQ(
            Run("-m " + mode + " db.dbf 'select p0.code from " + EndlessJoin() + "' > /dev/full",
                "", "timeout 20")
                .status,
            1)
            << mode;
        EXPECT_EQ(Errors(), "The output cannot be written\n") << mode;
    }
}

TEST_F(ProgramFailureTest, ReaderThatLeavesEndsTheSelectWhereItsSignalIsIgnored) {
    MakePorts();
    EXPECT_EQ(Run("db.dbf 'select p0.code from " + EndlessJoin() + "' | head -n 1", "",
                  "env --ignore-signal=PIPE timeout 20")
                  .output,
              "code\n");
    EXPECT_EQ(Errors(), "The output cannot be written\n");
}

TEST_F(ProgramFailureTest, OutputFileIsNotTakenForClosedStandardOutput) {
    MakePorts();
    EXPECT_EQ(Run("db.dbf '.output rows' 'select code from ports' .output .tables >&-").status, 1);
    EXPECT_EQ(folder_.Read("rows"), "code\n----\nANV\nBRK\n");
}

TEST_F(ProgramFailureTest, InputThatCannotBeReadIsAnError) {
    MakePorts();
    EXPECT_EQ(Run("-f . db.dbf").status, 1);
    EXPECT_EQ(Errors(), "Cannot read '.': Is a directory\n");
    EXPECT_EQ(Run("db.dbf '.read .'").status, 1);
    EXPECT_EQ(Errors(), "Cannot read '.': Is a directory\n");
    EXPECT_EQ(Run("db.dbf < .").status, 1);
    EXPECT_EQ(Errors(), "Cannot read standard input: Is a directory\n");
    EXPECT_EQ(Run("db.dbf <&-").status, 1);
    EXPECT_EQ(Errors(), "Cannot read standard input: Bad file descriptor\n");
}

TEST_F(ProgramFailureTest, MissingFolderForTemporaryFilesIsToldWithTheLine) {
    MakePorts();
    EXPECT_EQ(Run("db.dbf", "\n.explain select code from ports\n", "TMPDIR=/nonexistent").status,
              1);
    EXPECT_EQ(Errors().rfind("line 2: There is no folder for temporary files: ", 0), 0U)
        << Errors();
}

TEST_F(ProgramFailureTest, ScriptThatRunsItselfIsStopped) {
    MakePorts();
    folder_.Write("loop", "delete from ports\n.read loop\n");
    const std::string error = "loop:2: Files run files more than 100 deep: does one run itself?\n";
    EXPECT_EQ(Run("-f loop db.dbf").status, 1);
    EXPECT_EQ(Errors(), error);
    EXPECT_EQ(Run("db.dbf", ".read loop\n").status, 1);
    EXPECT_EQ(Errors(), "line 1: " + error);
}

TEST_F(ProgramFailureTest, ScriptsThatRunEachOtherAreNamedOnce) {
    MakePorts();
    folder_.Write("one", ".read two\n");
    folder_.Write("two", "delete from ports\n.read one\n");
    EXPECT_EQ(Run("-f one db.dbf").status, 1);
    EXPECT_EQ(Errors(), "one:1: two:2: Files run files more than 100 deep: does one run itself?\n");
}

TEST_F(ProgramFailureTest, TableTakenForADatabaseGetsAHint) {
    MakePorts();
    const std::string command = "--create new.dbf '.import \"ports.dbf\" my_ports'";
    const std::string hint =
        "\n'ports.dbf' looks like a table, not a database. To use it: ovrasql " + command + "\n";
    EXPECT_EQ(Run("ports.dbf .tables").status, 1);
    EXPECT_EQ(Errors().rfind("Error opening schema index: ", 0), 0U) << Errors();
    EXPECT_NE(Errors().find(hint), std::string::npos) << Errors();
    Sql("create index bycode on ports (code)");
    EXPECT_EQ(Run("ports.dbf .tables").status, 1);
    EXPECT_NE(Errors().find(hint), std::string::npos) << Errors();
    EXPECT_EQ(Run(command).status, 0) << Errors();
    EXPECT_EQ(Errors(), "2 rows imported into my_ports\n");
    folder_.Write("text.dbf", "no table");
    EXPECT_EQ(Run("text.dbf .tables").status, 1);
    EXPECT_EQ(Errors().find("looks like"), std::string::npos) << Errors();
    std::filesystem::remove(folder_.File("db.ovx"));
    EXPECT_EQ(Run("db.dbf .tables").status, 1);
    EXPECT_EQ(Errors().find("looks like"), std::string::npos) << Errors();
}

TEST_F(ProgramFailureTest, InterruptEndsAScriptAtOnce) {
    MakePorts();
    // 2 to the power of 40 rows to count. "timeout" answers 124 when its signal ended the program.
    // The signal may be ignored where these tests run; "env" puts that right.
    EXPECT_EQ(Run("db.dbf", "select count(*) from " + EndlessJoin() + "\n",
                  "env --default-signal=INT timeout -k 20 -s INT 1")
                  .status,
              124);
    EXPECT_EQ(Errors(), "") << "nobody is told to type Ctrl-C again";
}

// A terminal obeys what follows ESC, and what follows U+009B.
TEST_F(ProgramFailureTest, ValuesCannotDriveTheTerminal) {
    Sql("create table t (a char(30))");
    folder_.Write("script",
                  "insert into t values ('\x1b[31m|\xC2\x9B"
                  "1m|\x7f|\x07|é')\n"
                  "insert into t values ('caf\xE9')\n");
    ASSERT_EQ(Run("-f script db.dbf").status, 0) << Errors();
    EXPECT_EQ(Sql("select a from t", "--no-headers"), ".[31m|.1m|.|.|é\ncaf\xE9\n");
    EXPECT_EQ(Sql("select a from t", "-m line"), "a = .[31m|.1m|.|.|é\n\na = caf\xE9\n");
    EXPECT_EQ(Sql("select a from t", "-m csv --no-headers"),
              "\x1b[31m|\xC2\x9B"
              "1m|\x7f|\x07|é\ncaf\xE9\n")
        << "what another program reads stays as it is";
}

TEST_F(ProgramFailureTest, NamesCannotDriveTheTerminal) {
    Sql("create table t (abcd char(30))");
    Sql("create index i on t (abcd)");
    std::string bytes = folder_.Read("t.dbf");
    bytes.replace(bytes.find("ABCD"), 4, "\x1b[3m");
    folder_.Write("t.dbf", bytes);
    bytes = folder_.Read("db.dbf");
    bytes.replace(bytes.find("abcd"), 4, "\x1b[4m");
    folder_.Write("db.dbf", bytes);
    EXPECT_EQ(Run("db.dbf .schema").output,
              "create table t (.[3m char(30))\ncreate index i on t (.[4m)\n");
    EXPECT_EQ(Run("db.dbf .indexes").output, "create index i on t (.[4m)\n");
    EXPECT_EQ(Run("db.dbf '.schema \x1b[31m'").status, 1);
    EXPECT_EQ(Errors(), "Unknown table '.[31m'\n") << "nor does an error";
}

TEST_F(ProgramFailureTest, TableThatCannotBeReadHidesNoOtherFromTheSchema) {
    for (const std::string name : {"anchors", "boats", "crews"}) {
        Sql("create table " + name + " (a char(5))");
    }
    Sql("create index bya on crews (a)");
    std::filesystem::remove(folder_.File("anchors.dbf"));
    folder_.Write("boats.dbf", "no table");
    EXPECT_EQ(Run("db.dbf .schema .tables").status, 1);
    EXPECT_EQ(Errors(),
              "Cannot read 'anchors.dbf': No such file or directory\n"
              "'boats.dbf' is too short to be a data file\n");
    EXPECT_EQ(Run("db.dbf .schema").output,
              "create table crews (A char(5))\ncreate index bya on crews (a)\n");
}

// The second row's value is a sub-select that gives two.
TEST_F(ProgramFailureTest, RowsBeforeAFailureAreShownInEveryMode) {
    MakePorts();
    Sql("insert into ports values ('BRK', 'Another', 1, 0)");
    const std::string statement =
        " db.dbf 'select p.code as code, (select q.code from ports q where q.code = p.code) as s "
        "from ports p'";
    for (const std::string mode : {"table", "csv", "tsv", "json", "line"}) {
        const ovratest::CommandResult result = Run("-m " + mode + statement);
        EXPECT_EQ(result.status, 1) << mode;
        EXPECT_NE(Errors(), "") << mode;
        EXPECT_NE(result.output.find("ANV"), std::string::npos) << mode << result.output;
    }
    EXPECT_EQ(Run(statement).output, "code  s\n----  ---\nANV   ANV\n");
}

}  // namespace
