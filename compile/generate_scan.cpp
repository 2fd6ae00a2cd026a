#include "compile/generate_scan.h"

#include "compile/sql_code_generator.h"
#include "compile/tree/sql_expression.h"
#include "compile/tree/sql_query.h"
#include "compile/tree/sql_reference_manager.h"
#include "compile/tree/sql_table_reference.h"
#include "language/tokens.h"
#include "schema/index.h"

// The nested loops of a block, in FROM order: the first table is the outermost loop, always.
//
// A table's loop               of an outer join's right side
//
//     [key, index]                 [key, index]
//     first  -> end                first  -> join
//     [stop test -> end]           [stop test -> join]
//     [test  -> next]              test holds -> join
//     ... inner loops ...          next   -> after first
//     next:  -> after first        skip   -> join
//     end:                         retest: test fails -> next
//                                  join:  ... inner loops ...
//                                  next:  -> retest
//
// The outer form looks for a first match and passes once with the cursor at its end, where columns
// read as NULL, when there is none. Required: a failing stop test of the outer form goes on with
// the row in hand, which stands beyond the bound, in place of the NULLs.
//
// Required: a moved condition must equal 1, what is left of WHERE must differ from 0.

namespace ovrasql {

// --- pieces ------------------------------------------------------------------------------------

bool GenerateIndexSearch(SQLTableReference* table) {
    if (table->index == nullptr) {
        return true;
    }
    SQLCodeGenerator& generator = *table->generator;
    if (table->startBound != nullptr && !generator.GenerateExpression(table->startBound->value)) {
        return false;
    }
    for (SQLExpressionNode* value = table->keyValues->Last(); value != nullptr;
         value = table->keyValues->Previous()) {
        if (!generator.GenerateExpression(value)) {
            return false;
        }
    }
    // The index's own name goes with the catalog's table, which may be dropped before the run ends.
    generator.Emit(SQL_Cursor_Index, table->cursor, table->keyValues->Count(),
                   table->startBound != nullptr ? 1 : 0, generator.KeepText(table->index->Name()));
    return true;
}

namespace {

Opcode CursorComparison(int32_t operatorCode) {
    switch (operatorCode) {
        case token::kLess:
            return SQL_Cursor_LessThan;
        case token::kGreater:
            return SQL_Cursor_GreaterThan;
        case token::kLessEqual:
            return SQL_Cursor_LessThanEqual;
        default:  // the terms of an index hold no other operator
            return SQL_Cursor_GreaterThanEqual;
    }
}

}  // namespace

bool GenerateStopTest(SQLTableReference* table) {
    const SQLIndexableExpression* const bound = table->stopBound.get();
    if (bound == nullptr) {
        return true;
    }
    SQLCodeGenerator& generator = *table->generator;
    if (!generator.GenerateColumn(bound->column) || !generator.GenerateExpression(bound->value)) {
        return false;
    }
    generator.Emit(CursorComparison(bound->operatorCode), table->cursor);
    table->stopJump = generator.Emit(SQL_Jump_EQ, 0, -1);
    return true;
}

bool GenerateSearchTest(SQLTableReference* table) {
    if (table->searchCondition == nullptr) {
        return true;
    }
    if (!table->generator->GenerateExpression(table->searchCondition)) {
        return false;
    }
    table->testJump = table->generator->Emit(SQL_Jump_NE, 1, -1);
    return true;
}

namespace {

// What was moved out of ON and what was left in it, as one.
bool GenerateJoinCondition(const SQLTableReference& table) {
    SQLCodeGenerator& generator = *table.generator;
    const bool hasMoved = table.searchCondition != nullptr;
    const bool hasRest = !table.on->IsEmpty();
    if (hasMoved && !generator.GenerateExpression(table.searchCondition)) {
        return false;
    }
    if (hasRest && !generator.GenerateExpression(table.on->root)) {
        return false;
    }
    if (hasMoved && hasRest) {
        generator.Emit(SQL_And);
    }
    return true;
}

bool OpenOuterJoin(SQLTableReference* table) {
    SQLCodeGenerator& generator = *table->generator;
    if (!GenerateJoinCondition(*table)) {
        return false;
    }
    table->outerFirstTest = generator.Emit(SQL_Jump_EQ, 1, -1);
    generator.Emit(SQL_Cursor_Next, table->cursor, table->firstJump + 1);
    table->outerSkipJump = generator.Emit(SQL_Jump, -1);
    table->outerRetest = generator.InstructionCount();
    if (!GenerateJoinCondition(*table)) {
        return false;
    }
    table->outerRepeatTest = generator.Emit(SQL_Jump_NE, 1, -1);
    table->outerJoinPoint = generator.Emit(SQL_NOOP);
    return true;
}

bool OpenTable(SQLTableReference* table) {
    const int32_t produced = table->GenerateScanStart();
    if (produced != 0) {
        return produced > 0;
    }
    if (!GenerateIndexSearch(table)) {
        return false;
    }
    table->firstJump = table->generator->Emit(SQL_Cursor_First, table->cursor, -1);
    if (!GenerateStopTest(table)) {
        return false;
    }
    return table->on == nullptr ? GenerateSearchTest(table) : OpenOuterJoin(table);
}

void CloseInnerTable(SQLTableReference* table) {
    SQLCodeGenerator& generator = *table->generator;
    table->nextInstruction = generator.Emit(SQL_Cursor_Next, table->cursor, table->firstJump + 1);
    table->endInstruction = generator.Emit(SQL_NOOP);
    generator.Patch(table->firstJump, 2, table->endInstruction);
    generator.Patch(table->testJump, 2, table->nextInstruction);
    // An index is in order, so a row beyond the bound ends the scan.
    generator.Patch(table->stopJump, 2, table->endInstruction);
}

void CloseOuterJoin(SQLTableReference* table) {
    SQLCodeGenerator& generator = *table->generator;
    table->nextInstruction = generator.Emit(SQL_Cursor_Next, table->cursor, table->outerRetest);
    generator.Patch(table->outerFirstTest, 2, table->outerJoinPoint);
    generator.Patch(table->firstJump, 2, table->outerJoinPoint);
    generator.Patch(table->stopJump, 2, table->outerJoinPoint);
    generator.Patch(table->outerSkipJump, 1, table->outerJoinPoint);
    generator.Patch(table->outerRepeatTest, 2, table->nextInstruction);
}

bool CloseTable(SQLTableReference* table) {
    const int32_t produced = table->GenerateScanEnd();
    if (produced != 0) {
        return produced > 0;
    }
    if (table->on == nullptr) {
        CloseInnerTable(table);
    } else {
        CloseOuterJoin(table);
    }
    return true;
}

bool HasWhere(const SQLQuery& query) { return query.where != nullptr && !query.where->IsEmpty(); }

}  // namespace

// --- the loops of a block ----------------------------------------------------------------------

bool SQLQuery::GenerateScans() {
    if (distinct != 0) {
        generator->Emit(SQL_Bucket, distinctBucket, selected->Count());
    }
    for (SQLTableReference* table : references->Tables()) {
        if (!OpenTable(table)) {
            return false;
        }
    }
    if (HasWhere(*this)) {
        if (!generator->GenerateExpression(where->root)) {
            return false;
        }
        whereJump = generator->Emit(SQL_Jump_EQ, 0, -1);
    }
    if (distinct != 0) {
        if (!PushSelected()) {
            return false;
        }
        distinctJump = generator->Emit(SQL_Bucket_Record, distinctBucket, selected->Count(), -1);
    }
    return true;
}

bool SQLQuery::CloseScans() {
    if (distinct != 0) {
        generator->PatchToHere(distinctJump, 3);
    }
    for (SQLTableReference* table = tableStack.Top(); table != nullptr;
         table = tableStack.Below()) {
        if (!CloseTable(table)) {
            return false;
        }
    }
    if (!HasWhere(*this)) {
        return true;
    }
    if (const SQLTableReference* const innermost = tableStack.Top(); innermost != nullptr) {
        generator->Patch(whereJump, 2, innermost->nextInstruction);
    } else {
        // A block without a table of its own (its only one went to the first block of the UNION)
        // has one row at most.
        generator->PatchToHere(whereJump, 2);
    }
    return true;
}

// --- what a table produces by itself -----------------------------------------------------------

int32_t SQLTableReference::GenerateScanStart() { return 0; }

int32_t SQLTableReference::GenerateScanEnd() { return 0; }

// Materialized anew on each pass of the loop around it. The inner block is on no list of the
// generator, so it is optimized here.
int32_t SQLTableReferenceFromSelect::GenerateScanStart() {
    generator->Emit(SQL_Temporary_Table, temporaryTable, columns.Count());
    if (!optimized && !query->OptimizeQuery()) {
        return -1;
    }
    optimized = true;
    if (!query->GenerateBody()) {
        return -1;
    }
    generator->Emit(SQL_Temporary_Record, temporaryTable);
    for (const SQLColumnReference* column : columns) {
        generator->Emit(SQL_Pop_Temporary, temporaryTable, column->column);
    }
    if (!query->GenerateClose()) {
        return -1;
    }
    scanJump = generator->Emit(SQL_Temporary_First, temporaryTable, -1);
    return 1;
}

int32_t SQLTableReferenceFromSelect::GenerateScanEnd() {
    // A row that fails what is left of WHERE goes on with the next one.
    nextInstruction = generator->Emit(SQL_Temporary_Next, temporaryTable, scanJump + 1);
    generator->PatchToHere(scanJump, 2);
    return 1;
}

}  // namespace ovrasql
