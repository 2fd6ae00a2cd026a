#include <memory>
#include <utility>

#include "compile/sql_code_generator.h"
#include "compile/tree/complex_elements.h"
#include "compile/tree/select_items.h"
#include "compile/tree/sql_column_reference.h"
#include "compile/tree/sql_query.h"
#include "compile/tree/sql_reference_manager.h"
#include "compile/tree/sql_table_reference.h"
#include "compile/work_stack.h"
#include "foundation/text_compare.h"
#include "foundation/trace_log.h"
#include "language/tokens.h"
#include "schema/index.h"
#include "schema/schema.h"
#include "schema/table.h"
#include "storage/ovra_sql_field.h"

// ORDER BY: free where the first table can be read in the order of an index, else by a temporary
// table that is sorted. The terms are checked by name before names resolve, since a term that means
// a result column must not claim a column slot of a table.

namespace ovrasql {

namespace {

// --- the shape of a term -----------------------------------------------------------------------

// The node that counts at the top, groups left out; null for an empty term.
const SQLExpressionNode* Top(const SQLExpression& expression) {
    const SQLExpressionNode* node = expression.root;
    while (node != nullptr && node->kind == NodeKind::kGroup) {
        node = node->left;
    }
    return node;
}

bool IsWrapper(const SQLExpressionNode& node) {
    return node.IsOperator() &&
           (node.operatorCode == token::kUpper || node.operatorCode == token::kLower);
}

// The column that the expression is, bare; null for every other expression.
SQLColumnReference* PlainColumn(const SQLExpression& expression) {
    const SQLExpressionNode* const node = expression.root->left;
    const bool isPlain =
        node != nullptr && node->kind == NodeKind::kColumn && expression.root->right == nullptr;
    return isPlain ? node->column : nullptr;
}

// The column directly inside `upper` or `lower`.
SQLColumnReference* WrappedColumn(const SQLExpression& expression) {
    const SQLExpressionNode* const top = Top(expression);
    if (top == nullptr || !IsWrapper(*top) || top->left == nullptr ||
        top->left->kind != NodeKind::kColumn) {
        return nullptr;
    }
    return top->left->column;
}

// Fills in what the term is. False when it is neither a column nor a wrapped one, so that no index
// can have its order.
bool DescribeTerm(SQLOrderBy* term) {
    const SQLExpressionNode* const top = Top(*term->expression);
    if (top != nullptr && IsWrapper(*top)) {
        term->wrapper = top->operatorCode;
    }
    term->column = PlainColumn(*term->expression);
    if (term->column == nullptr) {
        term->column = WrappedColumn(*term->expression);
    }
    return term->column != nullptr;
}

// Children before their parent, the left one first.
struct ValidateStep {
    SQLExpressionNode* node;
    bool childrenDone;
};

}  // namespace

// --- before names resolve ----------------------------------------------------------------------

bool SQLQuery::PrepareOrderBy() {
    if (orderBy.Count() == 0) {
        return true;
    }
    const bool hasTemporary = temporaryTable >= 0;
    const int32_t firstAscending = orderBy.First()->ascending;
    bool needTemporary = distinct != 0;
    SelectedColumns byName(false, true);
    for (SQLSelectedColumn* item : *selected) {
        byName.Add(item);
    }
    int32_t position = selected->Count();
    for (SQLOrderBy* term : orderBy) {
        if (term->ascending != firstAscending) {
            needTemporary = true;
        }
        if (!ValidateOrderBy(term->expression.get(), byName, hasTemporary)) {
            return false;
        }
        if (DescribeTerm(term)) {
            auto column = std::make_unique<SQLOrderByColumn>();
            column->column = term->column;
            // A term that is a bare column has no wrapper of its own.
            column->wrapper = term->wrapper;
            orderByColumns.Insert(std::move(column), ListPlace::kTail);
        } else {
            needTemporary = true;
        }
        term->position = position++;
    }
    if (needTemporary && !hasTemporary) {
        temporaryTable = generator->TakeTemporary();
    }
    return true;
}

bool SQLQuery::ValidateOrderBy(SQLExpression* expression, const SelectedColumns& byName,
                               bool hasTemporary) {
    WorkStack<ValidateStep> steps;
    steps.Push({expression->root, false});
    while (!steps.IsEmpty()) {
        const ValidateStep step = steps.Pop();
        SQLExpressionNode* const node = step.node;
        if (!step.childrenDone) {
            steps.Push({node, true});
            if (node->right != nullptr) {
                steps.Push({node->right, false});
            }
            if (node->left != nullptr) {
                steps.Push({node->left, false});
            }
        } else if (node->kind == NodeKind::kColumn &&
                   !ValidateOrderByColumn(expression, node, byName, hasTemporary)) {
            return false;
        }
    }
    return true;
}

// A name of a result column means that column. With a temporary table set already (UNION,
// aggregates) nothing else is in reach.
bool SQLQuery::ValidateOrderByColumn(SQLExpression* expression, SQLExpressionNode* node,
                                     const SelectedColumns& byName, bool hasTemporary) {
    SQLSelectedColumn* const item =
        node->column->qualified ? nullptr : byName.Find(node->column->name);
    if (item == nullptr) {
        return !hasTemporary || generator->SetError("ORDER BY must be by result column name");
    }
    if (item->type != SQLSelectedColumn::kExpression) {
        return generator->SetError("Invalid column type in ORDER BY");
    }
    --node->column->useCount;
    SQLColumnReference* const plain = PlainColumn(*item->expression);
    if (!hasTemporary && plain != nullptr) {
        node->column = plain;
        ++plain->useCount;
        return true;
    }
    node->kind = NodeKind::kElement;
    node->element = expression->Adopt(
        std::make_unique<SQLOrderBySelectListReference>(generator, references, this, item));
    return true;
}

// --- after the search conditions have their indexes --------------------------------------------

namespace {

// Whether a term's column may be compared in the order of a key of folded text.
bool FitsFoldedText(const SQLOrderByColumn& term, bool caseInsensitive) {
    if (term.wrapper == token::kLower) {
        return false;
    }
    return caseInsensitive || term.wrapper == token::kUpper;
}

bool IsConstant(const SQLExpressionNode& node) {
    return node.kind == NodeKind::kLiteral || node.kind == NodeKind::kDynamic;
}

// Equal constants in front of the key leave the order of the rest as it is.
void SkipConstants(List<SQLExpressionNode>* keyValues, CollList<OvraSQLField>& columns) {
    columns.First();
    if (keyValues == nullptr) {
        return;
    }
    for (const SQLExpressionNode* value : *keyValues) {
        if (!IsConstant(*value)) {
            return;
        }
        columns.Next();
    }
}

}  // namespace

bool SQLQuery::FitsOrderBy(Index* index, List<SQLExpressionNode>* keyValues, bool ascending) {
    const bool isDescending = (index->Flags() & kIndexDescending) != 0;
    if (ascending == isDescending) {
        return false;
    }
    const bool hasText = (index->Flags() & kIndexTextOnly) != 0;
    const bool caseInsensitive = generator->GetSchema()->CaseInsensitive();
    CollList<OvraSQLField>& columns = index->Columns();
    SkipConstants(keyValues, columns);
    for (const SQLOrderByColumn* term : orderByColumns) {
        const OvraSQLField* const column = columns.Current();
        if (column == nullptr || !EqualsNoCase(column->Name(), term->column->name)) {
            return false;
        }
        if (hasText && !FitsFoldedText(*term, caseInsensitive)) {
            return false;
        }
        columns.Next();
    }
    return true;
}

bool SQLQuery::OptimizeOrderBy() {
    if (orderBy.Count() == 0 || temporaryTable >= 0) {
        return true;
    }
    SQLTableReference* const first = references->Tables().ItemAt(0);
    if (!OrdersByTable(first)) {
        temporaryTable = generator->TakeTemporary();
        return true;
    }
    const bool ascending = orderBy.First()->ascending != 0;
    TraceLog& trace = generator->GetSchema()->Trace();
    if (first->index != nullptr) {
        // The index of the search condition stays, also where another one would save the sort.
        if (!FitsOrderBy(first->index, first->keyValues.get(), ascending)) {
            trace.Print(
                "Unable to use index '%.100s' selected by search condition optimization for ORDER "
                "BY\n",
                first->index->Name().data);
            temporaryTable = generator->TakeTemporary();
        }
        return true;
    }
    if (!first->LoadIndexes()) {
        return generator->SetError(generator->GetSchema()->Error());
    }
    for (Index* index : first->table->Indexes()) {
        if (FitsOrderBy(index, nullptr, ascending)) {
            first->index = index;
            first->keyValues = std::make_unique<List<SQLExpressionNode>>(false);
            return true;
        }
    }
    trace.Print("No index found appropriate for ORDER BY optimization\n");
    temporaryTable = generator->TakeTemporary();
    return true;
}

// Whether every term is a column of this table of the schema.
bool SQLQuery::OrdersByTable(const SQLTableReference* table) const {
    if (table == nullptr || table->table == nullptr) {
        return false;
    }
    for (const SQLOrderByColumn* term : orderByColumns) {
        if (!term->column->IsTableColumn() || term->column->cursor != table->cursor) {
            return false;
        }
    }
    return true;
}

}  // namespace ovrasql
