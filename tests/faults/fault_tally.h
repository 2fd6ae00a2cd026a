#pragma once

// What the fault tests have done together, told behind the last of them: how many faults there
// were, and how often each accepted harm was met. The totals are asked for only when all scripts
// have been run, in both kinds of fault.

#include <cstdint>

#include "tests/faults/aftermath.h"

namespace ovrasql {

// Under the sanitizers each fourth fault, since they take five times as long. tests/long/faults has
// them all.
#if defined(__SANITIZE_ADDRESS__) && !defined(OVRA_WHOLE_SWEEPS)
inline constexpr int64_t kFaultStride = 4;
#else
inline constexpr int64_t kFaultStride = 1;
#endif

struct FaultTally {
    int64_t scripts = 0;
    int64_t faults = 0;
    int64_t failures = 0;   // statements that said so
    int64_t successes = 0;  // in spite of the fault
    int64_t refusals = 0;   // when tried again

    void Count(const Aftermath& aftermath);
};

FaultTally& HostFaults();
FaultTally& AllocationFaults();

// Fails the running test for each breach, for each harm that nothing accepts and for a refusal
// without a reason. `fault` is the text that tells the fault.
void ExpectAccepted(const RecordedScript& recorded, const Aftermath& aftermath,
                    const std::string& fault, bool outOfMemory);

}  // namespace ovrasql
