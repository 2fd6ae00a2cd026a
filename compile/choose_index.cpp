#include <memory>
#include <utility>

#include "compile/sql_code_generator.h"
#include "compile/tree/sql_column_reference.h"
#include "compile/tree/sql_expression.h"
#include "compile/tree/sql_table_reference.h"
#include "compile/work_stack.h"
#include "foundation/text_compare.h"
#include "language/tokens.h"
#include "schema/index.h"
#include "schema/schema.h"
#include "schema/table.h"
#include "storage/ovra_sql_field.h"

// The index for a table's search condition. There are no statistics: an index is scored by how many
// of its leading columns the condition compares. The condition is still tested on each row, so what
// is chosen here decides which rows are looked at, and in which order.
//
// Required, in collecting the comparisons: no operator above one is looked at, so a NOT over an
// equality seeks the very rows that it rejects; the side on which the column stands is not
// normalized, so `5 < a` bounds like `a < 5`; the other side may be anything, also a column of the
// same table.

namespace ovrasql {

namespace {

constexpr int32_t kEquality = 0;
constexpr int32_t kLowerBound = 1;  // > and >=
constexpr int32_t kUpperBound = 2;  // < and <=

constexpr int32_t kAscending = 1;
constexpr int32_t kDescending = 2;

using Terms = List<SQLIndexableExpression>;

int32_t Direction(const SQLIndexableExpression& term) {
    switch (term.operatorCode) {
        case token::kGreater:
        case token::kGreaterEqual:
            return kLowerBound;
        case token::kLess:
        case token::kLessEqual:
            return kUpperBound;
        default:
            return kEquality;
    }
}

bool IsRangeOperator(int32_t operatorCode) {
    return operatorCode == token::kLess || operatorCode == token::kGreater ||
           operatorCode == token::kLessEqual || operatorCode == token::kGreaterEqual;
}

bool IsComparison(int32_t operatorCode) {
    return operatorCode == token::kEqual || IsRangeOperator(operatorCode);
}

// --- collecting --------------------------------------------------------------------------------

SQLExpressionNode* OtherChild(const SQLExpressionNode& parent, const SQLExpressionNode* child) {
    return parent.left == child ? parent.right : parent.left;
}

void AddTerm(int32_t operatorCode, SQLColumnReference* column, SQLExpressionNode* value,
             Terms& terms) {
    // A comparison whose other side is missing compares with nothing.
    if (value == nullptr) {
        return;
    }
    auto made = std::make_unique<SQLIndexableExpression>();
    made->operatorCode = operatorCode;
    made->column = column;
    made->value = value;
    terms.Insert(std::move(made), ListPlace::kTail);
}

// upper(column) under a comparison, groups between them left out.
void AddUpperTerm(SQLExpressionNode* upper, SQLColumnReference* column, Terms& terms) {
    const SQLExpressionNode* below = upper;
    const SQLExpressionNode* above = upper->parent;
    while (above != nullptr && above->kind == NodeKind::kGroup) {
        below = above;
        above = above->parent;
    }
    if (above != nullptr && above->IsOperator() && IsComparison(above->operatorCode)) {
        AddTerm(above->operatorCode, column, OtherChild(*above, below), terms);
    }
}

// Keys hold text folded to upper case, so a range over it is that of the values only where these
// are compared without case.
bool RangeServesColumn(const SQLColumnReference& column, bool caseInsensitive) {
    return caseInsensitive ||
           (column.fieldType != kFieldCharacter && column.fieldType != kFieldMemo);
}

void CollectColumn(SQLExpressionNode* node, bool caseInsensitive, Terms& terms) {
    SQLExpressionNode* const parent = node->parent;
    if (parent == nullptr || !parent->IsOperator()) {
        return;
    }
    const int32_t operatorCode = parent->operatorCode;
    if (operatorCode == token::kUpper) {
        AddUpperTerm(parent, node->column, terms);
    } else if (operatorCode == token::kEqual ||
               (IsRangeOperator(operatorCode) &&
                RangeServesColumn(*node->column, caseInsensitive))) {
        AddTerm(operatorCode, node->column, OtherChild(*parent, node), terms);
    }
}

// From left to right.
void CollectTerms(const SQLTableReference& table, SQLExpressionNode* condition, Terms& terms) {
    const bool caseInsensitive = table.generator->GetSchema()->CaseInsensitive();
    WorkStack<SQLExpressionNode*> nodes;
    nodes.Push(condition);
    while (!nodes.IsEmpty()) {
        SQLExpressionNode* const node = nodes.Pop();
        if (node == nullptr) {
            continue;
        }
        if (node->kind == NodeKind::kColumn) {
            if (node->column->IsTableColumn() && node->column->cursor == table.cursor) {
                CollectColumn(node, caseInsensitive, terms);
            }
        } else if (node->IsOperator()) {
            nodes.Push(node->right);
            nodes.Push(node->left);
        } else if (node->kind == NodeKind::kGroup) {
            nodes.Push(node->left != nullptr ? node->left : node->right);
        }
    }
}

// --- matching an index against the terms -------------------------------------------------------

SQLIndexableExpression* FirstTerm(const Terms& terms, TextView name) {
    for (SQLIndexableExpression* term : terms) {
        if (EqualsNoCase(term->column->name, name)) {
            return term;
        }
    }
    return nullptr;
}

// The term behind `range` that bounds the same column from the other side.
SQLIndexableExpression* OtherBound(const Terms& terms, const SQLIndexableExpression* range) {
    bool behind = false;
    for (SQLIndexableExpression* term : terms) {
        if (behind && term->column->IsSameColumn(*range->column) && Direction(*term) != kEquality &&
            Direction(*term) != Direction(*range)) {
            return term;
        }
        behind = behind || term == range;
    }
    return nullptr;
}

// How many leading columns are compared for equality, plus 1 for a range on the next one, plus 1
// more for a range closed on both sides.
int32_t ScoreIndex(const Index& index, const Terms& terms) {
    int32_t score = 0;
    for (const OvraSQLField* column : index.Columns()) {
        const SQLIndexableExpression* const term = FirstTerm(terms, column->Name());
        if (term == nullptr) {
            break;
        }
        ++score;
        if (Direction(*term) != kEquality) {
            return OtherBound(terms, term) != nullptr ? score + 1 : score;
        }
    }
    return score;
}

bool IsDescending(const Index& index) { return (index.Flags() & kIndexDescending) != 0; }

// Where the walk starts, or the test that ends it: the smaller bound starts an ascending walk.
void SetBound(SQLTableReference* table, const SQLIndexableExpression& term) {
    const bool isLower = Direction(term) == kLowerBound;
    auto& bound = isLower != IsDescending(*table->index) ? table->startBound : table->stopBound;
    bound = std::make_unique<SQLIndexableExpression>(term);
}

// The values for the leading columns, and the bounds of the first one with a range.
void BindIndex(SQLTableReference* table, const Terms& terms) {
    for (const OvraSQLField* column : table->index->Columns()) {
        const SQLIndexableExpression* const term = FirstTerm(terms, column->Name());
        if (term == nullptr) {
            return;
        }
        if (Direction(*term) != kEquality) {
            SetBound(table, *term);
            if (const auto* const other = OtherBound(terms, term); other != nullptr) {
                SetBound(table, *other);
            }
            return;
        }
        table->keyValues->Insert(term->value, ListPlace::kTail);
    }
}

// The higher score wins. On a tie the earlier index stays, unless only the later one runs with
// ORDER BY. Required: the best score starts at 0, so an index that the condition does not use at
// all is taken if it runs in the preferred direction.
Index* BestIndex(const Table& table, const Terms& terms, int32_t preferred) {
    Index* best = nullptr;
    int32_t bestScore = 0;
    int32_t bestDirection = 0;
    for (Index* index : table.Indexes()) {
        const int32_t score = ScoreIndex(*index, terms);
        const int32_t direction = IsDescending(*index) ? kDescending : kAscending;
        if (score > bestScore ||
            (score == bestScore && direction != bestDirection && direction == preferred)) {
            best = index;
            bestScore = score;
            bestDirection = direction;
        }
    }
    return best;
}

}  // namespace

int32_t SQLCodeGenerator::ChooseIndex(SQLTableReference* table, SQLExpressionNode* condition,
                                      int32_t preferred) {
    if (!table->LoadIndexes()) {
        return -1;
    }
    if (table->table->Indexes().Count() == 0) {
        return 0;
    }
    Terms terms(true);
    CollectTerms(*table, condition, terms);
    if (terms.Count() == 0) {
        return 0;
    }
    Index* const best = BestIndex(*table->table, terms, preferred);
    if (best == nullptr) {
        return 0;
    }
    table->index = best;
    table->indexUnique = (best->Flags() & kIndexUnique) != 0 ? 1 : 0;
    table->keyValues = std::make_unique<List<SQLExpressionNode>>(false);
    BindIndex(table, terms);
    return 1;
}

}  // namespace ovrasql
