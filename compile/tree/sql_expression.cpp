#include "compile/tree/sql_expression.h"

#include "compile/tree/aggregates.h"
#include "compile/tree/complex_elements.h"
#include "compile/tree/sql_query.h"
#include "compile/tree/sql_reference_manager.h"
#include "language/tokens.h"

// Where a node lands in an expression. Each operation touches a handful of links, whatever the size
// of the tree. Those that ask the generator for something are in compile/build_subquery.cpp.
//
// Invariants: `root` is a group without parent and is never current; every other node that is
// reachable has a parent.

namespace ovrasql {

SQLComplexElement::~SQLComplexElement() = default;

void SQLExpressionNode::ReplaceChild(const SQLExpressionNode* old, SQLExpressionNode* fresh) {
    (left == old ? left : right) = fresh;
    fresh->parent = this;
}

SQLExpression::SQLExpression(SQLCodeGenerator* owner, SQLReferenceManager* scope, SQLQuery* block,
                             SQLTableReference* target)
    : generator(owner),
      references(scope),
      query(block),
      updateTarget(target),
      root(NewNode()),
      current(NewNode()),
      groups(false),
      aggregates(false),
      elements_(true) {
    root->left = current;
    current->parent = root;
}

SQLExpression::~SQLExpression() = default;

bool SQLExpression::IsEmpty() const {
    if (root == nullptr || root->left == nullptr) {
        return true;
    }
    const SQLExpressionNode* const top = root->left;
    return top->kind == NodeKind::kGroup && top->left == nullptr && top->right == nullptr;
}

SQLExpressionNode* SQLExpression::NewNode() {
    return references->Nodes().Make<SQLExpressionNode>();
}

SQLExpressionNode* SQLExpression::NewOperator(int32_t operatorCode, int32_t precedence) {
    SQLExpressionNode* const node = NewNode();
    node->kind = NodeKind::kOperator;
    node->operatorCode = operatorCode;
    node->precedence = precedence;
    return node;
}

void SQLExpression::StartRightOperand(SQLExpressionNode* node) {
    SQLExpressionNode* const operand = NewNode();
    node->right = operand;
    operand->parent = node;
    current = operand;
}

// Required: exactly one level. The operator above the parent is not looked at, however tightly it
// binds, so a - b * c - d is a - ((b * c) - d).
void SQLExpression::InsertAtCurrent(int32_t operatorCode, SQLComplexElement* element,
                                    int32_t precedence) {
    SQLExpressionNode* const node = NewOperator(operatorCode, precedence);
    node->element = element;
    SQLExpressionNode* const above = current->parent;
    const bool climbs = above->IsOperator() && above->precedence >= precedence;
    SQLExpressionNode* const operand = climbs ? above : current;
    operand->parent->ReplaceChild(operand, node);
    node->left = operand;
    operand->parent = node;
    StartRightOperand(node);
}

// Required: AND and OR come with one precedence, so a chain of both groups from the left.
void SQLExpression::InsertAtGroup(int32_t operatorCode, int32_t precedence) {
    SQLExpressionNode* const node = NewOperator(operatorCode, precedence);
    SQLExpressionNode* const innermost = groups.Top();
    SQLExpressionNode* const group = innermost != nullptr ? innermost : root;
    SQLExpressionNode* const top = group->left;
    SQLExpressionNode* operand = nullptr;
    if (!top->IsOperator() || top->precedence >= precedence) {
        operand = top;
        group->left = node;
        node->parent = group;
    } else {
        operand = top->right;
        top->right = node;
        node->parent = top;
    }
    node->left = operand;
    operand->parent = node;
    StartRightOperand(node);
}

// Required: what current held before stays in its fields, and a left child of it is dropped.
void SQLExpression::InsertPrefix(int32_t operatorCode, int32_t precedence) {
    SQLExpressionNode* const node = NewOperator(operatorCode, precedence);
    SQLExpressionNode* const operand = NewNode();
    current->left = node;
    node->parent = current;
    node->left = operand;
    operand->parent = node;
    current = operand;
}

void SQLExpression::InsertPostfix(int32_t operatorCode, int32_t precedence) {
    SQLExpressionNode* const node = NewOperator(operatorCode, precedence);
    current->parent->ReplaceChild(current, node);
    node->left = current;
    current->parent = node;
}

// The parent is the operator or element node of the predicate that was just read, so there is a
// node above it.
void SQLExpression::WrapNot() {
    constexpr int32_t kNotPrecedence = 0;
    SQLExpressionNode* const wrapped = current->parent;
    SQLExpressionNode* const node = NewOperator(token::kNot, kNotPrecedence);
    wrapped->parent->ReplaceChild(wrapped, node);
    node->left = wrapped;
    wrapped->parent = node;
    current = node;
}

void SQLExpression::OpenGroup() {
    SQLExpressionNode* const group = NewNode();
    current->parent->ReplaceChild(current, group);
    group->left = current;
    current->parent = group;
    groups.Push(group);
}

void SQLExpression::CloseGroup() {
    if (SQLExpressionNode* const group = groups.Pop(); group != nullptr) {
        current = group;
    }
}

void SQLExpression::SetLiteral(TextView text) {
    current->kind = NodeKind::kLiteral;
    current->text = text;
}

void SQLExpression::SetColumn(TextView name) {
    current->kind = NodeKind::kColumn;
    current->column = references->GetColumnReference(name);
}

void SQLExpression::SetColumn(TextView name, TextView table) {
    current->kind = NodeKind::kColumn;
    current->column = references->GetColumnReference(name, table);
}

void SQLExpression::SetElement(SQLComplexElement* element) {
    current->kind = NodeKind::kElement;
    current->element = element;
}

void SQLExpression::Keep(std::unique_ptr<SQLComplexElement> element) {
    elements_.Insert(std::move(element), ListPlace::kTail);
}

SQLExpression* SQLExpression::AddAggregate(std::unique_ptr<SQLAggregate> aggregate) {
    SQLAggregate* const added = Adopt(std::move(aggregate));
    SetElement(added);
    aggregates.Insert(added, ListPlace::kTail);
    return added->expression.get();
}

SQLExpression* SQLExpression::SetAggregate(int32_t function) {
    return AddAggregate(std::make_unique<SQLAggregate>(generator, references, function));
}

void SQLExpression::SetCountStar() {
    AddAggregate(std::make_unique<SQLAggregateCount>(generator, references));
}

SQLExpression* SQLExpression::SetCountExpression() {
    return AddAggregate(std::make_unique<SQLAggregateCount>(generator, references));
}

SQLExpression* SQLExpression::SetCountDistinct() {
    return AddAggregate(std::make_unique<SQLAggregateCountDistinct>(generator, references));
}

SQLBetween* SQLExpression::AddBetween() {
    SQLBetween* const between = Adopt(std::make_unique<SQLBetween>(generator, references));
    InsertAtCurrent(0, between, 1);
    return between;
}

SQLIn* SQLExpression::AddIn() {
    SQLIn* const in = Adopt(std::make_unique<SQLIn>(generator, references, query));
    InsertAtCurrent(0, in, 1);
    return in;
}

SQLSubstring* SQLExpression::AddSubstring() {
    SQLSubstring* const substring = Adopt(std::make_unique<SQLSubstring>(generator, references));
    InsertAtCurrent(0, substring, 0);
    return substring;
}

}  // namespace ovrasql
