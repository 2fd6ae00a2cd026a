#pragma once

// SQLTableReference: one table of a FROM list, or the target of INSERT and UPDATE, with what the
// passes learn about it. SQLTableReferenceFromSelect: a parenthesised SELECT in that place.
//
// Owned by the scope of its block (the target of INSERT by its statement). `table` and `index`
// point into the catalog and are good during compilation only. Instruction indices are -1 until
// emitted.

#include <cstdint>
#include <memory>

#include "compile/tree/sql_column_reference.h"
#include "compile/tree/sql_expression.h"
#include "foundation/hash_table.h"
#include "foundation/list.h"
#include "foundation/text_view.h"

namespace ovrasql {

class Index;
class SQLQuery;
class SQLReferenceManager;
class Table;

// A comparison of a column that an index may serve; `value` is the other side, still part of the
// condition.
struct SQLIndexableExpression {
    int32_t operatorCode = 0;
    SQLColumnReference* column = nullptr;
    SQLExpressionNode* value = nullptr;
};

class SQLTableReference {
  public:
    SQLTableReference(SQLCodeGenerator* owner, TextView tableName, TextView tableAlias);
    virtual ~SQLTableReference();
    SQLTableReference(const SQLTableReference&) = delete;
    SQLTableReference& operator=(const SQLTableReference&) = delete;

    // Finds the table and takes a cursor. Called once, by the scope.
    [[nodiscard]] virtual bool Bind();
    // 1 found here, 0 not here, -1 error set.
    [[nodiscard]] virtual int32_t ResolveColumn(SQLColumnReference* reference);
    // Adds each column to the query's select list.
    [[nodiscard]] virtual bool ExpandStar(SQLQuery* query);
    [[nodiscard]] virtual bool GenerateOpen();
    // 1 when the table has produced its own scan, 0 when the caller shall, -1 on failure.
    [[nodiscard]] virtual int32_t GenerateScanStart();
    [[nodiscard]] virtual int32_t GenerateScanEnd();
    [[nodiscard]] virtual bool LoadIndexes();

    SQLCodeGenerator* const generator;
    int32_t cursor = -1;
    int32_t columnCount = 0;  // next free column slot
    int32_t firstJump = -1;
    int32_t testJump = -1;
    int32_t nextInstruction = -1;
    int32_t endInstruction = -1;
    int32_t outerFirstTest = -1;
    int32_t outerRepeatTest = -1;
    int32_t outerRetest = -1;
    int32_t outerJoinPoint = -1;
    int32_t outerSkipJump = -1;
    int32_t stopJump = -1;
    const SQLReferenceManager* scope = nullptr;  // that owns it
    bool isOnStack = false;                      // of its block's open tables
    Table* table = nullptr;
    TextView name;
    TextView alias;  // the very text of the name when none was written
    SQLExpressionNode* searchCondition = nullptr;  // moved out of WHERE or ON
    List<SQLExpression> extraConditions;           // holders of rebuilt conditions, owned
    std::unique_ptr<SQLExpression> on;             // of the right side of an outer join, else null
    SQLTableReference* outerLeft = nullptr;        // the left side, else null
    int32_t loadIndexes = 0;                       // 1 for a table that will be written
    Index* index = nullptr;
    std::unique_ptr<List<SQLExpressionNode>> keyValues;  // not owning; null without an index
    std::unique_ptr<SQLIndexableExpression> startBound;
    std::unique_ptr<SQLIndexableExpression> stopBound;
    int32_t indexUnique = 0;
    HashTable<SQLColumnReference> columns;  // each field used, once, in slot order; not owning
};

// The alias by which a scope knows its tables.
inline TextView ItemName(const SQLTableReference& table) { return table.alias; }

class SQLTableReferenceFromSelect : public SQLTableReference {
  public:
    explicit SQLTableReferenceFromSelect(SQLCodeGenerator* owner);
    ~SQLTableReferenceFromSelect() override;

    [[nodiscard]] bool Bind() override;
    [[nodiscard]] int32_t ResolveColumn(SQLColumnReference* reference) override;
    [[nodiscard]] bool ExpandStar(SQLQuery* outer) override;
    [[nodiscard]] bool GenerateOpen() override;
    [[nodiscard]] int32_t GenerateScanStart() override;
    [[nodiscard]] int32_t GenerateScanEnd() override;

    // The inner scope has no parent: a derived table sees nothing of the query around it.
    // It stands before the query, which is destroyed first.
    std::unique_ptr<SQLReferenceManager> innerReferences;
    std::unique_ptr<SQLQuery> query;
    List<SQLColumnReference> ownColumns;  // owned
    int32_t temporaryTable = -1;
    int32_t scanJump = -1;
    // A select list can be generated twice; what is inside must be optimized once only.
    bool optimized = false;
};

}  // namespace ovrasql
