#pragma once

// Aftermath: what is looked at when something has failed in a step of a script. Some things hold
// without exception (breaches); others may be harmed for a good reason (harms, accepted_harms.h):
//
//  - no lock, file, block of the host is kept, and no handle is used after its end;
//  - a failure has a text, a success the whole effect;
//  - the session goes on: the same statement and one on another table work;
//  - the files hold all rows of all earlier statements, as the checker reads them, and the keys of
//    all but the statement's own rows;
//  - the database opens again, works, and a packing leaves nothing to find.

#include <string>
#include <unordered_map>
#include <vector>

#include "tests/faults/damage_report.h"

namespace ovrasql {

struct Aftermath {
    size_t step = 0;               // of the script's tested steps, where it struck
    bool ok = false;               // what the step said
    std::string rows;              // and gave
    std::vector<HostCall> failed;  // each call of the host that failed in it
    std::vector<std::string> breaches;
    HarmsFound harms;
    std::string refusal;  // the text when the same statement is refused afterwards
};

// What is made to fail in a run of a script.
class StrikingFault {
  public:
    virtual ~StrikingFault() = default;
    StrikingFault() = default;
    StrikingFault(const StrikingFault&) = delete;
    StrikingFault& operator=(const StrikingFault&) = delete;

    virtual void Plan() = 0;  // before the first tested step
    virtual void BeginStep() {}
    [[nodiscard]] virtual bool HasStruck() const = 0;
    // Whether the session is to be closed with everything still failing.
    [[nodiscard]] virtual bool LastsForEver() const = 0;
    // Nothing fails from now on. Says which calls of the host have failed.
    virtual std::vector<HostCall> End() = 0;
    // What is wrong with the text of a failure, if anything; null for nothing.
    [[nodiscard]] virtual const char* FaultOfText(const std::string& /*text*/) const {
        return nullptr;
    }
};

class AftermathJudge {
  public:
    explicit AftermathJudge(const RecordedScript& recorded) : recorded_(recorded) {}

    // Runs the script from its setup on until what fails strikes, and looks at everything. False
    // when it never strikes.
    bool Try(StrikingFault* fault, Aftermath* aftermath);

  private:
    bool RunToTheFault(StrikingFault* fault, ScriptSession* session, Aftermath* aftermath) const;
    // In this order: the step's own result; with the session still open and nothing failing any
    // more; and, when it is closed, with the files as the step has left them.
    void CheckResult(const StepResult& result, Aftermath* aftermath) const;
    void GoOnInSession(ScriptSession* session, Aftermath* aftermath) const;
    void JudgeFiles(const FileSet& files, Aftermath* aftermath);
    [[nodiscard]] HarmsFound Recover(const FileSet& files) const;
    [[nodiscard]] bool HasOtherTable(size_t step) const;

    const RecordedScript& recorded_;
    // Most failures leave the same few sets of files, so each is looked at once: by the step, its
    // result and the files' bytes.
    std::unordered_map<std::string, HarmsFound> judged_;
};

}  // namespace ovrasql
