#include <utility>

#include "compile/sql_code_generator.h"
#include "compile/tree/sql_reference_manager.h"
#include "compile/tree/sql_table_reference.h"

// A scope of names: what it holds and the passes over it. How a name finds its table's column is in
// resolve_names.cpp.

namespace ovrasql {

SQLReferenceManager::SQLReferenceManager(SQLCodeGenerator* generator, SQLReferenceManager* parent)
    : generator_(generator), parent_(parent), tables_(true, true), columns_(true) {}

SQLReferenceManager::~SQLReferenceManager() = default;

SQLTableReference* SQLReferenceManager::AddTable(std::unique_ptr<SQLTableReference> table) {
    SQLTableReference* const added = table.get();
    added->scope = this;
    tables_.Add(std::move(table));
    return added;
}

SQLColumnReference* SQLReferenceManager::GetColumnReference(TextView name) {
    return FindOrAdd(SQLColumnReference(name));
}

SQLColumnReference* SQLReferenceManager::GetColumnReference(TextView name, TextView table) {
    return FindOrAdd(SQLColumnReference(name, table));
}

SQLColumnReference* SQLReferenceManager::FindOrAdd(const SQLColumnReference& wanted) {
    if (SQLColumnReference* const found = columns_.Find(ItemKey(wanted)); found != nullptr) {
        ++found->useCount;
        return found;
    }
    auto made = std::make_unique<SQLColumnReference>(wanted);
    SQLColumnReference* const added = made.get();
    columns_.Add(std::move(made));
    return added;
}

// The test is made as each table comes up, so the first of a pair is bound before the second fails.
bool SQLReferenceManager::BindTables() {
    if (bound_) {
        return true;
    }
    bound_ = true;
    for (SQLTableReference* table : tables_) {
        if (tables_.Find(table->alias) != table) {
            // Required: the same word written as an alias counts as an alias, so it is the place of
            // the text that tells whether one was written. A derived table may have none at all.
            const bool aliasWritten =
                !table->alias.IsEmpty() && table->alias.data != table->name.data;
            return generator_->Fail(
                {aliasWritten ? "Non unique alias '" : "Non unique table '", table->alias, "'"});
        }
        if (!table->Bind()) {
            return false;
        }
    }
    return true;
}

bool SQLReferenceManager::ResolveColumns() {
    for (SQLColumnReference* reference : columns_) {
        const bool resolved = reference->cursor >= 0 && reference->column >= 0;
        // A use count of 0: preparation has dropped every use of the name.
        if (reference->useCount == 0 || resolved) {
            continue;
        }
        if (!(reference->qualified ? ResolveQualified(reference) : ResolveUnqualified(reference))) {
            return false;
        }
    }
    return true;
}

bool SQLReferenceManager::GenerateOpen() {
    for (SQLTableReference* table : tables_) {
        if (!table->GenerateOpen()) {
            return false;
        }
    }
    return true;
}

}  // namespace ovrasql
