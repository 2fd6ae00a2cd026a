#include "tests/faults/aftermath.h"

#include <gtest/gtest.h>

#include <functional>
#include <string_view>

namespace ovrasql {

namespace {

// Works on a table that no script touches. The text of what went wrong, or none.
std::string TryOtherStatement(ScriptSession* session) {
    static const ScriptStep kInsert("insert into other values ('probe', 'text of the probe')");
    static const ScriptStep kSelect("select m from other where x = 'probe'");
    const StepResult inserted = session->Run(kInsert);
    if (!inserted.ok) {
        return inserted.error;
    }
    const StepResult read = session->Run(kSelect);
    return read.ok && read.rows == "text of the probe\n" ? "" : "rows " + read.rows + read.error;
}

std::string KeyOf(const Aftermath& aftermath, const FileSet& files) {
    std::string key = std::to_string(aftermath.step) + (aftermath.ok ? "+" : "-");
    for (const auto& [path, bytes] : files) {
        const std::string_view view(reinterpret_cast<const char*>(bytes.data()), bytes.size());
        key += path + std::to_string(std::hash<std::string_view>()(view));
    }
    return key;
}

// The harms that a packing leaves: it mends whatever is not lost, and loses nothing.
void CheckPacked(const FileSet& before, const FileSet& after, HarmsFound* harms) {
    for (const checker::Finding& finding : checker::CheckDatabase(after, "main.dbf")) {
        if (finding.kind != checker::FindingKind::kUnlistedFile) {
            harms->push_back({Harm::kLeftByPack, finding.text});
        }
    }
    const auto old = checker::ReadTables(before, "main.dbf");
    const auto packed = checker::ReadTables(after, "main.dbf");
    bool same = old.size() == packed.size();
    for (size_t i = 0; same && i < old.size(); ++i) {
        same = old[i].name == packed[i].name &&
               SortedRows(old[i], true) == SortedRows(packed[i], true);
    }
    if (!same) {
        harms->push_back({Harm::kLeftByPack, "the tables have other rows"});
    }
}

void CheckNothingIsHeld(const char* when, Aftermath* aftermath) {
    const auto add = [&](const std::string& text) {
        aftermath->breaches.push_back(std::string(when) + ": " + text);
    };
    for (const HeldLock& lock : TheHost().Locks()) {
        add("a lock is held on " + lock.path);
    }
    for (const std::string& misuse : TheHost().Misuses()) {
        add(misuse);
    }
    if (TheHost().AllocatedCount() != 0) {
        add("a block of the host is not given back");
    }
}

void CheckNothingIsOpen(Aftermath* aftermath) {
    CheckNothingIsHeld("after closing", aftermath);
    if (TheHost().OpenFileCount() != 0) {
        aftermath->breaches.emplace_back("a file is left open");
    }
}

}  // namespace

bool AftermathJudge::RunToTheFault(StrikingFault* fault, ScriptSession* session,
                                   Aftermath* aftermath) const {
    const std::vector<ScriptStep>& steps = recorded_.script->tested;
    for (; aftermath->step < steps.size(); ++aftermath->step) {
        fault->BeginStep();
        const StepResult result = session->Run(steps[aftermath->step]);
        if (fault->HasStruck()) {
            aftermath->ok = result.ok;
            aftermath->rows = result.rows;
            CheckResult(result, aftermath);
            const StepResult& right = recorded_.steps[aftermath->step].result;
            const char* wrong = fault->FaultOfText(result.error);
            if (!result.ok && result.error != right.error && wrong != nullptr) {
                aftermath->breaches.push_back(wrong + result.error);
            }
            return true;
        }
    }
    return false;
}

bool AftermathJudge::Try(StrikingFault* fault, Aftermath* aftermath) {
    RestoreFiles(recorded_.setup);
    TheHost().SetLogging(false);
    FileSet files;
    {
        ScriptSession session;
        EXPECT_TRUE(Prepare(session, *recorded_.script));
        fault->Plan();
        const bool hasStruck = RunToTheFault(fault, &session, aftermath);
        if (hasStruck && fault->LastsForEver()) {
            session.Close();
        }
        aftermath->failed = fault->End();
        if (!hasStruck) {
            return false;
        }
        CheckNothingIsHeld("after the statement", aftermath);
        files = DatabaseFiles(TakeFiles());
        if (session.HasDatabase()) {
            GoOnInSession(&session, aftermath);
        }
    }
    CheckNothingIsOpen(aftermath);
    JudgeFiles(files, aftermath);
    return true;
}

void AftermathJudge::CheckResult(const StepResult& result, Aftermath* aftermath) const {
    const StepResult& right = recorded_.steps[aftermath->step].result;
    if (!result.ok && result.error.empty()) {
        aftermath->breaches.emplace_back("a failure without a text");
    }
    if (result.ok && !right.ok) {
        aftermath->harms.push_back({Harm::kNotRefused, "a statement is not refused any more"});
    } else if (result.ok && result.rows != right.rows) {
        aftermath->harms.push_back({Harm::kRowsRead, "gives " + result.rows});
    }
}

// Making a database anew takes the other table away with all the rest.
bool AftermathJudge::HasOtherTable(size_t step) const {
    return !recorded_.setup.empty() && KindOf(recorded_.script->tested[step]) != StepKind::kCreate;
}

void AftermathJudge::GoOnInSession(ScriptSession* session, Aftermath* aftermath) const {
    const ScriptStep& step = recorded_.script->tested[aftermath->step];
    const StepResult& right = recorded_.steps[aftermath->step].result;
    const StepResult again = session->Run(step);
    if (!again.ok && right.ok) {
        aftermath->refusal = again.error;
        if (again.error.empty()) {
            aftermath->breaches.emplace_back("the same statement fails without a text");
        }
    }
    if (ReadsOnly(step) && (again.ok != right.ok || again.rows != right.rows)) {
        aftermath->breaches.push_back("the same reading fails afterwards: " + again.error);
    }
    if (HasOtherTable(aftermath->step)) {
        const std::string error = TryOtherStatement(session);
        if (!error.empty()) {
            aftermath->harms.push_back({Harm::kOtherStatement, "in the session: " + error});
        }
    }
}

HarmsFound AftermathJudge::Recover(const FileSet& files) const {
    HarmsFound harms;
    RestoreFiles(files);
    TheHost().SetLogging(false);
    ScriptSession session;
    const StepResult opened = session.Run(ScriptStep("open"));
    if (!opened.ok) {
        harms.push_back({Harm::kDoesNotOpen, opened.error});
        return harms;
    }
    const StepResult packed = session.Run(ScriptStep("pack"));
    if (packed.ok) {
        CheckPacked(files, DatabaseFiles(TakeFiles()), &harms);
    } else {
        harms.push_back({Harm::kDoesNotPack, packed.error});
    }
    if (HasOtherTable(0)) {
        const std::string error = TryOtherStatement(&session);
        if (!error.empty()) {
            harms.push_back({Harm::kOtherStatement, error});
        }
    }
    return harms;
}

void AftermathJudge::JudgeFiles(const FileSet& files, Aftermath* aftermath) {
    const std::string key = KeyOf(*aftermath, files);
    auto found = judged_.find(key);
    if (found == judged_.end()) {
        HarmsFound harms = Compare(recorded_.steps[aftermath->step],
                                   recorded_.script->tested[aftermath->step], aftermath->ok, files);
        const HarmsFound later = Recover(files);
        harms.insert(harms.end(), later.begin(), later.end());
        found = judged_.emplace(key, std::move(harms)).first;
    }
    aftermath->harms.insert(aftermath->harms.end(), found->second.begin(), found->second.end());
}

}  // namespace ovrasql
