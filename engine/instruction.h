#pragma once

// Instruction: one step of a compiled program, and the codes and names of all of them.
//
// The code generator owns the array of instructions, their texts and what their pointers lead to;
// the run loop only reads them. Texts are counted and not NUL-ended, except SQL_Error's, which has
// a length of 0 and is measured. A jump target is an index into the same array. What each code does
// with its operands is told in opcodes.def.

#include <cstdint>

namespace ovrasql {

enum Opcode : int32_t {
#define OVRA_OPCODE(name, operands, before, after, effect) name,
#include "engine/opcodes.def"
#undef OVRA_OPCODE
};

inline constexpr int32_t kOpcodeCount = SQL_Error + 1;
static_assert(kOpcodeCount == 82, "the codes are part of the trace format");

// Order and widths are fixed: the trace dump prints them.
struct Instruction {
    int32_t opcode = SQL_NOOP;
    int32_t operand1 = 0;
    int32_t operand2 = 0;
    int32_t operand3 = 0;
    const char* text1 = nullptr;
    const char* text2 = nullptr;
    int32_t text1Length = 0;
    int32_t text2Length = 0;
    const void* pointer = nullptr;
};
static_assert(sizeof(void*) != 8 || sizeof(Instruction) == 48, "one block move an array");

// The name of a code as the dump shows it; "<unknown>" for a code that is none.
[[nodiscard]] constexpr const char* OpcodeName(int32_t opcode) {
    constexpr const char* kNames[] = {
#define OVRA_OPCODE(name, operands, before, after, effect) #name,
#include "engine/opcodes.def"
#undef OVRA_OPCODE
    };
    return opcode >= 0 && opcode < kOpcodeCount ? kNames[opcode] : "<unknown>";
}

}  // namespace ovrasql
