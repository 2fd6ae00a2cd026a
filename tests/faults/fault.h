#pragma once

// Fault: one way in which the host can fail during a script. AllFaults() lists every one that a
// recorded script can meet: each call, in each way that its service can fail, alone, with the next
// or next but one call failing as well (so that what cleans up fails, too), or for good, for all
// services (the disk is gone) or for one (the disk is full, the locks are another's). A lock can
// also time out, alone or with all behind it.

#include <string>
#include <vector>

#include "tests/faults/recorded_script.h"

namespace ovrasql {

enum class FaultSpan { kOnce, kAndTheNext, kAndTheNextButOne, kForEver, kServiceForEver };

struct Fault {
    const RecordedCall* call = nullptr;  // the first that fails
    FailureKind kind = FailureKind::kOutright;
    FaultSpan span = FaultSpan::kOnce;

    void Plan() const;  // to the host, before the script's tested steps
    [[nodiscard]] std::string Text() const;
};

std::vector<Fault> AllFaults(const RecordedScript& recorded);

}  // namespace ovrasql
