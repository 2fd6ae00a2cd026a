// Statements put together at random, all kinds of them, and the checker behind each: what the
// library leaves is clean whatever came before. A seed is shown with a failure, so that it can be
// run alone.

#include <gtest/gtest.h>

#include <algorithm>

#include "tests/support/checker/checker.h"
#include "tests/support/history_writer.h"
#include "tests/support/script_session.h"

namespace ovrasql {
namespace {

#if defined(__SANITIZE_ADDRESS__)
constexpr uint32_t kHistories = 12;
#else
constexpr uint32_t kHistories = 60;
#endif
constexpr int kStatements = 120;

// An UPDATE that a UNIQUE index stops may have written records without their keys, or keys without
// their record.
bool OnlyKeys(const std::vector<checker::Finding>& findings) {
    return std::all_of(findings.begin(), findings.end(), [](const checker::Finding& finding) {
        return finding.kind == checker::FindingKind::kMissingKey ||
               finding.kind == checker::FindingKind::kStaleKey;
    });
}

class RandomHistory : public testing::TestWithParam<uint32_t> {};

TEST_P(RandomHistory, IsSilentAfterEachStatement) {
    TheHost().Reset();
    TheHost().SetLogging(false);
    HistoryWriter writer(GetParam());
    ScriptSession session;
    ASSERT_TRUE(session.Run("create").ok);
    int succeeded = 0;
    for (int number = 0; number < kStatements; ++number) {
        const FileSet before = TakeFiles();
        Texts parameters;
        const std::string sql = writer.Next(&parameters);
        const StepResult result = session.Run(ScriptStep(sql, parameters));
        const auto findings = checker::CheckDatabase(TakeFiles(), "main.dbf");
        if (result.ok) {
            writer.Succeeded();
            ++succeeded;
        } else if (sql.starts_with("update") && OnlyKeys(findings)) {
            session.Close();
            RestoreFiles(before);
            ASSERT_TRUE(session.Run("open").ok);
            continue;
        }
        ASSERT_EQ(checker::Describe(findings), "") << sql << "\n" << result.error;
    }
    EXPECT_GT(succeeded, kStatements / 2);
    EXPECT_TRUE(TheHost().Misuses().empty());
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomHistory, testing::Range(uint32_t{1}, kHistories + 1));

}  // namespace
}  // namespace ovrasql
