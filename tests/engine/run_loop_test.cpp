// The loop itself: dispatch, jumps, suspension, failures and what Reset leaves.

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "tests/engine/program.h"
#include "tests/support/program_places.h"

namespace ovrasql {
namespace {

class RunLoopTest : public EngineTest {};

TEST_F(RunLoopTest, AnEndedProgramStaysEnded) {
    Program program;
    program.Do(SQL_NOOP);
    Machine machine;
    EXPECT_EQ(machine.Run(program), 0);
    EXPECT_EQ(machine.loop.Run(), 0);
    EXPECT_EQ(machine.loop.Run(), 0);
}

TEST_F(RunLoopTest, AnEmptyProgramHasEnded) {
    Machine machine;
    EXPECT_EQ(machine.loop.Run(), 0);  // nothing loaded
    Program program;
    EXPECT_EQ(machine.Run(program), 0);
}

TEST_F(RunLoopTest, UnknownOpcodesFail) {
    for (const int32_t opcode : {82, -1, 2147483647, -2147483647 - 1}) {
        Program program;
        program.Do(opcode);
        EXPECT_EQ(Evaluate(program), "error: Invalid instruction") << opcode;
    }
}

TEST_F(RunLoopTest, JumpsGoWhereTheySay) {
    Program program;
    program.Do(SQL_Jump, 2).Integer(1).Integer(2);
    EXPECT_EQ(Evaluate(program), "2");
    Program equal;
    equal.Integer(5).Do(SQL_Jump_EQ, 5, 3).Integer(1).Integer(2);
    EXPECT_EQ(Evaluate(equal), "2");
    Program notEqual;
    notEqual.Integer(4).Do(SQL_Jump_EQ, 5, 3).Integer(1).Integer(2);
    EXPECT_EQ(Evaluate(notEqual), "1|2");
    Program differs;
    differs.Integer(4).Do(SQL_Jump_NE, 5, 3).Integer(1).Integer(2);
    EXPECT_EQ(Evaluate(differs), "2");
    Program same;
    same.Integer(5).Do(SQL_Jump_NE, 5, 3).Integer(1).Integer(2);
    EXPECT_EQ(Evaluate(same), "1|2");
}

TEST_F(RunLoopTest, JumpsPopAnIntegerOfAnyValue) {
    Program text;
    text.Literal("abc").Do(SQL_Jump_EQ, 0, 3).Integer(1).Integer(2);
    EXPECT_EQ(Evaluate(text), "2");
}

TEST_F(RunLoopTest, AJumpBeyondTheEndEnds) {
    for (const int32_t target : {2, 3, 2147483647}) {
        Program program;
        program.Do(SQL_Jump, target).Do(SQL_Error);
        EXPECT_EQ(Evaluate(program), "") << target;
    }
}

TEST_F(RunLoopTest, AJumpBeforeTheStartFails) {
    for (const int32_t target : {-1, -2147483647 - 1}) {
        Program program;
        program.Do(SQL_Jump, target);
        EXPECT_EQ(Evaluate(program), "error: Invalid instruction") << target;
    }
}

TEST_F(RunLoopTest, OutputSuspendsAndGoesOnBehindIt) {
    Program program;
    program.Integer(1).Do(SQL_Output).Integer(2).Do(SQL_Output).Integer(3);
    Machine machine;
    EXPECT_EQ(machine.Run(program), 1);
    EXPECT_EQ(machine.loop.Stack()->Count(), 1);
    EXPECT_EQ(machine.loop.RecordNumber(), 2);
    EXPECT_EQ(machine.loop.Run(), 1);
    EXPECT_EQ(machine.loop.RecordNumber(), 3);
    EXPECT_EQ(machine.loop.Run(), 0);
    EXPECT_EQ(machine.loop.Stack()->Count(), 3);
    EXPECT_EQ(machine.loop.Run(), 0);
}

TEST_F(RunLoopTest, TheRecordNumberIsPushed) {
    Program program;
    program.Do(SQL_Output).Do(SQL_Push_RecordNumber);
    Machine machine;
    EXPECT_EQ(machine.Run(program), 1);
    EXPECT_EQ(machine.loop.Run(), 0);
    EXPECT_EQ(machine.loop.Stack()->PopInteger(), 2);
}

TEST_F(RunLoopTest, ErrorFailsWithItsText) {
    Program program;
    program.Emit(SQL_Error, 0, 0, 0, "Sub-query returns more than one row");
    program[0].text1Length = 0;  // as the compiler writes it: the text is NUL-ended
    EXPECT_EQ(Evaluate(program), "error: Sub-query returns more than one row");
}

TEST_F(RunLoopTest, AnErrorWithoutTextStillFails) {
    Program program;
    program.Do(SQL_Error);
    program[0].text1 = nullptr;
    EXPECT_EQ(Evaluate(program), "error: ");
}

TEST_F(RunLoopTest, AnInstructionRunsToItsEndAfterAStackFailure) {
    Program program;
    program.Literal("5").Do(SQL_Add).Integer(9);
    Machine machine;
    EXPECT_EQ(machine.Run(program), -1);
    EXPECT_EQ(machine.Error(), "Stack underflow");
    // The sum was pushed; the next instruction did not run.
    EXPECT_EQ(machine.loop.Stack()->Count(), 1);
    EXPECT_EQ(machine.loop.ProgramCounter(), 2);
}

TEST_F(RunLoopTest, AFailureIsStickyUntilReset) {
    Program program;
    program.Integer(1).Do(SQL_Pop).Do(SQL_Pop).Integer(2);
    Machine machine;
    EXPECT_EQ(machine.Run(program), -1);
    EXPECT_EQ(machine.loop.Run(), -1);
    EXPECT_EQ(machine.Error(), "Stack underflow");
    EXPECT_EQ(machine.loop.Stack()->Count(), 0);
    machine.loop.Reset();
    EXPECT_FALSE(machine.loop.Failed());
    EXPECT_EQ(machine.Error(), "Stack underflow");  // the text stays
    EXPECT_EQ(machine.loop.Run(), -1);
}

TEST_F(RunLoopTest, AFailureInTheLoopLeavesTheCounterOnIt) {
    Program program;
    program.Do(SQL_NOOP).Do(99);
    Machine machine;
    EXPECT_EQ(machine.Run(program), -1);
    EXPECT_EQ(machine.loop.ProgramCounter(), 1);
}

TEST_F(RunLoopTest, ResetMakesReadyFromTheTop) {
    Program program;
    program.Emit(SQL_Result, 0, 1, 0, "a");
    program.Integer(1).Do(SQL_Temporary_Table, 0, 1).Do(SQL_Bucket, 0, 1).Do(SQL_Output);
    Machine machine;
    EXPECT_EQ(machine.Run(program), 1);
    EXPECT_EQ(machine.loop.Results().Count(), 1);
    machine.loop.Reset();
    EXPECT_EQ(machine.loop.Results().Count(), 0);
    EXPECT_EQ(machine.loop.Stack()->Count(), 0);
    EXPECT_EQ(machine.loop.RecordNumber(), 1);
    EXPECT_EQ(machine.loop.ProgramCounter(), 0);
    EXPECT_EQ(machine.loop.View(), machine.view);  // whoever runs it next sets it
    EXPECT_EQ(machine.loop.Run(), 1);
}

TEST_F(RunLoopTest, AddViewNeedsAView) {
    Program program;
    program.Do(SQL_Add_View).Integer(1);
    EXPECT_EQ(Evaluate(program), "1");
    Machine machine;
    machine.loop.SetView(nullptr);
    EXPECT_EQ(machine.Run(program), -1);
    EXPECT_EQ(machine.Error(), "SELECT is not valid in this context");
}

TEST_F(RunLoopTest, ResultNeedsAView) {
    Program program;
    program.Emit(SQL_Result, 0, 1, 0, "a");
    Machine machine;
    machine.loop.SetView(nullptr);
    EXPECT_EQ(machine.Run(program), -1);
    EXPECT_EQ(machine.Error(), "Queries that return results are not valid in this context");
    EXPECT_TRUE(machine.loop.ProducesRows());
}

TEST_F(RunLoopTest, OperandsThatNameNoSlotAreRefused) {
    const int32_t onSlots[] = {SQL_Cursor_Column,
                               SQL_Cursor_Index,
                               SQL_Cursor_First,
                               SQL_Cursor_Next,
                               SQL_Cursor_Insert,
                               SQL_Cursor_Update,
                               SQL_Cursor_Update_Indexes,
                               SQL_Cursor_Delete,
                               SQL_Cursor_Delete_Indexes,
                               SQL_Cursor_LockForUpdate,
                               SQL_Cursor_LessThan,
                               SQL_Cursor_GreaterThan,
                               SQL_Cursor_LessThanEqual,
                               SQL_Cursor_GreaterThanEqual,
                               SQL_Temporary_Record,
                               SQL_Temporary_Sort,
                               SQL_Temporary_Result,
                               SQL_Temporary_First,
                               SQL_Temporary_Next,
                               SQL_Bucket_Default,
                               SQL_Bucket_Record,
                               SQL_Bucket_First,
                               SQL_Bucket_Next,
                               SQL_Bucket_Count,
                               SQL_Bucket_Count_Distinct,
                               SQL_Bucket_Average,
                               SQL_Bucket_Sum,
                               SQL_Bucket_Min,
                               SQL_Bucket_Max,
                               SQL_Push_BoolColumn,
                               SQL_Push_Column,
                               SQL_Push_Temporary,
                               SQL_Push_Bucket,
                               SQL_Pop_Column,
                               SQL_Pop_Result,
                               SQL_Pop_Temporary,
                               SQL_Pop_Bucket};
    for (const int32_t opcode : onSlots) {
        for (const int32_t slot : {0, 7, -2, 2147483647}) {
            Program program;
            program.Literal("a").Literal("b").Do(opcode, slot);
            EXPECT_EQ(Evaluate(program), "error: Invalid instruction")
                << OpcodeName(opcode) << " " << slot;
        }
    }
}

TEST_F(RunLoopTest, SlotsFarBeyondTheProgramAreNotMade) {
    for (const int32_t slot : {-1, 2147483647, 100000000}) {
        Program result;
        result.Emit(SQL_Result, slot, 1, 0, "a");
        EXPECT_EQ(Evaluate(result), "error: Invalid instruction");
        Program table;
        table.Do(SQL_Temporary_Table, slot, 1);
        EXPECT_EQ(Evaluate(table), "error: Invalid instruction");
        Program wide;
        wide.Do(SQL_Temporary_Table, 0, slot);
        EXPECT_EQ(Evaluate(wide), "error: Invalid instruction");
        Program manyAccumulators;
        manyAccumulators.Do(SQL_Bucket, 0, slot);
        EXPECT_EQ(Evaluate(manyAccumulators), "error: Invalid instruction");
        Program cursor;
        cursor.Emit(SQL_Cursor_Open, slot, 0, 0, "t");
        EXPECT_EQ(Evaluate(cursor), "error: Invalid instruction");
    }
}

TEST_F(RunLoopTest, ABucketFarBeyondTheProgramIsNotMade) {
    for (const int32_t slot : {-2, 2147483647, 100000000}) {
        Program bucket;
        bucket.Do(SQL_Bucket, slot, 1);
        EXPECT_EQ(Evaluate(bucket), "error: Invalid instruction");
    }
}

TEST_F(RunLoopTest, DefinitionsNeedTheirLists) {
    for (const int32_t opcode : {SQL_Create_Table, SQL_Alter_Table_Add, SQL_Create_Index}) {
        Program program;
        program.Emit(opcode, 0, 0, 0, "t", "i");
        EXPECT_EQ(Evaluate(program), "error: Invalid instruction");
    }
}

// No program may do harm, whatever its operands and its order: it ends, suspends or fails. The
// targets lie ahead, so that each comes to an end.
TEST_F(RunLoopTest, RandomProgramsDoNoHarm) {
    std::mt19937 random(20240917);
    const char* const texts[] = {"",    "a",   "12",
                                 "1.5", "%a_", "a text that is rather long, in fact"};
    const auto pick = [&random](int32_t count) {
        return static_cast<int32_t>(random() % static_cast<uint32_t>(count));
    };
    int32_t outcomes[3] = {};
    for (int32_t round = 0; round < 4000; ++round) {
        Program program;
        program.Do(SQL_Temporary_Table, 0, 2).Do(SQL_Temporary_Record, 0).Do(SQL_Bucket, 0, 2);
        program.Do(SQL_Bucket_Default, 0).Emit(SQL_Result, 0, 1, 0, "r");
        program.Integer(1).Integer(2).Literal("x");
        const int32_t length = 5 + pick(40);
        for (int32_t i = 0; i < length; ++i) {
            // Half are pushes, so that there is something to work on; most name a slot that is
            // there.
            int32_t opcode = SQL_Push_Literal + pick(7);
            if (pick(2) == 0) {
                opcode = pick(20) == 0
                             ? pick(kOpcodeCount + 1)
                             : SQL_Temporary_Table + pick(SQL_Output - SQL_Temporary_Table);
            }
            int32_t operands[3] = {pick(20) == 0 ? pick(4) - 1 : 0,
                                   pick(20) == 0 ? pick(4) - 1 : pick(2), 0};
            if (const int32_t target = TargetOperand(opcode); target > 0) {
                operands[target - 1] = program.Count() + 1 + pick(5);
            }
            program.Emit(opcode, operands[0], operands[1], operands[2], texts[pick(6)]);
            if (pick(10) == 0) {
                program.Do(SQL_Output);
            }
        }
        Machine machine;
        machine.Load(program, pick(2) == 0);
        int32_t result = 1;
        while (result == 1) {
            result = machine.loop.Run();
            ++outcomes[result + 1];
        }
        static_cast<void>(machine.Result(0));
    }
    for (const int32_t count : outcomes) {
        EXPECT_GT(count, 100);
    }
}

// Where no memory is left, there must be room for the text that says so.
TEST(EngineFailureTest, HasRoomForTheTextOfMissingMemory) {
    EngineFailure failure;
    EXPECT_TRUE(failure.message.IsEmpty());
    const std::string text = "Out of memory";
    EXPECT_GT(failure.message.Capacity(), static_cast<int32_t>(text.size()));
    const char* const room = failure.message.CText();
    EXPECT_EQ(failure.Fail("Out of memory"), -1);
    EXPECT_EQ(failure.message.CText(), room) << "no new buffer";
    EXPECT_EQ(failure.message.CText(), text);
}

}  // namespace
}  // namespace ovrasql
