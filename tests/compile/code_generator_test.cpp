#include "tests/compile/compile_database.h"

// The array of instructions and its patches, what Reset keeps and drops, and the dump.

namespace ovrasql {
namespace {

class CodeGenerator : public CompileTest {
  protected:
    void SetUp() override { generator_ = std::make_unique<SQLCodeGenerator>(&TheSchema()); }

    std::unique_ptr<SQLCodeGenerator> generator_;
};

TEST_F(CodeGenerator, AppendsOneInstructionWithItsFields) {
    const int32_t pointed = 0;
    EXPECT_EQ(generator_->Emit(SQL_NOOP), 0);
    EXPECT_EQ(generator_->Emit(SQL_Create_Index, 1, 2, 3, "table", TextView("index", 3), &pointed),
              1);
    const Instruction& made = generator_->Instructions()[1];
    EXPECT_EQ(made.opcode, 78);
    EXPECT_EQ(made.operand1, 1);
    EXPECT_EQ(made.operand2, 2);
    EXPECT_EQ(made.operand3, 3);
    EXPECT_EQ(Text(TextView(made.text1, made.text1Length)), "table");
    EXPECT_EQ(Text(TextView(made.text2, made.text2Length)), "ind");
    EXPECT_EQ(made.pointer, &pointed);
}

TEST_F(CodeGenerator, GrowsBy52RecordsAndKeepsIndicesGood) {
    EXPECT_EQ(generator_->InstructionCapacity(), 52);
    const int32_t early = generator_->Emit(SQL_Jump, -1);
    for (int32_t i = 1; i < 52; ++i) {
        generator_->Emit(SQL_Push_Integer, i);
    }
    EXPECT_EQ(generator_->InstructionCapacity(), 52);
    EXPECT_EQ(generator_->Emit(SQL_Push_Integer, 52), 52);
    EXPECT_EQ(generator_->InstructionCapacity(), 104);
    generator_->Patch(early, 1, 7);
    EXPECT_EQ(generator_->Instructions()[0].operand1, 7);
    EXPECT_EQ(generator_->Instructions()[0].opcode, SQL_Jump);
    EXPECT_EQ(generator_->Instructions()[51].operand1, 51);
}

TEST_F(CodeGenerator, PatchesToALandingPlaceOfItsOwn) {
    const int32_t jump = generator_->Emit(SQL_Bucket_Record, 5, 6, 0);
    generator_->PatchToHere(jump, 3);
    EXPECT_EQ(InstructionText(generator_->Instructions()[jump]), "Bucket_Record 5 6 1");
    EXPECT_EQ(InstructionText(generator_->Instructions()[1]), "NOOP 0 0 0");
    generator_->PatchToHere(jump, 1);
    generator_->PatchToHere(jump, 2);
    EXPECT_EQ(InstructionText(generator_->Instructions()[jump]), "Bucket_Record 2 3 1");
    EXPECT_EQ(generator_->InstructionCount(), 4);
}

TEST_F(CodeGenerator, EmitsTheLandingPlaceForAnOperandThatIsNone) {
    const int32_t jump = generator_->Emit(SQL_Bucket_Record, 5, 6, 7);
    generator_->PatchToHere(jump, 4);
    EXPECT_EQ(generator_->InstructionCount(), 2);
    EXPECT_EQ(InstructionText(generator_->Instructions()[jump]), "Bucket_Record 5 6 7");
}

// A condition that was never emitted has a jump of -1.
TEST_F(CodeGenerator, PatchesNothingOutsideTheProgram) {
    generator_->Emit(SQL_Jump, 1, 2, 3);
    generator_->Patch(-1, 1, 9);
    generator_->Patch(1, 1, 9);
    EXPECT_EQ(InstructionText(generator_->Instructions()[0]), "Jump 1 2 3");
}

TEST_F(CodeGenerator, CompilesNothingWithoutAStatement) { EXPECT_FALSE(generator_->Compile()); }

TEST_F(CodeGenerator, KeepsTextsForTheProgram) {
    std::string text = "abc";
    const TextView kept = generator_->KeepText(View(text));
    text = "xyz";
    EXPECT_EQ(Text(kept), "abc");
    EXPECT_EQ(kept.data[3], '\0');
}

// Cursors and parameters start again, temporary tables and buckets go on.
TEST_F(CodeGenerator, NumbersTemporaryTablesAndBucketsOnwardFromStatementToStatement) {
    Define("create table t (a numeric(3))");
    constexpr std::string_view kSql = "select distinct a from t where a = ? order by a";
    const std::string first = Compile(kSql);
    EXPECT_NE(first.find("Cursor_Open 0 0 0 't'"), std::string::npos) << first;
    EXPECT_NE(first.find("Temporary_Table 0 2 0"), std::string::npos) << first;
    EXPECT_NE(first.find(" Bucket 0 1 0"), std::string::npos) << first;
    EXPECT_EQ(Generator().DynamicCount(), 1);
    const std::string second = CompileAgain(kSql);
    EXPECT_NE(second.find("Cursor_Open 0 0 0 't'"), std::string::npos) << second;
    EXPECT_NE(second.find("Temporary_Table 1 2 0"), std::string::npos) << second;
    EXPECT_NE(second.find(" Bucket 1 1 0"), std::string::npos) << second;
    EXPECT_NE(second.find("Push_Dynamic 0 0 0"), std::string::npos) << second;
    EXPECT_EQ(Generator().DynamicCount(), 1);
}

// A derived table takes its number behind those of the blocks inside it, a block behind its
// sub-queries.
TEST_F(CodeGenerator, NumbersFromTheInsideOutward) {
    Define("create table t (a numeric(3))");
    std::string listing = Compile("select a from (select a from t union select a from t) d");
    const size_t derived = listing.find("Temporary_Table 1 1 0");
    ASSERT_NE(derived, std::string::npos) << listing;
    EXPECT_LT(derived, listing.find("Temporary_Table 0 1 0")) << listing;
    listing = Compile("select distinct a from t where a in (select distinct t.a from t)");
    const size_t outer = listing.find(" Bucket 1 1 0");
    ASSERT_NE(outer, std::string::npos) << listing;
    EXPECT_LT(outer, listing.find(" Bucket 0 1 0")) << listing;
}

// Only parameters that take the next number count; a numbered one reads its place in the list.
TEST_F(CodeGenerator, CountsTheParametersThatNumberThemselves) {
    Define("create table t (a numeric(3))");
    const std::string listing = Compile("select a from t where a in (?, :3, :0, :1)");
    EXPECT_EQ(Generator().DynamicCount(), 2);
    for (const char* push : {"Push_Dynamic 0", "Push_Dynamic 2", "Push_Dynamic 1"}) {
        EXPECT_NE(listing.find(push), std::string::npos) << listing;
    }
}

// Numbers wrap as the scanner reads them; one below the first is never found by a run.
TEST_F(CodeGenerator, KeepsParameterNumbersBelowTheFirstBelowIt) {
    Define("create table t (a numeric(3))");
    EXPECT_NE(Compile("select a from t where a = :4294967295").find("Push_Dynamic -2 "),
              std::string::npos);
    EXPECT_NE(Compile("select a from t where a = :2147483648").find("Push_Dynamic -2147483648 "),
              std::string::npos);
    EXPECT_NE(Compile("select a from t where a = :4294967296").find("Push_Dynamic 0 "),
              std::string::npos);
    EXPECT_EQ(Generator().DynamicCount(), 1);
}

// The message is measured when it is reached: its length is 0.
TEST_F(CodeGenerator, HangsTheMessageOfTooManyRowsOnAnError) {
    Define("create table t (a numeric(3))");
    Compile("select (select a from t) from t");
    int32_t errors = 0;
    for (int32_t i = 0; i < Generator().InstructionCount(); ++i) {
        const Instruction& instruction = Generator().Instructions()[i];
        if (instruction.opcode == SQL_Error) {
            ++errors;
            EXPECT_STREQ(instruction.text1, "Sub-query returns more than one row");
            EXPECT_EQ(instruction.text1Length, 0);
        }
    }
    EXPECT_EQ(errors, 1);
}

// The sort reads the terms, not names that another statement may have destroyed.
TEST_F(CodeGenerator, LeavesTheFieldTypesWithTheSortTerms) {
    Define("create table t (a numeric(5, 2), s char(3))");
    Compile("select a from t order by s, a, a + 1");
    const Instruction* sort = nullptr;
    for (int32_t i = 0; i < Generator().InstructionCount(); ++i) {
        if (Generator().Instructions()[i].opcode == SQL_Temporary_Sort) {
            sort = &Generator().Instructions()[i];
        }
    }
    ASSERT_NE(sort, nullptr);
    std::string described;
    for (const SQLOrderBy* term : *static_cast<const List<SQLOrderBy>*>(sort->pointer)) {
        described += std::to_string(term->position) + ":" +
                     (term->column == nullptr ? "none"
                                              : std::to_string(term->column->fieldType) + "/" +
                                                    std::to_string(term->column->fieldDecimals)) +
                     " ";
    }
    EXPECT_EQ(described, "1:0/0 2:1/2 3:none ");
}

// --- the dump ----------------------------------------------------------------------------------

class ProgramDump : public CodeGenerator {
  protected:
    std::string Dumped(const SQLCodeGenerator& generator) {
        EXPECT_TRUE(TheSchema().OpenTrace("trace.log"));
        generator.Dump();
        return TheHost().FileText("trace.log");
    }
    // How a null pointer is printed is the C library's affair.
    static std::string NullPointer() {
        char text[32];
        std::snprintf(text, sizeof text, "%p", static_cast<void*>(nullptr));
        return text;
    }
};

TEST_F(ProgramDump, WritesOneLineAnInstruction) {
    generator_->Emit(SQL_Create_Index, 1, -2, 3, "t", "i");
    generator_->Emit(SQL_NOOP);
    EXPECT_EQ(Dumped(*generator_),
              "0000 SQL_Create_Index                        1         -2          3 " +
                  NullPointer() + " t i \n" +
                  "0001 SQL_NOOP                                0          0          0 " +
                  NullPointer() + "   \n");
}

// Index, name, operands, pointer, two texts, line end.
TEST_F(ProgramDump, WritesEachPieceByItself) {
    generator_->Emit(SQL_NOOP);
    EXPECT_TRUE(TheSchema().OpenTrace("trace.log"));
    const int32_t before = TheHost().CallCount("ovFile_Write");
    generator_->Dump();
    EXPECT_EQ(TheHost().CallCount("ovFile_Write") - before, 7);
}

TEST_F(ProgramDump, WritesNothingForAnEmptyProgram) { EXPECT_EQ(Dumped(*generator_), ""); }

TEST_F(ProgramDump, WritesNothingWhileNoTraceIsOpen) {
    generator_->Emit(SQL_NOOP);
    const int32_t before = TheHost().CallCount("ovFile_Write");
    generator_->Dump();
    EXPECT_EQ(TheHost().CallCount("ovFile_Write"), before);
}

TEST_F(ProgramDump, ShowsNothingOfATextThatIsNull) {
    TextView null;
    null.data = nullptr;
    generator_->Emit(SQL_NOOP, 0, 0, 0, null);
    EXPECT_EQ(Dumped(*generator_),
              "0000 SQL_NOOP                                0          0          0 " +
                  NullPointer() + "   \n");
}

TEST_F(ProgramDump, CutsALongTextAndKeepsTheLineWhole) {
    const std::string text(2000, 'x');
    generator_->Emit(SQL_Push_Literal, 0, 0, 0, View(text));
    EXPECT_EQ(Dumped(*generator_),
              "0000 SQL_Push_Literal                        0          0          0 " +
                  NullPointer() + " " + std::string(1024, 'x') + "  \n");
}

TEST_F(ProgramDump, ShowsNoTextOfAnError) {
    generator_->Emit(SQL_Error, 0, 0, 0, TextView("hidden", 0));
    EXPECT_EQ(Dumped(*generator_),
              "0000 SQL_Error                               0          0          0 " +
                  NullPointer() + "   \n");
}

TEST_F(ProgramDump, NamesACodeOutsideTheTableUnknown) {
    generator_->Emit(static_cast<Opcode>(82));
    generator_->Emit(static_cast<Opcode>(-1));
    EXPECT_EQ(Dumped(*generator_),
              "0000 <unknown>                               0          0          0 " +
                  NullPointer() + "   \n" +
                  "0001 <unknown>                               0          0          0 " +
                  NullPointer() + "   \n");
}

TEST_F(ProgramDump, ShowsADefinitionInOneLine) {
    Compile("drop table nix");
    EXPECT_EQ(Dumped(Generator()),
              "0000 SQL_Drop_Table                          0          0          0 " +
                  NullPointer() + " nix  \n");
}

}  // namespace
}  // namespace ovrasql
