// The prompt at a terminal: what its keys do, and what it remembers of them.

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <string>

#include "shell/database.h"
#include "tests/shell/terminal.h"
#include "tests/support/temporary_folder.h"

namespace {

using ovratest::kInterruptKey;
using ovratest::Terminal;

class LineEditorTest : public ovratest::TerminalTest {};

std::ptrdiff_t LineCount(const std::string& text) {
    return std::count(text.begin(), text.end(), '\n');
}

TEST_F(LineEditorTest, InterruptGivesTheStatementUpAndNothingElse) {
    ovrashell::Database::Create(folder_.File("db.dbf")).Query("create table t (a char(5))");
    Terminal terminal(folder_);
    EXPECT_TRUE(terminal.Type("ovrasql> ", "drop \\\r"));
    EXPECT_TRUE(terminal.Type("...> ", "table t" + kInterruptKey));
    EXPECT_TRUE(terminal.Type("ovrasql> ", ".tables\r"));
    EXPECT_TRUE(terminal.WaitFor("\r\nt\r\n")) << "the half statement was not run";
    terminal.Quit();
    const std::string history = folder_.Read(".ovrasql_history");
    EXPECT_NE(history.find(".tables\n"), std::string::npos) << history;
}

TEST_F(LineEditorTest, TabCompletesNamesAndBehindACommandFiles) {
    ovrashell::Database::Create(folder_.File("db.dbf")).Query("create table harbours (a char(5))");
    std::filesystem::create_directory(folder_.File("scripts"));
    folder_.Write("scripts/one", "delete from nowhere\n");
    Terminal terminal(folder_);
    EXPECT_TRUE(terminal.Type("ovrasql> ", "select count(*) as n from harb\t"));
    EXPECT_TRUE(terminal.WaitFor("ours ") && terminal.Send("\r"));
    EXPECT_TRUE(terminal.WaitFor("\r\n0\r\n")) << "the statement ran";
    EXPECT_TRUE(terminal.Type("ovrasql> ", ".re\t"));
    EXPECT_TRUE(terminal.WaitFor("ad ") && terminal.Send(folder_.File("scr") + "\t"));
    EXPECT_TRUE(terminal.WaitFor("ipts/") && terminal.Send("o\t"));
    EXPECT_TRUE(terminal.WaitFor("ne") && terminal.Send("\r"));
    EXPECT_TRUE(terminal.WaitFor("scripts/one:1: ")) << "the file was read";
    terminal.Quit();
}

TEST_F(LineEditorTest, TableThatCannotBeReadHidesNoOtherNames) {
    auto database = ovrashell::Database::Create(folder_.File("db.dbf"));
    database.Query("create table anchors (a char(5))");
    database.Query("create table harbours (tide char(5))");
    folder_.Write("anchors.dbf", "no table");
    Terminal terminal(folder_);
    EXPECT_TRUE(terminal.Type("ovrasql> ", "select tide,tid\t"));
    EXPECT_TRUE(terminal.WaitFor("tide,tide ")) << "the names of the table behind it";
    EXPECT_TRUE(terminal.Send("from harb\t"));
    EXPECT_TRUE(terminal.WaitFor("ours ") && terminal.Send("; select a from anch\t"));
    EXPECT_TRUE(terminal.WaitFor("ors ") && terminal.Send("\r")) << "its own name";
    EXPECT_TRUE(terminal.WaitFor("\r\ntide  tide\r\n"));
    EXPECT_TRUE(terminal.WaitFor("anchors.dbf"));
    terminal.Quit();
}

TEST_F(LineEditorTest, PastedTabIsABlank) {
    ovrashell::Database::Create(folder_.File("db.dbf")).Query("create table t (a char(5))");
    Terminal terminal(folder_);
    EXPECT_TRUE(terminal.Type("ovrasql> ", "\tselect\tcount(*)\tas\tn \tfrom\tt\t\r"));
    EXPECT_TRUE(terminal.WaitFor("\r\n0\r\n"));
    terminal.Quit();
}

TEST_F(LineEditorTest, CompletionFindsTheCursorBehindAnyCharacters) {
    ovrashell::Database::Create(folder_.File("db.dbf")).Query("create table t (a char(5))");
    folder_.Write("größe one.sql", "delete from nowhere\n");
    Terminal terminal(folder_);
    EXPECT_TRUE(terminal.Type("ovrasql> ", ".read '" + folder_.File("größ") + "\t"));
    EXPECT_TRUE(terminal.WaitFor("e one.sql'") && terminal.Send("\r"));
    EXPECT_TRUE(terminal.WaitFor("größe one.sql:1: "));
    terminal.Quit();
}

// The shell that started the program is in the same process group.
TEST_F(LineEditorTest, SignalEndsThisProcessOnlyAndRestoresTheTerminal) {
    ovrashell::Database::Create(folder_.File("db.dbf"));
    for (const int signal : {SIGTERM, SIGHUP, SIGQUIT}) {
        Terminal terminal(folder_, {},
                          "ulimit -c 0; sh -c 'echo $$ > \"$HOME/pid\"; exec \"$0\" \"$1\"' "
                          "\"$0\" \"$1\"; echo ended by $?");
        EXPECT_TRUE(terminal.Type("ovrasql> ", "selec"));
        EXPECT_TRUE(terminal.WaitFor("selec"));
        EXPECT_FALSE(terminal.GivesLines());
        ::kill(std::stoi(folder_.Read("pid")), signal);
        EXPECT_TRUE(terminal.WaitFor("ended by " + std::to_string(128 + signal)));
        EXPECT_TRUE(terminal.GivesLines());
        EXPECT_EQ(terminal.Status(), 0);
    }
}

TEST_F(LineEditorTest, CharactersBeyondAsciiAreTakenAsTyped) {
    for (const char* locale : {"C.UTF-8", "C"}) {
        const ovratest::TemporaryFolder folder;
        auto database = ovrashell::Database::Create(folder.File("db.dbf"));
        database.Query("create table t (a char(20))");
        Terminal terminal(folder, {{"LC_ALL", locale}});
        EXPECT_TRUE(terminal.Type("ovrasql> ", "insert into t values ('Müller 東京')\r"));
        EXPECT_TRUE(terminal.Type("ovrasql> ", ".quit\r"));
        terminal.WaitForEnd();
        ovrashell::View rows = database.Select("select a from t", {});
        ASSERT_TRUE(rows.Next()) << locale;
        EXPECT_EQ(rows.Text(0), "Müller 東京") << locale;
    }
}

TEST_F(LineEditorTest, HistoryOutlivesAProgramThatIsKilled) {
    ovrashell::Database::Create(folder_.File("db.dbf"));
    const std::string encoded = R"(selec\040'\303\274\134'\040from\040\011t)"
                                "\n";
    for (int i = 0; i < 2; ++i) {
        Terminal terminal(folder_);
        // The tab key completes nothing here; with ^V in front it stands for itself.
        EXPECT_TRUE(terminal.Type("ovrasql> ", i == 0 ? "selec 'ü\\' from \x16\tt\r" : "\x10\r"));
        EXPECT_TRUE(terminal.WaitFor("Empty SQL Statement"));
        terminal.Kill();
        EXPECT_EQ(terminal.Status(), -1);
        EXPECT_EQ(folder_.Read(".ovrasql_history"),
                  "_HiStOrY_V2_\n" + (i == 0 ? encoded : encoded + encoded))
            << "the second program found the line with the key for the line before";
    }
}

TEST_F(LineEditorTest, FileThatIsNoHistoryIsLeftAlone) {
    ovrashell::Database::Create(folder_.File("db.dbf"));
    for (const std::string before : {"select 1\nselect 2\n", "_HiStOrY_V1_\nselect 1\n", ""}) {
        folder_.Write(".ovrasql_history", before);
        Terminal terminal(folder_);
        terminal.Quit();
        EXPECT_EQ(folder_.Read(".ovrasql_history"),
                  before.empty() ? "_HiStOrY_V2_\n.quit\n" : before);
    }
}

TEST_F(LineEditorTest, HistoryKeepsAThousandLines) {
    ovrashell::Database::Create(folder_.File("db.dbf"));
    std::string lines = "_HiStOrY_V2_\n";
    for (int i = 0; i < 1500; ++i) {
        lines += "line" + std::to_string(i) + "\n";
    }
    folder_.Write(".ovrasql_history", lines);
    Terminal terminal(folder_);
    EXPECT_TRUE(terminal.Type("ovrasql> ", ".quit\r"));
    terminal.WaitForEnd();
    const std::string kept = folder_.Read(".ovrasql_history");
    EXPECT_EQ(LineCount(kept), 1 + 1000 + 1) << "the head line, and what was typed since";
    EXPECT_EQ(kept.substr(0, 21), "_HiStOrY_V2_\nline500\n");
}

}  // namespace
