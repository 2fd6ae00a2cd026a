#pragma once

// SQLQuery: one SELECT block, and with its unions a whole chain of them. As an element it is a
// sub-query whose code stands inline where its value is wanted.
//
// Owned by its statement, by the union, IN or derived table it stands in, or, as a single-value
// sub-query, by the expression that made it. The code generator only lists sub-queries. A block has
// no plan object: its code is two halves, GenerateBody up to the pushed row and GenerateClose, and
// the caller puts between them what it does with a row.

#include <cstdint>
#include <memory>

#include "compile/tree/select_items.h"
#include "compile/tree/sql_complex_element.h"
#include "foundation/hash_table.h"
#include "foundation/list.h"
#include "foundation/stack.h"
#include "foundation/text_view.h"

namespace ovrasql {

class Index;
class SQLAggregate;
class SQLTableReference;
class SQLTableReferenceFromSelect;

class SQLQuery : public SQLComplexElement {
  public:
    static constexpr int32_t kRows = 0;
    static constexpr int32_t kInList = 1;
    static constexpr int32_t kSingleValue = 2;

    SQLQuery(SQLCodeGenerator* owner, SQLReferenceManager* scope, int32_t queryKind = kRows,
             SQLQuery* enclosing = nullptr, SQLTableReference* target = nullptr);
    ~SQLQuery() override;

    // Building, by the parser. What they yield belongs to the query and is to be filled.
    SQLSelectedColumn* AddSelectedColumn();
    void AddTableStar(TextView table);  // an item "t.*"
    void SetAllColumns() { allColumns = 1; }
    SQLTableReference* AddTable(TextView name, TextView alias);
    SQLTableReference* AddOuterTable(TextView name, TextView alias);  // joined to lastTable
    void AddFromSelect(std::unique_ptr<SQLTableReferenceFromSelect> derived);
    SQLExpression* NewWhere();
    SQLExpression* NewOn();  // of lastTable
    SQLExpression* NewGroupBy();
    SQLExpression* NewOrderBy();          // its SQLOrderBy is currentOrderBy
    SQLQuery* AddUnion(bool isDistinct);  // always on the first block of a chain

    // Passes. false leaves the message with the generator.
    [[nodiscard]] bool PrepareQuery();
    [[nodiscard]] bool NumberAggregates();
    [[nodiscard]] bool CheckGroupBy();
    [[nodiscard]] bool PrepareOrderBy();
    [[nodiscard]] bool OptimizeOrderBy();
    [[nodiscard]] bool OptimizeQuery();
    [[nodiscard]] bool GenerateBody();
    [[nodiscard]] bool GenerateClose();
    [[nodiscard]] bool Generate() override;

    int32_t kind;
    SQLQuery* parentQuery;            // the enclosing block of a sub-query, else null
    SQLTableReference* updateTarget;  // of the UPDATE in whose expression it stands, else null
    int32_t distinct = 0;
    int32_t distinctBucket = -1;
    int32_t distinctJump = -1;
    int32_t allColumns = 0;                             // a bare "*"
    std::unique_ptr<List<SQLSelectedColumn>> selected;  // replaced during preparation; owning
    SQLSelectedColumn* currentSelected = nullptr;
    SQLTableReference* lastTable = nullptr;
    Stack<SQLTableReference> tableStack;  // pushed in FROM order: the top is the innermost loop
    std::unique_ptr<SQLExpression> where;
    int32_t whereJump = -1;
    List<SQLUnion> unions;
    List<SQLOrderBy> orderBy;
    List<SQLOrderByColumn> orderByColumns;
    SQLOrderBy* currentOrderBy = nullptr;
    List<SQLAggregate> aggregates;  // not owned
    int32_t bucket = -1;
    int32_t nextAccumulator = 0;
    int32_t bucketFirstJump = -1;
    List<SQLExpression> groupBy;
    int32_t temporaryTable = -1;  // -1 while the block streams
    int32_t temporaryFirstJump = -1;
    int32_t unionBucket = -1;

  private:
    std::unique_ptr<SQLExpression> NewExpression();

    // The select list, for look-ups by name.
    using SelectedColumns = HashTable<SQLSelectedColumn>;
    [[nodiscard]] bool ValidateOrderBy(SQLExpression* expression, const SelectedColumns& byName,
                                       bool hasTemporary);
    [[nodiscard]] bool ValidateOrderByColumn(SQLExpression* expression, SQLExpressionNode* node,
                                             const SelectedColumns& byName, bool hasTemporary);
    [[nodiscard]] bool OrdersByTable(const SQLTableReference* table) const;
    [[nodiscard]] bool FitsOrderBy(Index* index, List<SQLExpressionNode>* keyValues,
                                   bool ascending);
    void AccumulateColumn(SQLExpression* expression, SQLExpressionNode* node);
    [[nodiscard]] bool GenerateImplicitGroup();
    [[nodiscard]] bool GenerateLoops();
    [[nodiscard]] bool GenerateScans();
    [[nodiscard]] bool CloseLoops();
    [[nodiscard]] bool CloseScans();
    [[nodiscard]] bool GenerateThroughTemporary();
    [[nodiscard]] bool StoreBlock(SQLQuery& block, bool isDistinct);
    [[nodiscard]] bool PushSelected();
    void PushFromTemporary();
    void StoreRow(int32_t temporary);
    [[nodiscard]] bool StoreOrderBy();
    void CheckSingleRow();
    void KeepSingleValue();
};

}  // namespace ovrasql
