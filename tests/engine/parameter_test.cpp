// Parameters: taken from the host's list as texts, counted by what the host says.

#include <string>

#include "tests/engine/program.h"

namespace ovrasql {
namespace {

class ParameterTest : public EngineTest {
  protected:
    // Runs `:1` and so on with the list, after a count that was right.
    static std::string Push(int32_t slot, const std::vector<std::string>& values) {
        Program program;
        program.Do(SQL_Push_Dynamic, slot);
        Machine machine;
        machine.Load(program, false, static_cast<int32_t>(values.size()));
        EXPECT_EQ(machine.loop.SetParameters(TheHost().MakeList(values),
                                             static_cast<int32_t>(values.size())),
                  1);
        return machine.loop.Run() < 0 ? "error: " + machine.Error()
                                      : ToText(machine.loop.Stack()->PopText());
    }
};

TEST_F(ParameterTest, AreReachedBySlot) {
    EXPECT_EQ(Push(0, {"a", "b"}), "a");
    EXPECT_EQ(Push(1, {"a", "b"}), "b");
    EXPECT_EQ(Push(0, {""}), "");
}

TEST_F(ParameterTest, SlotsOutsideAreRefused) {
    for (const int32_t slot : {2, -1, 2147483647, -2147483647 - 1}) {
        EXPECT_EQ(Push(slot, {"a", "b"}), "error: Invalid parameter");
    }
}

TEST_F(ParameterTest, MayHoldNulBytes) {
    const std::string value("a\0b", 3);
    EXPECT_EQ(Push(0, {value}), value);
}

TEST_F(ParameterTest, CompareAsNumbersWhenTheyReadAsSuch) {
    Program program;
    program.Do(SQL_Push_Dynamic, 0).Literal("9").Do(SQL_GreaterThan);
    Machine machine;
    machine.Load(program, false, 1);
    EXPECT_EQ(machine.loop.SetParameters(TheHost().MakeList({"10"}), 1), 1);
    EXPECT_EQ(machine.loop.Run(), 0);
    EXPECT_EQ(machine.loop.Stack()->PopInteger(), 1);
}

TEST_F(ParameterTest, AWrongCountIsRefusedBeforeTheListIsRead) {
    Program program;
    program.Do(SQL_Push_Dynamic, 0);
    Machine machine;
    machine.Load(program, false, 2);
    TheHost().ClearLog();
    EXPECT_EQ(machine.loop.SetParameters(TheHost().MakeList({"a"}), 1), -1);
    EXPECT_EQ(machine.Error(), "Input parameter count mismatch: Found 1 expected 2");
    EXPECT_EQ(TheHost().CallCount("ovVariableList_First"), 0);
    EXPECT_EQ(machine.loop.Run(), -1);
}

TEST_F(ParameterTest, AWrongCountLeavesTheEarlierValues) {
    Program program;
    program.Do(SQL_Output).Do(SQL_Push_Dynamic, 0);
    Machine machine;
    machine.Load(program, false, 1);
    EXPECT_EQ(machine.loop.SetParameters(TheHost().MakeList({"old"}), 1), 1);
    EXPECT_EQ(machine.loop.Run(), 1);
    EXPECT_EQ(machine.loop.SetParameters(TheHost().MakeList({"x", "y"}), 2), -1);
    machine.loop.ClearFailure();
    EXPECT_EQ(machine.loop.Run(), 0);
    EXPECT_EQ(ToText(machine.loop.Stack()->PopText()), "old");
    machine.loop.Reset();
    EXPECT_EQ(machine.loop.Run(), 1);
    EXPECT_EQ(machine.loop.Run(), -1);
    EXPECT_EQ(machine.Error(), "Invalid parameter");
}

// Only the count beside the list is compared; the list is walked whole.
TEST_F(ParameterTest, TheListMayBeLongerThanTheCount) {
    Program program;
    program.Do(SQL_Push_Dynamic, 1);
    Machine machine;
    machine.Load(program, false, 0);
    EXPECT_EQ(machine.loop.SetParameters(TheHost().MakeList({"a", "b"}), 0), 1);
    EXPECT_EQ(machine.loop.Run(), 0);
    EXPECT_EQ(ToText(machine.loop.Stack()->PopText()), "b");
}

TEST_F(ParameterTest, TheListIsAskedAlsoWithoutParameters) {
    Program program;
    Machine machine;
    machine.Load(program, false, 0);
    TheHost().ClearLog();
    EXPECT_EQ(machine.loop.SetParameters(nullptr, 0), 1);
    EXPECT_EQ(TheHost().CallCount("ovVariableList_First"), 1);
}

TEST_F(ParameterTest, MayComeBeforeAnyProgram) {
    Machine machine;
    EXPECT_EQ(machine.loop.SetParameters(nullptr, 0), 1);
}

TEST_F(ParameterTest, ALengthBelowZeroIsAnEmptyText) {
    void* list = TheHost().MakeList({"abc"});
    MemoryHost::Variable(ovVariableList_First(list))->statedLength = -2;
    Program program;
    program.Do(SQL_Push_Dynamic, 0);
    Machine machine;
    machine.Load(program, false, 1);
    EXPECT_EQ(machine.loop.SetParameters(list, 1), 1);
    EXPECT_EQ(machine.loop.Run(), 0);
    EXPECT_EQ(ToText(machine.loop.Stack()->PopText()), "");
}

TEST_F(ParameterTest, EachRunHasItsOwnValues) {
    Program program;
    program.Emit(SQL_Result, 0, 1, 0, "r");
    program.Do(SQL_Push_Dynamic, 0).Do(SQL_Pop_Result, 0).Do(SQL_Output);
    Machine machine;
    machine.Load(program, false, 1);
    for (const char* value : {"first", "second", "3"}) {
        EXPECT_EQ(machine.loop.SetParameters(TheHost().MakeList({value}), 1), 1);
        EXPECT_EQ(machine.loop.Run(), 1);
        EXPECT_EQ(machine.Result(0), value);
        machine.loop.Reset();
    }
}

// So do entries of the stack, which are not to be read behind a row that has been given out.
TEST_F(ParameterTest, NewValuesFindAnEmptyStack) {
    Program program;
    program.Do(SQL_Push_Dynamic, 0).Do(SQL_Output);
    Machine machine;
    machine.Load(program, false, 1);
    EXPECT_EQ(machine.loop.SetParameters(TheHost().MakeList({"before"}), 1), 1);
    EXPECT_EQ(machine.loop.Run(), 1);
    EXPECT_EQ(machine.loop.Stack()->Count(), 1);
    EXPECT_EQ(machine.loop.SetParameters(TheHost().MakeList({"after"}), 1), 1);
    EXPECT_EQ(machine.loop.Stack()->Count(), 0);
}

// A result borrows a parameter's text, and must survive the values being given anew.
TEST_F(ParameterTest, ResultsKeepTheTextOfReplacedParameters) {
    Program program;
    program.Emit(SQL_Result, 0, 1, 0, "r");
    program.Do(SQL_Push_Dynamic, 0).Do(SQL_Pop_Result, 0).Do(SQL_Output);
    Machine machine;
    machine.Load(program, false, 1);
    EXPECT_EQ(machine.loop.SetParameters(TheHost().MakeList({"before"}), 1), 1);
    EXPECT_EQ(machine.loop.Run(), 1);
    EXPECT_EQ(machine.loop.SetParameters(TheHost().MakeList({"after"}), 1), 1);
    EXPECT_EQ(machine.Result(0), "before");
}

}  // namespace
}  // namespace ovrasql
