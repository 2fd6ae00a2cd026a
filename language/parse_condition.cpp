#include "compile/tree/complex_elements.h"
#include "compile/tree/sql_expression.h"
#include "compile/tree/sql_query.h"
#include "language/sql_parser.h"

// Conditions: the boolean levels of expressions, from OR down to the single predicate. The
// recursion decides only which tokens are allowed where: every level writes into the one
// SQLExpression, and where a node lands is decided by that object and by the precedence given here.
// The consequences are part of the dialect:
//
//   1. AND and OR have one precedence and group from the left.
//   2. A prefix "not" binds to the operand behind it, not to the comparison.
//   3. "(" at the head of a predicate opens a boolean group, "(" behind a comparison a sub-select.
//
// Values, the levels below, are in parse_expression.cpp.

namespace ovrasql {

namespace {

constexpr int32_t kBooleanPrecedence = -2;     // "and", "or"
constexpr int32_t kComparisonPrecedence = -1;  // "<" to ">=", "like"
constexpr int32_t kUnaryPrecedence = 9999;     // "not", is null

bool IsComparison(int32_t code) {
    switch (code) {
        case token::kLess:
        case token::kGreater:
        case token::kEqual:
        case token::kNotEqual:
        case token::kGreaterEqual:
        case token::kLessEqual:
        case token::kLike:
            return true;
        default:
            return false;
    }
}

// The tokens that may follow a closed boolean group and go on with it as an operand, as in
// "(a) = 1" or "(a + 1) - 2 > 3". Required: the words among them, "*" and "/" are in the set too,
// though the value level then refuses most of them.
bool ReentersCondition(int32_t code) {
    switch (code) {
        case token::kExists:
        case token::kIn:
        case token::kIs:
        case token::kNot:
        case token::kBetween:
        case token::kStar:
        case token::kSlash:
            return true;
        default:
            return IsComparison(code) || code == token::kPlus || code == token::kMinus;
    }
}

}  // namespace

// condition: conjunction {"or" conjunction | conjunction, at a token of the re-entry set}
bool SQLParser::ParseCondition(SQLExpression* expression) {
    if (!ParseConjunction(expression)) {
        return false;
    }
    for (;;) {
        if (Is(token::kOr)) {
            expression->InsertAtGroup(token::kOr, kBooleanPrecedence);
            Next();
        } else if (!ReentersCondition(scanner_.Token())) {
            return true;
        }
        if (!ParseConjunction(expression)) {
            return false;
        }
    }
}

// conjunction: factor {"and" factor}
bool SQLParser::ParseConjunction(SQLExpression* expression) {
    if (!ParseFactor(expression)) {
        return false;
    }
    while (Is(token::kAnd)) {
        expression->InsertAtGroup(token::kAnd, kBooleanPrecedence);
        Next();
        if (!ParseFactor(expression)) {
            return false;
        }
    }
    return true;
}

// factor: ["not"] ("(" condition ")" | predicate)
// Required: the prefix binds to the operand, not to the comparison: "not a = 1" is (not a) = 1.
bool SQLParser::ParseFactor(SQLExpression* expression) {
    if (Is(token::kNot)) {
        expression->InsertPrefix(token::kNot, kUnaryPrecedence);
        Next();
    }
    return Is(token::kOpenParenthesis) ? ParseConditionGroup(expression)
                                       : ParsePredicate(expression);
}

bool SQLParser::ParseConditionGroup(SQLExpression* expression) {
    const NestingLevel level(this);
    if (!level.Check()) {
        return false;
    }
    expression->OpenGroup();
    Next();
    if (!ParseCondition(expression) || !TakeMatchingParenthesis()) {
        return false;
    }
    expression->CloseGroup();
    return true;
}

// predicate: exists | [value] [is null | ["not"] (between | in | "like" ...) | comparison]
// The value may be missing in front of a comparison, which then goes on with what stands before.
bool SQLParser::ParsePredicate(SQLExpression* expression) {
    if (Is(token::kExists)) {
        return ParseExists(expression);
    }
    if (!IsComparison(scanner_.Token()) && !ParseValue(expression)) {
        return false;
    }
    if (Is(token::kIs)) {
        return ParseIsNull(expression);
    }
    if (!Is(token::kNot)) {
        return ParseNegatable(expression);
    }
    Next();
    if (!Is(token::kBetween) && !Is(token::kIn) && !Is(token::kLike)) {
        return ExpectedError("one of BETWEEN, IN, or LIKE");
    }
    if (!ParseNegatable(expression)) {
        return false;
    }
    expression->WrapNot();
    return true;
}

// The part of a predicate behind its value. A bare value is a predicate, too.
bool SQLParser::ParseNegatable(SQLExpression* expression) {
    if (Is(token::kBetween)) {
        return ParseBetween(expression);
    }
    if (Is(token::kIn)) {
        return ParseIn(expression);
    }
    return !IsComparison(scanner_.Token()) || ParseComparison(expression);
}

// exists: "exists" "(" "select" query block ")"
bool SQLParser::ParseExists(SQLExpression* expression) {
    if (!ExpectNext(token::kOpenParenthesis, "open parenthesis")) {
        return false;
    }
    Next();
    SQLQuery* const query = expression->SetSubquery(SQLQuery::kSingleValue);
    return Take(token::kSelect, "SELECT") && ParseQueryBlock(query) && TakeMatchingParenthesis();
}

// is null: "is" ["not"] "null"
bool SQLParser::ParseIsNull(SQLExpression* expression) {
    const bool negated = Next() == token::kNot;
    if (negated) {
        Next();
    }
    if (!Take(token::kNull, "NULL")) {
        return false;
    }
    expression->InsertPostfix(token::kNull, kUnaryPrecedence);
    if (negated) {
        expression->WrapNot();
    }
    return true;
}

// between: "between" value "and" value
bool SQLParser::ParseBetween(SQLExpression* expression) {
    Next();
    SQLBetween* const between = expression->AddBetween();
    return ParseValue(between->NewLow()) && Take(token::kAnd, "AND") &&
           ParseValue(between->NewHigh());
}

// in: "in" "(" ("select" query block | in item {"," in item}) ")"
bool SQLParser::ParseIn(SQLExpression* expression) {
    if (!ExpectNext(token::kOpenParenthesis, "open parenthesis")) {
        return false;
    }
    Next();
    SQLIn* const in = expression->AddIn();
    if (Is(token::kSelect)) {
        Next();
        return ParseQueryBlock(in->NewSubquery()) && TakeMatchingParenthesis();
    }
    if (!ParseInItem(in)) {
        return false;
    }
    while (Is(token::kComma)) {
        Next();
        if (!ParseInItem(in)) {
            return false;
        }
    }
    return TakeMatchingParenthesis();
}

// in item: literal | "?" | ":" number
bool SQLParser::ParseInItem(SQLIn* in) {
    if (Is(token::kTokenLiteral)) {
        in->AddLiteral(Text());
    } else if (Is(token::kQuestion)) {
        in->AddDynamic(0);
    } else if (Is(token::kTokenDynamic)) {
        int32_t number = 0;
        if (!ParseNumber(&number)) {
            return false;
        }
        in->AddDynamic(number);
    } else {
        return ExpectedError("literal or dynamic");
    }
    Next();
    return true;
}

// comparison: ("<" | ">" | "=" | "<>" | ">=" | "<=" | "like")
//             ("(" "select" query block ")" | value)
bool SQLParser::ParseComparison(SQLExpression* expression) {
    expression->InsertAtGroup(scanner_.Token(), kComparisonPrecedence);
    Next();
    if (!Is(token::kOpenParenthesis)) {
        return ParseValue(expression);
    }
    Next();
    SQLQuery* const query = expression->SetSubquery(SQLQuery::kSingleValue);
    return Take(token::kSelect, "SELECT") && ParseQueryBlock(query) && TakeMatchingParenthesis();
}

}  // namespace ovrasql
