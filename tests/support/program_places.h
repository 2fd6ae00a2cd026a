#pragma once

// Whether the places that a program names exist: every jump lands inside the program, and no slot
// is below 0. For programs that the compiler made of statements that nobody has read.

#include <string>

#include "compile/sql_code_generator.h"
#include "tests/support/program_listing.h"

namespace ovrasql {

// The operand with the jump target, 0 for none.
inline int32_t TargetOperand(int32_t opcode) {
    switch (opcode) {
        case SQL_Cursor_First:
        case SQL_Cursor_Next:
        case SQL_Temporary_First:
        case SQL_Temporary_Next:
        case SQL_Bucket_First:
        case SQL_Bucket_Next:
        case SQL_Jump_EQ:
        case SQL_Jump_NE:
            return 2;
        case SQL_Bucket_Record:
            return 3;
        case SQL_Jump:
            return 1;
        default:
            return 0;
    }
}

inline int32_t Operand(const Instruction& instruction, int32_t which) {
    return which == 1   ? instruction.operand1
           : which == 2 ? instruction.operand2
                        : instruction.operand3;
}

// The first instruction that jumps outside the program, or uses a slot below 0; empty for none.
inline std::string MisplacedInstruction(const SQLCodeGenerator& generator) {
    for (int32_t i = 0; i < generator.InstructionCount(); ++i) {
        const Instruction& instruction = generator.Instructions()[i];
        const int32_t which = TargetOperand(instruction.opcode);
        const bool isBadJump =
            which != 0 && (Operand(instruction, which) < 0 ||
                           Operand(instruction, which) >= generator.InstructionCount());
        // The number of a parameter is whatever the statement says; the run looks whether it is
        // there.
        const bool isSlot =
            instruction.opcode != SQL_Push_Bucket && instruction.opcode != SQL_Push_Dynamic;
        const bool isBadSlot = isSlot && instruction.operand1 < 0;
        if (isBadJump || isBadSlot) {
            return std::to_string(i) + " " + InstructionText(instruction);
        }
    }
    return "";
}

}  // namespace ovrasql
