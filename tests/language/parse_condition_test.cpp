#include <gtest/gtest.h>

#include <string>

#include "tests/language/tree_dump.h"

// The boolean levels. Precedence is a matter of where nodes land, and many of the shapes here are
// odd; they are the dialect's and statements depend on them.

namespace ovrasql {
namespace {

class ParseCondition : public ::testing::Test {
  protected:
    std::string Condition(const std::string& text) { return bench_.Condition(text); }

    ParserBench bench_;
};

TEST_F(ParseCondition, ReadsEachComparison) {
    EXPECT_EQ(Condition("a < 1"), "(< a '1')");
    EXPECT_EQ(Condition("a > 1"), "(> a '1')");
    EXPECT_EQ(Condition("a = 1"), "(= a '1')");
    EXPECT_EQ(Condition("a <> 1"), "(<> a '1')");
    EXPECT_EQ(Condition("a >= 1"), "(>= a '1')");
    EXPECT_EQ(Condition("a <= 1"), "(<= a '1')");
    EXPECT_EQ(Condition("a like 'x%'"), "(like a 'x%')");
    EXPECT_EQ(Condition("a + 1 = b * 2"), "(= (+ a '1') (* b '2'))");
}

TEST_F(ParseCondition, BindsAndAndOrAlike) {
    EXPECT_EQ(Condition("a = 1 or b = 2 and c = 3"), "(and (or (= a '1') (= b '2')) (= c '3'))");
    EXPECT_EQ(Condition("a = 1 and b = 2 or c = 3"), "(or (and (= a '1') (= b '2')) (= c '3'))");
    EXPECT_EQ(Condition("a or b and c or d"), "(or (and (or a b) c) d)");
    EXPECT_EQ(Condition("a = 1 or (b = 2 and c = 3)"),
              "(or (= a '1') (group (and (= b '2') (= c '3'))))");
}

TEST_F(ParseCondition, AcceptsABareValue) {
    EXPECT_EQ(Condition("a"), "a");
    EXPECT_EQ(Condition("5"), "'5'");
    EXPECT_EQ(Condition("a like 'x%' and b"), "(and (like a 'x%') b)");
    EXPECT_EQ(Condition("((a))"), "(group (group a))");
}

TEST_F(ParseCondition, BindsNotToTheOperand) {
    EXPECT_EQ(Condition("not a = 1"), "(= (group (not a)) '1')");
    EXPECT_EQ(Condition("not (a = 1)"), "(group (not (group (= a '1'))))");
    EXPECT_EQ(Condition("not a between 1 and 2"), "(group (between (not a) '1' '2'))");
    EXPECT_EQ(Condition("a = 1 and not b = 2"), "(and (= a '1') (= (group (not b)) '2'))");
    EXPECT_EQ(Condition("not not a"), "Syntax Error: 'not' unexpected");
}

TEST_F(ParseCondition, NegatesPredicates) {
    EXPECT_EQ(Condition("a not between 1 and 2"), "(not (between a '1' '2'))");
    EXPECT_EQ(Condition("a not in (1, 2)"), "(not (in a '1' '2'))");
    EXPECT_EQ(Condition("a not like 'x'"), "(not (like a 'x'))");
    EXPECT_EQ(Condition("a is not null"), "(not (null a))");
    EXPECT_EQ(Condition("a not in (1) or b"), "(or (not (in a '1')) b)");
}

// The "not" goes over the parent of the last operand, whatever that is.
TEST_F(ParseCondition, NegatesTheLastOperatorOfALikePattern) {
    EXPECT_EQ(Condition("a not like b + c"), "(like a (not (+ b c)))");
}

TEST_F(ParseCondition, WantsAPredicateBehindNot) {
    const std::string wanted = "Syntax Error: Expected one of BETWEEN, IN, or LIKE";
    EXPECT_EQ(Condition("a not 1"), wanted + ", found '1'");
    EXPECT_EQ(Condition("a not = 1"), wanted + ", found '='");
    EXPECT_EQ(Condition("a not is null"), wanted + ", found 'is'");
    EXPECT_EQ(Condition("a not"), wanted + " at end of query");
}

TEST_F(ParseCondition, BindsIsNullToTheLastOperand) {
    EXPECT_EQ(Condition("a is null"), "(null a)");
    EXPECT_EQ(Condition("a + 1 is null"), "(+ a (null '1'))");
    EXPECT_EQ(Condition("a + 1 is not null"), "(+ a (not (null '1')))");
    EXPECT_EQ(Condition("a is null and b is null"), "(and (null a) (null b))");
    EXPECT_EQ(Condition("a is 1"), "Syntax Error: Expected NULL, found '1'");
    EXPECT_EQ(Condition("a is not"), "Syntax Error: Expected NULL at end of query");
}

TEST_F(ParseCondition, BindsBetweenToTheLastProductOrSum) {
    EXPECT_EQ(Condition("a between 1 and 2"), "(between a '1' '2')");
    EXPECT_EQ(Condition("a + b between 1 and 2"), "(between (+ a b) '1' '2')");
    EXPECT_EQ(Condition("a + b * c between 1 and 2"), "(+ a (between (* b c) '1' '2'))");
    EXPECT_EQ(Condition("a between 1 + 1 and b * 2 and c"),
              "(and (between a (+ '1' '1') (* b '2')) c)");
}

TEST_F(ParseCondition, WantsTheWordsOfBetween) {
    EXPECT_EQ(Condition("a between 1 or 2"), "Syntax Error: Expected AND, found 'or'");
    EXPECT_EQ(Condition("a between 1"), "Syntax Error: Expected AND at end of query");
    EXPECT_EQ(Condition("a between and 2"), "Syntax Error: 'and' unexpected");
    EXPECT_EQ(Condition("a between 1 and"), "Syntax Error: '' unexpected");
}

TEST_F(ParseCondition, ReadsInLists) {
    EXPECT_EQ(Condition("x in (1, 'two', ?, :3)"), "(in x '1' 'two' ?0 ?2)");
    EXPECT_EQ(Condition("x in ('')"), "(in x '')");
    EXPECT_EQ(Condition("a + b in (1)"), "(in (+ a b) '1')");
    EXPECT_EQ(Condition("x in (?, :0, ?)"), "(in x ?0 ?1 ?2)");
    EXPECT_EQ(bench_.generator.DynamicCount(), 3);
}

TEST_F(ParseCondition, WantsLiteralsInLists) {
    EXPECT_EQ(Condition("x in (y)"), "Syntax Error: Expected literal or dynamic, found 'y'");
    EXPECT_EQ(Condition("x in ()"), "Syntax Error: Expected literal or dynamic, found ')'");
    EXPECT_EQ(Condition("x in (null)"), "Syntax Error: Expected literal or dynamic, found 'null'");
    EXPECT_EQ(Condition("x in (-1)"), "Syntax Error: Expected literal or dynamic, found '-'");
    EXPECT_EQ(Condition("x in (1,"), "Syntax Error: Expected literal or dynamic at end of query");
    EXPECT_EQ(Condition("x in (:a)"), "Syntax Error: Expected number, found ''");
    EXPECT_EQ(Condition("x in (:1.5)"), "Syntax Error: Expected number, found '1.5'");
    EXPECT_EQ(Condition("x in 1"), "Syntax Error: Expected open parenthesis, found '1'");
    EXPECT_EQ(Condition("x in (1 + 2)"), kMismatched);
    EXPECT_EQ(Condition("x in (1"), kMismatched);
}

TEST_F(ParseCondition, ReadsSubqueries) {
    const std::string query = "(select b as \"b\" (from u))";
    EXPECT_EQ(Condition("a in (select b from u)"), "(in a " + query + ")");
    EXPECT_EQ(Condition("a not in (select b from u)"), "(not (in a " + query + "))");
    EXPECT_EQ(Condition("exists (select b from u)"), "(value " + query + ")");
    EXPECT_EQ(Condition("not exists (select b from u)"), "(group (not (value " + query + ")))");
    EXPECT_EQ(Condition("a = (select b from u)"), "(= a (value " + query + "))");
    EXPECT_EQ(Condition("a like (select b from u)"), "(like a (value " + query + "))");
    EXPECT_EQ(Condition("a not like (select b from u)"), "(not (like a (value " + query + ")))");
    EXPECT_EQ(Condition("x = (select max(a) from t)"),
              "(= x (value (select (max a) as \"max(a)\" (from t))))");
    EXPECT_EQ(Condition("1 + (select b from u) = 2"),
              "(= (+ '1' (group (value " + query + "))) '2')");
}

TEST_F(ParseCondition, WantsWholeSubqueries) {
    EXPECT_EQ(Condition("exists a"), "Syntax Error: Expected open parenthesis, found 'a'");
    EXPECT_EQ(Condition("exists (a)"), "Syntax Error: Expected SELECT, found 'a'");
    EXPECT_EQ(Condition("exists (select b from u"), kMismatched);
    EXPECT_EQ(Condition("a in (select b from u"), kMismatched);
    EXPECT_EQ(Condition("a = (select b from u"), kMismatched);
    EXPECT_EQ(Condition("a = (select b from u order by b)"), kMismatched);
    EXPECT_EQ(Condition("1 + (select b from u"), kMismatched);
    EXPECT_EQ(Condition("a = (1 + 2)"), "Syntax Error: Expected SELECT, found '1'");
    EXPECT_EQ(Condition("a = (select)"), "Syntax Error: ')' unexpected");
}

TEST_F(ParseCondition, ReadsAParenthesisAtTheHeadAsABooleanGroup) {
    EXPECT_EQ(Condition("(a) = 1"), "(= (group a) '1')");
    EXPECT_EQ(Condition("(a = 1)"), "(group (= a '1'))");
    EXPECT_EQ(Condition("(a = 1 or b = 2) and c = 3"),
              "(and (group (or (= a '1') (= b '2'))) (= c '3'))");
    EXPECT_EQ(Condition("(a + 1) - 2 > 3"), "(> (- (group (+ a '1')) '2') '3')");
    EXPECT_EQ(Condition("(a + 1) + b > 3"), "(> (+ (group (+ a '1')) b) '3')");
    EXPECT_EQ(Condition("(a) like 'x'"), "(like (group a) 'x')");
    EXPECT_EQ(Condition("(a = 1"), kMismatched);
    EXPECT_EQ(Condition("(a = 1 b)"), "Syntax Error: Expected operator, found 'b'");
    EXPECT_EQ(Condition("(a))"), kUnfinished);
    EXPECT_EQ(Condition("()"), "Syntax Error: ')' unexpected");
}

// These tokens lead back into the condition, where the value level has no rule for them.
TEST_F(ParseCondition, RefusesTheOtherTokensBehindAGroup) {
    EXPECT_EQ(Condition("(a + 1) * 2 > 3"), "Syntax Error: '*' unexpected");
    EXPECT_EQ(Condition("(a + 1) / 2 > 3"), "Syntax Error: '/' unexpected");
    EXPECT_EQ(Condition("(a) in (1)"), "Syntax Error: 'in' unexpected");
    EXPECT_EQ(Condition("(a) is null"), "Syntax Error: 'is' unexpected");
    EXPECT_EQ(Condition("(a) between 1 and 2"), "Syntax Error: 'between' unexpected");
    EXPECT_EQ(Condition("(a) not in (1)"), "Syntax Error: 'in' unexpected");
    EXPECT_EQ(Condition("(a) b"), kUnfinished);
}

TEST_F(ParseCondition, StartsAtAComparison) {
    EXPECT_EQ(Condition("= 1"), "(= _ '1')");
    EXPECT_EQ(Condition("a = 1 and > 2"), "(and (= a '1') (> _ '2'))");
    EXPECT_EQ(Condition("a = b = c"), "(= (= a b) c)");
    EXPECT_EQ(Condition("a < b > c = d"), "(= (> (< a b) c) d)");
    EXPECT_EQ(Condition("a or b = c = d"), "(or a (= (= b c) d))");
}

// A node that is filled already is filled again. What hung there is dropped or hidden, never freed.
TEST_F(ParseCondition, OverwritesOnTheWayBackIn) {
    EXPECT_EQ(Condition("(a + 1) -2 > 3"), "(> (over '-2' (+ a '1')) '3')");
    EXPECT_EQ(Condition("(a) not b"), "(group (not b))");
    EXPECT_EQ(Condition("(a) exists (select b from u)"),
              "(over (value (select b as \"b\" (from u))) a)");
    EXPECT_EQ(Condition("a = 1 exists (select b from u)"),
              "(= a (value (select b as \"b\" (from u))))");
    EXPECT_EQ(Condition("a = 1 not b"), "(= a (over '1' (not b)))");
    EXPECT_EQ(Condition("a = 1 not (b = 2)"), "(= a (over '1' (not (group (= b '2')))))");
    EXPECT_EQ(Condition("exists (select b from u) exists (select c from v)"),
              "(value (select c as \"c\" (from v)))");
    EXPECT_EQ(Condition("a not in (1) -1"), "(over '-1' (in a '1'))");
    EXPECT_EQ(Condition("a not in (select b from u) not c"), "(not (not c))");
}

TEST_F(ParseCondition, EndsAtOtherTokens) {
    EXPECT_EQ(Condition("a = 1 or"), "Syntax Error: '' unexpected");
    EXPECT_EQ(Condition("a = 1 and"), "Syntax Error: '' unexpected");
    EXPECT_EQ(Condition("and a"), "Syntax Error: 'and' unexpected");
    EXPECT_EQ(Condition("a = 1 ;"), "Syntax Error: Expected operator, found ';'");
    EXPECT_EQ(Condition("a = 1 b = 2"), "Syntax Error: Expected operator, found 'b'");
    EXPECT_EQ(Condition("a != 1"), "Syntax Error: Expected operator, found '!'");
    EXPECT_EQ(Condition("a = 1 select"), kUnfinished);
    EXPECT_EQ(Condition("a = 1 order by a"), "(= a '1')");
}

}  // namespace
}  // namespace ovrasql
