#include "shell/terminal_settings.h"

#include <termios.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstddef>

namespace ovrashell {

namespace {

constexpr std::array<int, 3> kSignals = {SIGTERM, SIGHUP, SIGQUIT};

// A handler finds nothing but what stands here.
struct termios kept {};
bool isKept = false;
std::array<struct sigaction, kSignals.size()> earlierActions{};

// Calls only what a signal handler may call. The signal's default action is set by now, and waits
// for the end of this function.
extern "C" void RestoreAndEnd(int signal) {
    if (isKept) {
        ::tcsetattr(STDIN_FILENO, TCSANOW, &kept);
    }
    ::raise(signal);
}

}  // namespace

TerminalSettings::TerminalSettings() {
    isKept = ::tcgetattr(STDIN_FILENO, &kept) == 0;
    struct sigaction action {};
    action.sa_handler = RestoreAndEnd;
    ::sigemptyset(&action.sa_mask);
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    for (std::size_t i = 0; i < kSignals.size(); ++i) {
        ::sigaction(kSignals[i], nullptr, &earlierActions[i]);
        if (earlierActions[i].sa_handler != SIG_IGN) {
            ::sigaction(kSignals[i], &action, nullptr);
        }
    }
}

TerminalSettings::~TerminalSettings() {
    for (std::size_t i = 0; i < kSignals.size(); ++i) {
        ::sigaction(kSignals[i], &earlierActions[i], nullptr);
    }
}

}  // namespace ovrashell
