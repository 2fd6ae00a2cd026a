// The prompt at a terminal: what becomes of the lines that are typed.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "shell/database.h"
#include "tests/shell/terminal.h"

namespace {

using ovratest::kInterruptKey;
using ovratest::Terminal;

class PromptTest : public ovratest::TerminalTest {
  protected:
    void SetUp() override {
        TerminalTest::SetUp();
        auto database = ovrashell::Database::Create(folder_.File("db.dbf"));
        database.Query("create table t (a char(5))");
        database.Query("insert into t values ('one')");
        database.Query("insert into t values ('two')");
    }

    // A join of so many rows that nobody lives to see the last one.
    static std::string EndlessJoin() {
        std::string tables = "t t0";
        for (int i = 1; i < 40; ++i) {
            tables += ", t t" + std::to_string(i);
        }
        return tables;
    }

    // A terminal where the second keys came while the program waited for more of a paste: it does
    // so for 50 ms, and not before the first keys have come. A machine that is too busy for that
    // gets new chances.
    std::unique_ptr<Terminal> PastedInParts(const std::string& first, const std::string& second) {
        for (int tries = 0; tries < 100; ++tries) {
            auto terminal = std::make_unique<Terminal>(folder_);
            EXPECT_TRUE(terminal->Type("ovrasql> ", ""));
            const auto start = std::chrono::steady_clock::now();
            EXPECT_TRUE(terminal->Send(first));
            ::usleep(20000);
            EXPECT_TRUE(terminal->Send(second));
            if (std::chrono::steady_clock::now() - start < std::chrono::milliseconds(45)) {
                return terminal;
            }
            terminal->Kill();
            terminal->Status();
        }
        ADD_FAILURE() << "the machine is too busy";
        return std::make_unique<Terminal>(folder_);
    }

    // A named pipe's end for writing, once somebody has opened it for reading.
    static int OpenWhenRead(const std::string& path) {
        int pipe = -1;
        for (int tries = 0; pipe < 0 && tries < 10000; ++tries) {
            pipe = ::open(path.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
            ::usleep(1000);
        }
        return pipe;
    }
};

TEST_F(PromptTest, InterruptStopsAtTheNextRow) {
    Terminal terminal(folder_);
    EXPECT_TRUE(terminal.Type("ovrasql> ", ".mode csv\r"));
    EXPECT_TRUE(terminal.Type("ovrasql> ", "select t0.a from " + EndlessJoin() + "\r"));
    EXPECT_TRUE(terminal.WaitFor("one\r\none\r\n"));
    EXPECT_TRUE(terminal.Send(kInterruptKey));
    EXPECT_TRUE(terminal.WaitFor("\r\nInterrupted\r\n"));
    EXPECT_TRUE(terminal.Type("ovrasql> ", "select count(*) as n from t\r"));
    EXPECT_TRUE(terminal.WaitFor("n\r\n2\r\n")) << "the session went on";
    terminal.Quit();
}

TEST_F(PromptTest, InterruptedJsonEndsItsLineFirst) {
    Terminal terminal(folder_);
    EXPECT_TRUE(terminal.Type("ovrasql> ", ".mode json\r"));
    EXPECT_TRUE(terminal.Type("ovrasql> ", "select t0.a from " + EndlessJoin() + "\r"));
    EXPECT_TRUE(terminal.WaitFor("{\"a\":\"one\"},\r\n"));
    EXPECT_TRUE(terminal.Send(kInterruptKey));
    EXPECT_TRUE(terminal.WaitFor("{\"a\":\"one\"}\r\nInterrupted\r\n"));
    terminal.Quit();
}

TEST_F(PromptTest, PastedStatementGoesOnWithItsNextLine) {
    Terminal terminal(folder_);
    EXPECT_TRUE(terminal.Type("ovrasql> ",
                              "delete from t\r-- only this one\rwhere a = 'one'\r"
                              "select count(*) as n\rfrom t\r"));
    EXPECT_TRUE(terminal.WaitFor("...> ")) << "it waits for its next line";
    EXPECT_TRUE(terminal.WaitFor("\r\nn\r\n-\r\n1\r\n"));
    EXPECT_TRUE(terminal.Type("ovrasql> ", "delete from t\r"));
    EXPECT_TRUE(terminal.Type("ovrasql> ", "where a = 'one'\r")) << "who types it has run it";
    EXPECT_TRUE(terminal.WaitFor("Syntax Error: Empty SQL Statement\r\n"));
    terminal.Quit();
}

TEST_F(PromptTest, PastedStatementRunsUpToItsSemicolonAtOnce) {
    Terminal terminal(folder_);
    EXPECT_TRUE(terminal.Type("ovrasql> ", "select a\rfrom t;\rdelete from t wher"));
    EXPECT_TRUE(terminal.WaitFor("one\r\ntwo\r\n")) << "the rest waits for its line's end";
    EXPECT_TRUE(terminal.Send("e a = 'none'\r"));
    EXPECT_TRUE(terminal.Type("ovrasql> ", "exit\r"));
    terminal.WaitForEnd();
    EXPECT_EQ(terminal.Status(), 0);
}

TEST_F(PromptTest, EndOfTheInputRunsNoHalfStatement) {
    const std::string lineKill = "\x15";
    const std::string end = "\x04";
    for (const auto& [keys, place] : std::vector<std::pair<std::string, std::string>>{
             {"delete from t \\\r", "behind a backslash"},
             {"delete from t\rwhere a = 'one'" + lineKill, "with the input"}}) {
        Terminal terminal(folder_);
        EXPECT_TRUE(terminal.Type("ovrasql> ", keys));
        EXPECT_TRUE(terminal.Type("...> ", end));
        EXPECT_TRUE(terminal.WaitFor("The statement ends " + place + "; nothing of it was run"));
        terminal.WaitForEnd();
        EXPECT_EQ(terminal.Status(), 0);
        ovrashell::Database database = ovrashell::Database::Open(folder_.File("db.dbf"));
        EXPECT_TRUE(database.Select("select a from t").Next()) << "the rows are there";
    }
}

TEST_F(PromptTest, PastedLineMayEndWithTwoBytes) {
    Terminal terminal(folder_);
    for (const std::string lineEnd : {"\r\n", "\r\r"}) {
        EXPECT_TRUE(terminal.Type("ovrasql> ", "select count(*) as n" + lineEnd + "from t \\" +
                                                   lineEnd + "where a = 'one'" + lineEnd));
        EXPECT_TRUE(terminal.WaitFor("\r\nn\r\n-\r\n1\r\n"));
    }
    terminal.Quit();
}

TEST_F(PromptTest, EmptyLineThatIsTypedEndsAStatement) {
    Terminal terminal(folder_);
    EXPECT_TRUE(terminal.Type("ovrasql> ", "select count(*) as n from t \\\r"));
    EXPECT_TRUE(terminal.Type("...> ", "\r"));
    EXPECT_TRUE(terminal.WaitFor("\r\nn\r\n-\r\n2\r\n"));
    terminal.Quit();
}

TEST_F(PromptTest, PastedTextInQuotesIsTakenAsItIs) {
    Terminal terminal(folder_);
    EXPECT_TRUE(terminal.Type("ovrasql> ", "create table u (a char(40))\r"));
    EXPECT_TRUE(
        terminal.Type("ovrasql> ", "insert into u values ('C:\\\rhelp\rquit\r\r-- end')\r"));
    EXPECT_TRUE(terminal.Type("ovrasql> ", ".mode json\rselect a from u\r"));
    EXPECT_TRUE(terminal.WaitFor(R"({"a":"C:\\\nhelp\nquit\n\n-- end"})"));
    terminal.Quit();
}

TEST_F(PromptTest, PastedStatementMayArriveInParts) {
    const auto terminal = PastedInParts("select count(*) as n from t\r", "where a = 'one'");
    EXPECT_TRUE(terminal->WaitFor("...> "));
    EXPECT_TRUE(terminal->Send("\r"));
    EXPECT_TRUE(terminal->WaitFor("\r\nn\r\n-\r\n1\r\n"));
    terminal->Quit();
}

TEST_F(PromptTest, InterruptBeforeAStatementRunsGivesItUp) {
    const auto terminal = PastedInParts("select a from t\r", kInterruptKey);
    EXPECT_TRUE(terminal->WaitFor("^C\r\n"));
    EXPECT_TRUE(terminal->Type("ovrasql> ", "select count(*) as n from t\r"));
    EXPECT_TRUE(terminal->WaitFor("\r\nn\r\n-\r\n2\r\n"));
    terminal->Quit();
}

TEST_F(PromptTest, FailureEndsTheStatementsThatAreChainedToIt) {
    Terminal terminal(folder_);
    EXPECT_TRUE(terminal.Type("ovrasql> ",
                              "select nope from t; delete from t\rwhere a = 'one'; "
                              "delete from t\r.mode csv\r"
                              "select count(*) as n from t\r"));
    EXPECT_TRUE(terminal.WaitFor("Unknown field 'nope'\r\n"));
    EXPECT_TRUE(terminal.WaitFor("\r\nn\r\n2\r\n")) << "the lines behind it went on";
    terminal.Quit();
}

TEST_F(PromptTest, SecondInterruptEndsTheProgram) {
    Terminal terminal(folder_);
    EXPECT_TRUE(terminal.Type("ovrasql> ", "select count(*) from " + EndlessJoin() + "\r"));
    EXPECT_TRUE(terminal.WaitFor("\r\n")) << "the line was taken";
    ::usleep(100000);  // the statement runs, and no row of it will ever come
    EXPECT_TRUE(terminal.Send(kInterruptKey));
    EXPECT_TRUE(terminal.WaitFor("Ctrl-C again ends the program"));
    EXPECT_TRUE(terminal.Send(kInterruptKey));
    terminal.WaitForEnd();
    EXPECT_EQ(terminal.Status(), -1);
    EXPECT_NE(folder_.Read(".ovrasql_history").find("count(*)"), std::string::npos);
}

TEST_F(PromptTest, InterruptStopsAScriptBetweenItsStatements) {
    std::string script;
    for (int i = 0; i < 100000; ++i) {
        script += "update t set a = 'new'\n";
    }
    folder_.Write("script", script);
    Terminal terminal(folder_);
    EXPECT_TRUE(terminal.Type("ovrasql> ", ".read " + folder_.File("script") + "\r"));
    EXPECT_TRUE(terminal.WaitFor("\r\n"));
    ::usleep(100000);
    EXPECT_TRUE(terminal.Send(kInterruptKey));
    EXPECT_TRUE(terminal.WaitFor(": Interrupted\r\n")) << "with the line's number before it";
    terminal.Quit();
}

TEST_F(PromptTest, InterruptStopsAnImportBetweenItsRows) {
    std::string rows = "a\n";
    for (int i = 0; i < 500000; ++i) {
        rows += "one\n";
    }
    folder_.Write("many.csv", rows);
    Terminal terminal(folder_);
    EXPECT_TRUE(terminal.Type("ovrasql> ", ".import " + folder_.File("many.csv") + "\r"));
    EXPECT_TRUE(terminal.WaitFor("importing ["));
    EXPECT_TRUE(terminal.Send(kInterruptKey));
    EXPECT_TRUE(terminal.WaitFor("Interrupted"));
    terminal.Quit();
}

TEST_F(PromptTest, InterruptStopsAnImportWhileItsPipeIsRead) {
    const std::string path = folder_.File("pipe.csv");
    ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
    Terminal terminal(folder_);
    EXPECT_TRUE(terminal.Type("ovrasql> ", ".import " + path + "\r"));
    const int pipe = OpenWhenRead(path);
    ASSERT_GE(pipe, 0);
    EXPECT_TRUE(terminal.Send(kInterruptKey));
    EXPECT_TRUE(terminal.WaitFor("Ctrl-C again ends the program"));
    const std::string piece(65536, 'a');
    EXPECT_EQ(::write(pipe, piece.data(), piece.size()), static_cast<ssize_t>(piece.size()));
    EXPECT_TRUE(terminal.WaitFor("Interrupted\r\n")) << "the pipe has not ended yet";
    ::close(pipe);
    terminal.Quit();
}

TEST_F(PromptTest, AnyFailureEndsItsLineOnly) {
    Terminal terminal(folder_, {{"TMPDIR", "/nonexistent"}});
    EXPECT_TRUE(terminal.Type("ovrasql> ", ".explain delete from t\r"));
    EXPECT_TRUE(terminal.WaitFor("There is no folder for temporary files"));
    terminal.Quit();
}

TEST_F(PromptTest, HelpIsAtHandWithoutThePoint) {
    Terminal terminal(folder_);
    EXPECT_TRUE(terminal.Type("ovrasql> ", "show tables\r"));
    EXPECT_TRUE(
        terminal.WaitFor("Syntax Error: Empty SQL Statement\r\n"
                         "Statements begin with create, alter, drop, insert, update, "
                         "delete or select; .help shows the commands\r\n"));
    EXPECT_TRUE(terminal.Type("ovrasql> ", "Help\r"));
    EXPECT_TRUE(terminal.WaitFor(".tables "));
    EXPECT_TRUE(terminal.Type("ovrasql> ", "exit;\r"));
    terminal.WaitForEnd();
    EXPECT_EQ(terminal.Status(), 0);
}

TEST_F(PromptTest, QuitNeedsNoPoint) {
    Terminal terminal(folder_);
    EXPECT_TRUE(terminal.Type("ovrasql> ", " quit\r"));
    terminal.WaitForEnd();
    EXPECT_EQ(terminal.Status(), 0);
}

}  // namespace
