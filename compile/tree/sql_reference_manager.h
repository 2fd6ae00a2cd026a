#pragma once

// SQLReferenceManager: one scope of names. It owns the tables of a block's FROM list, keyed by
// alias and walked in the order written, and the column names used in the block.
//
// Owner: the generator's list of scopes, or the derived table whose inner block it serves. A scope
// with a parent may look outward for qualified names; an unqualified name never leaves its block.

#include <cstdint>
#include <memory>

#include "compile/tree/sql_column_reference.h"
#include "compile/tree/sql_table_reference.h"
#include "foundation/arena.h"
#include "foundation/hash_table.h"
#include "foundation/hash_table2.h"
#include "foundation/text_view.h"

namespace ovrasql {

class SQLCodeGenerator;

class SQLReferenceManager {
  public:
    SQLReferenceManager(SQLCodeGenerator* generator, SQLReferenceManager* parent);
    virtual ~SQLReferenceManager();
    SQLReferenceManager(const SQLReferenceManager&) = delete;
    SQLReferenceManager& operator=(const SQLReferenceManager&) = delete;

    // Takes a table into the scope. A second one with the same alias is stored and refused by
    // BindTables.
    SQLTableReference* AddTable(std::unique_ptr<SQLTableReference> table);

    // The reference of that name, its use count raised by one; made when it is new.
    SQLColumnReference* GetColumnReference(TextView name);
    SQLColumnReference* GetColumnReference(TextView name, TextView table);

    // Checks the aliases and binds each table. Done once; later calls have no effect.
    [[nodiscard]] bool BindTables();
    // Gives every used reference its cursor and column slot.
    [[nodiscard]] bool ResolveColumns();
    // The code that opens the cursors of the tables, in the order of FROM.
    [[nodiscard]] bool GenerateOpen();

    // Where the nodes of the block's expressions lie. They outlive the expressions that point to
    // them, and none is ever freed alone.
    [[nodiscard]] Arena& Nodes() { return nodes_; }
    [[nodiscard]] HashTable<SQLTableReference>& Tables() { return tables_; }
    [[nodiscard]] SQLReferenceManager* Parent() const { return parent_; }

  private:
    [[nodiscard]] bool ResolveUnqualified(SQLColumnReference* reference);
    [[nodiscard]] bool ResolveQualified(SQLColumnReference* reference);
    SQLColumnReference* FindOrAdd(const SQLColumnReference& wanted);

    SQLCodeGenerator* generator_;
    SQLReferenceManager* parent_;
    bool bound_ = false;
    Arena nodes_;
    HashTable<SQLTableReference> tables_;
    HashTable2<SQLColumnReference, SQLColumnReferenceKey> columns_;
};

}  // namespace ovrasql
