// Pack and ALTER TABLE as their failures and their trace show them.

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "tests/support/test_database.h"

namespace ovrasql {
namespace {

class PackFilesTest : public ::testing::Test {
  protected:
    void SetUp() override {
        TheHost().Reset();
        database_ = std::make_unique<TestDatabase>();
        ASSERT_TRUE(database_->Create());
    }

    void Run(const std::string& sql) { ASSERT_EQ(database_->Run(sql), "") << sql; }

    // Two tables, the first with a memo and an index.
    void MakeTables() {
        Run("create table One (a integer, m memo)");
        Run("create index ia on One (a)");
        Run("create table two (b integer)");
        Run("insert into One values (1, 'text')");
        Run("insert into One values (2, 'more')");
        Run("insert into two values (3)");
        Run("delete from One where a = 1");
    }

    std::string PackError() { return database_->Pack() ? "" : database_->Error(); }

    std::unique_ptr<TestDatabase> database_;
};

TEST_F(PackFilesTest, TheTraceNamesEachTable) {
    MakeTables();
    Run("create table gone (a integer)");
    Run("drop table gone");
    ASSERT_TRUE(database_->Option("log", "trace.txt"));
    ASSERT_TRUE(database_->Pack());
    EXPECT_EQ(TheHost().FileText("trace.txt"),
              "Starting Packing\nPacking One...done\nPacking two...done\nPacking done\n");
}

TEST_F(PackFilesTest, ADatabaseWithoutTablesTracesTwoLines) {
    ASSERT_TRUE(database_->Option("log", "trace.txt"));
    ASSERT_TRUE(database_->Pack());
    EXPECT_EQ(TheHost().FileText("trace.txt"), "Starting Packing\nPacking done\n");
}

TEST_F(PackFilesTest, ALockedCatalogIsToldWithItsText) {
    MakeTables();
    TheHost().RefuseLocks(true);
    TheHost().SetErrorText("in use");
    const std::string error = PackError();
    EXPECT_EQ(error.substr(0, 31), "Unable to lock schema for pack:");
    TheHost().RefuseLocks(false);
    EXPECT_EQ(PackError(), "");
}

TEST_F(PackFilesTest, TheCatalogIsReleasedAfterAFailure) {
    MakeTables();
    TheHost().FailCall("ovFile_MakeTemporary", 1);
    EXPECT_NE(PackError(), "");
    EXPECT_TRUE(TheHost().Locks().empty());
    EXPECT_EQ(PackError(), "");
    EXPECT_TRUE(TheHost().Locks().empty());
}

TEST_F(PackFilesTest, TemporaryFilesThatCanNotBeMade) {
    MakeTables();
    TheHost().SetErrorText("full");
    const std::string expected[] = {
        "Error packing table 'One': Failed to create data file for table 'One': full",
        "Error packing table 'One': Failed to create memo file for table 'One': full",
        "Error packing table 'One': Failed to create index file for table 'One': full",
        "Error packing table 'two': Failed to create data file for table 'two': full"};
    const Texts files = TheHost().FilePaths();
    for (int number = 1; number <= 4; ++number) {
        TheHost().FailCall("ovFile_MakeTemporary", number);
        EXPECT_EQ(PackError(), expected[number - 1]);
        TheHost().ClearFailures();
        EXPECT_EQ(TheHost().FilePaths(), files) << number;
        EXPECT_EQ(database_->RowsText("select a, m from One where a > 0"), "2|more\n") << number;
    }
}

TEST_F(PackFilesTest, ARenameThatFails) {
    MakeTables();
    TheHost().SetErrorText("busy");
    const std::string paths[] = {"one.dbf", "one.dbt", "ia.ovx"};
    for (const int number : {1, 3}) {
        TheHost().FailCall("ovFile_Rename", number);
        EXPECT_EQ(PackError(), "Error packing table 'One': Failed to rename datafile '" +
                                   paths[number - 1] + "' for table 'One': busy");
        TheHost().ClearFailures();
    }
    // A later pack goes by the data file alone.
    EXPECT_EQ(PackError(), "");
    EXPECT_EQ(database_->RowsText("select a, m from One where a > 0"), "2|more\n");
}

TEST_F(PackFilesTest, AMemoFileThatCanNotBeRenamed) {
    MakeTables();
    TheHost().SetErrorText("busy");
    TheHost().FailCall("ovFile_Rename", 2);
    EXPECT_EQ(PackError(),
              "Error packing table 'One': Failed to rename datafile 'one.dbt' for table 'One': "
              "busy");
}

TEST_F(PackFilesTest, TablesPackedBeforeAFailureStayPacked) {
    MakeTables();
    Run("delete from two");
    const size_t first = TheHost().FileBytes("one.dbf").size();
    const size_t second = TheHost().FileBytes("two.dbf").size();
    TheHost().FailCall("ovFile_MakeTemporary", 4);
    EXPECT_NE(PackError(), "");
    EXPECT_LT(TheHost().FileBytes("one.dbf").size(), first);
    EXPECT_EQ(TheHost().FileBytes("two.dbf").size(), second);
}

TEST_F(PackFilesTest, TheMemoVersionStaysAndHolesGo) {
    MakeTables();
    EXPECT_EQ(TheHost().FileBytes("one.dbf")[0], 0x83);
    EXPECT_EQ(TheHost().FileBytes("two.dbf")[0], 0x03);
    const size_t memo = TheHost().FileBytes("one.dbt").size();
    ASSERT_EQ(PackError(), "");
    EXPECT_EQ(TheHost().FileBytes("one.dbf")[0], 0x83);
    EXPECT_EQ(TheHost().FileBytes("two.dbf")[0], 0x03);
    EXPECT_LT(TheHost().FileBytes("one.dbt").size(), memo);
    EXPECT_FALSE(TheHost().HasFile("two.dbt"));
}

TEST_F(PackFilesTest, RowsCountFromOneAgain) {
    MakeTables();
    ASSERT_EQ(PackError(), "");
    // 32 bytes, a descriptor for each column, the terminator; one record of 1 + 19 + 10 bytes; the
    // mark of the end.
    EXPECT_EQ(TheHost().FileBytes("one.dbf").size(), 32U + 2 * 32 + 1 + 30 + 1);
    EXPECT_EQ(TheHost().FileBytes("one.dbf")[4], 1);
}

TEST_F(PackFilesTest, AlterThatCanNotRemoveTheMemoFile) {
    MakeTables();
    TheHost().SetErrorText("busy");
    TheHost().FailCall("ovFile_Delete", 1);
    EXPECT_EQ(database_->Run("alter table One drop column m"),
              "Failed to remove memo file for table 'One': busy");
}

TEST_F(PackFilesTest, AlterThatCanNotRename) {
    MakeTables();
    TheHost().SetErrorText("busy");
    TheHost().FailCall("ovFile_Rename", 1);
    EXPECT_EQ(database_->Run("alter table two add c integer"),
              "Failed to rename datafile 'two.dbf' for table 'two': busy");
    TheHost().ClearFailures();
    EXPECT_EQ(database_->RowsText("select * from two"), "3\n");
}

}  // namespace
}  // namespace ovrasql
