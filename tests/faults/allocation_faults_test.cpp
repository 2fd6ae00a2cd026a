// Each allocation of the library fails, once and for good, in each script. No exception may leave
// an entry (the program would end), and afterwards everything is asked that is asked after a
// failing host.

#include <gtest/gtest.h>

#include <optional>

#include "tests/faults/counted_library.h"
#include "tests/faults/fault_tally.h"

namespace ovrasql {
namespace {

constexpr int64_t kMostAllocations = 100000;

class MemoryFault : public StrikingFault {
  public:
    explicit MemoryFault(const AllocationFault& fault) : fault_(fault) {}

    void Plan() override { counted_.emplace(fault_); }
    [[nodiscard]] bool HasStruck() const override { return CountedLibrary::HasFailed(); }
    [[nodiscard]] bool LastsForEver() const override { return fault_.forEver; }
    std::vector<HostCall> End() override {
        counted_.reset();
        return {};
    }
    [[nodiscard]] const char* FaultOfText(const std::string& text) const override {
        return text == "Out of memory" ? nullptr : "the text is: ";
    }

  private:
    AllocationFault fault_;
    std::optional<CountedLibrary> counted_;
};

class AllocationFaultTest : public ::testing::TestWithParam<StatementScript> {};

TEST_P(AllocationFaultTest, EachAllocationMayFail) {
    const RecordedScript recorded = Record(GetParam());
    AftermathJudge judge(recorded);
    for (const bool forEver : {false, true}) {
        int64_t number = 1;
        for (; number < kMostAllocations && !HasFailure(); number += kFaultStride) {
            Aftermath aftermath;
            MemoryFault fault({number, forEver});
            if (!judge.Try(&fault, &aftermath)) {
                break;  // the script needs no more than the allocations before
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
