#include "shell/interrupt.h"

#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>

#include "shell/database.h"

namespace ovrashell {

namespace {

// Set by whichever thread the signal finds.
std::atomic<bool> interrupted = false;
static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler may not wait for a lock");

struct sigaction earlier {};

// Calls only what a signal handler may call.
extern "C" void NoteInterrupt(int /*signal*/) {
    static constexpr char kNote[] =
        "\nStopping at the next row or statement; Ctrl-C again ends the program\n";
    const int errorOfTheWorkAtHand = errno;
    interrupted = true;
    [[maybe_unused]] const auto written = ::write(STDERR_FILENO, kNote, sizeof kNote - 1);
    errno = errorOfTheWorkAtHand;
}

}  // namespace

InterruptWatch::InterruptWatch() {
    struct sigaction action {};
    action.sa_handler = NoteInterrupt;
    ::sigemptyset(&action.sa_mask);
    // Reading and writing go on where they were; the next Ctrl-C finds the default action again.
    action.sa_flags = SA_RESTART | static_cast<int>(SA_RESETHAND);
    interrupted = false;
    ::sigaction(SIGINT, &action, &earlier);
}

InterruptWatch::~InterruptWatch() {
    ::sigaction(SIGINT, &earlier, nullptr);
    interrupted = false;
}

bool Interrupted() { return interrupted; }

void StopIfInterrupted() {
    if (Interrupted()) {
        throw Error("Interrupted");
    }
}

}  // namespace ovrashell
