// The prompt at a terminal: what its keys do.

#include <gtest/gtest.h>

#include <string>

#include "shell/database.h"
#include "tests/shell/terminal.h"
#include "tests/support/temporary_folder.h"

namespace {

using ovratest::kInterruptKey;
using ovratest::Terminal;

class LineEditorTest : public ovratest::TerminalTest {};

TEST_F(LineEditorTest, InterruptGivesTheStatementUpAndNothingElse) {
    ovrashell::Database::Create(folder_.File("db.dbf")).Query("create table t (a char(5))");
    Terminal terminal(folder_);
    EXPECT_TRUE(terminal.Type("ovrasql> ", "drop \\\r"));
    EXPECT_TRUE(terminal.Type("...> ", "table t" + kInterruptKey));
    EXPECT_TRUE(terminal.Type("ovrasql> ", ".tables\r"));
    EXPECT_TRUE(terminal.WaitFor("\r\nt\r\n")) << "the half statement was not run";
    EXPECT_TRUE(terminal.Type("ovrasql> ", ".quit\r"));
    terminal.WaitForEnd();
    EXPECT_EQ(terminal.Status(), 0);
    const std::string history = folder_.Read(".ovrasql_history");
    EXPECT_NE(history.find(".tables\n"), std::string::npos) << history;
}

TEST_F(LineEditorTest, TabCompletesNamesAndBehindACommandFiles) {
    ovrashell::Database::Create(folder_.File("db.dbf")).Query("create table harbours (a char(5))");
    std::filesystem::create_directory(folder_.File("scripts"));
    folder_.Write("scripts/one", "delete from nowhere\n");
    Terminal terminal(folder_);
    EXPECT_TRUE(terminal.Type("ovrasql> ", "select count(*) as n from harb\t\r"));
    EXPECT_TRUE(terminal.WaitFor("\r\n0\r\n")) << "the statement ran";
    EXPECT_TRUE(terminal.Type("ovrasql> ", ".read " + folder_.File("scr") + "\t/o\t\r"));
    EXPECT_TRUE(terminal.WaitFor("scripts/one:1: ")) << "the file was read";
    EXPECT_TRUE(terminal.Type("ovrasql> ", ".quit\r"));
    terminal.WaitForEnd();
    EXPECT_EQ(terminal.Status(), 0);
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

}  // namespace
