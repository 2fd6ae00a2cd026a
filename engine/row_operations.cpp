// The instructions on temporary tables. Without a current row a cell reads as NULL, and a store
// into one is dropped.

#include "engine/run_loop.h"

namespace ovrasql {

// A table in the slot starts again with its memory. What still refers to its cells is settled
// first: stack entries keep its values, variables point back at their own results.
bool RunLoop::MakeTemporaryTable(const Instruction& in) {
    if (!SlotIsSane(in.operand1) || !SlotIsSane(in.operand2)) {
        return Invalid();
    }
    SQLTemporaryTable* const table = temporaryTables_.Get(in.operand1);
    if (table == nullptr) {
        temporaryTables_.Set(in.operand1,
                             std::make_unique<SQLTemporaryTable>(in.operand2, caseInsensitive_));
        return true;
    }
    stack_->ForgetHolder(StackHolder::kTemporary, in.operand1);
    for (SQLViewResult* const result : results_) {
        if (result != nullptr && result->PointedSlot() == in.operand1) {
            result->PointVariableAt(nullptr, SQLViewResult::kOwnCell);
        }
    }
    table->Restart(in.operand2);
    return true;
}

bool RunLoop::AppendRow(const Instruction& in) {
    SQLTemporaryTable* const table = temporaryTables_.Get(in.operand1);
    if (table == nullptr) {
        return Invalid();
    }
    table->AppendRow();
    return true;
}

bool RunLoop::SortRows(const Instruction& in) {
    SQLTemporaryTable* const table = temporaryTables_.Get(in.operand1);
    if (table == nullptr || in.pointer == nullptr) {
        return Invalid();
    }
    return table->Sort(*static_cast<const List<SQLOrderBy>*>(in.pointer)) || Invalid();
}

bool RunLoop::PointResult(const Instruction& in) {
    SQLTemporaryTable* const table = temporaryTables_.Get(in.operand1);
    SQLViewResult* const result = results_.Get(in.operand3);
    if (table == nullptr || result == nullptr || !table->HasColumn(in.operand2)) {
        return Invalid();
    }
    if (SQLResult* const cell = table->Cell(in.operand2)) {
        result->PointVariableAt(cell, in.operand1);
    }
    return true;
}

bool RunLoop::TemporaryFirst(const Instruction& in, int32_t* next) {
    SQLTemporaryTable* const table = temporaryTables_.Get(in.operand1);
    if (table == nullptr) {
        return Invalid();
    }
    if (!table->First()) {
        *next = in.operand2;
    }
    return true;
}

bool RunLoop::TemporaryNext(const Instruction& in, int32_t* next) {
    SQLTemporaryTable* const table = temporaryTables_.Get(in.operand1);
    if (table == nullptr) {
        return Invalid();
    }
    if (table->Next()) {
        *next = in.operand2;
    }
    return true;
}

bool RunLoop::PushTemporary(const Instruction& in) {
    SQLTemporaryTable* const table = temporaryTables_.Get(in.operand1);
    if (table == nullptr || !table->HasColumn(in.operand2)) {
        return Invalid();
    }
    if (SQLResult* const cell = table->Cell(in.operand2)) {
        stack_->PushResult(cell, StackHolder::kTemporary, in.operand1);
    } else {
        stack_->PushNull();
    }
    return true;
}

bool RunLoop::PopTemporary(const Instruction& in) {
    SQLTemporaryTable* const table = temporaryTables_.Get(in.operand1);
    if (table == nullptr || !table->HasColumn(in.operand2)) {
        return Invalid();
    }
    if (SQLResult* const cell = table->Cell(in.operand2)) {
        stack_->PopResult(cell, true);
    } else {
        stack_->PopDiscard();
    }
    return true;
}

}  // namespace ovrasql
