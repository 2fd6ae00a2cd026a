// The instructions that write records, and those that define tables and indexes.

#include <string>

#include "tests/engine/engine_database.h"

namespace ovrasql {
namespace {

class RecordTest : public EngineDatabase {
  protected:
    void MakeTable() {
        ASSERT_EQ(CreateTable("t", {{"a", 0, 10}, {"n", 1, 8, 2}}), "");
        ASSERT_EQ(CreateIndex("ta", "t", {"a"}, true), "");
    }
    Texts Column(const std::string& name) {
        Program program;
        Open(&program, 0, "t", {name});
        return Walk(&program);
    }
    // The values of column a that a search for the key by the index gives.
    Texts Found(const std::string& key) {
        Program program;
        Open(&program, 0, "t", {"a"});
        program.Literal(key);
        program.Emit(SQL_Cursor_Index, 0, 1, 0, "ta");
        return Walk(&program);
    }
    // Sets column a of every record to the value.
    static Program Update(const std::string& value, bool applyIndexes = true) {
        Program program;
        Open(&program, 0, "t", {"a"}, true);
        const int32_t first = program.Count();
        program.Do(SQL_Cursor_First, 0, first + 6).Do(SQL_Cursor_LockForUpdate, 0);
        program.Literal(value).Do(SQL_Pop_Column, 0, 0).Do(SQL_Cursor_Update, 0);
        program.Do(SQL_Cursor_Next, 0, first + 1);
        if (applyIndexes) {
            program.Do(SQL_Cursor_Update_Indexes, 0);
        }
        return program;
    }
};

TEST_F(RecordTest, InsertStoresTheValuesAndRaisesTheRecordNumber) {
    MakeTable();
    Program program;
    Open(&program, 0, "t", {"a", "n"}, true);
    program.Literal("x").Do(SQL_Pop_Column, 0, 0).Integer(3).Do(SQL_Pop_Column, 0, 1);
    program.Do(SQL_Cursor_Insert, 0);
    program.Literal("y").Do(SQL_Pop_Column, 0, 0).Null().Do(SQL_Pop_Column, 0, 1);
    program.Do(SQL_Cursor_Insert, 0).Do(SQL_Push_RecordNumber);
    Machine machine(schema.get());
    EXPECT_EQ(machine.Run(program), 0) << machine.Error();
    EXPECT_EQ(machine.loop.Stack()->PopInteger(), 3);
    EXPECT_EQ(Column("a"), (Texts{"x", "y"}));
    EXPECT_EQ(Column("n"), (Texts{"3.00", "0.00"}));
}

TEST_F(RecordTest, InsertReportsTheTablesMessage) {
    MakeTable();
    ASSERT_EQ(Insert("t", {"a"}, {"x"}), "");
    EXPECT_EQ(Insert("t", {"a"}, {"X"}),
              "Inserted record violates UNIQUE constraint on index 'ta'");
    EXPECT_EQ(Column("a"), Texts{"x"});
}

TEST_F(RecordTest, ABadNumberStopsTheRun) {
    MakeTable();
    EXPECT_EQ(Insert("t", {"n"}, {"many"}), "Data type mismatch");
    EXPECT_EQ(Column("n"), Texts{});
}

TEST_F(RecordTest, UpdateRewritesAndQueuesItsKeys) {
    MakeTable();
    ASSERT_EQ(Insert("t", {"a"}, {"x"}), "");
    EXPECT_EQ(Run(Update("z")), "");
    EXPECT_EQ(Column("a"), Texts{"z"});
    EXPECT_EQ(Found("z"), Texts{"z"});
}

TEST_F(RecordTest, WithoutItsApplyingAnUpdateLeavesTheIndex) {
    MakeTable();
    ASSERT_EQ(Insert("t", {"a"}, {"x"}), "");
    EXPECT_EQ(Run(Update("z", false)), "");
    EXPECT_EQ(Found("z"), Texts{});
}

// The second record collides with the third one's key and ends the run; what the first one queued
// is applied all the same.
TEST_F(RecordTest, AFailedUpdateStillAppliesWhatWasQueued) {
    MakeTable();
    for (const char* value : {"x", "y", "z"}) {
        ASSERT_EQ(Insert("t", {"a"}, {value}), "");
    }
    Program program;
    Open(&program, 0, "t", {"a"}, true);
    program.Do(SQL_Cursor_First, 0, 100).Do(SQL_Cursor_LockForUpdate, 0);
    program.Literal("w").Do(SQL_Pop_Column, 0, 0).Do(SQL_Cursor_Update, 0);
    program.Do(SQL_Cursor_Next, 0, program.Count() + 1).Do(SQL_Cursor_LockForUpdate, 0);
    program.Literal("z").Do(SQL_Pop_Column, 0, 0).Do(SQL_Cursor_Update, 0);
    EXPECT_EQ(Run(program), "Updated record violates UNIQUE constraint on index 'ta'");
    EXPECT_EQ(Column("a"), (Texts{"w", "y", "z"}));
    EXPECT_EQ(Found("w"), Texts{"w"});
    EXPECT_EQ(Found("x"), Texts{});
    EXPECT_EQ(Found("y"), Texts{"y"});
    EXPECT_EQ(Found("z"), Texts{"z"});
}

TEST_F(RecordTest, AFailedUpdateKeepsItsOwnMessage) {
    MakeTable();
    ASSERT_EQ(Insert("t", {"a"}, {"x"}), "");
    Program program;
    Open(&program, 0, "t", {"a"}, true);
    program.Do(SQL_Cursor_First, 0, 100).Do(SQL_Cursor_LockForUpdate, 0);
    program.Literal("z").Do(SQL_Pop_Column, 0, 0).Do(SQL_Output).Do(SQL_Cursor_Update, 0);
    Machine machine(schema.get());
    EXPECT_EQ(machine.Run(program), 1);
    TheHost().FailCall("ovFile_Write", 1, FailureKind::kOutright, FailureSpan::kForEver);
    EXPECT_EQ(machine.loop.Run(), -1);
    EXPECT_NE(machine.Error().find("t.dbf"), std::string::npos) << machine.Error();
    TheHost().ClearFailures();
}

TEST_F(RecordTest, IndexesThatCannotFollowAnUpdateFailIt) {
    MakeTable();
    ASSERT_EQ(Insert("t", {"a"}, {"x"}), "");
    Program program;
    Open(&program, 0, "t", {"a"}, true);
    program.Do(SQL_Cursor_First, 0, 100).Do(SQL_Cursor_LockForUpdate, 0);
    program.Literal("z").Do(SQL_Pop_Column, 0, 0).Do(SQL_Cursor_Update, 0).Do(SQL_Output);
    program.Do(SQL_Cursor_Update_Indexes, 0).Do(SQL_Output);
    Machine machine(schema.get());
    EXPECT_EQ(machine.Run(program), 1);
    TheHost().FailCall("ovFile_Write", 1, FailureKind::kOutright, FailureSpan::kForEver);
    EXPECT_EQ(machine.loop.Run(), -1) << "nothing behind it is run";
    EXPECT_NE(machine.Error().find("ta.ovx"), std::string::npos) << machine.Error();
    TheHost().ClearFailures();
}

TEST_F(RecordTest, DeleteFlagsTheRecordAndQueuesItsKeys) {
    MakeTable();
    ASSERT_EQ(Insert("t", {"a"}, {"x"}), "");
    ASSERT_EQ(Insert("t", {"a"}, {"y"}), "");
    Program program;
    Open(&program, 0, "t", {"a"}, true);
    program.Do(SQL_Cursor_First, 0, 100).Do(SQL_Cursor_LockForUpdate, 0);
    program.Do(SQL_Cursor_Delete, 0).Do(SQL_Cursor_Delete_Indexes, 0);
    EXPECT_EQ(Run(program), "");
    EXPECT_EQ(Column("a"), Texts{"y"});
    EXPECT_EQ(Insert("t", {"a"}, {"x"}), "");  // its key is free again
}

// The second record's flag cannot be written: the message tells of it, and the first record's key
// goes all the same.
TEST_F(RecordTest, AFailedDeleteStillAppliesWhatWasQueued) {
    MakeTable();
    ASSERT_EQ(Insert("t", {"a"}, {"x"}), "");
    ASSERT_EQ(Insert("t", {"a"}, {"y"}), "");
    Program program;
    Open(&program, 0, "t", {"a"}, true);
    program.Do(SQL_Cursor_First, 0, 100).Do(SQL_Cursor_Delete, 0);
    program.Do(SQL_Cursor_Next, 0, program.Count() + 1).Do(SQL_Output).Do(SQL_Cursor_Delete, 0);
    Machine machine(schema.get());
    ASSERT_EQ(machine.Run(program), 1) << machine.Error();
    TheHost().FailCall("ovFile_Write", 1);
    EXPECT_EQ(machine.loop.Run(), -1);
    EXPECT_NE(machine.Error().find("t.dbf"), std::string::npos) << machine.Error();
    machine.loop.Reset();
    EXPECT_EQ(Insert("t", {"a"}, {"x"}), "");
    EXPECT_EQ(Found("y"), Texts{"y"});
    EXPECT_EQ(Column("a"), (Texts{"y", "x"}));
}

TEST_F(RecordTest, WithoutItsApplyingADeletedKeyStays) {
    MakeTable();
    ASSERT_EQ(Insert("t", {"a"}, {"x"}), "");
    ASSERT_EQ(DeleteRecord("t", 1), "");
    EXPECT_EQ(Insert("t", {"a"}, {"x"}),
              "Inserted record violates UNIQUE constraint on index 'ta'");
}

// A join can meet one record twice.
TEST_F(RecordTest, ARecordDeletedTwiceIsQueuedOnce) {
    MakeTable();
    ASSERT_EQ(Insert("t", {"a"}, {"x"}), "");
    Program program;
    Open(&program, 0, "t", {"a"}, true);
    program.Do(SQL_Cursor_First, 0, 100);
    program.Do(SQL_Cursor_LockForUpdate, 0).Do(SQL_Cursor_Delete, 0);
    program.Do(SQL_Cursor_LockForUpdate, 0).Do(SQL_Cursor_Delete, 0);
    program.Do(SQL_Cursor_Delete_Indexes, 0);
    EXPECT_EQ(Run(program), "");
}

TEST_F(RecordTest, ARefusedLockReportsTheTablesMessage) {
    MakeTable();
    ASSERT_EQ(Insert("t", {"a"}, {"x"}), "");
    Program program;
    Open(&program, 0, "t", {"a"}, true);
    program.Do(SQL_Cursor_First, 0, 100).Do(SQL_Output).Do(SQL_Cursor_LockForUpdate, 0);
    Machine machine(schema.get());
    EXPECT_EQ(machine.Run(program), 1);
    TheHost().RefuseLocks(true);
    EXPECT_EQ(machine.loop.Run(), -1);
    EXPECT_NE(machine.Error().find("t.dbf"), std::string::npos) << machine.Error();
    TheHost().RefuseLocks(false);
}

TEST_F(RecordTest, MemoTextIsCopiedIntoResults) {
    ASSERT_EQ(CreateTable("t", {{"m", 4, 10}}), "");
    const std::string first(700, 'a');
    ASSERT_EQ(Insert("t", {"m"}, {first}), "");
    ASSERT_EQ(Insert("t", {"m"}, {"second"}), "");
    Program program;
    Open(&program, 0, "t", {"m"});
    program.Emit(SQL_Result, 0, 1, 0, "value");
    program.Do(SQL_Cursor_First, 0, 100).Do(SQL_Push_Column, 0, 0).Do(SQL_Pop_Result, 0);
    program.Null().Do(SQL_Push_Column, 0, 0).Do(SQL_IfNull);
    program.Do(SQL_Cursor_Next, 0, program.Count() + 1).Do(SQL_Push_Column, 0, 0).Do(SQL_Length);
    Machine machine(schema.get());
    EXPECT_EQ(machine.Run(program), 0) << machine.Error();
    EXPECT_EQ(machine.loop.Stack()->PopInteger(), 6);
    EXPECT_EQ(ToText(machine.loop.Stack()->PopText()), first);
    EXPECT_EQ(machine.Result(0), first);
}

TEST_F(RecordTest, DefinitionsReportTheSchemasMessage) {
    MakeTable();
    EXPECT_EQ(CreateTable("t", {{"a", 0, 10}}), "Table 't' already exists");
    Program drop;
    drop.Emit(SQL_Drop_Table, 0, 0, 0, "nowhere");
    EXPECT_EQ(Run(drop), "Table 'nowhere' does not exist");
    Program dropIndex;
    dropIndex.Emit(SQL_Drop_Index, 0, 0, 0, "nowhere");
    EXPECT_EQ(Run(dropIndex), "Index name 'nowhere' does not exist");
    EXPECT_NE(CreateIndex("other", "nowhere", {"a"}), "");
    EXPECT_NE(CreateIndex("ta", "t", {"a"}), "");
    Program alterDrop;
    alterDrop.Emit(SQL_Alter_Table_Drop, 0, 0, 0, "nowhere", "a");
    EXPECT_NE(Run(alterDrop), "");
    const auto columns = ColumnList({{"b", 0, 5}});
    Program alterAdd;
    alterAdd.Emit(SQL_Alter_Table_Add, 0, 0, 0, "nowhere", "", columns.get());
    EXPECT_NE(Run(alterAdd), "");
}

TEST_F(RecordTest, DefinitionsDoTheirWork) {
    MakeTable();
    ASSERT_EQ(Insert("t", {"a"}, {"x"}), "");
    const auto columns = ColumnList({{"b", 0, 5}});
    Program add;
    add.Emit(SQL_Alter_Table_Add, 0, 0, 0, "t", "", columns.get());
    EXPECT_EQ(Run(add), "");
    EXPECT_EQ(Column("b"), Texts{""});
    Program drop;
    drop.Emit(SQL_Alter_Table_Drop, 0, 0, 0, "t", "n");
    EXPECT_EQ(Run(drop), "");
    EXPECT_EQ(Column("n"), Texts{"error: Invalid column reference 'n'"});
    Program dropIndex;
    dropIndex.Emit(SQL_Drop_Index, 0, 0, 0, "ta");
    EXPECT_EQ(Run(dropIndex), "");
    EXPECT_EQ(Insert("t", {"a"}, {"x"}), "");
    Program dropTable;
    dropTable.Emit(SQL_Drop_Table, 0, 0, 0, "t");
    EXPECT_EQ(Run(dropTable), "");
    EXPECT_EQ(Column("a"),
              Texts{"error: Unable to create cursor for table 't': Unknown table 't'"});
}

}  // namespace
}  // namespace ovrasql
