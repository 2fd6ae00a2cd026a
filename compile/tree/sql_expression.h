#pragma once

// SQLExpression and SQLExpressionNode: the one form of expressions, from the parser's first token
// to the code generator.
//
// The parser's recursion decides which tokens are allowed where; the shape of the tree is decided
// here, by the insertion operations and the precedence given to each. They are part of the dialect:
// an operator climbs at most one level, and AND and OR bind alike.
//
// Ownership: nodes lie in the scope's arena and are never freed one by one, so a dropped sub-tree
// leaks nothing and trees of any depth go without a walk. Elements are owned by the expression that
// made them, also after their node has moved elsewhere. All of it lives as long as the statement.
//
// Chains are deep: a hundred thousand terms are a tree of that depth. No walk may recurse by node.

#include <cstdint>
#include <memory>
#include <utility>

#include "compile/tree/sql_complex_element.h"
#include "foundation/list.h"
#include "foundation/stack.h"
#include "foundation/text_view.h"

namespace ovrasql {

class SQLAggregate;
class SQLBetween;
class SQLIn;
class SQLQuery;
class SQLSubstring;
class SQLTableReference;
struct SQLColumnReference;

enum class NodeKind : int32_t {
    kGroup = 0,     // empty, or a group over `left` (`right` only after a rewrite)
    kLiteral = 1,   // `text`
    kColumn = 2,    // `column`
    kOperator = 3,  // `operatorCode` over `left` and `right`; with code 0 also `element`
    kElement = 4,   // `element`, without operands
    kDynamic = 5,   // `dynamicIndex`
};

class SQLExpressionNode {
  public:
    [[nodiscard]] bool IsOperator() const { return kind == NodeKind::kOperator; }
    // Puts `fresh` where `old` hangs below this node.
    void ReplaceChild(const SQLExpressionNode* old, SQLExpressionNode* fresh);

    SQLExpressionNode* parent = nullptr;
    SQLExpressionNode* left = nullptr;
    SQLExpressionNode* right = nullptr;
    NodeKind kind = NodeKind::kGroup;
    int32_t operatorCode = 0;              // a token code, 0 for an element's node
    SQLComplexElement* element = nullptr;  // borrowed from the expression that made it
    int32_t precedence = 0;
    TextView text;  // into the statement text
    SQLColumnReference* column = nullptr;
    int32_t dynamicIndex = 0;
};

class SQLExpression {
  public:
    SQLExpression(SQLCodeGenerator* owner, SQLReferenceManager* scope, SQLQuery* block = nullptr,
                  SQLTableReference* target = nullptr);
    virtual ~SQLExpression();
    SQLExpression(const SQLExpression&) = delete;
    SQLExpression& operator=(const SQLExpression&) = delete;

    // True when nothing is left to test or to compute.
    [[nodiscard]] bool IsEmpty() const;

    // A binary operator or an element's node over `current`. It goes above current's parent when
    // that is an operator binding at least as tightly: one level, never further. A new empty right
    // child becomes current.
    void InsertAtCurrent(int32_t operatorCode, SQLComplexElement* element, int32_t precedence);
    // A binary operator at the top of the innermost open group, or below that top's right side when
    // the top binds more loosely. A new empty right child becomes current.
    void InsertAtGroup(int32_t operatorCode, int32_t precedence);
    // A unary operator below current; its new empty operand becomes current.
    void InsertPrefix(int32_t operatorCode, int32_t precedence);
    // A unary operator above current, which stays current.
    void InsertPostfix(int32_t operatorCode, int32_t precedence);
    // A "not" above current's parent; the "not" becomes current.
    void WrapNot();
    // A group above current, which stays current until the group is closed.
    void OpenGroup();
    // The innermost open group becomes current.
    void CloseGroup();

    // These fill current. The text of a literal is borrowed.
    void SetLiteral(TextView text);
    void SetColumn(TextView name);
    void SetColumn(TextView name, TextView table);
    // 0 takes the next parameter in the order of parsing; n is the n-th one.
    void SetDynamic(int32_t number);
    // A sub-query in current; the caller fills it.
    SQLQuery* SetSubquery(int32_t queryKind);
    // Aggregates in current; they yield the expression to fill (count of "*" has an empty one).
    SQLExpression* SetAggregate(int32_t function);
    void SetCountStar();
    SQLExpression* SetCountExpression();
    SQLExpression* SetCountDistinct();

    // Elements over current as their tested value.
    SQLBetween* AddBetween();
    SQLIn* AddIn();
    SQLSubstring* AddSubstring();

    // A node without parent, in the scope's arena.
    SQLExpressionNode* NewNode();
    // Takes ownership of an element for the life of this expression and hands it back.
    template <typename Element>
    Element* Adopt(std::unique_ptr<Element> element) {
        Element* const adopted = element.get();
        Keep(std::move(element));
        return adopted;
    }

    SQLCodeGenerator* const generator;
    SQLReferenceManager* const references;
    SQLQuery* const query;                  // the block whose WHERE, ON or list this is, or null
    SQLTableReference* const updateTarget;  // handed to a sub-query made inside
    SQLExpressionNode* root;                // always a group; its left child is the expression
    SQLExpressionNode* current;             // the node being filled
    Stack<SQLExpressionNode> groups;        // open groups, not owned
    int32_t selectItem = 0;                 // 1 for an expression of a select list
    List<SQLAggregate> aggregates;          // in the order of parsing, not owned

  private:
    void Keep(std::unique_ptr<SQLComplexElement> element);
    SQLExpressionNode* NewOperator(int32_t operatorCode, int32_t precedence);
    void StartRightOperand(SQLExpressionNode* node);
    void SetElement(SQLComplexElement* element);
    SQLExpression* AddAggregate(std::unique_ptr<SQLAggregate> aggregate);

    List<SQLComplexElement> elements_;
};

}  // namespace ovrasql
