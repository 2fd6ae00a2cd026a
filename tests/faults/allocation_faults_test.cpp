// Each allocation of the library fails, once and for good, in each script. No exception may leave
// an entry (the program would end); the entry says that it failed, unless all that it had to do is
// done; and afterwards everything is asked that is asked after a failing host.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <optional>

#include "tests/faults/counted_library.h"
#include "tests/faults/fault_tally.h"

namespace ovrasql {
namespace {

constexpr int64_t kMostAllocations = 100000;

// An entry that gives 1 although an allocation failed in it.
struct SilentEntry {
    const char* name;
    const char* reason;
    int64_t met = 0;
};

std::vector<SilentEntry>& SilentEntries() {
    static std::vector<SilentEntry> entries = {
        {"database_query", "its work is done; the statement finds no place in the cache and goes"},
        {"view_close", "a view is closed in every case, and its statement goes likewise"},
        {"variable_value_string", "a value that finds no memory is the empty text"}};
    return entries;
}

bool MayBeSilent(const std::string& name) {
    for (SilentEntry& entry : SilentEntries()) {
        if (entry.name == name) {
            ++entry.met;
            return true;
        }
    }
    return false;
}

class SilenceTally : public ::testing::Environment {
    void TearDown() override {
        if (AllocationFaults().scripts != static_cast<int64_t>(StatementScripts().size())) {
            return;  // not all of them were asked for
        }
        for (const SilentEntry& entry : SilentEntries()) {
            std::printf("%8lld times %s: %s\n", static_cast<long long>(entry.met), entry.name,
                        entry.reason);
            EXPECT_GT(entry.met, 0) << entry.name;
        }
    }
};

const ::testing::Environment* const kSilenceTally =
    ::testing::AddGlobalTestEnvironment(new SilenceTally);

// The values of all rows; behind each row and each column but the last a mark stands.
Texts ValuesOf(const std::string& rows) {
    Texts values(1);
    for (const char letter : rows) {
        if (letter == '|' || letter == '\n') {
            values.emplace_back();
        } else {
            values.back() += letter;
        }
    }
    return values;
}

bool DifferByEmptyValuesOnly(const std::string& rows, const std::string& right) {
    const Texts values = ValuesOf(rows);
    const Texts rightValues = ValuesOf(right);
    return std::equal(values.begin(), values.end(), rightValues.begin(), rightValues.end(),
                      [](const std::string& value, const std::string& rightValue) {
                          return value.empty() || value == rightValue;
                      });
}

class MemoryFault : public StrikingFault {
  public:
    explicit MemoryFault(const AllocationFault& fault) : fault_(fault) {}

    void Plan() override { counted_.emplace(fault_); }
    [[nodiscard]] bool HasStruck() const override { return CountedLibrary::HasFailed(); }
    [[nodiscard]] bool LastsForEver() const override { return fault_.forEver; }
    std::vector<HostCall> End() override {
        worked_ = CountedLibrary::WorkedInSpite();
        counted_.reset();
        return {};
    }
    [[nodiscard]] const char* FaultOfText(const std::string& text) const override {
        return text == "Out of memory" ? nullptr : "the text is: ";
    }

    [[nodiscard]] std::string Text() const {
        return "allocation " + std::to_string(fault_.number) +
               (fault_.forEver ? " and all behind it" : "");
    }
    // The entries that gave 1 all the same.
    [[nodiscard]] const std::vector<EntryInSpite>& Worked() const { return worked_; }

  private:
    AllocationFault fault_;
    std::optional<CountedLibrary> counted_;
    std::vector<EntryInSpite> worked_;
};

void ExpectTold(const RecordedScript& recorded, const MemoryFault& fault,
                const Aftermath& aftermath) {
    const RecordedStep& step = recorded.steps[aftermath.step];
    const std::string where = recorded.script->tested[aftermath.step].text + ", " + fault.Text();
    for (const EntryInSpite& entry : fault.Worked()) {
        EXPECT_TRUE(MayBeSilent(entry.name))
            << where << ": " << entry.name << " says that it worked";
        EXPECT_TRUE(entry.isLast) << where << ": " << entry.name << " goes on";
    }
    EXPECT_TRUE(!aftermath.ok || !step.result.ok || !fault.Worked().empty())
        << where << ": no entry has worked, but the statement has";
    EXPECT_TRUE(!aftermath.ok || DifferByEmptyValuesOnly(aftermath.rows, step.result.rows))
        << where << ": gives " << aftermath.rows;
}

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
            ExpectTold(recorded, fault, aftermath);
            ExpectAccepted(recorded, aftermath, fault.Text(), /*outOfMemory=*/true);
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

// Whoever is told of a failure does the statement again, and an INSERT would then be there twice.
TEST(AllocationFaultTextTest, AStatementThatHasDoneAllItsWorkDoesNotFail) {
    const FileSet before = SetupFiles(ScriptNamed("update_all_rows_and_keys"));
    struct Run {
        bool ok = false;
        bool hasFailed = false;
        FileSet files;
    };
    const auto run = [&](const char* sql, int64_t failing) {
        RestoreFiles(before);
        TestDatabase database;
        EXPECT_TRUE(database.Open());
        const CountedLibrary counted({failing, false});
        const bool ok = database.Query(sql);
        return Run{ok, CountedLibrary::HasFailed(), TakeFiles()};
    };
    for (const char* sql : {"insert into t values (9, 'nine', 'text of nine')",
                            "update t set a = a + 30, m = 'new'", "delete from t where a = 2"}) {
        const FileSet whole = run(sql, kMostAllocations).files;
        int64_t number = 1;
        for (Run now = run(sql, number); now.hasFailed; now = run(sql, ++number)) {
            EXPECT_EQ(now.ok, now.files == whole) << sql << ", allocation " << number;
        }
        EXPECT_GT(number, 50) << sql;
    }
}

INSTANTIATE_TEST_SUITE_P(EachScript, AllocationFaultTest, ::testing::ValuesIn(StatementScripts()),
                         [](const auto& script) { return script.param.name; });

}  // namespace
}  // namespace ovrasql
