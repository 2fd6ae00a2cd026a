#include <memory>
#include <utility>

#include "compile/sql_code_generator.h"
#include "compile/tree/aggregates.h"
#include "compile/tree/select_items.h"
#include "compile/tree/sql_column_reference.h"
#include "compile/tree/sql_expression.h"
#include "compile/tree/sql_query.h"
#include "compile/work_stack.h"
#include "language/tokens.h"

// A block with aggregates runs in two stages with one bucket between them: the row loops group and
// fold, a second loop walks the groups. Group columns are accumulators beside the true aggregates,
// so the second loop reads everything from the bucket.
//
// Required: GROUP BY without an aggregate in the select list is not looked at. DISTINCT is tested
// inside the row loops, ahead of the fold.

namespace ovrasql {

// --- before and after names resolve ------------------------------------------------------------

bool SQLQuery::NumberAggregates() {
    for (SQLSelectedColumn* item : *selected) {
        if (item->type != SQLSelectedColumn::kExpression) {
            continue;
        }
        for (SQLAggregate* aggregate : item->expression->aggregates) {
            if (bucket < 0) {
                bucket = generator->TakeBucket();
            }
            aggregate->bucket = bucket;
            aggregate->position = nextAccumulator++;
            aggregates.Insert(aggregate, ListPlace::kTail);
        }
    }
    return true;
}

namespace {

// A grouping expression counts only if it is a bare column.
bool IsGroupedBy(const List<SQLExpression>& groupBy, const SQLColumnReference& column) {
    for (const SQLExpression* expression : groupBy) {
        const SQLExpressionNode* const node = expression->root->left;
        if (node != nullptr && node->kind == NodeKind::kColumn &&
            node->column->IsSameColumn(column)) {
            return true;
        }
    }
    return false;
}

// Children before their parent, the left one first.
struct CollectStep {
    SQLExpressionNode* node;
    bool childrenDone;
};

// Calls `visit` for each column of the tree, until it yields false. An aggregate's own columns are
// in the aggregate's expression and are not met.
template <typename Visit>
bool ForEachColumn(SQLExpressionNode* root, Visit visit) {
    WorkStack<CollectStep> steps;
    steps.Push({root, false});
    while (!steps.IsEmpty()) {
        const CollectStep step = steps.Pop();
        if (step.node == nullptr) {
            continue;
        }
        if (!step.childrenDone) {
            steps.Push({step.node, true});
            steps.Push({step.node->right, false});
            steps.Push({step.node->left, false});
        } else if (step.node->kind == NodeKind::kColumn && !visit(step.node)) {
            return false;
        }
    }
    return true;
}

}  // namespace

bool SQLQuery::CheckGroupBy() {
    if (aggregates.Count() == 0) {
        return true;
    }
    for (SQLSelectedColumn* item : *selected) {
        if (item->type != SQLSelectedColumn::kExpression) {
            continue;
        }
        SQLExpression* const expression = item->expression.get();
        const bool allGrouped =
            ForEachColumn(expression->root, [this, expression](SQLExpressionNode* node) {
                if (!IsGroupedBy(groupBy, *node->column)) {
                    return false;
                }
                AccumulateColumn(expression, node);
                return true;
            });
        if (!allGrouped) {
            return generator->SetError(
                "Non aggregate column in select list does not exist in the GROUP BY clause (or no "
                "GROUP BY clause)");
        }
    }
    return true;
}

// The node becomes the read of an accumulator that holds the group's value of the column.
void SQLQuery::AccumulateColumn(SQLExpression* expression, SQLExpressionNode* node) {
    if (bucket < 0) {
        bucket = generator->TakeBucket();
    }
    SQLAggregateColumn* const accumulator = expression->Adopt(
        std::make_unique<SQLAggregateColumn>(generator, references, node->column));
    accumulator->bucket = bucket;
    accumulator->position = nextAccumulator++;
    node->kind = NodeKind::kElement;
    node->element = accumulator;
    aggregates.Insert(accumulator, ListPlace::kTail);
}

// --- the loops ---------------------------------------------------------------------------------

bool SQLQuery::GenerateLoops() {
    if (aggregates.Count() == 0) {
        return GenerateScans();
    }
    generator->Emit(SQL_Bucket, bucket, aggregates.Count());
    if (groupBy.Count() == 0 && !GenerateImplicitGroup()) {
        return false;
    }
    if (!GenerateScans()) {
        return false;
    }
    for (const SQLExpression* expression : groupBy) {
        if (!generator->GenerateExpression(expression->root)) {
            return false;
        }
    }
    generator->Emit(SQL_Bucket_Record, bucket, groupBy.Count(), 0);
    for (SQLAggregate* aggregate : aggregates) {
        if (!aggregate->GenerateAccumulate()) {
            return false;
        }
    }
    if (!CloseScans()) {
        return false;
    }
    bucketFirstJump = generator->Emit(SQL_Bucket_First, bucket, -1);
    return true;
}

// Without GROUP BY there is one group, also when no row comes.
bool SQLQuery::GenerateImplicitGroup() {
    generator->Emit(SQL_Bucket_Default, bucket);
    for (SQLAggregate* aggregate : aggregates) {
        if (!aggregate->GenerateDefault()) {
            return false;
        }
    }
    return true;
}

bool SQLQuery::CloseLoops() {
    if (aggregates.Count() == 0) {
        return CloseScans();
    }
    generator->Emit(SQL_Bucket_Next, bucket, bucketFirstJump + 1);
    generator->PatchToHere(bucketFirstJump, 2);
    return true;
}

// --- one aggregate -----------------------------------------------------------------------------

bool SQLAggregate::Generate() {
    generator->Emit(SQL_Push_Bucket, bucket, position);
    return true;
}

bool SQLAggregate::GenerateDefault() { return true; }

bool SQLAggregate::GenerateAccumulate() {
    if (!generator->GenerateExpression(expression->root)) {
        return false;
    }
    switch (function) {
        case token::kAvg:
            generator->Emit(SQL_Bucket_Average, bucket, position);
            return true;
        case token::kSum:
            generator->Emit(SQL_Bucket_Sum, bucket, position);
            return true;
        case token::kMin:
            generator->Emit(SQL_Bucket_Min, bucket, position);
            return true;
        case token::kMax:
            generator->Emit(SQL_Bucket_Max, bucket, position);
            return true;
        default:
            return generator->SetError("Unhandled aggregate type");
    }
}

namespace {

// A count of no rows is 0, where every other aggregate stays NULL.
void StartCount(const SQLAggregate& count) {
    count.generator->Emit(SQL_Push_Integer, 0);
    count.generator->Emit(SQL_Pop_Bucket, count.bucket, count.position);
}

}  // namespace

bool SQLAggregateCount::GenerateDefault() {
    StartCount(*this);
    return true;
}

bool SQLAggregateCount::GenerateAccumulate() {
    if (expression->IsEmpty()) {
        generator->Emit(SQL_Bucket_Count, bucket, position);
        return true;
    }
    if (!generator->GenerateExpression(expression->root)) {
        return false;
    }
    generator->Emit(SQL_IsNull);
    const int32_t isNull = generator->Emit(SQL_Jump_NE, 0, -1);
    generator->Emit(SQL_Bucket_Count, bucket, position);
    generator->PatchToHere(isNull, 2);
    return true;
}

bool SQLAggregateCountDistinct::GenerateDefault() {
    StartCount(*this);
    return true;
}

bool SQLAggregateCountDistinct::GenerateAccumulate() {
    if (!generator->GenerateExpression(expression->root)) {
        return false;
    }
    generator->Emit(SQL_Bucket_Count_Distinct, bucket, position);
    return true;
}

// Stored again on each row of the group: all of them agree on it.
bool SQLAggregateColumn::GenerateAccumulate() {
    if (!generator->GenerateColumn(column)) {
        return false;
    }
    generator->Emit(SQL_Pop_Bucket, bucket, position);
    return true;
}

}  // namespace ovrasql
