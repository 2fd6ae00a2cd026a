#include "tests/faults/fault.h"

namespace ovrasql {

namespace {

void AddFaults(const RecordedCall& call, FailureKind kind, std::vector<Fault>* faults) {
    faults->push_back({&call, kind, FaultSpan::kOnce});
    faults->push_back({&call, kind, FaultSpan::kServiceForEver});
    if (call.number == 0) {
        return;
    }
    faults->push_back({&call, kind, FaultSpan::kForEver});
    faults->push_back({&call, kind, FaultSpan::kAndTheNext});
    faults->push_back({&call, kind, FaultSpan::kAndTheNextButOne});
}

// The wait for a lock ends: for one, or for all from there on, whose holder never lets go. The host
// itself is well, so nothing else fails beside it.
void AddTimeouts(const RecordedCall& call, std::vector<Fault>* faults) {
    faults->push_back({&call, FailureKind::kTimedOut, FaultSpan::kOnce});
    faults->push_back({&call, FailureKind::kTimedOut, FaultSpan::kServiceForEver});
}

}  // namespace

void Fault::Plan() const {
    MemoryHost& host = TheHost();
    if (span == FaultSpan::kServiceForEver || call->number == 0) {
        host.FailCall(call->call.name, call->ofService, kind,
                      span == FaultSpan::kOnce ? FailureSpan::kOnce : FailureSpan::kForEver);
        return;
    }
    host.FailCall(call->number, kind,
                  span == FaultSpan::kForEver ? FailureSpan::kForEver : FailureSpan::kOnce);
    if (span == FaultSpan::kAndTheNext || span == FaultSpan::kAndTheNextButOne) {
        host.FailCall(call->number + (span == FaultSpan::kAndTheNext ? 1 : 2), kind);
    }
}

std::string Fault::Text() const {
    constexpr const char* kKinds[] = {"", ", short by one", ", by half", ", timed out"};
    constexpr const char* kSpans[] = {"once", "with the next", "with the next but one", "for good",
                                      "its service for good"};
    return "call " + std::to_string(call->number) + " (" + call->call.Text() + ")" +
           kKinds[static_cast<size_t>(kind)] + ", " + kSpans[static_cast<size_t>(span)];
}

std::vector<Fault> AllFaults(const RecordedScript& recorded) {
    std::vector<Fault> faults;
    for (const RecordedCall& call : recorded.calls) {
        AddFaults(call, FailureKind::kOutright, &faults);
        if (call.call.name == "ovFile_Read" || call.call.name == "ovFile_Write") {
            AddFaults(call, FailureKind::kShortByOne, &faults);
            AddFaults(call, FailureKind::kHalf, &faults);
        }
        if (call.call.name == "ovFile_Lock") {
            AddTimeouts(call, &faults);
        }
    }
    return faults;
}

}  // namespace ovrasql
