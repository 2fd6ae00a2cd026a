// A process that dies within a change of rows leaves keys behind. What later statements say of such
// rows, until the next pack.

#include <gtest/gtest.h>

#include "tests/crash/recorded_changes.h"

namespace ovrasql {
namespace {

// The files when all records of the last step have been written, and nothing of the index ta.
FileSet KilledBeforeKeys(std::vector<ScriptStep> steps) {
    const ScriptStep last = steps.back();
    steps.pop_back();
    const RecordedChanges recorded = RecordChanges({"windows", std::move(steps), {last}});
    FileSet files = recorded.start;
    for (const FileChange& change : recorded.steps[0].changes) {
        if (change.path == "ta.ovx") {
            break;
        }
        Apply(change, &files);
    }
    return files;
}

class StatementWindows : public testing::TestWithParam<const char*> {};

TEST_P(StatementWindows, AnUpdatedRowWithoutItsKeyIsNotUpdatedAgain) {
    const bool isUnique = std::string(GetParam()).find("unique") != std::string::npos;
    RestoreFiles(
        KilledBeforeKeys({"create table t (a integer)", GetParam(), "insert into t values (1)",
                          "insert into t values (2)", "update t set a = a + 10"}));
    TestDatabase database;
    ASSERT_TRUE(database.Open());
    EXPECT_EQ(database.RowsText("select a from t"), "11\n12\n");
    EXPECT_EQ(database.RowsText("select a from t where a = 11"), "");
    EXPECT_EQ(database.Run("update t set a = 21 where a + 0 = 11"),
              isUnique ? "Key not found during update in seek of UNIQUE index"
                       : "Record is not in index");
    EXPECT_TRUE(database.Pack());
    EXPECT_EQ(database.Run("update t set a = a + 20 where a + 0 < 30"), "");
}

// A range is not looked for behind a first entry of this kind.
TEST_P(StatementWindows, ADeletedRowWithItsKeyIsPassedOverUnlessARangeBeginsWithIt) {
    RestoreFiles(KilledBeforeKeys({"create table t (a integer)", GetParam(),
                                   "insert into t values (1)", "insert into t values (2)",
                                   "insert into t values (3)", "delete from t where a + 0 = 2"}));
    TestDatabase database;
    ASSERT_TRUE(database.Open());
    EXPECT_EQ(database.RowsText("select a from t where a = 2"), "");
    EXPECT_EQ(database.RowsText("select a from t where a > 0"), "1\n3\n");
    EXPECT_EQ(database.RowsText("select a from t where a > 1"), "3\n");
    EXPECT_EQ(database.RowsText("select a from t where a >= 2"), "");
    EXPECT_EQ(database.RowsText("select a from t where a > 2"), "") << "begins with the bound, too";
    EXPECT_TRUE(database.Pack());
    EXPECT_EQ(database.RowsText("select a from t where a >= 2"), "3\n");
}

TEST_P(StatementWindows, AnInsertedRowWithoutItsKeyIsFoundByAScanOnly) {
    RestoreFiles(KilledBeforeKeys({"create table t (a integer)", GetParam(),
                                   "insert into t values (1)", "insert into t values (2)"}));
    TestDatabase database;
    ASSERT_TRUE(database.Open());
    EXPECT_EQ(database.RowsText("select a from t"), "1\n2\n");
    EXPECT_EQ(database.RowsText("select a from t where a = 2"), "");
    EXPECT_TRUE(database.Pack());
    EXPECT_EQ(database.RowsText("select a from t where a = 2"), "2\n");
}

INSTANTIATE_TEST_SUITE_P(Indexes, StatementWindows,
                         testing::Values("create index ta on t (a)",
                                         "create unique index ta on t (a)"));

}  // namespace
}  // namespace ovrasql
