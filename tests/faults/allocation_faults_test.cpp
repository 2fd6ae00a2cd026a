// Each allocation of the library fails, once and for good, in each script. No exception may leave
// an entry (the program would end), and afterwards everything is asked that is asked after a
// failing host.

#include <gtest/gtest.h>

#include "tests/faults/counted_library.h"
#include "tests/faults/fault_tally.h"

namespace ovrasql {
namespace {

constexpr int64_t kMostAllocations = 100000;

class AllocationFaultTest : public ::testing::TestWithParam<StatementScript> {
  protected:
    static bool RunToTheFault(const RecordedScript& recorded, const AftermathJudge& judge,
                              ScriptSession* session, Aftermath* aftermath) {
        const std::vector<ScriptStep>& steps = recorded.script->tested;
        for (; aftermath->step < steps.size(); ++aftermath->step) {
            const StepResult result = session->Run(steps[aftermath->step]);
            if (CountedLibrary::HasFailed()) {
                aftermath->ok = result.ok;
                judge.CheckResult(result, aftermath);
                if (!result.ok && recorded.steps[aftermath->step].result.ok &&
                    result.error != "Out of memory") {
                    aftermath->breaches.push_back("the text is: " + result.error);
                }
                return true;
            }
        }
        return false;
    }

    // False if the script needs no more than the allocations before.
    static bool Run(const RecordedScript& recorded, const AllocationFault& fault,
                    AftermathJudge* judge, Aftermath* aftermath) {
        RestoreFiles(recorded.setup);
        TheHost().SetLogging(false);
        FileSet files;
        {
            ScriptSession session;
            EXPECT_TRUE(Prepare(session, *recorded.script));
            {
                const CountedLibrary counted(fault);
                if (!RunToTheFault(recorded, *judge, &session, aftermath)) {
                    return false;
                }
                if (fault.forEver) {
                    session.Close();  // without any memory
                }
            }
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
};

TEST_P(AllocationFaultTest, EachAllocationMayFail) {
    const RecordedScript recorded = Record(GetParam());
    AftermathJudge judge(recorded);
    for (const bool forEver : {false, true}) {
        int64_t number = 1;
        for (; number < kMostAllocations && !HasFailure(); number += kFaultStride) {
            Aftermath aftermath;
            if (!Run(recorded, {number, forEver}, &judge, &aftermath)) {
                break;
            }
            AllocationFaults().Count(aftermath);
            ExpectAccepted(
                recorded, aftermath,
                "allocation " + std::to_string(number) + (forEver ? " and all behind it" : ""),
                /*outOfMemory=*/true);
        }
        EXPECT_GT(number, 20) << "the script allocates nothing";
        EXPECT_LT(number, kMostAllocations);
    }
    ++AllocationFaults().scripts;
}

// The text is a text of its own: with memory gone for good there is none to be made.
TEST(AllocationFaultTextTest, AFailureForWantOfMemoryHasItsTextWithoutMemory) {
    RestoreFiles(SetupFiles(ScriptNamed("update_all_rows_and_keys")));
    TestDatabase database;
    ASSERT_TRUE(database.Open());
    const auto runOnce = [&](int64_t number) {
        const CountedLibrary counted({number, true});
        const bool ok = database.Query("update t set b = upper(b) where a > 1");
        return CountedLibrary::HasFailed() && !ok ? database.Error() : "it worked";
    };
    int64_t number = 1;
    std::string text = runOnce(number);
    for (; text == "Out of memory"; text = runOnce(++number)) {
    }
    EXPECT_EQ(text, "it worked") << "allocation " << number;
    EXPECT_GT(number, 50);
}

INSTANTIATE_TEST_SUITE_P(EachScript, AllocationFaultTest, ::testing::ValuesIn(StatementScripts()),
                         [](const auto& script) { return script.param.name; });

}  // namespace
}  // namespace ovrasql
