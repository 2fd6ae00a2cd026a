// The instruction set has one source, opcodes.def. docs/instructions.md is made from it here: with
// OVRA_WRITE_DOCUMENTS set the test writes the page, otherwise it compares.

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "engine/instruction.h"

namespace ovrasql {
namespace {

struct Row {
    const char* name;
    const char* operands;
    const char* before;
    const char* after;
    const char* effect;
};

constexpr Row kRows[] = {
#define OVRA_OPCODE(name, operands, before, after, effect) {#name, operands, before, after, effect},
#include "engine/opcodes.def"
#undef OVRA_OPCODE
};

std::string Page() {
    std::ostringstream page;
    page
        << "# Instructions\n\n"
           "A statement is compiled to a program of these instructions, which the stack machine "
           "in\n"
           "`engine/run_loop.cpp` runs. The trace log shows every program before it runs. This "
           "page\n"
           "is made from `engine/opcodes.def`; a test keeps the two equal.\n\n"
           "An instruction has three integers o1 to o3, two texts t1 and t2, and a pointer p. The\n"
           "stack is shown before and after, with its top at the right. A value is converted as "
           "it\n"
           "is popped: `text`, `int` and `double` say to what. A comparison keeps as many of its\n"
           "operands as its keep says: none, the left one, or both. A jump goes to the index of "
           "an\n"
           "instruction; a First jumps out of its loop when there is nothing, a Next jumps back "
           "to\n"
           "the top of it when there is a row.\n\n"
           "| Code | Name | Operands | Stack | Effect |\n|---|---|---|---|---|\n";
    int32_t code = 0;
    for (const Row& row : kRows) {
        std::string stack = row.before;
        if (*row.before != '\0' || *row.after != '\0') {
            stack += stack.empty() ? "→ " : " → ";
            stack += row.after;
        }
        page << "| " << code++ << " | `" << row.name << "` | " << row.operands << " | " << stack
             << " | " << row.effect << " |\n";
    }
    return page.str();
}

std::filesystem::path PagePath() {
    return std::filesystem::path(__FILE__).parent_path() / "../../docs/instructions.md";
}

TEST(InstructionDocument, IsMadeFromTheList) {
    if (std::getenv("OVRA_WRITE_DOCUMENTS") != nullptr) {
        std::ofstream(PagePath(), std::ios::binary) << Page();
    }
    std::ifstream file(PagePath(), std::ios::binary);
    ASSERT_TRUE(file.is_open());
    std::ostringstream found;
    found << file.rdbuf();
    EXPECT_EQ(found.str(), Page()) << "run this test with OVRA_WRITE_DOCUMENTS=1";
}

TEST(InstructionDocument, CodesAreThoseOfTheTraceFormat) {
    EXPECT_EQ(kOpcodeCount, 82);
    EXPECT_EQ(SQL_Add_View, 0);
    EXPECT_EQ(SQL_Cursor_LessThan, 13);
    EXPECT_EQ(SQL_Temporary_Table, 17);
    EXPECT_EQ(SQL_Bucket, 23);
    EXPECT_EQ(SQL_Push_BoolColumn, 34);
    EXPECT_EQ(SQL_Pop, 43);
    EXPECT_EQ(SQL_Add, 49);
    EXPECT_EQ(SQL_Equal, 57);
    EXPECT_EQ(SQL_IsNull, 63);
    EXPECT_EQ(SQL_Jump_EQ, 70);
    EXPECT_EQ(SQL_Output, 73);
    EXPECT_EQ(SQL_Create_Table, 74);
    EXPECT_EQ(SQL_NOOP, 80);
    EXPECT_EQ(SQL_Error, 81);
}

TEST(InstructionDocument, NamesCoverEveryCodeAndNoOther) {
    EXPECT_STREQ(OpcodeName(0), "SQL_Add_View");
    EXPECT_STREQ(OpcodeName(81), "SQL_Error");
    EXPECT_STREQ(OpcodeName(82), "<unknown>");
    EXPECT_STREQ(OpcodeName(-1), "<unknown>");
}

}  // namespace
}  // namespace ovrasql
