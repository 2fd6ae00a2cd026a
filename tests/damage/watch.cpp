#include "tests/damage/watch.h"

#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstring>

namespace ovratest {

namespace {

#if defined(__SANITIZE_ADDRESS__)
constexpr int kHangSeconds = 100;
extern "C" void __sanitizer_set_death_callback(void (*callback)());
#else
constexpr int kHangSeconds = 10;
#endif

char currentCase[256];

void TellCase() {
    static const char kHead[] = "while this was damaged: ";
    static_cast<void>(!write(STDERR_FILENO, kHead, sizeof kHead - 1));
    static_cast<void>(!write(STDERR_FILENO, currentCase, std::strlen(currentCase)));
    static_cast<void>(!write(STDERR_FILENO, "\n", 1));
}

void DieWith(int signal) {
    TellCase();
    std::signal(signal, SIG_DFL);
    std::raise(signal);
}

void Begin() {
#if defined(__SANITIZE_ADDRESS__)
    __sanitizer_set_death_callback(TellCase);
#else
    std::signal(SIGSEGV, DieWith);
    std::signal(SIGFPE, DieWith);
    std::signal(SIGABRT, DieWith);
#endif
    std::signal(SIGVTALRM, DieWith);
}

}  // namespace

void WatchCase(const std::string& name) {
    static const bool begun = (Begin(), true);
    static_cast<void>(begun);
    const size_t length = std::min(name.size(), sizeof currentCase - 1);
    std::memcpy(currentCase, name.data(), length);
    currentCase[length] = '\0';
    itimerval limit{};
    limit.it_value.tv_sec = kHangSeconds;
    setitimer(ITIMER_VIRTUAL, &limit, nullptr);
}

}  // namespace ovratest
