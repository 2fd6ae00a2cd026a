#include "tests/faults/fault_tally.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>

#include "ovrasql/services.h"
#include "tests/faults/accepted_harms.h"

namespace ovrasql {

namespace {

constexpr int64_t kLeastHostFaults = 100000;
constexpr int64_t kLeastAllocationFaults = 20000;

void Print(const char* what, const FaultTally& tally) {
    std::printf("%lld %s: %lld statements failed, %lld worked; %lld were refused again\n",
                static_cast<long long>(tally.faults), what, static_cast<long long>(tally.failures),
                static_cast<long long>(tally.successes), static_cast<long long>(tally.refusals));
}

class Summary : public ::testing::Environment {
    void TearDown() override {
        const auto all = static_cast<int64_t>(StatementScripts().size());
        if (HostFaults().scripts != all || AllocationFaults().scripts != all) {
            return;  // not all of them were asked for
        }
        Print("calls of the host", HostFaults());
        Print("allocations", AllocationFaults());
        for (AcceptedHarm& accepted : AcceptedHarms()) {
            std::printf("%s\n", accepted.reason);
            for (const Harm harm : accepted.harms) {
                const int64_t needed = accepted.needed[harm];
                std::printf("%8lld times: %s\n", static_cast<long long>(needed), NameOf(harm));
                // A part of the faults does not meet the rare ones.
                EXPECT_TRUE(needed > 0 || kFaultStride > 1)
                    << NameOf(harm) << ": " << accepted.reason;
            }
        }
        EXPECT_GT(HostFaults().faults * kFaultStride, kLeastHostFaults);
        EXPECT_GT(AllocationFaults().faults * kFaultStride, kLeastAllocationFaults);
    }
};

// GoogleTest owns it.
const ::testing::Environment* const kSummary = ::testing::AddGlobalTestEnvironment(new Summary);

// Calls without which a statement can't have done its work, so it must not say that it has. Not
// among them: what goes to memo files, to the files of a rebuild and to the trace (accepted_harms.h
// tells why), and the lock on a data header, which reading takes as well.
bool MustNotBeIgnored(const HostCall& call) {
    const FilePart part = PartOf(call.path);
    const bool isTable =
        part == FilePart::kData || part == FilePart::kIndex || IsCatalog(call.path);
    if (call.name == "ovFile_Write") {
        return isTable;
    }
    if (call.name == "ovFile_Lock") {
        return isTable && call.flags == OVRA_LOCK_EXCLUSIVE &&
               (part != FilePart::kData || call.offset != 0);
    }
    return call.name == "ovFile_Open" || call.name == "ovFile_Rename" ||
           call.name == "ovFile_MakeTemporary" || call.name == "ovFile_MakeDirectory" ||
           call.name == "ovDatabase_AddView";
}

// The trace is nothing that a statement needs.
bool FailedInTraceOnly(const std::vector<HostCall>& failed) {
    return !failed.empty() && std::all_of(failed.begin(), failed.end(), [](const HostCall& call) {
        return call.name == "ovFile_Write" && PartOf(call.path) == FilePart::kTrace;
    });
}

}  // namespace

void FaultTally::Count(const Aftermath& aftermath) {
    ++faults;
    ++(aftermath.ok ? successes : failures);
    refusals += aftermath.refusal.empty() ? 0 : 1;
}

FaultTally& HostFaults() {
    static FaultTally tally;
    return tally;
}

FaultTally& AllocationFaults() {
    static FaultTally tally;
    return tally;
}

void ExpectAccepted(const RecordedScript& recorded, const Aftermath& aftermath,
                    const std::string& fault, bool outOfMemory) {
    const ScriptStep& step = recorded.script->tested[aftermath.step];
    const auto fail = [&](const std::string& text) {
        ADD_FAILURE() << step.text << "\n  " << fault << "\n  says "
                      << (aftermath.ok ? "that it worked" : "that it failed") << "\n  " << text;
    };
    for (const std::string& breach : aftermath.breaches) {
        fail(breach);
    }
    for (const HostCall& call : aftermath.failed) {
        if (aftermath.ok && MustNotBeIgnored(call)) {
            fail("ignores the failure of " + call.Text());
        }
    }
    if (!aftermath.ok && recorded.steps[aftermath.step].result.ok &&
        FailedInTraceOnly(aftermath.failed)) {
        fail("stops for the trace");
    }
    const Situation situation{step, aftermath.ok, aftermath.failed, outOfMemory};
    for (const HarmFound& found : aftermath.harms) {
        if (!Accept(situation, found.harm)) {
            fail(std::string(NameOf(found.harm)) + ": " + found.text);
        }
    }
    if (!aftermath.refusal.empty() && ReasonOfRefusal(aftermath.refusal) == nullptr) {
        fail("is refused afterwards: " + aftermath.refusal);
    }
}

}  // namespace ovrasql
