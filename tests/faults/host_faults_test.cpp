// Each call to the host fails, in each way, in each script: a hundred thousand faults. aftermath.h
// tells what is asked after each of them, accepted_harms.cpp what may be the answer.

#include <gtest/gtest.h>

#include "tests/faults/fault.h"
#include "tests/faults/fault_tally.h"

namespace ovrasql {
namespace {

class HostFault : public StrikingFault {
  public:
    explicit HostFault(const Fault& fault) : fault_(fault) {}

    void Plan() override {
        TheHost().SetLogging(true);
        fault_.Plan();
    }
    void BeginStep() override { TheHost().ClearLog(); }
    [[nodiscard]] bool HasStruck() const override { return TheHost().FailureHappened(); }
    [[nodiscard]] bool LastsForEver() const override { return fault_.span == FaultSpan::kForEver; }
    std::vector<HostCall> End() override {
        TheHost().ClearFailures();
        std::vector<HostCall> failed = {fault_.call->call};  // not all services mark it in the log
        for (const HostCall& call : TheHost().Calls()) {
            if (call.failed) {
                failed.push_back(call);
            }
        }
        TheHost().SetLogging(false);
        return failed;
    }
    // Why a table could not be locked is told; the messages of an index and of the catalog have no
    // room for it.
    [[nodiscard]] const char* FaultOfText(const std::string& text) const override {
        const bool isTold = fault_.kind == FailureKind::kTimedOut &&
                            fault_.span == FaultSpan::kOnce &&
                            PartOf(fault_.call->call.path) == FilePart::kData;
        return isTold && text.find("Timed out waiting for a lock") == std::string::npos
                   ? "the text does not say that a wait has ended: "
                   : nullptr;
    }

  private:
    const Fault& fault_;
};

class HostFaultTest : public ::testing::TestWithParam<StatementScript> {};

TEST_P(HostFaultTest, EachCallMayFailInEachWay) {
    const RecordedScript recorded = Record(GetParam());
    AftermathJudge judge(recorded);
    const std::vector<Fault> faults = AllFaults(recorded);
    EXPECT_GT(faults.size(), 50U);
    for (size_t i = 0; i < faults.size() && !HasFailure(); i += kFaultStride) {
        Aftermath aftermath;
        HostFault fault(faults[i]);
        ASSERT_TRUE(judge.Try(&fault, &aftermath)) << faults[i].Text() << " never happens";
        HostFaults().Count(aftermath);
        ExpectAccepted(recorded, aftermath, faults[i].Text(), /*outOfMemory=*/false);
    }
    ++HostFaults().scripts;
}

INSTANTIATE_TEST_SUITE_P(EachScript, HostFaultTest, ::testing::ValuesIn(StatementScripts()),
                         [](const auto& script) { return script.param.name; });

// Some systems refuse a second lock over bytes that the handle holds, others join the two, and the
// first release frees both. So there is to be none.
class ScriptLockTest : public ::testing::TestWithParam<StatementScript> {};

TEST_P(ScriptLockTest, NoHandleLocksBytesThatItHoldsAlready) {
    RestoreFiles(SetupFiles(GetParam()));
    TheHost().SetSelfConflict(true);
    ScriptSession session;
    ASSERT_TRUE(Prepare(session, GetParam()));
    for (const ScriptStep& step : GetParam().tested) {
        EXPECT_EQ(session.Run(step).ok, !step.fails) << step.text;
    }
    EXPECT_EQ(TheHost().Misuses(), std::vector<std::string>());
}

// As by a process that never lets go: what can't be locked is not written.
TEST_P(ScriptLockTest, NothingIsWrittenWhereAllLocksAreRefused) {
    RestoreFiles(SetupFiles(GetParam()));
    ScriptSession session;
    ASSERT_TRUE(Prepare(session, GetParam()));
    TheHost().RefuseLocks(true);
    for (const ScriptStep& step : GetParam().tested) {
        if (KindOf(step) == StepKind::kCreate || KindOf(step) == StepKind::kOpen) {
            continue;  // takes no locks, and makes files that nobody has open
        }
        const FileSet before = DatabaseFiles(TakeFiles());
        const StepResult result = session.HasDatabase() ? session.Run(step) : StepResult();
        EXPECT_TRUE(ReadsOnly(step) || !result.ok) << step.text << " changes without a lock";
        FileSet after = DatabaseFiles(TakeFiles());
        std::erase_if(after, [&](const auto& file) { return before.count(file.first) == 0; });
        EXPECT_EQ(after, before) << step.text;
        EXPECT_EQ(TheHost().Locks().size(), 0U) << step.text;
    }
}

INSTANTIATE_TEST_SUITE_P(EachScript, ScriptLockTest, ::testing::ValuesIn(StatementScripts()),
                         [](const auto& script) { return script.param.name; });

}  // namespace
}  // namespace ovrasql
