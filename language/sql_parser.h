#pragma once

// SQLParser: one statement text into the statement tree of a code generator.
//
// A recursive descent parser, hand-written, one function for each rule; the rule stands above it.
// It keeps a private copy of the text, into which all names and literals of the tree point, until
// the next Parse or its own end. So it must outlive the compiled program; the engine that owns both
// sees to that. The generator is borrowed.
//
// The first failure ends the parse: its message stays in Error(), and the generator is left without
// a statement. Nesting is bounded, since every level of parentheses, functions and sub-queries is
// a level of recursion here and in the passes behind; chains of operators are not nesting and may
// be as long as the text. One thread at a time.

#include <cstdint>
#include <memory>

#include "foundation/string.h"
#include "foundation/text_view.h"
#include "language/scanner.h"

namespace ovrasql {

struct ColumnDefinition;
class SQLAlterTableDropStatement;
class SQLCodeGenerator;
class SQLCreateIndexStatement;
class SQLDeleteStatement;
class SQLExpression;
class SQLIn;
class SQLInsertStatement;
class SQLQuery;
class SQLTableReferenceFromSelect;
class SQLUpdateStatement;
struct SQLSelectedColumn;
template <class Item>
class CollList;

class SQLParser {
  public:
    // Levels of parentheses, functions and sub-queries that one statement may have. Hosts run
    // statements on threads with as little as 1 MiB of stack, and the costliest level (a block
    // inside a block, unoptimised) takes 1.5 KiB of it.
    static constexpr int32_t kMaximumNesting = 512;

    explicit SQLParser(SQLCodeGenerator* generator);
    ~SQLParser();
    SQLParser(const SQLParser&) = delete;
    SQLParser& operator=(const SQLParser&) = delete;

    // True when `text` is one whole statement, which is then the generator's. The generator is
    // reset first in either case.
    [[nodiscard]] bool Parse(TextView text);
    [[nodiscard]] const String& Error() const { return error_; }

    // Both store a message and yield false. The second says what the parser wanted in place of the
    // current token.
    bool SetError(TextView text);
    bool ExpectedError(TextView what);

  private:
    class NestingLevel;

    // sql_parser.cpp: the start of a statement, and the steps that all rules are made of.
    [[nodiscard]] bool ParseStatement();
    [[nodiscard]] bool ParseAlter();
    [[nodiscard]] bool ParseCreate();
    [[nodiscard]] bool ParseDrop();
    bool UnexpectedError();
    bool MismatchedError();
    bool UnfinishedError();
    int32_t Next() { return scanner_.NextToken(); }
    [[nodiscard]] bool Is(int32_t code) const { return scanner_.Is(code); }
    [[nodiscard]] TextView Text() const { return scanner_.TokenText(); }
    // Require the current token; require the next one; require the current one and step past it.
    [[nodiscard]] bool Expect(int32_t code, TextView what);
    [[nodiscard]] bool ExpectNext(int32_t code, TextView what);
    [[nodiscard]] bool Take(int32_t code, TextView what);
    [[nodiscard]] bool TakeMatchingParenthesis();
    [[nodiscard]] bool TakeCloseParenthesis();

    // parse_definition.cpp
    [[nodiscard]] bool ParseCreateTable();
    [[nodiscard]] bool ParseAlterTable();
    [[nodiscard]] bool ParseAlterTableAdd(TextView tableName);
    [[nodiscard]] bool ParseAlterTableDrop(TextView tableName);
    [[nodiscard]] bool ParseDropTable();
    [[nodiscard]] bool ParseCreateIndex();
    [[nodiscard]] bool ParseIndexColumns(SQLCreateIndexStatement* statement);
    [[nodiscard]] bool ParseDropIndex();
    [[nodiscard]] bool ParseTableName(TextView* name);
    [[nodiscard]] bool CheckNameLength(TextView what, TextView name, int32_t limit);
    [[nodiscard]] bool ParseColumnDefinitions(CollList<ColumnDefinition>* columns);
    [[nodiscard]] bool ParseColumnDefinition(CollList<ColumnDefinition>* columns);
    [[nodiscard]] bool ParseType(ColumnDefinition* column);
    [[nodiscard]] bool ParseCharacterType(ColumnDefinition* column);
    [[nodiscard]] bool ParseVarcharType(ColumnDefinition* column);
    [[nodiscard]] bool ParseNumericType(ColumnDefinition* column);
    [[nodiscard]] bool TakeInteger(int32_t* value);

    // parse_select.cpp
    [[nodiscard]] bool ParseSelect();
    [[nodiscard]] bool ParseQueryBlock(SQLQuery* first);
    [[nodiscard]] bool ParseBlockAndUnions(SQLQuery* first);
    [[nodiscard]] bool ParseOneBlock(SQLQuery* first, SQLQuery* block);
    [[nodiscard]] bool ParseSelectList(SQLQuery* block);
    [[nodiscard]] bool ParseSelectItem(SQLQuery* block);
    [[nodiscard]] bool ParseTableStar(SQLQuery* block);
    [[nodiscard]] bool ParseItemName(SQLSelectedColumn* item, int32_t start);
    [[nodiscard]] bool ParseFromItem(SQLQuery* first, SQLQuery* block);
    [[nodiscard]] bool ParseTableSpec(SQLQuery* query);
    [[nodiscard]] bool ParseTableAndAlias(TextView* name, TextView* alias);
    [[nodiscard]] bool ParseDerivedTable(SQLQuery* first);
    [[nodiscard]] bool ParseDerivedTableAlias(SQLTableReferenceFromSelect* derived);
    [[nodiscard]] bool ParseGroupBy(SQLQuery* block);
    [[nodiscard]] bool ParseOptionalOrderBy(SQLQuery* query);
    [[nodiscard]] bool ParseOrderTerm(SQLQuery* query);

    // parse_modify.cpp
    [[nodiscard]] bool ParseInsert();
    [[nodiscard]] bool ParseInsertColumns(SQLInsertStatement* statement);
    [[nodiscard]] bool ParseInsertValues(SQLInsertStatement* statement);
    [[nodiscard]] bool ParseUpdate();
    [[nodiscard]] bool ParseAssignment(SQLUpdateStatement* statement);
    [[nodiscard]] bool ParseDelete();
    [[nodiscard]] bool ParseCorrelations(SQLDeleteStatement* statement);

    // parse_condition.cpp
    [[nodiscard]] bool ParseCondition(SQLExpression* expression);
    [[nodiscard]] bool ParseConjunction(SQLExpression* expression);
    [[nodiscard]] bool ParseFactor(SQLExpression* expression);
    [[nodiscard]] bool ParseConditionGroup(SQLExpression* expression);
    [[nodiscard]] bool ParsePredicate(SQLExpression* expression);
    [[nodiscard]] bool ParseNegatable(SQLExpression* expression);
    [[nodiscard]] bool ParseExists(SQLExpression* expression);
    [[nodiscard]] bool ParseIsNull(SQLExpression* expression);
    [[nodiscard]] bool ParseBetween(SQLExpression* expression);
    [[nodiscard]] bool ParseIn(SQLExpression* expression);
    [[nodiscard]] bool ParseInItem(SQLIn* in);
    [[nodiscard]] bool ParseComparison(SQLExpression* expression);

    // parse_expression.cpp
    [[nodiscard]] bool ParseValue(SQLExpression* expression);
    [[nodiscard]] bool ParseTerm(SQLExpression* expression);
    [[nodiscard]] bool ParsePrimary(SQLExpression* expression);
    [[nodiscard]] bool ParsePrimaryByToken(SQLExpression* expression);
    [[nodiscard]] bool ParseLeaf(SQLExpression* expression);
    [[nodiscard]] bool ParseValueGroup(SQLExpression* expression);
    [[nodiscard]] bool ParseColumnOrLength(SQLExpression* expression);
    [[nodiscard]] bool ParseLength(SQLExpression* expression, TextView word);
    [[nodiscard]] bool ParseCaseFunction(SQLExpression* expression);
    [[nodiscard]] bool ParseIfNull(SQLExpression* expression);
    [[nodiscard]] bool ParseSubstring(SQLExpression* expression);
    [[nodiscard]] bool ParseCount(SQLExpression* expression);
    [[nodiscard]] bool ParseAggregate(SQLExpression* expression);
    [[nodiscard]] bool ParseNumber(int32_t* number);
    [[nodiscard]] bool ExpectOperator();

    SQLCodeGenerator* generator_;
    std::unique_ptr<char[]> text_;
    Scanner scanner_;
    String error_;
    int32_t nesting_ = 0;
};

// One level of nesting for as long as it stands.
class SQLParser::NestingLevel {
  public:
    explicit NestingLevel(SQLParser* parser) : parser_(parser) { ++parser_->nesting_; }
    ~NestingLevel() { --parser_->nesting_; }
    NestingLevel(const NestingLevel&) = delete;
    NestingLevel& operator=(const NestingLevel&) = delete;

    // False with the message set when this level is one too many.
    [[nodiscard]] bool Check() const;

  private:
    SQLParser* parser_;
};

}  // namespace ovrasql
