// A process dies behind any change of any file, or in the middle of a write, while any statement of
// any script runs. Another opens the files as they were left, without locks: the rows of earlier
// statements are there and whole, the dead statement's own rows are each old or new, the library
// reads what the checker reads, and goes on; a pack then puts the indexes right.
//
// dying_statement.cpp names what is not promised, each with its reason.

#include <gtest/gtest.h>

#include <iostream>

#include "tests/crash/crash_scripts.h"
#include "tests/crash/kill_trial.h"
#include "tests/support/history_writer.h"

namespace ovrasql {
namespace {

#if defined(__SANITIZE_ADDRESS__) && !defined(OVRA_WHOLE_SWEEPS)
constexpr uint32_t kHistories = 4;
constexpr size_t kEvery = 5;  // of the points of a script
constexpr int kLeastKills = 1000;
#else
constexpr uint32_t kHistories = 40;
constexpr size_t kEvery = 1;
constexpr int kLeastKills = 8000;
#endif
constexpr int kStatements = 60;
constexpr size_t kEveryOfHistory = 11;

class KilledScript : public testing::TestWithParam<StatementScript> {};

TEST_P(KilledScript, KeepsWhatWasThereAndGoesOn) {
    const RecordedChanges recorded = RecordChanges(GetParam());
    FileSet files = recorded.start;
    for (const RecordedStep& step : recorded.steps) {
        const FileSet before = files;
        for (const FileChange& change : step.changes) {
            Apply(change, &files);
        }
        TryKills(step, before, files, kEvery);
    }
}

INSTANTIATE_TEST_SUITE_P(All, KilledScript, testing::ValuesIn(CrashScripts()),
                         [](const auto& script) { return script.param.name; });

struct PastStep {
    RecordedStep recorded;
    FileSet before;
    FileSet after;
};

// Runs a random history and keeps what its statements did. Refused ones are left out, and what they
// changed: an UPDATE that a UNIQUE index stops leaves keys that only a pack puts right.
std::vector<PastStep> LiveHistory(uint32_t seed) {
    TheHost().Reset();
    TheHost().SetLogging(false);
    HistoryWriter writer(seed);
    auto session = std::make_unique<ScriptSession>();
    EXPECT_TRUE(session->Run("create").ok);
    EXPECT_TRUE(session->Run("create table other (x char(8), m memo)").ok);
    EXPECT_TRUE(session->Run("create index otherx on other (x)").ok);
    EXPECT_TRUE(session->Run("insert into other values ('kept', 'a text that stays')").ok);
    std::vector<PastStep> past;
    std::vector<FileChange> changes;
    for (int number = 0; number < kStatements; ++number) {
        const FileSet before = TakeFiles();
        Texts parameters;
        const std::string sql = writer.Next(&parameters);
        changes.clear();
        TheHost().SetChangeHandler([&](const FileChange& change) { changes.push_back(change); });
        const bool ok = session->Run(ScriptStep(sql, parameters)).ok;
        TheHost().SetChangeHandler(nullptr);
        if (ok) {
            writer.Succeeded();
            past.push_back({{ScriptStep(sql, parameters), true, changes}, before, TakeFiles()});
            continue;
        }
        session = std::make_unique<ScriptSession>();
        RestoreFiles(before);
        EXPECT_TRUE(session->Run("open").ok);
    }
    session.reset();
    for (PastStep& step : past) {
        step.recorded.meetsRowsInRecordOrder =
            MeetsRowsInRecordOrder(step.before, step.recorded.step);
    }
    return past;
}

class KilledHistory : public testing::TestWithParam<uint32_t> {};

TEST_P(KilledHistory, KeepsWhatWasThereAndGoesOn) {
    size_t first = GetParam();
    for (const PastStep& step : LiveHistory(GetParam())) {
        TryKills(step.recorded, step.before, step.after, kEveryOfHistory, first % kEveryOfHistory);
        ++first;
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, KilledHistory, testing::Range(uint32_t{1}, kHistories + 1));

class KillCount : public testing::Environment {
  public:
    void TearDown() override {
        std::cout << TheKillCounts().kills << " kills, " << TheKillCounts().cuts
                  << " of them within a write, " << TheKillCounts().amongRows
                  << " among rows whose order is known, in " << CrashScripts().size()
                  << " scripts and " << kHistories << " random histories" << std::endl;
        const testing::UnitTest& tests = *testing::UnitTest::GetInstance();
        if (tests.test_to_run_count() == tests.total_test_count()) {
            EXPECT_GT(TheKillCounts().kills, kLeastKills);
            EXPECT_GT(TheKillCounts().cuts, kLeastKills / 2);
            EXPECT_GT(TheKillCounts().amongRows, kLeastKills / 8);
        }
    }
};

const testing::Environment* const kKillCount = testing::AddGlobalTestEnvironment(new KillCount);

}  // namespace
}  // namespace ovrasql
