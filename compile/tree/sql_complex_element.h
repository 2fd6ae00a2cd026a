#pragma once

// SQLComplexElement: the base of everything that a node of an expression can hold beside literals,
// columns and plain operators: BETWEEN, IN, SUBSTRING, aggregates and whole sub-queries.
//
// An element is owned by the SQLExpression whose node holds it, not by the node, so that moving or
// dropping nodes never destroys one. It lives as long as the statement.

namespace ovrasql {

class SQLCodeGenerator;
class SQLReferenceManager;

class SQLComplexElement {
  public:
    SQLComplexElement(SQLCodeGenerator* owner, SQLReferenceManager* scope)
        : generator(owner), references(scope) {}
    virtual ~SQLComplexElement();
    SQLComplexElement(const SQLComplexElement&) = delete;
    SQLComplexElement& operator=(const SQLComplexElement&) = delete;

    // Emits the code that leaves the element's value on the stack.
    [[nodiscard]] virtual bool Generate() = 0;

    SQLCodeGenerator* const generator;
    SQLReferenceManager* const references;  // the scope in which the element's names are looked up
};

}  // namespace ovrasql
