// Each call to the host fails, in each way, in each script: a hundred thousand faults. aftermath.h
// tells what is asked after each of them, accepted_harms.cpp what may be the answer.

#include <gtest/gtest.h>

#include <cstdio>

#include "tests/faults/accepted_harms.h"
#include "tests/faults/aftermath.h"
#include "tests/faults/fault.h"

namespace ovrasql {
namespace {

// Under the sanitizers each seventh fault, since they take ten times as long.
#if defined(__SANITIZE_ADDRESS__)
constexpr size_t kStride = 7;
#else
constexpr size_t kStride = 1;
#endif
constexpr int64_t kLeastFaults = 100000;

struct Tally {
    size_t scripts = 0;
    int64_t faults = 0;
    int64_t failures = 0;   // statements that said so
    int64_t successes = 0;  // in spite of the fault
    int64_t refusals = 0;   // when tried again
};

Tally& TheTally() {
    static Tally tally;
    return tally;
}

std::vector<HostCall> FailedCalls(const Fault& fault) {
    std::vector<HostCall> failed = {fault.call->call};  // not all services mark it in the log
    for (const HostCall& call : TheHost().Calls()) {
        if (call.failed) {
            failed.push_back(call);
        }
    }
    return failed;
}

class HostFaultTest : public ::testing::TestWithParam<StatementScript> {
  protected:
    // Runs the script until the fault strikes. False if it never does.
    static bool RunToTheFault(const RecordedScript& recorded, const AftermathJudge& judge,
                              ScriptSession* session, Aftermath* aftermath) {
        const std::vector<ScriptStep>& steps = recorded.script->tested;
        for (; aftermath->step < steps.size(); ++aftermath->step) {
            TheHost().ClearLog();
            const StepResult result = session->Run(steps[aftermath->step]);
            if (TheHost().FailureHappened()) {
                aftermath->ok = result.ok;
                judge.CheckResult(result, aftermath);
                return true;
            }
        }
        return false;
    }

    static bool Run(const RecordedScript& recorded, const Fault& fault, AftermathJudge* judge,
                    Aftermath* aftermath) {
        RestoreFiles(recorded.setup);
        TheHost().SetLogging(false);
        FileSet files;
        {
            ScriptSession session;
            EXPECT_TRUE(Prepare(session, *recorded.script));
            TheHost().SetLogging(true);
            fault.Plan();
            if (!RunToTheFault(recorded, *judge, &session, aftermath)) {
                return false;
            }
            if (fault.span == FaultSpan::kForEver) {
                session.Close();  // the closing fails as well
            }
            TheHost().ClearFailures();
            aftermath->failed = FailedCalls(fault);
            TheHost().SetLogging(false);
            AftermathJudge::CheckNothingIsHeld("after the statement", aftermath);
            files = DatabaseFiles(TakeFiles());
            if (session.HasDatabase()) {
                judge->GoOnInSession(&session, aftermath);
            }
        }
        AftermathJudge::CheckNothingIsOpen(aftermath);
        judge->JudgeFiles(files, aftermath);
        return true;
    }

    static void Count(const Aftermath& aftermath) {
        ++TheTally().faults;
        ++(aftermath.ok ? TheTally().successes : TheTally().failures);
        TheTally().refusals += aftermath.refusal.empty() ? 0 : 1;
    }

    static void Expect(const ScriptStep& step, const Fault& fault, const Aftermath& aftermath) {
        const auto fail = [&](const std::string& text) {
            ADD_FAILURE() << step.text << "\n  " << fault.Text() << "\n  says "
                          << (aftermath.ok ? "that it worked" : "that it failed") << "\n  " << text;
        };
        for (const std::string& breach : aftermath.breaches) {
            fail(breach);
        }
        const Situation situation{step, aftermath.ok, aftermath.failed, false};
        for (const HarmFound& found : aftermath.harms) {
            if (!Accept(situation, found.harm)) {
                fail(std::string(NameOf(found.harm)) + ": " + found.text);
            }
        }
        if (!aftermath.refusal.empty() && ReasonOfRefusal(aftermath.refusal) == nullptr) {
            fail("is refused afterwards: " + aftermath.refusal);
        }
    }
};

TEST_P(HostFaultTest, EachCallMayFailInEachWay) {
    const RecordedScript recorded = Record(GetParam());
    AftermathJudge judge(recorded);
    const std::vector<Fault> faults = AllFaults(recorded);
    EXPECT_GT(faults.size(), 50U);
    for (size_t i = 0; i < faults.size() && !HasFailure(); i += kStride) {
        Aftermath aftermath;
        ASSERT_TRUE(Run(recorded, faults[i], &judge, &aftermath))
            << faults[i].Text() << " never happens";
        Count(aftermath);
        Expect(recorded.script->tested[aftermath.step], faults[i], aftermath);
    }
    ++TheTally().scripts;
}

INSTANTIATE_TEST_SUITE_P(EachScript, HostFaultTest, ::testing::ValuesIn(StatementScripts()),
                         [](const auto& script) { return script.param.name; });

// Behind the last script: what has been done in all, and whether each accepted harm was met.
class Summary : public ::testing::Environment {
    void TearDown() override {
        const Tally& tally = TheTally();
        if (tally.scripts != StatementScripts().size()) {
            return;  // not all of them were asked for
        }
        std::printf("%lld faults: %lld statements failed, %lld worked; %lld were refused again\n",
                    static_cast<long long>(tally.faults), static_cast<long long>(tally.failures),
                    static_cast<long long>(tally.successes),
                    static_cast<long long>(tally.refusals));
        for (const AcceptedHarm& accepted : AcceptedHarms()) {
            std::printf("%8lld times: %s\n", static_cast<long long>(accepted.needed),
                        accepted.reason);
            EXPECT_GT(accepted.needed, 0) << accepted.reason;
        }
        EXPECT_GT(tally.faults * static_cast<int64_t>(kStride), kLeastFaults);
    }
};

const ::testing::Environment* const kSummary =
    ::testing::AddGlobalTestEnvironment(new Summary);  // GoogleTest owns it

}  // namespace
}  // namespace ovrasql
