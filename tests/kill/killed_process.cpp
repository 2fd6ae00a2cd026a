#include "tests/kill/killed_process.h"

#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>

namespace ovratest {

namespace {

constexpr int kMostStatements = 80;

// In the child. It ends when nobody kills it.
int RunStatements(const std::string& databasePath, Ledger ledger, uint32_t seed, int pipe) {
    HostConnection connection(databasePath);
    std::mt19937 random(seed);
    for (int i = 0; i < kMostStatements; ++i) {
        const LedgerStatement statement = ledger.Next(random);
        if (!RunStatement(connection, statement)) {
            std::fprintf(stderr, "%s: %s\n",
                         statement.text.empty() ? "pack" : statement.text.c_str(),
                         connection.Error().c_str());
            return 1;
        }
        ledger.Apply(statement);
        const char acknowledgement = '.';
        if (::write(pipe, &acknowledgement, 1) != 1) {
            return 1;
        }
    }
    return 0;
}

}  // namespace

KilledProcess::KilledProcess(const std::string& databasePath, const Ledger& ledger, uint32_t seed) {
    int ends[2] = {-1, -1};
    if (::pipe(ends) != 0) {
        failed_ = ended_ = true;
        return;
    }
    child_ = ::fork();
    if (child_ == 0) {
        ::close(ends[0]);
        ::_exit(RunStatements(databasePath, ledger, seed, ends[1]));
    }
    ::close(ends[1]);
    pipe_ = ends[0];
}

KilledProcess::~KilledProcess() { ::close(pipe_); }

void KilledProcess::ReadAcknowledgements() {
    char buffer[256];
    const ssize_t count = ::read(pipe_, buffer, sizeof buffer);
    if (count <= 0) {
        ended_ = true;
        return;
    }
    acknowledged_ += static_cast<std::size_t>(count);
}

void KilledProcess::AwaitAcknowledged(std::size_t count) {
    while (!ended_ && acknowledged_ < count) {
        ReadAcknowledgements();
    }
}

bool KilledProcess::KillAfter(std::chrono::nanoseconds pause) {
    // Sleeping is too coarse for pauses of some microseconds.
    const auto moment = std::chrono::steady_clock::now() + pause;
    while (std::chrono::steady_clock::now() < moment) {
    }
    ::kill(child_, SIGKILL);
    int status = 0;
    ::waitpid(child_, &status, 0);
    while (!ended_) {
        ReadAcknowledgements();
    }
    failed_ = WIFEXITED(status) && WEXITSTATUS(status) != 0;
    return WIFSIGNALED(status);
}

}  // namespace ovratest
