#pragma once

// The harms that a failing host may do, each with its reason. A fault test asks for each harm that
// it finds; what is not listed here is a defect. Two kinds stand in the list:
//
//  - silences: the host fails and the statement says that it worked, with less than its effect;
//  - what a statement that failed half-way leaves behind, beyond its own rows and their keys.
//
// Each entry counts how often each of its harms was needed; one that never is should go. The first
// entry that fits counts. docs/limits.md tells users the same.

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "tests/faults/damage_report.h"

namespace ovrasql {

struct Situation {
    const ScriptStep& step;
    bool ok = false;                      // what the statement said
    const std::vector<HostCall>& failed;  // each call of the host that failed in it
    bool outOfMemory = false;             // no call of the host failed, an allocation did
};

struct AcceptedHarm {
    const char* reason;
    std::vector<Harm> harms;
    bool (*applies)(const Situation& situation);
    std::map<Harm, int64_t> needed = {};
};

std::vector<AcceptedHarm>& AcceptedHarms();

// Notes the need; false when nothing accepts it.
bool Accept(const Situation& situation, Harm harm);

// Why a statement that failed may be refused when it is tried again; null when it must not.
const char* ReasonOfRefusal(const std::string& text);

}  // namespace ovrasql
