#pragma once

// SQLReferenceManager: one scope of names, the tables of a query block and the columns that the
// block's expressions name. SQLColumnReference: one such column, shared by all its uses there.
//
// The parser only collects names; later passes bind the tables and give each reference a cursor and
// a column slot. A scope is owned by the code generator (or by the derived table whose inner block
// it is) and owns its tables, its references and the nodes of the expressions of its block. So the
// nodes outlive the expressions that point to them, and none is ever freed alone.

#include <cstdint>

#include "foundation/arena.h"
#include "foundation/hash_table.h"
#include "foundation/hash_table2.h"
#include "foundation/text_view.h"

namespace ovrasql {

class OvraSQLField;
class SQLCodeGenerator;
class SQLTableReference;

struct SQLColumnReference {
    int32_t state = 0;    // 0 unresolved, 1 a column of a table, 2 of a temporary table
    int32_t cursor = -1;  // cursor or temporary table slot
    int32_t column = -1;  // column slot
    int32_t useCount = 1;
    // The field is for the compile passes only: the table that owns it may be closed while the
    // program still runs. Its type is kept beside it for whoever reads the reference then.
    OvraSQLField* field = nullptr;
    int32_t fieldType = -1;
    TextView name;
    TextView table;  // the table or alias as written, empty when none was
};

// `a` and `t.a` are two references, each resolved by itself.
struct SQLColumnReferenceKey {
    TextView table;
    TextView name;
};

// The keys by which the tables of names hash, found through their item types.
TextView ItemName(const SQLColumnReference& reference);
TextView ItemName(const SQLTableReference& table);  // the alias
SQLColumnReferenceKey ItemKey(const SQLColumnReference& reference);
uint32_t HashKey(const SQLColumnReferenceKey& key);
bool KeysEqual(const SQLColumnReferenceKey& first, const SQLColumnReferenceKey& second);

class SQLReferenceManager {
  public:
    SQLReferenceManager(SQLCodeGenerator* owner, SQLReferenceManager* enclosing);
    virtual ~SQLReferenceManager();
    SQLReferenceManager(const SQLReferenceManager&) = delete;
    SQLReferenceManager& operator=(const SQLReferenceManager&) = delete;

    // The reference of this key with one more use, made when it is new.
    SQLColumnReference* GetColumnReference(TextView name, TextView table);

    // The passes; false leaves the message with the generator.
    [[nodiscard]] bool BindTables();
    [[nodiscard]] bool ResolveColumns();
    // A name with its table, looked up in this scope and then outward.
    [[nodiscard]] bool ResolveQualified(SQLColumnReference* reference);
    // Opens the cursors of the tables, in FROM order.
    [[nodiscard]] bool GenerateOpen();

    SQLCodeGenerator* const generator;
    SQLReferenceManager* const parent;  // the enclosing scope or null
    Arena nodes;                        // expression nodes of this block
    HashTable<SQLTableReference> tables;
    HashTable2<SQLColumnReference, SQLColumnReferenceKey> columns;
};

}  // namespace ovrasql
