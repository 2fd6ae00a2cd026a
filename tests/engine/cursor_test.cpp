// Cursors: walks over records and along indexes, their keys, and their ends.

#include <string>

#include "engine/sql_cursor.h"
#include "tests/engine/engine_database.h"

namespace ovrasql {
namespace {

class CursorTest : public EngineDatabase {
  protected:
    // Records 1 to 5 with the names e d c b a.
    void MakeNames() {
        ASSERT_EQ(CreateTable("names", {{"name", 0, 10}, {"size", 1, 5}}), "");
        ASSERT_EQ(CreateIndex("byname", "names", {"name"}), "");
        for (const char* name : {"e", "d", "c", "b", "a"}) {
            ASSERT_EQ(Insert("names", {"name"}, {name}), "");
        }
    }
    void MakePlaces() {
        ASSERT_EQ(CreateTable("places", {{"land", 0, 5},
                                         {"size", 1, 5},
                                         {"coast", 3, 1},
                                         {"price", 1, 8, 2},
                                         {"town", 0, 10}}),
                  "");
        ASSERT_EQ(CreateIndex("three", "places", {"land", "size", "coast"}), "");
        ASSERT_EQ(CreateIndex("byprice", "places", {"price"}), "");
        const Texts columns = {"land", "size", "coast", "price", "town"};
        ASSERT_EQ(Insert("places", columns, {"fr", "42", "1", "1.5", "Brest"}), "");
        ASSERT_EQ(Insert("places", columns, {"fr", "7", "0", "12.25", "Dijon"}), "");
        ASSERT_EQ(Insert("places", columns, {"de", "42", "1", "3", "Kiel"}), "");
    }
    // The towns found with the values as key parts, the first last pushed.
    Texts Towns(const std::string& index, const Texts& parts) {
        Program program;
        Open(&program, 0, "places", {"town"});
        for (size_t i = parts.size(); i > 0; --i) {
            program.Literal(parts[i - 1]);
        }
        program.Emit(SQL_Cursor_Index, 0, static_cast<int32_t>(parts.size()), 0, index);
        return Walk(&program);
    }
    // The key that the parts make.
    std::string KeyOf(const std::string& index, const Texts& parts, bool isRange = false) {
        Program program;
        Open(&program, 0, "places", {"town"});
        for (size_t i = parts.size(); i > 0; --i) {
            program.Literal(parts[i - 1]);
        }
        const int32_t count = static_cast<int32_t>(parts.size()) - (isRange ? 1 : 0);
        if (isRange) {  // the bound lies below the parts
            program = Program();
            Open(&program, 0, "places", {"town"});
            program.Literal(parts.back());
            for (size_t i = parts.size() - 1; i > 0; --i) {
                program.Literal(parts[i - 1]);
            }
        }
        program.Emit(SQL_Cursor_Index, 0, count, isRange ? 1 : 0, index);
        Machine machine(schema.get());
        EXPECT_EQ(machine.Run(program), 0) << machine.Error();
        EXPECT_EQ(machine.loop.Stack()->Count(), 0);
        const SQLCursor* const cursor = machine.loop.Cursor(0);
        return ToText((isRange ? cursor->RangeKey() : cursor->Key()).View());
    }
};

TEST_F(CursorTest, WalksTheRecordsInTheirOrder) {
    MakeNames();
    Program program;
    Open(&program, 0, "names", {"name"});
    EXPECT_EQ(Walk(&program), (Texts{"e", "d", "c", "b", "a"}));
}

TEST_F(CursorTest, WalksAnIndexInItsOrder) {
    MakeNames();
    Program program;
    Open(&program, 0, "names", {"name"});
    program.Emit(SQL_Cursor_Index, 0, 0, 0, "byname");
    EXPECT_EQ(Walk(&program), (Texts{"a", "b", "c", "d", "e"}));
}

TEST_F(CursorTest, PassesOverDeletedRecords) {
    MakeNames();
    ASSERT_EQ(DeleteRecord("names", 1), "");
    ASSERT_EQ(DeleteRecord("names", 1), "");  // the first live one is now the second
    Program plain;
    Open(&plain, 0, "names", {"name"});
    EXPECT_EQ(Walk(&plain), (Texts{"c", "b", "a"}));
    Program indexed;
    Open(&indexed, 0, "names", {"name"});
    indexed.Emit(SQL_Cursor_Index, 0, 0, 0, "byname");
    EXPECT_EQ(Walk(&indexed), (Texts{"a", "b", "c"}));
}

TEST_F(CursorTest, ATableOfDeletedRecordsIsEmpty) {
    MakeNames();
    for (int32_t i = 0; i < 5; ++i) {
        ASSERT_EQ(DeleteRecord("names", 1), "");
    }
    Program program;
    Open(&program, 0, "names", {"name"});
    EXPECT_EQ(Walk(&program), Texts{});
}

TEST_F(CursorTest, AtItsEndColumnsAreNull) {
    MakeNames();
    Program program;
    Open(&program, 0, "names", {"name"});
    program.Literal("zz");
    program.Emit(SQL_Cursor_Index, 0, 1, 0, "byname");
    program.Do(SQL_Cursor_First, 0, program.Count() + 2).Do(SQL_Error);
    program.Do(SQL_Push_Column, 0, 0).Do(SQL_IsNull);
    program.Do(SQL_Push_BoolColumn, 0, 0).Do(SQL_IsNull);
    Machine machine(schema.get());
    EXPECT_EQ(machine.Run(program), 0);
    EXPECT_TRUE(machine.loop.Cursor(0)->AtEnd());
    EXPECT_EQ(machine.loop.Stack()->PopInteger(), 1);
    EXPECT_EQ(machine.loop.Stack()->PopInteger(), 1);
}

TEST_F(CursorTest, AnUnreadCursorsFieldsAreEmpty) {
    MakeNames();
    Program program;
    Open(&program, 0, "names", {"name"});
    program.Do(SQL_Push_Column, 0, 0).Do(SQL_IsNull);
    Machine machine(schema.get());
    EXPECT_EQ(machine.Run(program), 0);
    EXPECT_EQ(machine.loop.Stack()->PopInteger(), 1);
}

TEST_F(CursorTest, FindsByAWholeKeyAndByAPrefix) {
    MakePlaces();
    EXPECT_EQ(Towns("three", {"fr", "42", "1"}), Texts{"Brest"});
    EXPECT_EQ(Towns("three", {"fr"}), (Texts{"Dijon", "Brest"}));
    EXPECT_EQ(Towns("three", {"fr", "7"}), Texts{"Dijon"});
    EXPECT_EQ(Towns("three", {"FR", "42"}), Texts{"Brest"});
    EXPECT_EQ(Towns("three", {"it"}), Texts{});
    EXPECT_EQ(Towns("byprice", {"12.25"}), Texts{"Dijon"});
}

TEST_F(CursorTest, KeysEndInASeparatorUnlessFull) {
    MakePlaces();
    EXPECT_EQ(KeyOf("three", {"fr", "42"}), "FR:00042:");
    EXPECT_EQ(KeyOf("three", {"fr", "42", "1"}), "FR:00042:T");
    EXPECT_EQ(KeyOf("three", {"fr", "42", ""}), "FR:00042:F");
    EXPECT_EQ(KeyOf("three", {"fr"}), "FR:");
    EXPECT_EQ(KeyOf("three", {}), "");
}

TEST_F(CursorTest, NumbersArePaddedAndRendered) {
    MakePlaces();
    EXPECT_EQ(KeyOf("byprice", {"1.5"}), "00001.50");
    EXPECT_EQ(KeyOf("byprice", {"-5"}), "000-5.00");
    EXPECT_EQ(KeyOf("three", {"a", "-5"}), "A:000-5:");  // the sign comes behind the zeros
    EXPECT_EQ(KeyOf("three", {"a", "1234567"}), "A:1234567:");
}

TEST_F(CursorTest, RangeKeysAddTheBound) {
    MakePlaces();
    EXPECT_EQ(KeyOf("three", {"fr", "7"}, true), "FR:00007:");
    EXPECT_EQ(KeyOf("three", {"fr", "7", "1"}, true), "FR:00007:T");
    EXPECT_EQ(KeyOf("three", {"fr"}, true), "FR:");
    EXPECT_EQ(KeyOf("byprice", {"2"}, true), "00002.00");
}

TEST_F(CursorTest, ARangeStartsAtItsBound) {
    MakeNames();
    Program program;
    Open(&program, 0, "names", {"name"});
    program.Literal("c");
    program.Emit(SQL_Cursor_Index, 0, 0, 1, "byname");
    EXPECT_EQ(Walk(&program), (Texts{"c", "d", "e"}));
}

TEST_F(CursorTest, ARangeWhoseBoundRecordIsDeletedIsEmpty) {
    MakeNames();
    // The entry stays in the index: only the record is flagged.
    ASSERT_EQ(DeleteRecord("names", 3), "");
    Program program;
    Open(&program, 0, "names", {"name"});
    program.Literal("c");
    program.Emit(SQL_Cursor_Index, 0, 0, 1, "byname");
    EXPECT_EQ(Walk(&program), Texts{});
}

// Two records named c, and the first of them in the index deleted.
TEST_F(CursorTest, ADeletedRecordIsPassedOverAmongItsEquals) {
    MakeNames();
    ASSERT_EQ(Insert("names", {"name", "size"}, {"c", "6"}), "");
    ASSERT_EQ(DeleteRecord("names", 6), "");  // the newest of equal keys comes first
    for (const bool isRange : {false, true}) {
        Program program;
        Open(&program, 0, "names", {"name"});
        program.Literal("c");
        program.Emit(SQL_Cursor_Index, 0, isRange ? 0 : 1, isRange ? 1 : 0, "byname");
        EXPECT_EQ(Walk(&program), isRange ? (Texts{"c", "d", "e"}) : Texts{"c"});
    }
}

TEST_F(CursorTest, ARangeBehindKeyPartsStaysWithinThem) {
    MakePlaces();
    const Texts columns = {"land", "size", "coast", "town"};
    ASSERT_EQ(Insert("places", columns, {"fr", "3", "1", "Calais"}), "");
    ASSERT_EQ(Insert("places", columns, {"it", "9", "1", "Genova"}), "");
    Program program;
    Open(&program, 0, "places", {"town"});
    program.Literal("7").Literal("fr");
    program.Emit(SQL_Cursor_Index, 0, 1, 1, "three");
    EXPECT_EQ(Walk(&program), (Texts{"Dijon", "Brest"}));
}

// Required: a search past the last key stands on the last entry; the condition refuses its record.
TEST_F(CursorTest, ARangePastTheLastKeyGivesTheLastRecordAtMost) {
    MakeNames();
    Program program;
    Open(&program, 0, "names", {"name"});
    program.Literal("zz");
    program.Emit(SQL_Cursor_Index, 0, 0, 1, "byname");
    EXPECT_EQ(Walk(&program), Texts{"e"});
}

TEST_F(CursorTest, AFailedStepOfTheIndexLooksLikeTheEnd) {
    MakeNames();
    ASSERT_EQ(Insert("names", {"name"}, {"a"}), "");
    for (const int32_t parts : {0, 1}) {
        Program program;
        Open(&program, 0, "names", {"name"});
        if (parts == 1) {
            program.Literal("a");
        }
        program.Emit(SQL_Cursor_Index, 0, parts, 0, "byname");
        program.Emit(SQL_Result, 0, 1, 0, "value");
        const int32_t first = program.Count();
        program.Do(SQL_Cursor_First, 0, first + 5);
        program.Do(SQL_Push_Column, 0, 0).Do(SQL_Pop_Result, 0).Do(SQL_Output);
        program.Do(SQL_Cursor_Next, 0, first + 1);
        Machine machine(schema.get());
        EXPECT_EQ(machine.Run(program), 1);
        EXPECT_EQ(machine.Result(0), "a");
        TheHost().RefuseLocks(true);
        EXPECT_EQ(machine.loop.Run(), 0);
        EXPECT_TRUE(machine.loop.Cursor(0)->AtEnd());
        TheHost().RefuseLocks(false);
    }
}

// The step that passes over a deleted record may be the one that fails.
TEST_F(CursorTest, AFailedStepOverADeletedRecordLooksLikeTheEnd) {
    MakeNames();
    Program removal;
    Open(&removal, 0, "names", {"name"});
    removal.Do(SQL_Cursor_First, 0, 100);
    for (int32_t number = 0; number < 4; ++number) {
        removal.Do(SQL_Cursor_Next, 0, removal.Count() + 1);
    }
    removal.Do(SQL_Cursor_Delete, 0);  // "a", whose key stays
    ASSERT_EQ(Machine(schema.get()).Run(removal), 0);

    Program walk;
    Open(&walk, 0, "names", {"name"});
    walk.Emit(SQL_Cursor_Index, 0, 0, 0, "byname");
    walk.Do(SQL_Cursor_First, 0, 100).Do(SQL_Push_Column, 0, 0);
    for (int32_t number = 1; number < 10; ++number) {
        TheHost().FailCall("ovFile_Lock", number);
        Machine machine(schema.get());
        if (machine.Run(walk) != 0) {
            continue;  // the file itself could not be opened
        }
        const bool atEnd = machine.loop.Cursor(0)->AtEnd();
        EXPECT_EQ(atEnd, TheHost().FailureHappened()) << number;
        EXPECT_EQ(machine.loop.Stack()->Count(), atEnd ? 0 : 1);
        if (!TheHost().FailureHappened()) {
            EXPECT_EQ(ToText(machine.loop.Stack()->PopText()), "b");
        }
    }
    TheHost().ClearFailures();
}

TEST_F(CursorTest, AnEmptyTreeHasNoFirst) {
    ASSERT_EQ(CreateTable("names", {{"name", 0, 10}}), "");
    ASSERT_EQ(CreateIndex("byname", "names", {"name"}), "");
    Program program;
    Open(&program, 0, "names", {"name"});
    program.Emit(SQL_Cursor_Index, 0, 0, 0, "byname");
    EXPECT_EQ(Walk(&program), Texts{});
}

// Whatever is wanted in an index, the count of key parts must be one that the stack could hold.
TEST_F(CursorTest, CountsOfKeyPartsThatCannotBeAreRefused) {
    MakeNames();
    for (const int32_t parts : {-1, 2147483647, -2147483647 - 1}) {
        Program program;
        Open(&program, 0, "names", {"name"});
        program.Literal("a");
        program.Emit(SQL_Cursor_Index, 0, parts, 0, "byname");
        Machine machine(schema.get());
        EXPECT_EQ(machine.Run(program), -1);
        EXPECT_EQ(machine.Error(), "Invalid instruction");
    }
    for (const int32_t keep : {-1, 3}) {
        Program program;
        Open(&program, 0, "names", {"name"});
        program.Literal("a").Literal("b").Do(SQL_Cursor_LessThan, 0, keep);
        Machine machine(schema.get());
        EXPECT_EQ(machine.Run(program), -1);
        EXPECT_EQ(machine.Error(), "Invalid instruction");
    }
}

TEST_F(CursorTest, ARangeInAnEmptyTreeIsEmpty) {
    ASSERT_EQ(CreateTable("names", {{"name", 0, 10}}), "");
    ASSERT_EQ(CreateIndex("byname", "names", {"name"}), "");
    Program program;
    Open(&program, 0, "names", {"name"});
    program.Literal("c");
    program.Emit(SQL_Cursor_Index, 0, 0, 1, "byname");
    EXPECT_EQ(Walk(&program), Texts{});
}

TEST_F(CursorTest, MorePartsThanTheIndexHasAreRefused) {
    MakeNames();
    for (const int32_t parts : {2, 1}) {
        Program program;
        Open(&program, 0, "names", {"name"});
        program.Integer(5).Literal("a").Literal("b");
        program.Emit(SQL_Cursor_Index, 0, parts, parts == 1 ? 1 : 0, "byname");
        Machine machine(schema.get());
        EXPECT_EQ(machine.Run(program), -1);
        EXPECT_EQ(machine.Error(), "Invalid instruction");
        EXPECT_EQ(machine.loop.Stack()->Count(), 1);  // all of them are popped
    }
}

TEST_F(CursorTest, ComparisonsFoldOnlyWithAnIndex) {
    MakeNames();
    for (const bool withIndex : {false, true}) {
        Program program;
        Open(&program, 0, "names", {"name"});
        if (withIndex) {
            program.Emit(SQL_Cursor_Index, 0, 0, 0, "byname");
        }
        program.Literal("a").Literal("B").Do(SQL_Cursor_LessThan, 0, 0);
        program.Literal("a").Literal("B").Do(SQL_Cursor_GreaterThan, 0, 0);
        program.Literal("a").Literal("A").Do(SQL_Cursor_LessThanEqual, 0, 0);
        program.Literal("A").Literal("a").Do(SQL_Cursor_GreaterThanEqual, 0, 0);
        program.Literal("kept").Literal("KEPT").Do(SQL_Cursor_LessThanEqual, 0, 1);
        Machine machine(schema.get());
        EXPECT_EQ(machine.Run(program), 0);
        std::string answers;
        while (machine.loop.Stack()->Count() > 0) {
            answers = ToText(machine.loop.Stack()->PopText()) + " " + answers;
        }
        EXPECT_EQ(answers, withIndex ? "1 0 1 1 kept 1 " : "0 1 0 0 kept 0 ");
    }
}

TEST_F(CursorTest, ComparisonsInACursorCheckTheirKeep) {
    MakeNames();
    Program program;
    Open(&program, 0, "names", {"name"});
    program.Literal("a").Literal("b").Do(SQL_Cursor_LessThan, 0, 3);
    EXPECT_EQ(Run(program), "Invalid instruction");
}

TEST_F(CursorTest, UnknownNamesHaveTheirMessages) {
    MakeNames();
    Program table;
    table.Emit(SQL_Cursor_Open, 0, 0, 0, "nowhere");
    EXPECT_EQ(Run(table), "Unable to create cursor for table 'nowhere': Unknown table 'nowhere'");
    Program column;
    Open(&column, 0, "names", {"colour"});
    EXPECT_EQ(Run(column), "Invalid column reference 'colour'");
    Program index;
    Open(&index, 0, "names", {"name"});
    index.Emit(SQL_Cursor_Index, 0, 0, 0, "nowhere");
    EXPECT_EQ(Run(index), "");  // the schema has no message for it
    Machine machine(schema.get());
    EXPECT_EQ(machine.Run(index), -1);
}

TEST_F(CursorTest, AnIndexFileThatIsGoneHasItsMessage) {
    MakeNames();
    Program program;
    Open(&program, 0, "names", {"name"}, true);
    EXPECT_EQ(Run(program), "");
    TheHost().RemoveFile("byname.ovx");
    const std::string message = "Error opening 'byname.ovx': No such file or directory";
    EXPECT_EQ(Run(program), message);
    Program selecting;
    Open(&selecting, 0, "names", {"name"});
    selecting.Emit(SQL_Cursor_Index, 0, 0, 0, "byname");
    EXPECT_EQ(Run(selecting), message);
}

TEST_F(CursorTest, AColumnSlotNeverBoundIsRefused) {
    MakeNames();
    for (const int32_t opcode : {SQL_Push_Column, SQL_Push_BoolColumn, SQL_Pop_Column}) {
        for (const int32_t slot : {1, -1, 99}) {
            Program program;
            Open(&program, 0, "names", {"name"});
            program.Literal("a").Do(opcode, 0, slot);
            EXPECT_EQ(Run(program), "Invalid instruction");
        }
    }
    Program bad;
    Open(&bad, 0, "names", {});
    bad.Emit(SQL_Cursor_Column, 0, -1, 0, "name");
    EXPECT_EQ(Run(bad), "Invalid instruction");
}

TEST_F(CursorTest, BooleanColumnsAreTrueOnACapitalT) {
    MakePlaces();
    Program program;
    Open(&program, 0, "places", {"coast", "town"});
    program.Do(SQL_Cursor_First, 0, 100).Do(SQL_Push_BoolColumn, 0, 0);
    program.Do(SQL_Cursor_Next, 0, program.Count() + 1).Do(SQL_Push_BoolColumn, 0, 0);
    Machine machine(schema.get());
    EXPECT_EQ(machine.Run(program), 0);
    EXPECT_EQ(machine.loop.Stack()->PopInteger(), 0);
    EXPECT_EQ(machine.loop.Stack()->PopInteger(), 1);
}

TEST_F(CursorTest, AFailedReadLooksLikeTheEnd) {
    MakeNames();
    Program program;
    Open(&program, 0, "names", {"name"});
    program.Emit(SQL_Result, 0, 1, 0, "value");
    const int32_t first = program.Count();
    program.Do(SQL_Cursor_First, 0, first + 5);
    program.Do(SQL_Push_Column, 0, 0).Do(SQL_Pop_Result, 0).Do(SQL_Output);
    program.Do(SQL_Cursor_Next, 0, first + 1);
    Machine machine(schema.get());
    EXPECT_EQ(machine.Run(program), 1);
    TheHost().FailCall("ovFile_Read", 1, FailureKind::kOutright, FailureSpan::kForEver);
    EXPECT_EQ(machine.loop.Run(), 0);
    EXPECT_TRUE(machine.loop.Cursor(0)->AtEnd());
    TheHost().ClearFailures();
}

TEST_F(CursorTest, ASlotMadeAgainTakesTheOldTableWithIt) {
    MakeNames();
    Program program;
    Open(&program, 0, "names", {"name"});
    program.Emit(SQL_Result, 0, 1, 0, "value");
    program.Do(SQL_Cursor_First, 0, 100).Do(SQL_Push_Column, 0, 0).Do(SQL_Pop_Result, 0);
    program.Do(SQL_Push_Column, 0, 0);
    Open(&program, 0, "names", {"name"});
    Machine machine(schema.get());
    EXPECT_EQ(machine.Run(program), 0);
    EXPECT_EQ(machine.Result(0), "e");
    EXPECT_TRUE(machine.loop.Stack()->PopIsNull());
}

}  // namespace
}  // namespace ovrasql
