// The prompt at a terminal: what its keys do.

#include <gtest/gtest.h>
#include <pty.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <string>

#include "shell/database.h"
#include "tests/support/temporary_folder.h"

namespace {

const std::string kInterrupt = "\x03";

// The program at a terminal of its own, with the test's folder as its home.
class Terminal {
  public:
    explicit Terminal(const ovratest::TemporaryFolder& folder) {
        child_ = ::forkpty(&terminal_, nullptr, nullptr, nullptr);
        if (child_ == 0) {
            ::setenv("HOME", folder.Path().c_str(), 1);
            ::setenv("TERM", "dumb", 1);
            ::execl(OVRA_SHELL_PROGRAM, "ovrasql", folder.File("db.dbf").c_str(), nullptr);
            ::_exit(127);
        }
    }
    ~Terminal() {
        if (terminal_ >= 0) {
            ::close(terminal_);
        }
    }
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    // Not everywhere: /dev/pts may be missing.
    bool IsThere() const { return terminal_ >= 0; }

    // Types the keys when the text has come and a line is being edited. False when the program
    // ended before.
    bool Type(const std::string& text, const std::string& keys) {
        return WaitFor(text) && WaitForEditor() &&
               ::write(terminal_, keys.data(), keys.size()) == static_cast<ssize_t>(keys.size());
    }

    bool WaitFor(const std::string& text) {
        std::array<char, 256> chunk{};
        std::size_t found = shown_.find(text);
        while (found == std::string::npos) {
            const ssize_t count = ::read(terminal_, chunk.data(), chunk.size());
            if (count <= 0) {
                return false;
            }
            shown_.append(chunk.data(), static_cast<std::size_t>(count));
            found = shown_.find(text);
        }
        shown_.erase(0, found + text.size());
        return true;
    }

    // The exit status, or -1 when a signal ended the program.
    int Status() {
        int status = 0;
        ::waitpid(child_, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

  private:
    // The prompt is shown before the editor takes the keys over, which turns their signals off.
    bool WaitForEditor() const {
        for (int tries = 0; tries < 10000; ++tries) {
            termios settings{};
            if (::tcgetattr(terminal_, &settings) == 0 && (settings.c_lflag & ISIG) == 0) {
                return true;
            }
            ::usleep(1000);
        }
        return false;
    }

    int terminal_ = -1;
    pid_t child_ = -1;
    std::string shown_;
};

TEST(LineEditorTest, InterruptGivesTheStatementUpAndNothingElse) {
    const ovratest::TemporaryFolder folder;
    ovrashell::Database::Create(folder.File("db.dbf")).Query("create table t (a char(5))");
    Terminal terminal(folder);
    if (!terminal.IsThere()) {
        GTEST_SKIP() << "this machine has no terminals to give";
    }
    EXPECT_TRUE(terminal.Type("ovrasql> ", "drop \\\r"));
    EXPECT_TRUE(terminal.Type("...> ", "table t" + kInterrupt));
    EXPECT_TRUE(terminal.Type("ovrasql> ", ".tables\r"));
    EXPECT_TRUE(terminal.WaitFor("\r\nt\r\n")) << "the half statement was not run";
    EXPECT_TRUE(terminal.Type("ovrasql> ", ".quit\r"));
    terminal.WaitFor("nothing more");
    EXPECT_EQ(terminal.Status(), 0);
    const std::string history = folder.Read(".ovrasql_history");
    EXPECT_NE(history.find(".tables\n"), std::string::npos) << history;
}

TEST(LineEditorTest, TabCompletesNamesAndBehindACommandFiles) {
    const ovratest::TemporaryFolder folder;
    ovrashell::Database::Create(folder.File("db.dbf")).Query("create table harbours (a char(5))");
    std::filesystem::create_directory(folder.File("scripts"));
    folder.Write("scripts/one", "delete from nowhere\n");
    Terminal terminal(folder);
    if (!terminal.IsThere()) {
        GTEST_SKIP() << "this machine has no terminals to give";
    }
    EXPECT_TRUE(terminal.Type("ovrasql> ", "select count(*) as n from harb\t\r"));
    EXPECT_TRUE(terminal.WaitFor("\r\n0\r\n")) << "the statement ran";
    EXPECT_TRUE(terminal.Type("ovrasql> ", ".read " + folder.File("scr") + "\t/o\t\r"));
    EXPECT_TRUE(terminal.WaitFor("scripts/one:1: ")) << "the file was read";
    EXPECT_TRUE(terminal.Type("ovrasql> ", ".quit\r"));
    terminal.WaitFor("nothing more");
    EXPECT_EQ(terminal.Status(), 0);
}

}  // namespace
