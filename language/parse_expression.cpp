#include "compile/tree/complex_elements.h"
#include "compile/tree/sql_expression.h"
#include "compile/tree/sql_query.h"
#include "foundation/text_compare.h"
#include "language/sql_parser.h"

// Values: the arithmetic levels of expressions, down to the single operand. As in
// parse_condition.cpp, the recursion decides which tokens are allowed, and SQLExpression where a
// node lands. The consequences are part of the dialect:
//
//   1. An arithmetic operator climbs one level up the tree and no further.
//   2. A sign is folded into digits that touch it at the head of a term. There is no other unary
//      minus: "-a" is a subtraction whose left operand is empty.

namespace ovrasql {

namespace {

constexpr int32_t kIfNullPrecedence = 0;
constexpr int32_t kAdditivePrecedence = 2;
constexpr int32_t kMultiplicativePrecedence = 3;
constexpr int32_t kFunctionPrecedence = 9999;  // upper, lower, length

bool IsSign(int32_t code) { return code == token::kPlus || code == token::kMinus; }

// The tokens with which a primary can begin.
bool StartsPrimary(int32_t code) {
    switch (code) {
        case token::kTokenDynamic:
        case token::kTokenLiteral:
        case token::kTokenIdentifier:
        case token::kAvg:
        case token::kCount:
        case token::kOpenParenthesis:
        case token::kQuestion:
        case token::kUpper:
        case token::kLower:
        case token::kMax:
        case token::kMin:
        case token::kNull:
        case token::kSubstring:
        case token::kSum:
        case token::kIfnull:
            return true;
        default:
            return false;
    }
}

}  // namespace

// value: term {("+" | "-") term}
// Required: a term may be empty, at the head, between two signs and at the end.
bool SQLParser::ParseValue(SQLExpression* expression) {
    if (!StartsPrimary(scanner_.Token()) && !IsSign(scanner_.Token())) {
        return UnexpectedError();
    }
    while (StartsPrimary(scanner_.Token()) || IsSign(scanner_.Token())) {
        if (!ParseTerm(expression) || !ExpectOperator()) {
            return false;
        }
        if (!IsSign(scanner_.Token())) {
            continue;
        }
        expression->InsertAtCurrent(scanner_.Token(), nullptr, kAdditivePrecedence);
        Next();
        if (Is(token::kTokenUnknown)) {
            return UnexpectedError();
        }
        if (Is(token::kTokenEnd)) {
            return UnfinishedError();
        }
    }
    return true;
}

// term: primary {("*" | "/") primary}
// Required: a sign is folded once, at the head, so "a * -1" is (a * nothing) - 1.
bool SQLParser::ParseTerm(SQLExpression* expression) {
    scanner_.FoldSign();
    while (StartsPrimary(scanner_.Token())) {
        if (!ParsePrimary(expression) || !ExpectOperator()) {
            return false;
        }
        if (!Is(token::kStar) && !Is(token::kSlash)) {
            continue;
        }
        expression->InsertAtCurrent(scanner_.Token(), nullptr, kMultiplicativePrecedence);
        Next();
        if (Is(token::kTokenEnd)) {
            return UnfinishedError();
        }
    }
    return true;
}

// Two operands side by side, or a stray character, want an operator between.
bool SQLParser::ExpectOperator() {
    return !(StartsPrimary(scanner_.Token()) || Is(token::kTokenUnknown)) ||
           ExpectedError("operator");
}

// primary: literal | "null" | "?" | ":" number | column | "(" ... ")" | function | aggregate
bool SQLParser::ParsePrimary(SQLExpression* expression) {
    const NestingLevel level(this);
    return level.Check() && ParsePrimaryByToken(expression);
}

bool SQLParser::ParsePrimaryByToken(SQLExpression* expression) {
    switch (scanner_.Token()) {
        case token::kOpenParenthesis:
            return ParseValueGroup(expression);
        case token::kTokenIdentifier:
            return ParseColumnOrLength(expression);
        case token::kUpper:
        case token::kLower:
            return ParseCaseFunction(expression);
        case token::kIfnull:
            return ParseIfNull(expression);
        case token::kSubstring:
            return ParseSubstring(expression);
        case token::kCount:
            return ParseCount(expression);
        case token::kMax:
        case token::kMin:
        case token::kAvg:
        case token::kSum:
            return ParseAggregate(expression);
        default:
            return ParseLeaf(expression);
    }
}

// A primary of one token. NULL is the empty literal.
bool SQLParser::ParseLeaf(SQLExpression* expression) {
    if (Is(token::kTokenLiteral)) {
        expression->SetLiteral(Text());
    } else if (Is(token::kNull)) {
        expression->SetLiteral(TextView());
    } else if (Is(token::kQuestion)) {
        expression->SetDynamic(0);
    } else if (Is(token::kTokenDynamic)) {
        int32_t number = 0;
        if (!ParseNumber(&number)) {
            return false;
        }
        expression->SetDynamic(number);
    } else {
        return SetError("Syntax Error");
    }
    Next();
    return true;
}

// value group: "(" ("select" query block | value) ")"
// The parenthesis is the block's level of nesting.
bool SQLParser::ParseValueGroup(SQLExpression* expression) {
    expression->OpenGroup();
    Next();
    if (Is(token::kSelect)) {
        SQLQuery* const query = expression->SetSubquery(SQLQuery::kSingleValue);
        Next();
        if (!ParseBlockAndUnions(query)) {
            return false;
        }
    } else if (!ParseValue(expression)) {
        return false;
    }
    if (!TakeMatchingParenthesis()) {
        return false;
    }
    expression->CloseGroup();
    return true;
}

// column: name | name "." name | "length" "(" value ")"
bool SQLParser::ParseColumnOrLength(SQLExpression* expression) {
    const TextView word = Text();
    Next();
    if (Is(token::kPoint)) {
        if (!ExpectNext(token::kTokenIdentifier, "column name")) {
            return false;
        }
        expression->SetColumn(Text(), word);
        Next();
        return true;
    }
    if (Is(token::kOpenParenthesis)) {
        return ParseLength(expression, word);
    }
    expression->SetColumn(word);
    return true;
}

// LENGTH is no reserved word: it is known by the parenthesis behind it.
bool SQLParser::ParseLength(SQLExpression* expression, TextView word) {
    if (!EqualsNoCase(word, "length")) {
        return SetError("Syntax Error: Expected column name, found '('");
    }
    expression->OpenGroup();
    expression->InsertPrefix(token::kLengthFunction, kFunctionPrecedence);
    Next();
    if (!ParseValue(expression) || !TakeCloseParenthesis()) {
        return false;
    }
    expression->CloseGroup();
    return true;
}

// case function: ("upper" | "lower") "(" value ")"
bool SQLParser::ParseCaseFunction(SQLExpression* expression) {
    expression->OpenGroup();
    expression->InsertPrefix(scanner_.Token(), kFunctionPrecedence);
    if (!ExpectNext(token::kOpenParenthesis, "open parenthesis")) {
        return false;
    }
    Next();
    if (!ParseValue(expression) || !TakeCloseParenthesis()) {
        return false;
    }
    expression->CloseGroup();
    return true;
}

// ifnull: "ifnull" "(" value "," value ")"
// Required: it goes over the last operand of its first value only, one level up.
bool SQLParser::ParseIfNull(SQLExpression* expression) {
    expression->OpenGroup();
    if (!ExpectNext(token::kOpenParenthesis, "open parenthesis")) {
        return false;
    }
    Next();
    if (!ParseValue(expression) || !Take(token::kComma, "comma")) {
        return false;
    }
    expression->InsertAtCurrent(token::kIfnull, nullptr, kIfNullPrecedence);
    if (!ParseValue(expression) || !TakeCloseParenthesis()) {
        return false;
    }
    expression->CloseGroup();
    return true;
}

// substring: "substring" "(" value "from" value ["for" value] ")"
bool SQLParser::ParseSubstring(SQLExpression* expression) {
    expression->OpenGroup();
    if (!ExpectNext(token::kOpenParenthesis, "open parenthesis")) {
        return false;
    }
    Next();
    SQLSubstring* const substring = expression->AddSubstring();
    if (!ParseValue(substring->NewString()) || !Take(token::kFrom, "FROM") ||
        !ParseValue(substring->NewStart())) {
        return false;
    }
    if (Is(token::kFor)) {
        Next();
        if (!ParseValue(substring->NewLength())) {
            return false;
        }
    }
    if (!TakeCloseParenthesis()) {
        return false;
    }
    expression->CloseGroup();
    return true;
}

// count: "count" "(" ("*" | ["distinct"] value) ")"
bool SQLParser::ParseCount(SQLExpression* expression) {
    if (!ExpectNext(token::kOpenParenthesis, "open parenthesis")) {
        return false;
    }
    Next();
    if (Is(token::kStar)) {
        expression->SetCountStar();
        Next();
    } else if (Is(token::kDistinct)) {
        Next();
        if (!ParseValue(expression->SetCountDistinct())) {
            return false;
        }
    } else if (!ParseValue(expression->SetCountExpression())) {
        return false;
    }
    return TakeCloseParenthesis();
}

// aggregate: ("max" | "min" | "avg" | "sum") "(" value ")"
bool SQLParser::ParseAggregate(SQLExpression* expression) {
    const int32_t function = scanner_.Token();
    if (!ExpectNext(token::kOpenParenthesis, "open parenthesis")) {
        return false;
    }
    Next();
    return ParseValue(expression->SetAggregate(function)) && TakeCloseParenthesis();
}

bool SQLParser::ParseNumber(int32_t* number) {
    return scanner_.TokenInteger(number) || ExpectedError("number");
}

}  // namespace ovrasql
