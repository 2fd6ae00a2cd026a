// Each call to the host fails once, in every way. Whatever a statement makes of it: no lock may
// stay, no file stay open, nothing be used after its end, and the database can be opened again.

#include <gtest/gtest.h>

#include "foundation/ignore_result.h"
#include "tests/library/failure_statements.h"

namespace ovrasql {
namespace {

struct Failure {
    FailureKind kind;
    FailureSpan span;
};

class HostFailureTest : public ::testing::TestWithParam<int32_t> {};

void CheckNothingIsLeft(const std::string& where) {
    EXPECT_EQ(TheHost().Locks().size(), 0U) << where;
    EXPECT_EQ(TheHost().OpenFileCount(), 0) << where;
    EXPECT_EQ(TheHost().AllocatedCount(), 0) << where;
    EXPECT_EQ(TheHost().Misuses(), std::vector<std::string>()) << where;
}

// One run with the given call failing. False when the statement makes fewer calls than that.
bool RunWithFailure(const FileSet& files, const std::string& statement, int64_t number,
                    const Failure& failure) {
    const std::string where = "call " + std::to_string(number);
    RestoreFiles(files);
    TheHost().SetLogging(false);
    {
        TestDatabase database;
        EXPECT_TRUE(database.Open()) << where;
        TheHost().FailCall(number, failure.kind, failure.span);
        const std::string message = RunStatement(database, statement);
        EXPECT_EQ(TheHost().Locks().size(), 0U) << where << " " << message;
        if (!TheHost().FailureHappened()) {
            EXPECT_EQ(message, "") << where;
        }
    }
    CheckNothingIsLeft(where);
    const bool happened = TheHost().FailureHappened();
    TheHost().ClearFailures();
    {
        TestDatabase database;
        EXPECT_TRUE(database.Open()) << where << " leaves a database that does not open";
        IgnoreResult(database.RowsText("select * from t"));  // it may fail, but not crash
    }
    CheckNothingIsLeft(where + ", reopened");
    return happened;
}

TEST_P(HostFailureTest, LeavesNothingBehind) {
    const std::string& statement = FailureStatements()[static_cast<size_t>(GetParam())];
    const FileSet files = FailureFiles();
    const Failure failures[] = {{FailureKind::kOutright, FailureSpan::kOnce},
                                {FailureKind::kShortByOne, FailureSpan::kOnce},
                                {FailureKind::kHalf, FailureSpan::kOnce},
                                {FailureKind::kOutright, FailureSpan::kForEver}};
    constexpr int64_t kMostCalls = 100000;
    for (const Failure& failure : failures) {
        int64_t number = 1;
        while (number < kMostCalls && !::testing::Test::HasFailure() &&
               RunWithFailure(files, statement, number, failure)) {
            ++number;
        }
        EXPECT_GT(number, 5) << "the statement makes no calls at all";
        EXPECT_LT(number, kMostCalls);
    }
}

INSTANTIATE_TEST_SUITE_P(EachStatement, HostFailureTest,
                         ::testing::Range(0, static_cast<int32_t>(FailureStatements().size())),
                         StatementTestName);

// Some systems refuse a second lock over bytes that the handle holds, others join the two, and the
// first release frees both. So there is to be none.
TEST(HostRefusalTest, NoHandleLocksBytesThatItHoldsAlready) {
    const FileSet files = FailureFiles();
    for (const std::string& statement : FailureStatements()) {
        RestoreFiles(files);
        TheHost().SetSelfConflict(true);
        TestDatabase database;
        ASSERT_TRUE(database.Open());
        EXPECT_EQ(RunStatement(database, statement), "") << statement;
        EXPECT_EQ(TheHost().Misuses(), std::vector<std::string>()) << statement;
    }
}

// Locks alone: all are refused from some moment on, as by a process that never lets go.
TEST(HostRefusalTest, RefusedLocksFailStatementsWithAMessage) {
    const FileSet files = FailureFiles();
    for (const std::string& statement : FailureStatements()) {
        RestoreFiles(files);
        TestDatabase database;
        ASSERT_TRUE(database.Open());
        TheHost().RefuseLocks(true);
        const std::string message = RunStatement(database, statement);
        const bool reads = statement.starts_with("select");
        EXPECT_TRUE(reads || !message.empty()) << statement << " changed a file without its lock";
        EXPECT_EQ(TheHost().Locks().size(), 0U) << statement;
    }
}

}  // namespace
}  // namespace ovrasql
