#include "compile/sql_code_generator.h"
#include "foundation/trace_log.h"
#include "schema/schema.h"

// The trace of a compiled program: one line an instruction, in pieces, each a write of its own, so
// that no piece can cut another off at the bound of a formatted print.

namespace ovrasql {

namespace {

// A text is shown up to this length; SQL_Error shows none, as its length is 0.
constexpr int32_t kMaximumShownText = 1024;

void PrintText(TraceLog& trace, const char* text, int32_t length) {
    const int32_t shown = length < kMaximumShownText ? length : kMaximumShownText;
    trace.Print("%.*s ", static_cast<int>(shown), text == nullptr ? "" : text);
}

void PrintInstruction(TraceLog& trace, int32_t index, const Instruction& instruction) {
    trace.Print("%04d ", static_cast<int>(index));
    trace.Print("%-30s ", OpcodeName(instruction.opcode));
    trace.Print("%10d %10d %10d ", static_cast<int>(instruction.operand1),
                static_cast<int>(instruction.operand2), static_cast<int>(instruction.operand3));
    trace.Print("%p ", instruction.pointer);
    PrintText(trace, instruction.text1, instruction.text1Length);
    PrintText(trace, instruction.text2, instruction.text2Length);
    trace.Write("\n");
}

}  // namespace

void SQLCodeGenerator::Dump() const {
    TraceLog& trace = schema_->Trace();
    if (!trace.IsOpen()) {
        return;
    }
    for (int32_t i = 0; i < instructionCount_; ++i) {
        PrintInstruction(trace, i, instructions_[static_cast<size_t>(i)]);
    }
}

}  // namespace ovrasql
