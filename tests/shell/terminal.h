#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/temporary_folder.h"

namespace ovratest {

inline const std::string kInterruptKey = "\x03";

using Environment = std::vector<std::pair<std::string, std::string>>;

// The program at a terminal of its own, with the test's folder as its home and "db.dbf" in it as
// its database. It is started by a command of the shell, to which it is $0 and the database $1.
class Terminal {
  public:
    explicit Terminal(const TemporaryFolder& folder, const Environment& environment = {},
                      const std::string& command = "exec \"$0\" \"$1\"") {
        child_ = ::forkpty(&terminal_, nullptr, nullptr, nullptr);
        if (child_ == 0) {
            ::setenv("HOME", folder.Path().c_str(), 1);
            ::setenv("TERM", "dumb", 1);
            for (const auto& [name, value] : environment) {
                ::setenv(name.c_str(), value.c_str(), 1);
            }
            ::execl("/bin/sh", "sh", "-c", command.c_str(), OVRA_SHELL_PROGRAM,
                    folder.File("db.dbf").c_str(), nullptr);
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
    static bool CanBeHad() {
        const int terminal = ::posix_openpt(O_RDWR | O_NOCTTY);
        return terminal >= 0 && ::close(terminal) == 0;
    }

    // Types the keys when the text has come and a line is being edited. False when the program
    // ended before, or says nothing for long.
    bool Type(const std::string& text, const std::string& keys) {
        return WaitFor(text) && WaitForEditor() && Send(keys);
    }

    // Types the keys whatever the program does.
    bool Send(const std::string& keys) const {
        return ::write(terminal_, keys.data(), keys.size()) == static_cast<ssize_t>(keys.size());
    }

    bool WaitFor(const std::string& text) {
        std::array<char, 256> chunk{};
        std::size_t found = shown_.find(text);
        while (found == std::string::npos) {
            pollfd wait{terminal_, POLLIN, 0};
            if (::poll(&wait, 1, kPatience) <= 0) {
                return false;
            }
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

    // Reads to the program's end.
    void WaitForEnd() { WaitFor("nothing that the program ever shows"); }

    // Leaves the program from its prompt.
    void Quit() {
        EXPECT_TRUE(Type("ovrasql> ", ".quit\r"));
        WaitForEnd();
        EXPECT_EQ(Status(), 0);
    }

    void Kill() const { ::kill(child_, SIGKILL); }

    // Whether it gives whole lines and shows them, as it does while no line is edited.
    bool GivesLines() const {
        termios settings{};
        constexpr tcflag_t kFlags = ICANON | ECHO | ISIG;
        return ::tcgetattr(terminal_, &settings) == 0 && (settings.c_lflag & kFlags) == kFlags;
    }

    // The exit status, or -1 when a signal ended the program.
    int Status() {
        int status = 0;
        ::waitpid(child_, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

  private:
    static constexpr int kPatience = 60000;  // milliseconds without a word

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

// A test that types at terminals.
class TerminalTest : public testing::Test {
  protected:
    void SetUp() override {
        if (!Terminal::CanBeHad()) {
            GTEST_SKIP() << "this machine has no terminals to give";
        }
    }

    TemporaryFolder folder_;
};

}  // namespace ovratest
