#include <memory>
#include <utility>

#include "compile/sql_code_generator.h"
#include "compile/tree/select_items.h"
#include "compile/tree/sql_expression.h"
#include "compile/tree/sql_query.h"
#include "compile/tree/sql_reference_manager.h"
#include "compile/tree/sql_table_reference.h"
#include "foundation/ignore_result.h"
#include "schema/schema.h"
#include "schema/table.h"

// From names to slots. A name is looked up in the tables of its block; a qualified one goes outward
// through the enclosing scopes until one has the table. A reference that lands on an outer block's
// table simply carries that table's cursor: all blocks share the engine's cursors, so correlation
// needs nothing more.

namespace ovrasql {

// --- scopes ------------------------------------------------------------------------------------

bool SQLReferenceManager::ResolveUnqualified(SQLColumnReference* reference) {
    bool found = false;
    // Through all tables, also after the first hit: a second table with the name is an error.
    for (SQLTableReference* table : tables_) {
        const int32_t result = table->ResolveColumn(reference);
        if (result < 0) {
            return false;
        }
        found = found || result == 1;
    }
    return found || generator_->Fail({"Unknown field '", reference->name, "'"});
}

bool SQLReferenceManager::ResolveQualified(SQLColumnReference* reference) {
    for (SQLReferenceManager* scope = this; scope != nullptr; scope = scope->parent_) {
        SQLTableReference* const table = scope->tables_.Find(reference->table);
        if (table != nullptr) {
            // The innermost scope with the table decides, whether it has the column or not.
            if (table->ResolveColumn(reference) != 0) {
                return true;
            }
            break;
        }
    }
    return generator_->Fail({"Unknown field '", reference->table, ".", reference->name, "'"});
}

// --- tables of the schema ----------------------------------------------------------------------

bool SQLTableReference::Bind() {
    table = generator->GetSchema()->GetTable(name);
    if (table == nullptr) {
        return generator->SetError(generator->GetSchema()->Error().View());
    }
    cursor = generator->TakeCursor();
    return true;
}

int32_t SQLTableReference::ResolveColumn(SQLColumnReference* reference) {
    OvraSQLField* const field = table->Data().FindField(reference->name);
    if (field == nullptr) {
        return 0;
    }
    if (reference->state != ColumnState::kUnresolved) {
        IgnoreResult(generator->Fail({"Column '", reference->name, "' ambiguously defined"}));
        return -1;
    }
    reference->state = ColumnState::kTableColumn;
    reference->source = this;
    reference->cursor = cursor;
    reference->fieldType = field->Type();
    reference->fieldDecimals = field->Decimals();
    // A column slot belongs to the field: the first reference claims it, later ones share it.
    if (const SQLColumnReference* const first = columns.Find(reference->name); first != nullptr) {
        reference->column = first->column;
    } else {
        reference->column = columnCount++;
        columns.Add(reference);
    }
    return 1;
}

namespace {

// One item of an expanded star: the column under its own name, qualified, so that no other table
// can make it ambiguous. `name` must outlive the statement.
void AddStarItem(SQLQuery* query, TextView name, TextView alias) {
    SQLSelectedColumn* const item = query->AddSelectedColumn();
    item->name = name;
    SQLExpressionNode* const node = item->expression->current;
    node->kind = NodeKind::kColumn;
    node->column = query->references->GetColumnReference(name, alias);
}

}  // namespace

bool SQLTableReference::ExpandStar(SQLQuery* query) {
    if (!generator->HasRoomForColumns(table->Data().Fields().Count())) {
        return false;
    }
    for (OvraSQLField* field : table->Data().Fields()) {
        AddStarItem(query, generator->KeepText(field->Name()), alias);
    }
    return true;
}

bool SQLTableReference::GenerateOpen() {
    generator->Emit(SQL_Cursor_Open, cursor, loadIndexes, 0, name);
    for (const SQLColumnReference* reference : columns) {
        if (reference->IsTableColumn() && reference->useCount > 0) {
            generator->Emit(SQL_Cursor_Column, reference->cursor, reference->column, 0,
                            reference->name);
        }
    }
    return true;
}

bool SQLTableReference::LoadIndexes() {
    return table != nullptr && generator->GetSchema()->LoadIndexes(*table);
}

// --- derived tables ----------------------------------------------------------------------------

// The inner block sees nothing of the block around it, so it is bound, prepared and resolved whole
// while the outer one is only being bound.
bool SQLTableReferenceFromSelect::Bind() {
    if (!innerReferences->BindTables() || !query->PrepareQuery()) {
        return false;
    }
    temporaryTable = generator->TakeTemporary();
    // Required: the columns stand from last to first. A star over a derived table shows them in
    // this order, a name used twice means the last one, and the row is stored in this order.
    int32_t position = query->selected->Count();
    for (SQLSelectedColumn* item = query->selected->Last(); item != nullptr;
         item = query->selected->Previous()) {
        auto made = std::make_unique<SQLColumnReference>(item->name, alias);
        made->state = ColumnState::kTemporaryColumn;
        made->cursor = temporaryTable;
        made->column = --position;
        columns.Add(made.get());
        ownColumns.Insert(std::move(made), ListPlace::kTail);
    }
    return innerReferences->ResolveColumns();
}

int32_t SQLTableReferenceFromSelect::ResolveColumn(SQLColumnReference* reference) {
    const SQLColumnReference* const own = columns.Find(reference->name);
    if (own == nullptr) {
        return 0;
    }
    if (reference->state != ColumnState::kUnresolved) {
        IgnoreResult(generator->Fail({"Column '", reference->name, "' ambiguously defined"}));
        return -1;
    }
    reference->state = own->state;
    reference->cursor = own->cursor;
    reference->column = own->column;
    return 1;
}

bool SQLTableReferenceFromSelect::ExpandStar(SQLQuery* outer) {
    if (!generator->HasRoomForColumns(columns.Count())) {
        return false;
    }
    for (const SQLColumnReference* column : columns) {
        AddStarItem(outer, column->name, alias);
    }
    return true;
}

bool SQLTableReferenceFromSelect::GenerateOpen() { return innerReferences->GenerateOpen(); }

}  // namespace ovrasql
