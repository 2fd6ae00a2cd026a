// The prompt program as a user meets it: a process with arguments, input, output and an exit
// status.

#include <gtest/gtest.h>

#include <string>

#include "tests/shell/program_fixture.h"

namespace {

using ovratest::CommandResult;
using ovratest::ProgramTest;
using ovratest::Quoted;

TEST_F(ProgramTest, TableModeAlignsColumnsAndNumbersToTheRight) {
    MakePorts();
    EXPECT_EQ(Sql("select code, name, depth from ports"),
              "code  name        depth\n"
              "----  ----------  -----\n"
              "ANV   Anvil Bay     9.5\n"
              "BRK   Brackwater    6.0\n");
    EXPECT_EQ(Sql("select code, depth from ports", "--no-headers"), "ANV  9.5\nBRK  6.0\n");
}

TEST_F(ProgramTest, TableModeMeasuresCharactersAndNotBytes) {
    Sql("create table t (a char(20), b char(3))");
    Sql("insert into t values ('Köln', 'x')");
    Sql("insert into t values ('東京', 'y')");
    EXPECT_EQ(Sql("select a, b from t"),
              "a     b\n"
              "----  -\n"
              "Köln  x\n"
              "東京  y\n");
}

TEST_F(ProgramTest, LongTextPushesItsOwnLineOutOnly) {
    const std::string story(300, 's');
    Sql("create table t (m memo, a char(3))");
    Sql("insert into t values ('" + story + "', 'x')");
    EXPECT_EQ(Sql("select m, a from t"), "m" + std::string(101, ' ') + "a\n" +
                                             std::string(100, '-') + "  -\n" + story + "  x\n");
}

TEST_F(ProgramTest, CsvModeQuotesWhatNeedsIt) {
    Sql("create table t (a char(20), m memo)");
    Sql("insert into t values ('say \"hi\", you', 'plain')");
    EXPECT_EQ(Sql("select a, m from t", "-m csv"), "a,m\n\"say \"\"hi\"\", you\",plain\n");
}

TEST_F(ProgramTest, TsvAndLineModes) {
    MakePorts();
    EXPECT_EQ(Sql("select code, depth from ports", "-m tsv"), "code\tdepth\nANV\t9.5\nBRK\t6.0\n");
    EXPECT_EQ(Sql("select code, depth from ports", "-m line"),
              " code = ANV\ndepth = 9.5\n\n code = BRK\ndepth = 6.0\n");
}

TEST_F(ProgramTest, JsonModeGivesAnArrayOfObjects) {
    MakePorts();
    EXPECT_EQ(Sql("select code, depth from ports", "-m json"),
              "[\n  {\"code\":\"ANV\",\"depth\":\"9.5\"},\n"
              "  {\"code\":\"BRK\",\"depth\":\"6.0\"}\n]\n");
    EXPECT_EQ(Sql("select code from ports where 1 = 0", "-m json"), "[]\n");
    EXPECT_EQ(Sql("select code, depth as code from ports where depth > 9", "-m json"),
              "[\n  {\"code\":\"ANV\",\"code2\":\"9.5\"}\n]\n")
        << "no value is lost to another of the same name";
}

TEST_F(ProgramTest, ErrorsGoToStandardErrorWithStatusOne) {
    MakePorts();
    const CommandResult result = Run("db.dbf 'select nothing from ports' 'select code from ports'");
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.output, "") << "nothing after the first error is run";
    EXPECT_EQ(Errors(), "Unknown field 'nothing'\n");
}

TEST_F(ProgramTest, MissingDatabaseIsNotMadeUnasked) {
    const CommandResult result = Run("other.dbf 'create table t (a char)'");
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(Errors().rfind("Error opening schema database: ", 0), 0U) << Errors();
    EXPECT_FALSE(std::filesystem::exists(folder_.File("other.dbf")));
}

TEST_F(ProgramTest, CreateLeavesAnExistingDatabaseAlone) {
    MakePorts();
    EXPECT_EQ(Sql(".tables"), "ports\n");
}

TEST_F(ProgramTest, StandardInputHasAStatementALine) {
    MakePorts();
    const CommandResult result =
        Run("--no-headers db.dbf",
            "-- a remark\nselect code \\\nfrom ports where depth > 9; select name from ports\n");
    EXPECT_EQ(result.status, 0) << Errors();
    EXPECT_EQ(result.output, "ANV\nAnvil Bay\nBrackwater\n");
}

TEST_F(ProgramTest, FileIsRunAndQuitEndsIt) {
    MakePorts();
    folder_.Write("script", "select code from ports\n.quit\nselect name from ports\n");
    EXPECT_EQ(Run("--no-headers -f script db.dbf").output, "ANV\nBRK\n");
    EXPECT_EQ(Run("--no-headers db.dbf '.read script'").output, "ANV\nBRK\n");
}

TEST_F(ProgramTest, ErrorsInScriptsTellTheLine) {
    MakePorts();
    folder_.Write("script", "select code \\\nfrom ports\n\nselect nothing \\\nfrom ports\n");
    EXPECT_EQ(Run("--no-headers -f script db.dbf").output, "ANV\nBRK\n");
    EXPECT_EQ(Errors(), "script:4: Unknown field 'nothing'\n");
    EXPECT_EQ(Run("db.dbf", "delete from ports; .quit\ndelete from nowhere").status, 1);
    EXPECT_EQ(Errors().rfind("line 1: ", 0), 0U) << Errors();
    EXPECT_EQ(Run("db.dbf", ".echo off\n.read script").status, 1);
    EXPECT_EQ(Errors(), "line 2: script:4: Unknown field 'nothing'\n");
}

TEST_F(ProgramTest, ByteOrderMarkOfAScriptIsNoStatement) {
    MakePorts();
    EXPECT_EQ(Run("--no-headers db.dbf", "\xEF\xBB\xBFselect code from ports\r\n").output,
              "ANV\nBRK\n")
        << Errors();
}

TEST_F(ProgramTest, ParametersTakeQuestionMarksAndNumbers) {
    MakePorts();
    EXPECT_EQ(
        Sql("select code from ports where depth > ? and name like ?", "--no-headers -p 5 -p 'Br%'"),
        "BRK\n");
    EXPECT_EQ(Sql("select code from ports where name = :2 or code = :1",
                  "--no-headers -p BRK -p 'Anvil Bay'"),
              "ANV\nBRK\n");
    EXPECT_EQ(Run("-p 5 db.dbf 'select code from ports where depth > ? and depth < ?'").status, 1);
    EXPECT_EQ(Errors(), "Input parameter count mismatch: Found 1 expected 2\n");
}

TEST_F(ProgramTest, ArgumentsArriveAsTyped) {
    MakePorts();
    EXPECT_EQ(Run("db.dbf '[select name from ports]'").status, 1)
        << "no statement begins like that";
    EXPECT_EQ(Sql("select code from ports where name like ? or code = '[a,b]'",
                  "--no-headers -p '[A-B,%]'"),
              "");
    const std::string help = Run("--help").output;
    EXPECT_NE(help.find("[SQL...]"), std::string::npos) << help;
    EXPECT_NE(help.find("--parameter TEXT "), std::string::npos) << help;
    EXPECT_EQ(help.find("--parameter TEXT ..."), std::string::npos) << "one value each";
}

TEST_F(ProgramTest, SchemaIsShownAsStatementsThatMakeItAgain) {
    MakePorts();
    Sql("create index bydepth on ports (depth desc)");
    Sql("create unique index bycode on ports (code)");
    const std::string schema = Sql(".schema ports");
    EXPECT_EQ(schema,
              "create table ports (CODE char(3), NAME char(20), DEPTH numeric(4,1), "
              "CUSTOMS boolean)\n"
              "create index bydepth on ports (depth desc)\n"
              "create unique index bycode on ports (code)\n");
    Sql("drop table ports");
    folder_.Write("schema", schema);
    EXPECT_EQ(Run("db.dbf -f schema").status, 0) << Errors();
    EXPECT_EQ(Sql(".schema"), schema);
    EXPECT_EQ(Sql(".indexes ports"), schema.substr(schema.find('\n') + 1));
}

TEST_F(ProgramTest, OutputGoesToAFileAndBack) {
    MakePorts();
    EXPECT_EQ(Run("--no-headers db.dbf '.output rows' 'select code from ports' .output "
                  "'select name from ports'")
                  .output,
              "Anvil Bay\nBrackwater\n");
    EXPECT_EQ(folder_.Read("rows"), "ANV\nBRK\n");
}

TEST_F(ProgramTest, TraceIsWrittenUntilItIsTurnedOff) {
    MakePorts();
    EXPECT_EQ(Run("db.dbf '.trace log' 'delete from ports where depth = 1' '.trace off' "
                  "'delete from ports where depth = 2'")
                  .status,
              0);
    const std::string log = folder_.Read("log");
    EXPECT_EQ(log.rfind("*** OvQUERY\ndelete from ports where depth = 1\n0000 SQL_Cursor_Open", 0),
              0U)
        << log;
    EXPECT_EQ(log.find("depth = 2"), std::string::npos);
}

TEST_F(ProgramTest, LogGoesOnAfterCommandsThatUseTheTrace) {
    MakePorts();
    for (const char* command : {".pack", ".explain select code from ports"}) {
        folder_.Write("log", "");
        EXPECT_EQ(
            Run("--log log db.dbf " + Quoted(command) + " 'delete from ports where depth = 1'")
                .status,
            0);
        EXPECT_NE(folder_.Read("log").find("depth = 1"), std::string::npos) << command;
    }
}

TEST_F(ProgramTest, ExplainShowsTheProgramAndRunsNothing) {
    MakePorts();
    Sql("create index bydepth on ports (depth)");
    EXPECT_NE(Sql(".explain select code from ports where depth = 6").find(" bydepth "),
              std::string::npos);
    EXPECT_NE(Sql(".explain select code from ports order by name")
                  .find("No index found appropriate for ORDER BY optimization\n"),
              std::string::npos);
    const std::string program = Sql(".explain delete from ports where name <> ';' and code = :1");
    EXPECT_EQ(program.rfind("0000 SQL_Cursor_Open", 0), 0U) << program;
    EXPECT_NE(program.find("SQL_Cursor_Delete_Indexes"), std::string::npos);
    EXPECT_EQ(Sql("select count(*) from ports", "--no-headers"), "2\n");
    EXPECT_EQ(Run("db.dbf '.explain selec'").status, 1);
    EXPECT_EQ(Errors(), "Syntax Error: Empty SQL Statement\n");
}

TEST_F(ProgramTest, PackDropsDeletedRecordsFromTheFile) {
    MakePorts();
    Sql("delete from ports where code = 'ANV'");
    const auto before = std::filesystem::file_size(folder_.File("ports.dbf"));
    Sql(".pack");
    EXPECT_LT(std::filesystem::file_size(folder_.File("ports.dbf")), before);
    EXPECT_EQ(Sql("select name from ports", "--no-headers"), "Brackwater\n");
}

TEST_F(ProgramTest, TimesNeverStandAmongTheRows) {
    MakePorts();
    EXPECT_EQ(Run("--timer --no-headers -m csv db.dbf 'select code from ports'").output,
              "ANV\nBRK\n");
    EXPECT_EQ(Errors().rfind("Time: 0.", 0), 0U) << Errors();
    EXPECT_EQ(Run("db.dbf '.timer on' 'delete from ports'").output, "");
    EXPECT_EQ(Errors().rfind("Time: 0.", 0), 0U) << Errors();
}

TEST_F(ProgramTest, ModesAndHelp) {
    MakePorts();
    EXPECT_EQ(Sql(".mode"), "table\n");
    for (const char* name : {".echo", ".exit", ".explain", ".headers", ".help", ".import",
                             ".indexes", ".mode", ".output", ".pack", ".parameters", ".quit",
                             ".read", ".schema", ".tables", ".timer", ".trace"}) {
        EXPECT_NE(Sql(".help").find(std::string(name) + " "), std::string::npos) << name;
        EXPECT_EQ(Sql(".help " + std::string(name + 1)), Sql(".HELP " + std::string(name)));
    }
}

TEST_F(ProgramTest, SemicolonMayEndACommandToo) {
    MakePorts();
    EXPECT_EQ(Sql(".tables;"), "ports\n");
    EXPECT_EQ(Run("db.dbf", ".headers off ; \n.parameters 'a;'\nselect :1 from ports\n").output,
              "a;\na;\n")
        << "one in quotes is part of its word: " << Errors();
    EXPECT_EQ(Run("db.dbf '.tables;;'").status, 1);
    EXPECT_EQ(Errors(), "Unknown command '.tables;'; .help lists the commands\n");
}

TEST_F(ProgramTest, WrongCommandsAreExplained) {
    MakePorts();
    EXPECT_EQ(Run("db.dbf .nonsense").status, 1);
    EXPECT_EQ(Errors(), "Unknown command '.nonsense'; .help lists the commands\n");
    EXPECT_EQ(Run("db.dbf '.mode xml'").status, 1);
    EXPECT_EQ(Errors(), "Unknown mode 'xml': table, csv, tsv, json and line are known\n");
    EXPECT_EQ(Run("db.dbf '.schema nothing'").status, 1);
    EXPECT_EQ(Errors(), "Unknown table 'nothing'\n");
    EXPECT_EQ(Run("db.dbf '.indexes nothing'").status, 1);
    EXPECT_EQ(Errors(), "Unknown table 'nothing'\n");
    for (const char* words :
         {"", " --no-header", " --separator", " --separator tab", " --unknown f", " a.csv b c"}) {
        EXPECT_EQ(Run("db.dbf " + Quoted(std::string(".import") + words)).status, 1);
        EXPECT_EQ(Errors(), "Usage: .import [--no-header] [--separator C] FILE [TABLE]\n") << words;
    }
    EXPECT_EQ(Run("db.dbf '.help me'").status, 1);
    EXPECT_EQ(Errors(), "Unknown command '.me'; .help lists the commands\n");
    EXPECT_EQ(Run("db.dbf '.HELP a b'").status, 1);
    EXPECT_EQ(Errors(), "Usage: .help [COMMAND]\n");
    EXPECT_EQ(Run("db.dbf '.timer maybe'").status, 1);
    EXPECT_EQ(Errors(), "Expected on or off, found 'maybe'\n");
    EXPECT_EQ(Run("db.dbf '.read nothing'").status, 1);
    EXPECT_EQ(Errors(), "Cannot read 'nothing': No such file or directory\n");
    EXPECT_EQ(Run("db.dbf '.trace nowhere/log'").status, 1);
    EXPECT_EQ(Errors(), "Unable to open logfile 'nowhere/log'\n");
}

TEST_F(ProgramTest, EmptyFileNamesAreNoFiles) {
    MakePorts();
    const std::string select = " db.dbf 'select code from ports'";
    EXPECT_EQ(Run("-f ''" + select).status, 1);
    EXPECT_EQ(Errors(), "Cannot read '': No such file or directory\n");
    EXPECT_EQ(Run("-f '' db.dbf", "select code from ports\n").output, "");
    for (const std::string& arguments :
         {"--log ''" + select, std::string("db.dbf '.trace \"\"'")}) {
        EXPECT_EQ(Run(arguments).status, 1) << arguments;
        EXPECT_EQ(Errors(), "Cannot write ''\n");
    }
    EXPECT_FALSE(std::filesystem::exists(folder_.File("sql.log")));
}

TEST_F(ProgramTest, WordsInQuotesHoldBlanksAndQuotes) {
    MakePorts();
    EXPECT_EQ(Sql(".parameters 'it''s' \"say \"\"hi\"\"\" '' a'b\n"
                  "select :1, :2, length(:3), :4 from ports where code = 'ANV'",
                  "--no-headers -m line"),
              "         1 = it's\n         2 = say \"hi\"\nlength(:3) = 0\n         4 = a'b\n");
    EXPECT_EQ(Run("db.dbf '.import \"a.csv\"t'").status, 1);
    EXPECT_EQ(Errors(), "Expected a blank behind the closing quote\n");
    EXPECT_EQ(Run("db.dbf '.import \"a.csv'").status, 1);
    EXPECT_EQ(Errors(), "A quote is not closed\n");
}

TEST_F(ProgramTest, CommandsAndTheirWordsIgnoreCase) {
    MakePorts();
    EXPECT_EQ(Run("db.dbf .TABLES '.Mode CSV' '.headers OFF' 'select code from ports' "
                  "'.Explain selec'")
                  .output,
              "ports\nANV\nBRK\n");
    EXPECT_EQ(Errors(), "Syntax Error: Empty SQL Statement\n");
    EXPECT_EQ(Sql(".Exit\n.tables"), "");
}

TEST_F(ProgramTest, CaseInsensitiveDatabaseAndLockTimeoutAreOptions) {
    MakePorts();
    EXPECT_EQ(Sql("select code from ports where name = 'ANVIL BAY'", "--no-headers"), "");
    EXPECT_EQ(Sql("select code from ports where name = 'ANVIL BAY'",
                  "--no-headers -i --lock-timeout 100"),
              "ANV\n");
    EXPECT_EQ(Run("--lock-timeout -5 db.dbf .tables").status, 1);
    EXPECT_NE(Errors().find("--lock-timeout"), std::string::npos) << Errors();
}

}  // namespace
