#include <memory>
#include <utility>

#include "compile/generate_scan.h"
#include "compile/sql_code_generator.h"
#include "compile/tree/select_items.h"
#include "compile/tree/sql_column_reference.h"
#include "compile/tree/sql_expression.h"
#include "compile/tree/sql_query.h"
#include "compile/tree/sql_reference_manager.h"
#include "compile/tree/sql_statements.h"
#include "compile/tree/sql_table_reference.h"
#include "foundation/ignore_result.h"
#include "schema/schema.h"
#include "schema/table.h"
#include "storage/ovra_sql_field.h"

// INSERT, UPDATE and DELETE: the loops of a SELECT around another action. Records change inside the
// loop; the index changes that this leaves pending are applied once, behind it, so that a walk
// along an index never meets its own changes.

namespace ovrasql {

// --- INSERT ------------------------------------------------------------------------------------

bool SQLInsertStatement::Prepare() {
    return BindTarget() && (query == nullptr || query->PrepareQuery());
}

bool SQLInsertStatement::Optimize() { return query == nullptr || query->OptimizeQuery(); }

namespace {

// The reference gets the next column slot of the target.
void BindTargetColumn(SQLTableReference* target, const OvraSQLField& field,
                      SQLColumnReference* column) {
    column->state = ColumnState::kTableColumn;
    column->cursor = target->cursor;
    column->column = target->columnCount++;
    column->fieldType = field.Type();
    column->fieldDecimals = field.Decimals();
}

void AddTargetColumn(SQLInsertStatement* statement, const OvraSQLField& field) {
    // The field's own name goes with the catalog's table.
    const TextView name = statement->generator->KeepText(field.Name());
    BindTargetColumn(statement->target.get(), field, statement->AddColumn(name));
}

bool BindWrittenColumns(SQLInsertStatement* statement) {
    SQLTableReference* const target = statement->target.get();
    for (SQLColumnReference* column : statement->columns) {
        const OvraSQLField* const field = target->table->Data().FindField(column->name);
        if (field == nullptr) {
            return statement->generator->Fail(
                {"Field '", column->name, "' does not exist in table '", target->name, "'"});
        }
        BindTargetColumn(target, *field, column);
    }
    return true;
}

// A column that the statement leaves out is written as the empty value, explicitly.
void AddUnwrittenColumns(SQLInsertStatement* statement) {
    for (const OvraSQLField* field : statement->target->table->Data().Fields()) {
        if (statement->columns.Find(field->Name()) != nullptr) {
            continue;
        }
        AddTargetColumn(statement, *field);
        SQLExpression* const value = statement->query != nullptr
                                         ? statement->query->AddSelectedColumn()->expression.get()
                                         : statement->NewValue();
        value->SetLiteral(TextView());
    }
}

}  // namespace

bool SQLInsertStatement::BindTarget() {
    target->table = generator->GetSchema()->GetTable(target->name);
    if (target->table == nullptr) {
        return generator->Fail({"Unknown table '", target->name, "'"});
    }
    target->cursor = generator->TakeCursor();
    if (allColumns != 0) {
        for (const OvraSQLField* field : target->table->Data().Fields()) {
            AddTargetColumn(this, *field);
        }
        return true;
    }
    if (!BindWrittenColumns(this)) {
        return false;
    }
    AddUnwrittenColumns(this);
    return true;
}

bool SQLInsertStatement::Generate() {
    if (!GenerateOpen() || !GenerateColumns()) {
        return false;
    }
    return query != nullptr ? GenerateSelect() : GenerateValues();
}

bool SQLInsertStatement::GenerateOpen() {
    generator->Emit(SQL_Cursor_Open, target->cursor, 1, 0, target->name);
    return true;
}

bool SQLInsertStatement::GenerateColumns() {
    for (const SQLColumnReference* column : columns) {
        generator->Emit(SQL_Cursor_Column, column->cursor, column->column, 0, column->name);
    }
    return true;
}

namespace {

bool CheckValueCount(SQLCodeGenerator* generator, int32_t columns, int32_t values) {
    if (columns > values) {
        return generator->SetError("Not enough values");
    }
    return columns == values || generator->SetError("Too many values");
}

}  // namespace

bool SQLInsertStatement::GenerateValues() {
    if (!CheckValueCount(generator, columns.Count(), values.Count())) {
        return false;
    }
    const SQLExpression* value = values.First();
    for (const SQLColumnReference* column : columns) {
        if (!generator->GenerateExpression(value->root)) {
            return false;
        }
        generator->Emit(SQL_Pop_Column, column->cursor, column->column);
        value = values.Next();
    }
    generator->Emit(SQL_Cursor_Insert, target->cursor);
    return true;
}

// Required: the source's cursors are opened a second time here, ahead of the loop.
bool SQLInsertStatement::GenerateSelect() {
    if (!generator->GenerateOpenCursors() ||
        !CheckValueCount(generator, columns.Count(), query->selected->Count())) {
        return false;
    }
    return query->GenerateBody() && GeneratePopColumns() && query->GenerateClose();
}

bool SQLInsertStatement::GeneratePopColumns() {
    for (int32_t slot = columns.Count() - 1; slot >= 0; --slot) {
        const SQLColumnReference* const column = columns.ItemAt(slot);
        generator->Emit(SQL_Pop_Column, column->cursor, column->column);
    }
    generator->Emit(SQL_Cursor_Insert, target->cursor);
    return true;
}

// --- UPDATE ------------------------------------------------------------------------------------

namespace {

// The record is locked ahead of the first new value, so that the expressions read it as locked.
bool GenerateUpdateRow(const SQLUpdateStatement& statement) {
    SQLCodeGenerator& generator = *statement.generator;
    generator.Emit(SQL_Cursor_LockForUpdate, statement.target->cursor);
    for (const SQLUpdatedColumn* updated : statement.columns) {
        if (!generator.GenerateExpression(updated->expression->root)) {
            return false;
        }
        generator.Emit(SQL_Pop_Column, updated->column->cursor, updated->column->column);
    }
    generator.Emit(SQL_Cursor_Update, statement.target->cursor);
    return true;
}

// The optimizer's work on the statement's WHERE.
void OptimizeWhere(const SQLUpdateStatement& statement) {
    Stack<SQLTableReference> tables(false);
    tables.Push(statement.target);
    statement.target->isOnStack = true;
    SQLCodeGenerator& generator = *statement.generator;
    if (generator.ExtractCondition(statement.target, tables, statement.where->root, nullptr,
                                   nullptr)) {
        // Failing to choose leaves the table without an index, which is slower but right.
        IgnoreResult(generator.ChooseIndex(statement.target, statement.target->searchCondition, 0));
    }
}

// What is left of WHERE. Its jump has a place of its own beside that of the moved condition, so
// that either of them failing goes on with the next row. -1 when nothing is left, or on failure.
bool GenerateRestOfWhere(const SQLExpression& where, int32_t* restJump) {
    if (where.IsEmpty()) {
        return true;
    }
    if (!where.generator->GenerateExpression(where.root)) {
        return false;
    }
    *restJump = where.generator->Emit(SQL_Jump_EQ, 0, -1);
    return true;
}

// The head of the loop: from the key to the tests of a row.
bool GenerateUpdateScan(const SQLUpdateStatement& statement, int32_t* restJump) {
    SQLTableReference* const target = statement.target;
    if (statement.where != nullptr) {
        OptimizeWhere(statement);
    }
    if (!GenerateIndexSearch(target)) {
        return false;
    }
    target->firstJump = statement.generator->Emit(SQL_Cursor_First, target->cursor, -1);
    if (!GenerateStopTest(target) || !GenerateSearchTest(target)) {
        return false;
    }
    return statement.where == nullptr || GenerateRestOfWhere(*statement.where, restJump);
}

}  // namespace

bool SQLUpdateStatement::Generate() {
    int32_t restJump = -1;
    if (!GenerateUpdateScan(*this, &restJump) || !GenerateUpdateRow(*this)) {
        return false;
    }
    target->nextInstruction =
        generator->Emit(SQL_Cursor_Next, target->cursor, target->firstJump + 1);
    target->endInstruction = generator->Emit(SQL_Cursor_Update_Indexes, target->cursor);
    generator->Patch(target->firstJump, 2, target->endInstruction);
    generator->Patch(target->testJump, 2, target->nextInstruction);
    generator->Patch(restJump, 2, target->nextInstruction);
    generator->Patch(target->stopJump, 2, target->endInstruction);
    generator->Emit(SQL_NOOP);
    return true;
}

// --- DELETE ------------------------------------------------------------------------------------

bool SQLDeleteStatement::Prepare() {
    for (const SQLCorrelation* correlation : correlations) {
        SQLTableReference* const table = references->Tables().Find(correlation->name);
        if (table == nullptr) {
            return generator->Fail({"Unspecified correlation '", correlation->name, "'"});
        }
        table->loadIndexes = 1;
        targets.Insert(table, ListPlace::kTail);
    }
    if (correlations.Count() == 0) {
        for (SQLTableReference* table : references->Tables()) {
            table->loadIndexes = 1;
            targets.Insert(table, ListPlace::kTail);
        }
    }
    return query->PrepareQuery();
}

bool SQLDeleteStatement::Optimize() { return query->OptimizeQuery(); }

bool SQLDeleteStatement::Generate() {
    if (!query->GenerateBody()) {
        return false;
    }
    for (const SQLTableReference* table : targets) {
        generator->Emit(SQL_Cursor_Delete, table->cursor);
    }
    if (!query->GenerateClose()) {
        return false;
    }
    for (const SQLTableReference* table : targets) {
        generator->Emit(SQL_Cursor_Delete_Indexes, table->cursor);
    }
    return true;
}

}  // namespace ovrasql
