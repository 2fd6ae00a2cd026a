#include "compile/sql_code_generator.h"
#include "compile/tree/select_items.h"
#include "compile/tree/sql_query.h"
#include "compile/tree/sql_statements.h"

// A block's code around its loops: what is pushed, stored, sorted and handed out.
//
// A block streams, or its rows go through a temporary table first (ORDER BY that no index serves,
// UNION). Either way GenerateBody ends with the selected values on the stack, once for each row.
//
// A single-value sub-query keeps a flag above its value: 0 before the first row, 1 after one. A row
// that finds 1 there fails the run; no row at all leaves NULL. Required: EXISTS is the same code,
// so its truth is that of the value of the only row.

namespace ovrasql {

// --- the statement -----------------------------------------------------------------------------

bool SQLSelectStatement::Prepare() { return query->PrepareQuery(); }

bool SQLSelectStatement::Optimize() { return query->OptimizeQuery(); }

bool SQLSelectStatement::Generate() {
    const int32_t count = query->selected->Count();
    for (const SQLSelectedColumn* item : *query->selected) {
        generator->Emit(SQL_Result, item->position, 1, 0, item->name);
    }
    // The hidden result by which the host learns that the rows have ended.
    generator->Emit(SQL_Result, count, 0, 0, "eof");
    generator->Emit(SQL_Push_Integer, 0);
    generator->Emit(SQL_Pop_Result, count);
    if (!query->GenerateBody()) {
        return false;
    }
    for (int32_t position = count - 1; position >= 0; --position) {
        generator->Emit(SQL_Pop_Result, position);
    }
    generator->Emit(SQL_Output);
    if (!query->GenerateClose()) {
        return false;
    }
    generator->Emit(SQL_Push_Integer, 1);
    generator->Emit(SQL_Pop_Result, count);
    return true;
}

// --- the two halves of a block -----------------------------------------------------------------

bool SQLQuery::Generate() { return GenerateBody() && GenerateClose(); }

bool SQLQuery::GenerateBody() {
    if (!generator->HasRoomForBlock()) {
        return false;
    }
    if (temporaryTable >= 0) {
        return GenerateThroughTemporary();
    }
    if (kind == kSingleValue) {
        generator->Emit(SQL_Push_Integer, 0);
    }
    if (!GenerateLoops()) {
        return false;
    }
    if (kind == kSingleValue) {
        CheckSingleRow();
    }
    if (!PushSelected()) {
        return false;
    }
    if (kind == kSingleValue) {
        KeepSingleValue();
    }
    return true;
}

bool SQLQuery::GenerateClose() {
    if (temporaryTable >= 0) {
        generator->Emit(SQL_Temporary_Next, temporaryTable, temporaryFirstJump + 1);
        generator->PatchToHere(temporaryFirstJump, 2);
    } else if (!CloseLoops()) {
        return false;
    }
    if (kind == kSingleValue) {
        const int32_t hadRow = generator->Emit(SQL_Jump_NE, 0, -1);
        generator->Emit(SQL_Push_Null);
        generator->PatchToHere(hadRow, 2);
    }
    return true;
}

bool SQLQuery::GenerateThroughTemporary() {
    generator->Emit(SQL_Temporary_Table, temporaryTable, selected->Count() + orderBy.Count());
    if (unionBucket >= 0) {
        generator->Emit(SQL_Bucket, unionBucket, selected->Count());
    }
    // Required: each union's distinctness is that of its own branch, and the first block is
    // governed by the first union.
    const SQLUnion* const first = unions.First();
    if (!StoreBlock(*this, first != nullptr && first->distinct != 0)) {
        return false;
    }
    for (const SQLUnion* branch : unions) {
        if (!StoreBlock(*branch->query, branch->distinct != 0)) {
            return false;
        }
    }
    if (orderBy.Count() > 0) {
        generator->Emit(SQL_Temporary_Sort, temporaryTable, 0, 0, TextView(), TextView(), &orderBy);
    }
    if (kind == kSingleValue) {
        generator->Emit(SQL_Push_Integer, 0);
    }
    temporaryFirstJump = generator->Emit(SQL_Temporary_First, temporaryTable, -1);
    if (kind == kSingleValue) {
        CheckSingleRow();
    }
    PushFromTemporary();
    if (kind == kSingleValue) {
        KeepSingleValue();
    }
    return true;
}

// The rows of one block of the chain, into this first block's temporary table. The row of a branch
// that keeps duplicates is recorded all the same, so that it counts against later branches.
bool SQLQuery::StoreBlock(SQLQuery& block, bool isDistinct) {
    // Every block stores every term of ORDER BY, so the two multiply, as do blocks and the columns
    // of their stars.
    if (!generator->HasRoomForBlock()) {
        return false;
    }
    if (!block.GenerateLoops()) {
        return false;
    }
    int32_t seenBefore = -1;
    if (unionBucket >= 0) {
        if (!block.PushSelected()) {
            return false;
        }
        seenBefore = generator->Emit(SQL_Bucket_Record, unionBucket, selected->Count(), 0);
    }
    if (!block.PushSelected()) {
        return false;
    }
    block.StoreRow(temporaryTable);
    if (!StoreOrderBy()) {
        return false;
    }
    if (isDistinct) {
        generator->PatchToHere(seenBefore, 3);
    }
    return block.CloseLoops();
}

// --- one row -----------------------------------------------------------------------------------

void SQLQuery::CheckSingleRow() {
    const int32_t firstRow = generator->Emit(SQL_Jump_NE, 1, -1);
    // The message is measured at run time: its length is 0, and a dump shows no text.
    generator->Emit(SQL_Error, 0, 0, 0, TextView("Sub-query returns more than one row", 0));
    generator->PatchToHere(firstRow, 2);
}

void SQLQuery::KeepSingleValue() {
    generator->Emit(SQL_Copy);  // the value outlives the cursor's next step
    generator->Emit(SQL_Push_Integer, 1);
}

bool SQLQuery::PushSelected() {
    for (const SQLSelectedColumn* item : *selected) {
        if (item->type == SQLSelectedColumn::kRowNumber) {
            generator->Emit(SQL_Push_RecordNumber);
        } else if (!generator->GenerateExpression(item->expression->root)) {
            return false;
        }
    }
    return true;
}

// The row number is that of the row as it goes out, not as it was stored.
void SQLQuery::PushFromTemporary() {
    int32_t column = 0;
    for (const SQLSelectedColumn* item : *selected) {
        if (item->type == SQLSelectedColumn::kRowNumber) {
            generator->Emit(SQL_Push_RecordNumber);
        } else {
            generator->Emit(SQL_Push_Temporary, temporaryTable, column);
        }
        ++column;
    }
}

void SQLQuery::StoreRow(int32_t temporary) {
    generator->Emit(SQL_Temporary_Record, temporary);
    for (int32_t column = selected->Count() - 1; column >= 0; --column) {
        generator->Emit(SQL_Pop_Temporary, temporary, column);
    }
}

bool SQLQuery::StoreOrderBy() {
    for (const SQLOrderBy* term : orderBy) {
        if (!generator->GenerateExpression(term->expression->root)) {
            return false;
        }
        generator->Emit(SQL_Pop_Temporary, temporaryTable, term->position);
    }
    return true;
}

}  // namespace ovrasql
