#include <memory>
#include <utility>

#include "compile/sql_code_generator.h"
#include "compile/tree/sql_column_reference.h"
#include "compile/tree/sql_expression.h"
#include "compile/tree/sql_query.h"
#include "compile/tree/sql_statements.h"
#include "compile/tree/sql_table_reference.h"
#include "compile/work_stack.h"
#include "language/tokens.h"

// Moving a condition to the earliest table at which it can be tested: the largest part of WHERE (or
// ON) that needs only tables already open.
//
// Parts are joined by AND. An OR never moves, nor does a column of a derived table, nor a complex
// element by itself; BETWEEN and IN move when their tested value can, whatever else they hold.
// When parts of both sides of an AND can move but not the whole, they are taken out and joined
// under an AND of their own. Under any other operator a side counts only as a whole: nothing is
// taken out of the tree for a part that stays behind in the end.

namespace ovrasql {

namespace {

// The tables whose rows are in hand where the condition would be tested.
struct OpenTables {
    Stack<SQLTableReference>& tables;
    const SQLQuery* parentQuery;
    const SQLTableReference* updateTarget;
};

bool IsOpen(const OpenTables& open, const SQLTableReference* wanted) {
    // The scope is compared, too: a table of another block can be on the stack of that block.
    if (wanted->isOnStack && wanted->scope == open.tables.Top()->scope) {
        return true;
    }
    if (wanted == open.updateTarget) {
        return true;
    }
    for (const SQLQuery* query = open.parentQuery; query != nullptr; query = query->parentQuery) {
        if (query->references == wanted->scope) {
            return true;
        }
    }
    return false;
}

bool IsBareColumnOpen(const OpenTables& open, const SQLColumnReference& column) {
    return column.IsTableColumn() && IsOpen(open, column.source);
}

bool IsAnd(const SQLExpressionNode& node) {
    return node.IsOperator() && node.operatorCode == token::kAnd;
}

bool HasNoChildren(const SQLExpressionNode& node) {
    return node.left == nullptr && node.right == nullptr;
}

// An element's node has an empty right side, which is no operand.
bool IsOperand(const SQLExpressionNode& node, const SQLExpressionNode* child) {
    if (child == nullptr) {
        return false;
    }
    const bool isEmpty = child->kind == NodeKind::kGroup && HasNoChildren(*child);
    return !(node.operatorCode == 0 && child == node.right && isEmpty);
}

// Adds what must be found for the node to be found; false when the node itself can't be.
bool CheckNode(const OpenTables& open, const SQLExpressionNode& node,
               WorkStack<const SQLExpressionNode*>& wanted) {
    switch (node.kind) {
        case NodeKind::kGroup: {
            const SQLExpressionNode* const child = node.left != nullptr ? node.left : node.right;
            if (child == nullptr) {
                return false;
            }
            wanted.Push(child);
            return true;
        }
        case NodeKind::kLiteral:
        case NodeKind::kDynamic:
            return true;
        case NodeKind::kColumn:
            return IsBareColumnOpen(open, *node.column);
        case NodeKind::kOperator:
            if (node.operatorCode == token::kOr) {
                return false;
            }
            if (IsOperand(node, node.left)) {
                wanted.Push(node.left);
            }
            if (IsOperand(node, node.right)) {
                wanted.Push(node.right);
            }
            return true;
        case NodeKind::kElement:
            return false;
    }
    return false;
}

// Whether the whole of a sub-tree can be tested.
bool IsEvaluable(const OpenTables& open, const SQLExpressionNode* root) {
    WorkStack<const SQLExpressionNode*> wanted;
    wanted.Push(root);
    while (!wanted.IsEmpty()) {
        if (!CheckNode(open, *wanted.Pop(), wanted)) {
            return false;
        }
    }
    return true;
}

void UnlinkFromParent(SQLExpressionNode* node) {
    if (SQLExpressionNode* const parent = node->parent; parent != nullptr) {
        (parent->left == node ? parent->left : parent->right) = nullptr;
        node->parent = nullptr;
    }
}

// The old parents of the two parts turn into groups over what is left; the parts are joined under a
// new AND, whose group the table in hand keeps.
SQLExpressionNode* JoinParts(const OpenTables& open, SQLExpressionNode* left,
                             SQLExpressionNode* right) {
    SQLTableReference* const table = open.tables.Top();
    if (table == nullptr) {
        return left;
    }
    for (SQLExpressionNode* part : {left, right}) {
        if (part->parent != nullptr) {
            part->parent->kind = NodeKind::kGroup;
        }
        UnlinkFromParent(part);
    }
    auto holder = std::make_unique<SQLExpression>(table->generator,
                                                  table->generator->Statement()->references);
    SQLExpressionNode* const joined = holder->root->left;
    joined->kind = NodeKind::kOperator;
    joined->operatorCode = token::kAnd;
    joined->left = left;
    joined->right = right;
    left->parent = joined;
    right->parent = joined;
    table->extraConditions.Insert(std::move(holder), ListPlace::kTail);
    return joined;
}

// The part found of an AND whose sides were looked through; null for none.
SQLExpressionNode* FoundOfAnd(const OpenTables& open, SQLExpressionNode* node,
                              SQLExpressionNode* left, SQLExpressionNode* right) {
    if (left == nullptr) {
        return right;
    }
    if (right == nullptr) {
        return left;
    }
    if (left == node->left && right == node->right) {
        return node;
    }
    return JoinParts(open, left, right);
}

// A group or an AND on the way down to what is tested as a whole, and up again.
struct FindStep {
    SQLExpressionNode* node;
    int32_t visited;          // children looked through so far
    SQLExpressionNode* left;  // what was found in the left side of an AND
};

SQLExpressionNode* GroupChild(const SQLExpressionNode& group) {
    return group.left != nullptr ? group.left : group.right;
}

// Only both sides make an AND that can be split.
bool IsSplittable(const SQLExpressionNode& node) {
    return IsAnd(node) && node.left != nullptr && node.right != nullptr;
}

// The child to look through next; null when the node can be decided.
SQLExpressionNode* NextChild(const FindStep& step) {
    const SQLExpressionNode& node = *step.node;
    if (node.kind == NodeKind::kGroup) {
        return step.visited == 0 ? GroupChild(node) : nullptr;
    }
    if (!IsSplittable(node) || step.visited == 2) {
        return nullptr;
    }
    return step.visited == 0 ? node.left : node.right;
}

// What is found of a node whose children are done. `last` is what the last of them gave.
SQLExpressionNode* Decide(const OpenTables& open, const FindStep& step, SQLExpressionNode* last) {
    SQLExpressionNode* const node = step.node;
    if (node->kind == NodeKind::kGroup) {
        const SQLExpressionNode* const child = GroupChild(*node);
        if (child == nullptr) {
            return nullptr;
        }
        return last == child ? node : last;
    }
    if (IsSplittable(*node)) {
        return FoundOfAnd(open, node, step.left, last);
    }
    return IsEvaluable(open, node) ? node : nullptr;
}

// The largest part of the sub-tree that can be tested; null for none.
SQLExpressionNode* FindEvaluable(const OpenTables& open, SQLExpressionNode* root) {
    WorkStack<FindStep> steps;
    SQLExpressionNode* last = nullptr;  // found by the step that ended last
    steps.Push({root, 0, nullptr});
    while (!steps.IsEmpty()) {
        FindStep& step = steps.Top();
        if (step.visited == 1) {
            step.left = last;
        }
        if (SQLExpressionNode* const child = NextChild(step); child != nullptr) {
            ++step.visited;
            steps.Push({child, 0, nullptr});
        } else {
            last = Decide(open, step, last);
            steps.Pop();
        }
    }
    return last;
}

// Takes the node out of the tree. An AND above it gives way to its other side.
void Detach(SQLExpressionNode* node) {
    SQLExpressionNode* const parent = node->parent;
    if (parent != nullptr && parent->kind != NodeKind::kGroup) {
        SQLExpressionNode* const sibling = parent->left == node ? parent->right : parent->left;
        if (sibling == nullptr) {
            UnlinkFromParent(parent);
        } else if (parent->parent != nullptr) {
            parent->parent->ReplaceChild(parent, sibling);
        }
        parent->left = nullptr;
        parent->right = nullptr;
        node->parent = nullptr;
    } else {
        UnlinkFromParent(node);
    }
}

}  // namespace

bool SQLCodeGenerator::ExtractCondition(SQLTableReference* table, Stack<SQLTableReference>& tables,
                                        SQLExpressionNode* root, SQLQuery* parentQuery,
                                        SQLTableReference* updateTarget) {
    if (root == nullptr || root->left == nullptr) {
        return false;
    }
    SQLExpressionNode* const found =
        FindEvaluable(OpenTables{tables, parentQuery, updateTarget}, root->left);
    if (found == nullptr) {
        return false;
    }
    table->searchCondition = found;
    Detach(found);
    return true;
}

}  // namespace ovrasql
