#pragma once

// A program as text, for comparing whole programs in tests. One instruction a line: its index, its
// name without "SQL_", the three operands, the texts it has in quotes. A pointer shows as "list":
// where it leads differs from run to run.

#include <string>

#include "compile/sql_code_generator.h"

namespace ovrasql {

inline std::string InstructionText(const Instruction& instruction) {
    std::string line = OpcodeName(instruction.opcode);
    line.erase(0, std::string("SQL_").size());
    for (const int32_t operand :
         {instruction.operand1, instruction.operand2, instruction.operand3}) {
        line += " " + std::to_string(operand);
    }
    for (const TextView text : {TextView(instruction.text1, instruction.text1Length),
                                TextView(instruction.text2, instruction.text2Length)}) {
        if (!text.IsEmpty()) {
            line += " '" + std::string(text.data, static_cast<size_t>(text.length)) + "'";
        }
    }
    return line + (instruction.pointer != nullptr ? " list" : "");
}

inline std::string ProgramListing(const SQLCodeGenerator& generator) {
    std::string listing;
    for (int32_t i = 0; i < generator.InstructionCount(); ++i) {
        listing += std::to_string(i) + " " + InstructionText(generator.Instructions()[i]) + "\n";
    }
    return listing;
}

}  // namespace ovrasql
