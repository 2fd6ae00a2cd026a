#include <gtest/gtest.h>

#include <limits>
#include <string>

#include "tests/language/tree_dump.h"

// The arithmetic levels and the operands.

namespace ovrasql {
namespace {

class ParseValue : public ::testing::Test {
  protected:
    std::string Value(const std::string& text) { return bench_.Value(text); }
    // The message for a value that ends the text.
    std::string AtEnd(const std::string& text) { return bench_.Parse("select " + text); }

    ParserBench bench_;
};

TEST_F(ParseValue, ClimbsOneLevelOnly) {
    EXPECT_EQ(Value("10 - 2 * 3 - 4"), "(- '10' (- (* '2' '3') '4'))");
    EXPECT_EQ(Value("1 + 2 * 3 + 4"), "(+ '1' (+ (* '2' '3') '4'))");
    EXPECT_EQ(Value("a - b * c - d * e"), "(- a (- (* b c) (* d e)))");
    EXPECT_EQ(Value("(10 - 2 * 3) - 4"), "(- (group (- '10' (* '2' '3'))) '4')");
}

TEST_F(ParseValue, GroupsChainsFromTheLeft) {
    EXPECT_EQ(Value("a - b - c"), "(- (- a b) c)");
    EXPECT_EQ(Value("a / b * c"), "(* (/ a b) c)");
    EXPECT_EQ(Value("a * b + c * d"), "(+ (* a b) (* c d))");
    EXPECT_EQ(Value("a + b - c + d"), "(+ (- (+ a b) c) d)");
}

TEST_F(ParseValue, FoldsSignsAtTheHeadOfATerm) {
    EXPECT_EQ(Value("-1"), "'-1'");
    EXPECT_EQ(Value("+1"), "'+1'");
    EXPECT_EQ(Value("a - -1"), "(- a '-1')");
    EXPECT_EQ(Value("a -1"), "(- a '1')");
    EXPECT_EQ(Value("a-1"), "(- a '1')");
    EXPECT_EQ(Value("-1 * -2"), "(- (* '-1' _) '2')");
    EXPECT_EQ(Value("-1.5"), "Syntax Error: Expected FROM, found '.'");
    EXPECT_EQ(Value("1.5"), "'1.5'");
}

// A sign that can't be folded is a binary operator with an empty operand.
TEST_F(ParseValue, LeavesOperandsOfOtherSignsEmpty) {
    EXPECT_EQ(Value("-a"), "(- _ a)");
    EXPECT_EQ(Value("- 1"), "(- _ '1')");
    EXPECT_EQ(Value("+a"), "(+ _ a)");
    EXPECT_EQ(Value("a * -1"), "(- (* a _) '1')");
    EXPECT_EQ(Value("a - - 1"), "(- (- a _) '1')");
    EXPECT_EQ(Value("(a + )"), "(group (+ a _))");
    EXPECT_EQ(Value("a +"), "(+ a _)");
    EXPECT_EQ(Value("a *"), "(* a _)");
}

TEST_F(ParseValue, WantsAnOperatorBetweenOperands) {
    EXPECT_EQ(Value("a b"), "Syntax Error: Expected operator, found 'b'");
    EXPECT_EQ(Value("a 1"), "Syntax Error: Expected operator, found '1'");
    EXPECT_EQ(Value("'it''s'"), "Syntax Error: Expected operator, found 's'");
    EXPECT_EQ(Value("12ab"), "Syntax Error: Expected operator, found 'ab'");
    EXPECT_EQ(Value("a ;"), "Syntax Error: Expected operator, found ';'");
    EXPECT_EQ(Value("a * ;"), "Syntax Error: Expected operator, found ';'");
    EXPECT_EQ(Value("1 null"), "Syntax Error: Expected operator, found 'null'");
    EXPECT_EQ(Value("t.length(a)"), "Syntax Error: Expected operator, found '('");
}

TEST_F(ParseValue, RefusesWhatStartsNoValue) {
    EXPECT_EQ(Value("* a"), "Syntax Error: Expected FROM, found 'a'");
    EXPECT_EQ(Value("/ a"), "Syntax Error: '/' unexpected");
    EXPECT_EQ(Value(";"), "Syntax Error: ';' unexpected");
    EXPECT_EQ(Value(".5"), "Syntax Error: '.' unexpected");
    EXPECT_EQ(Value("date"), "Syntax Error: 'date' unexpected");
    EXPECT_EQ(Value("a + ;"), "Syntax Error: ';' unexpected");
    EXPECT_EQ(Value("\"a\""), "Syntax Error: '\"' unexpected");
}

TEST_F(ParseValue, EndsNotBehindAnOperator) {
    EXPECT_EQ(AtEnd("1 +"), kUnfinished);
    EXPECT_EQ(AtEnd("1 -"), kUnfinished);
    EXPECT_EQ(AtEnd("1 *"), kUnfinished);
    EXPECT_EQ(AtEnd("1 /"), kUnfinished);
    EXPECT_EQ(AtEnd("-"), kUnfinished);
    EXPECT_EQ(bench_.Condition("a = 1 +"), kUnfinished);
}

TEST_F(ParseValue, ReadsOperandsOfOneToken) {
    EXPECT_EQ(Value("'text'"), "'text'");
    EXPECT_EQ(Value("''"), "''");
    EXPECT_EQ(Value("null"), "''");
    EXPECT_EQ(Value("abc"), "abc");
    EXPECT_EQ(Value("t.abc"), "t.abc");
    EXPECT_EQ(Value("t.'abc'"), "Syntax Error: Expected column name, found 'abc'");
    EXPECT_EQ(Value("t.date"), "Syntax Error: Expected column name, found 'date'");
}

TEST_F(ParseValue, NumbersParametersInTheOrderOfParsing) {
    EXPECT_EQ(Value("? + ? + :1 + :0 + ?"), "(+ (+ (+ (+ ?0 ?1) ?0) ?2) ?3)");
    EXPECT_EQ(bench_.generator.DynamicCount(), 4);
    EXPECT_EQ(Value(":1"), "?0");
    EXPECT_EQ(bench_.generator.DynamicCount(), 0);
    EXPECT_EQ(bench_.Condition("a = :7"), "(= a ?6)");
    EXPECT_EQ(bench_.generator.DynamicCount(), 0);
}

TEST_F(ParseValue, TakesParametersAsIntegersThatWrap) {
    EXPECT_EQ(Value(":4294967296"), "?0");
    EXPECT_EQ(bench_.generator.DynamicCount(), 1);
    EXPECT_EQ(Value(":4294967295"), "?-2");
    EXPECT_EQ(Value(":2147483647"), "?2147483646");
    EXPECT_EQ(Value(":2147483648"), "?" + std::to_string(std::numeric_limits<int32_t>::min()));
    EXPECT_EQ(Value(":"), "Syntax Error: Expected number, found ''");
    EXPECT_EQ(Value(":1.5"), "Syntax Error: Expected number, found '1.5'");
    EXPECT_EQ(AtEnd(":a"), "Syntax Error: Expected number, found ''");
}

TEST_F(ParseValue, GroupsValues) {
    EXPECT_EQ(Value("(a)"), "(group a)");
    EXPECT_EQ(Value("a * (b + c)"), "(* a (group (+ b c)))");
    EXPECT_EQ(Value("((a))"), "(group (group a))");
    EXPECT_EQ(Value("(a"), kMismatched);
    EXPECT_EQ(Value("(a = 1)"), kMismatched);
    EXPECT_EQ(Value("()"), "Syntax Error: ')' unexpected");
    EXPECT_EQ(Value("(select b from u)"), "(group (value (select b as \"b\" (from u))))");
    EXPECT_EQ(Value("(select b from u order by b)"), kMismatched);
}

TEST_F(ParseValue, ReadsFunctions) {
    EXPECT_EQ(Value("upper(a)"), "(group (group (upper a)))");
    EXPECT_EQ(Value("lower(a)"), "(group (group (lower a)))");
    EXPECT_EQ(Value("length(a)"), "(group (group (length a)))");
    EXPECT_EQ(Value("LENGTH (a)"), "(group (group (length a)))");
    EXPECT_EQ(Value("length"), "length");
    EXPECT_EQ(Value("upper(a) + 1"), "(+ (group (group (upper a))) '1')");
    EXPECT_EQ(Value("1 + upper(a) * 2"), "(+ '1' (* (group (group (upper a))) '2'))");
    EXPECT_EQ(Value("upper(lower(a))"), "(group (group (upper (group (group (lower a))))))");
}

// The function binds to the first operand of its argument, as a prefix does everywhere.
TEST_F(ParseValue, BindsFunctionsToOneOperand) {
    EXPECT_EQ(Value("upper(a + b)"), "(group (group (+ (upper a) b)))");
    EXPECT_EQ(Value("length(a * b)"), "(group (group (* (length a) b)))");
    EXPECT_EQ(Value("upper((a + b))"), "(group (group (upper (group (+ a b)))))");
}

TEST_F(ParseValue, WantsTheParenthesesOfFunctions) {
    EXPECT_EQ(Value("upper a"), "Syntax Error: Expected open parenthesis, found 'a'");
    EXPECT_EQ(Value("lower"), "Syntax Error: Expected open parenthesis, found 'from'");
    EXPECT_EQ(Value("upper()"), "Syntax Error: ')' unexpected");
    EXPECT_EQ(Value("upper(a"), "Syntax Error: Expected close parenthesis, found 'from'");
    EXPECT_EQ(Value("upper(a, b)"), "Syntax Error: Expected close parenthesis, found ','");
    EXPECT_EQ(Value("length(a"), "Syntax Error: Expected close parenthesis, found 'from'");
    EXPECT_EQ(AtEnd("upper(a"), "Syntax Error: Expected close parenthesis at end of query");
}

TEST_F(ParseValue, KnowsNoOtherFunction) {
    EXPECT_EQ(Value("foo(1)"), "Syntax Error: Expected column name, found '('");
    EXPECT_EQ(Value("lengthy(a)"), "Syntax Error: Expected column name, found '('");
    EXPECT_EQ(Value("coalesce(a, b)"), "Syntax Error: 'coalesce' unexpected");
}

TEST_F(ParseValue, ReadsIfNull) {
    EXPECT_EQ(Value("ifnull(a, b)"), "(group (ifnull a b))");
    EXPECT_EQ(Value("ifnull(a, b + c)"), "(group (ifnull a (+ b c)))");
    EXPECT_EQ(Value("ifnull(a + b, c)"), "(group (ifnull (+ a b) c))");
    EXPECT_EQ(Value("ifnull(a + b * c, d)"), "(group (+ a (ifnull (* b c) d)))");
    EXPECT_EQ(Value("ifnull a"), "Syntax Error: Expected open parenthesis, found 'a'");
    EXPECT_EQ(Value("ifnull(a, )"), "Syntax Error: ')' unexpected");
    EXPECT_EQ(Value("ifnull(a)"), "Syntax Error: Expected comma, found ')'");
    EXPECT_EQ(Value("ifnull(a, b"), "Syntax Error: Expected close parenthesis, found 'from'");
    EXPECT_EQ(Value("ifnull(a, b, c)"), "Syntax Error: Expected close parenthesis, found ','");
    EXPECT_EQ(AtEnd("ifnull(a"), "Syntax Error: Expected comma at end of query");
}

TEST_F(ParseValue, ReadsSubstring) {
    EXPECT_EQ(Value("substring(a from 2)"), "(group (substring a '2'))");
    EXPECT_EQ(Value("substring(a from 2 for 3)"), "(group (substring a '2' '3'))");
    EXPECT_EQ(Value("substring(a + b from c * 2 for 1 + 1)"),
              "(group (substring (+ a b) (* c '2') (+ '1' '1')))");
    EXPECT_EQ(Value("substring(a from 2) + b"), "(+ (group (substring a '2')) b)");
    EXPECT_EQ(Value("substring a"), "Syntax Error: Expected open parenthesis, found 'a'");
    EXPECT_EQ(Value("substring(a, 2)"), "Syntax Error: Expected FROM, found ','");
    EXPECT_EQ(Value("substring(a from 2, 3)"),
              "Syntax Error: Expected close parenthesis, found ','");
    EXPECT_EQ(Value("substring(a from)"), "Syntax Error: ')' unexpected");
    EXPECT_EQ(AtEnd("substring(a"), "Syntax Error: Expected FROM at end of query");
    EXPECT_EQ(AtEnd("substring(a from 2 for"), "Syntax Error: '' unexpected");
}

TEST_F(ParseValue, ReadsAggregates) {
    EXPECT_EQ(Value("count(*)"), "(count *)");
    EXPECT_EQ(Value("count(a + 1)"), "(count (+ a '1'))");
    EXPECT_EQ(Value("count(distinct a)"), "(count-distinct a)");
    EXPECT_EQ(Value("max(a)"), "(max a)");
    EXPECT_EQ(Value("min(a)"), "(min a)");
    EXPECT_EQ(Value("avg(a)"), "(avg a)");
    EXPECT_EQ(Value("sum(a * 2)"), "(sum (* a '2'))");
    EXPECT_EQ(Value("sum(a) + max(b) * 2"), "(+ (sum a) (* (max b) '2'))");
    EXPECT_EQ(Value("sum(sum(a))"), "(sum (sum a))");
}

TEST_F(ParseValue, WantsTheParenthesesOfAggregates) {
    EXPECT_EQ(Value("count a"), "Syntax Error: Expected open parenthesis, found 'a'");
    EXPECT_EQ(Value("count()"), "Syntax Error: ')' unexpected");
    EXPECT_EQ(Value("count(*"), "Syntax Error: Expected close parenthesis, found 'from'");
    EXPECT_EQ(Value("count(* + 1)"), "Syntax Error: Expected close parenthesis, found '+'");
    EXPECT_EQ(Value("count(distinct)"), "Syntax Error: ')' unexpected");
    EXPECT_EQ(Value("count(distinct *)"), "Syntax Error: '*' unexpected");
    EXPECT_EQ(Value("sum a"), "Syntax Error: Expected open parenthesis, found 'a'");
    EXPECT_EQ(Value("sum(*)"), "Syntax Error: '*' unexpected");
    EXPECT_EQ(Value("max(a, b)"), "Syntax Error: Expected close parenthesis, found ','");
    EXPECT_EQ(AtEnd("min(a"), "Syntax Error: Expected close parenthesis at end of query");
}

TEST_F(ParseValue, ListsTheAggregatesOfAnExpression) {
    EXPECT_EQ(Value("sum(a) + max(min(b))"), "(+ (sum a) (max (min b)))");
    const SQLExpression* const item = bench_.Query()->selected->First()->expression.get();
    EXPECT_EQ(item->aggregates.Count(), 2);
    EXPECT_EQ(item->selectItem, 1);
}

}  // namespace
}  // namespace ovrasql
