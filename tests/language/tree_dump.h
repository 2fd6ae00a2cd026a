#pragma once

// Statement trees as text, so that a test can show the whole shape that a statement gets.
//
//   expressions   a, t.a             columns            'x'        literals ('' is NULL)
//                 ?0                 parameters         _          an empty node
//                 (+ L R), (not L)   operators          (group L)  parentheses
//                 (over X L)         a leaf X whose node was a parent before
//   elements      (between L LOW HIGH)  (in L 'a' ?0)  (in L QUERY)  (substring TEXT START LENGTH)
//                 (sum X)  (count *)  (count X)  (count-distinct X)  (value QUERY)

#include <string>

#include "compile/sql_code_generator.h"
#include "compile/tree/sql_expression.h"
#include "compile/tree/sql_query.h"
#include "compile/tree/sql_statements.h"
#include "language/sql_parser.h"

namespace ovrasql {

// The two refusals that nearly every statement can meet.
inline constexpr const char* kMismatched = "Syntax Error: Mismatched parentheses";
inline constexpr const char* kUnfinished = "Syntax Error: SQL command not properly ended";

std::string DumpText(TextView text);
std::string DumpNode(const SQLExpressionNode* node);
std::string DumpExpression(const SQLExpression* expression);
std::string DumpQuery(const SQLQuery* query);
std::string DumpStatement(const SQLStatement* statement);

// A parser with its generator, for one test.
class ParserBench {
  public:
    ParserBench() : generator(nullptr), parser(&generator) {}

    // The tree of an accepted statement, or the message of a refused one.
    std::string Parse(const std::string& text);
    // The tree of the WHERE of `select a from t where <text>`, or the message.
    std::string Condition(const std::string& text);
    // The tree of the only item of `select <text> from t`, or the message.
    std::string Value(const std::string& text);

    // The last accepted statement, which must be of that class.
    template <class Statement>
    Statement* Last() {
        return dynamic_cast<Statement*>(generator.Statement());
    }
    SQLQuery* Query() { return Last<SQLSelectStatement>()->query.get(); }

    SQLCodeGenerator generator;
    SQLParser parser;
};

}  // namespace ovrasql
