// Results as the host sees them: variables of the view, and texts that stay readable when what they
// came from has gone.

#include <string>

#include "storage/ovra_sql_field.h"
#include "tests/engine/engine_database.h"

namespace ovrasql {
namespace {

class ViewTest : public EngineDatabase {};

TEST_F(ViewTest, EachResultBecomesAVariable) {
    Program program;
    program.Emit(SQL_Result, 0, 1, 0, "a");
    program.Emit(SQL_Result, 1, 0, 0, "eof");
    program.Integer(0).Do(SQL_Pop_Result, 1).Literal("text").Do(SQL_Pop_Result, 0).Do(SQL_Output);
    Machine machine;
    EXPECT_EQ(machine.Run(program), 1);
    EXPECT_TRUE(machine.loop.Results().Get(0)->Visible());
    EXPECT_FALSE(machine.loop.Results().Get(1)->Visible());
    EXPECT_EQ(ToText(machine.loop.Results().Get(1)->Name()), "eof");
    ASSERT_NE(machine.Variable("a"), nullptr);
    EXPECT_EQ(ToText(static_cast<SQLResult*>(machine.Variable("a")->data)->GetString()), "text");
    EXPECT_EQ(machine.Variable("a")->dirtyCount, 1);
}

TEST_F(ViewTest, VariablesAreAddedAtEveryRun) {
    Program program;
    program.Emit(SQL_Result, 0, 1, 0, "a");
    Machine machine;
    EXPECT_EQ(machine.Run(program), 0);
    machine.loop.Reset();
    EXPECT_EQ(machine.loop.Run(), 0);
    EXPECT_EQ(TheHost().CallCount("ovDatabaseView_AddVariable"), 2);
}

TEST_F(ViewTest, AHostThatMakesNoVariableHarmsNothing) {
    TheHost().FailCall("ovDatabaseView_AddVariable", 1);
    Program program;
    program.Emit(SQL_Result, 0, 1, 0, "a");
    program.Literal("text").Do(SQL_Pop_Result, 0);
    program.Do(SQL_Temporary_Table, 0, 1).Do(SQL_Temporary_Record, 0);
    program.Do(SQL_Temporary_Result, 0, 0, 0);
    Machine machine;
    EXPECT_EQ(machine.Run(program), 0);
    EXPECT_EQ(machine.Result(0), "text");
}

TEST_F(ViewTest, AResultMadeAgainIsEmpty) {
    Program program;
    program.Emit(SQL_Result, 0, 1, 0, "a");
    program.Literal("text").Do(SQL_Pop_Result, 0);
    program.Emit(SQL_Result, 0, 1, 0, "b");
    Machine machine;
    EXPECT_EQ(machine.Run(program), 0);
    EXPECT_TRUE(machine.loop.Results().Get(0)->IsNull());
    EXPECT_EQ(ToText(machine.loop.Results().Get(0)->Name()), "b");
}

TEST_F(ViewTest, TextOfATemporaryTableOutlivesIt) {
    Program program;
    program.Emit(SQL_Result, 0, 1, 0, "a");
    program.Do(SQL_Temporary_Table, 0, 1).Do(SQL_Temporary_Record, 0).Literal("cell text");
    program.Do(SQL_Pop_Temporary, 0, 0).Do(SQL_Push_Temporary, 0, 0).Do(SQL_Pop_Result, 0);
    program.Do(SQL_Temporary_Table, 0, 2);
    Machine machine;
    EXPECT_EQ(machine.Run(program), 0);
    EXPECT_EQ(machine.Result(0), "cell text");
}

TEST_F(ViewTest, TextOfABucketOutlivesIt) {
    Program program;
    program.Emit(SQL_Result, 0, 1, 0, "a");
    program.Do(SQL_Bucket, 0, 1).Do(SQL_Bucket_Default, 0).Literal("group text");
    program.Do(SQL_Bucket_Max, 0, 0).Do(SQL_Push_Bucket, 0, 0).Do(SQL_Pop_Result, 0);
    program.Do(SQL_Bucket, 0, 1);
    Machine machine;
    EXPECT_EQ(machine.Run(program), 0);
    EXPECT_EQ(machine.Result(0), "group text");
}

TEST_F(ViewTest, PlainFieldTextIsNotCopied) {
    ASSERT_EQ(CreateTable("t", {{"a", 0, 10}}), "");
    ASSERT_EQ(Insert("t", {"a"}, {"field"}), "");
    Program program;
    Open(&program, 0, "t", {"a"});
    program.Emit(SQL_Result, 0, 1, 0, "a");
    program.Do(SQL_Cursor_First, 0, 100).Do(SQL_Push_Column, 0, 0).Do(SQL_Pop_Result, 0);
    program.Do(SQL_Output).Do(SQL_Cursor_Next, 0, 0);
    Machine machine(schema.get());
    EXPECT_EQ(machine.Run(program), 1);
    EXPECT_EQ(machine.loop.Results().Get(0)->GetString().data,
              machine.loop.Cursor(0)->Column(0)->Value());
    // Behind the last row the variable may still be read.
    EXPECT_EQ(machine.loop.Run(), 0);
    EXPECT_EQ(machine.Result(0), "field");
}

TEST_F(ViewTest, ARowWithoutItsCellIsStillReadAsNull) {
    Program program;
    program.Emit(SQL_Result, 0, 1, 0, "a");
    program.Do(SQL_Output);
    Machine machine;
    EXPECT_EQ(machine.Run(program), 1);
    EXPECT_EQ(machine.Result(0), "");
}

}  // namespace
}  // namespace ovrasql
