#pragma once

// KilledProcess: a process that runs the ledger's statements on a database, one after the other,
// and tells after each that it was acknowledged, until it is killed.

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <string>

#include "tests/kill/ledger.h"

namespace ovratest {

class KilledProcess {
  public:
    // The process draws its statements with this seed, starting from this ledger.
    KilledProcess(const std::string& databasePath, const Ledger& ledger, uint32_t seed);
    ~KilledProcess();
    KilledProcess(const KilledProcess&) = delete;
    KilledProcess& operator=(const KilledProcess&) = delete;

    // Waits until that many statements are acknowledged or the process has ended.
    void AwaitAcknowledged(std::size_t count);

    // SIGKILL after a pause, and what the process still had to tell. True when it was the signal
    // that ended it; otherwise it had come to its end before, or to an error, which it printed.
    bool KillAfter(std::chrono::nanoseconds pause);

    std::size_t Acknowledged() const { return acknowledged_; }
    bool FailedByItself() const { return failed_; }

  private:
    void ReadAcknowledgements();  // at least one, or the end

    pid_t child_ = -1;
    int pipe_ = -1;
    bool ended_ = false;
    bool failed_ = false;
    std::size_t acknowledged_ = 0;
};

}  // namespace ovratest
