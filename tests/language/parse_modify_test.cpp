#include <gtest/gtest.h>

#include <string>

#include "compile/tree/complex_elements.h"
#include "compile/tree/sql_reference_manager.h"
#include "tests/language/tree_dump.h"

// INSERT, UPDATE and DELETE.

namespace ovrasql {
namespace {

class ParseModify : public ::testing::Test {
  protected:
    std::string Parse(const std::string& text) { return bench_.Parse(text); }

    ParserBench bench_;
};

TEST_F(ParseModify, InsertsValues) {
    EXPECT_EQ(Parse("insert into t values (1, 'x', null, ?, a + 1)"),
              "(insert t (columns *) (values '1' 'x' '' ?0 (+ a '1')))");
    EXPECT_EQ(Parse("insert into t (a, b) values (1, 2)"),
              "(insert t (columns a b) (values '1' '2'))");
    EXPECT_EQ(Parse("insert into t (a, a) values (1, 2)"),
              "(insert t (columns a a) (values '1' '2'))");
}

TEST_F(ParseModify, InsertsFromAQuery) {
    EXPECT_EQ(Parse("insert into t select a from u"),
              "(insert t (columns *) (select a as \"a\" (from u)))");
    EXPECT_EQ(Parse("insert into t (x) select a from u union all select b from v order by a"),
              "(insert t (columns x) (select a as \"a\" (from u) "
              "(union-all (select b as \"b\" (from v))) (order-by a asc)))");
}

TEST_F(ParseModify, SaysWhatInsertWants) {
    EXPECT_EQ(Parse("insert"), "Syntax Error: Expected INTO at end of query");
    EXPECT_EQ(Parse("insert t"), "Syntax Error: Expected INTO, found 't'");
    EXPECT_EQ(Parse("insert into"), "Syntax Error: Expected identifier at end of query");
    EXPECT_EQ(Parse("insert into 't'"), "Syntax Error: Expected identifier, found 't'");
    EXPECT_EQ(Parse("insert into t"), "Syntax Error: Expected VALUES or SELECT at end of query");
    EXPECT_EQ(Parse("insert into t x values (1)"),
              "Syntax Error: Expected VALUES or SELECT, found 'x'");
    EXPECT_EQ(Parse("insert into t ()"), "Syntax Error: Expected identifier, found ')'");
    EXPECT_EQ(Parse("insert into t (a,) values (1)"),
              "Syntax Error: Expected identifier, found ')'");
    EXPECT_EQ(Parse("insert into t (t.a) values (1)"),
              "Syntax Error: Expected close parenthesis, found '.'");
    EXPECT_EQ(Parse("insert into t (a"),
              "Syntax Error: Expected close parenthesis at end of query");
    EXPECT_EQ(Parse("insert into t values 1"),
              "Syntax Error: Expected open parenthesis, found '1'");
    EXPECT_EQ(Parse("insert into t values"),
              "Syntax Error: Expected open parenthesis at end of query");
    EXPECT_EQ(Parse("insert into t values ()"), "Syntax Error: ')' unexpected");
    EXPECT_EQ(Parse("insert into t values (1,)"), "Syntax Error: ')' unexpected");
    EXPECT_EQ(Parse("insert into t values (1"),
              "Syntax Error: Expected close parenthesis at end of query");
    EXPECT_EQ(Parse("insert into t select a from u order"),
              "Syntax Error: Expected BY at end of query");
    EXPECT_EQ(Parse("insert into t values (1 = 2)"),
              "Syntax Error: Expected close parenthesis, found '='");
}

TEST_F(ParseModify, InsertsOneRowOnly) {
    EXPECT_EQ(Parse("insert into t values (1), (2)"), kUnfinished);
    EXPECT_EQ(Parse("insert into t values (1) order by a"), kUnfinished);
}

TEST_F(ParseModify, KeepsTheInsertTargetOutOfTheScope) {
    EXPECT_EQ(Parse("insert into t values (1)"), "(insert t (columns *) (values '1'))");
    auto* const insert = bench_.Last<SQLInsertStatement>();
    EXPECT_EQ(insert->references->Tables().Count(), 0);
    EXPECT_EQ(insert->query, nullptr);
}

TEST_F(ParseModify, PutsTheValuesOfInsertIntoNoBlock) {
    EXPECT_EQ(Parse("insert into t values ((select c from u))"),
              "(insert t (columns *) (values (group (value (select c as \"c\" (from u))))))");
    auto* const insert = bench_.Last<SQLInsertStatement>();
    const SQLExpression* const value = insert->values.First();
    EXPECT_EQ(value->query, nullptr);
    EXPECT_EQ(value->updateTarget, nullptr);
    const auto* const subquery = dynamic_cast<const SQLQuery*>(value->root->left->left->element);
    ASSERT_NE(subquery, nullptr);
    EXPECT_EQ(subquery->parentQuery, nullptr);
    EXPECT_EQ(subquery->updateTarget, nullptr);
}

TEST_F(ParseModify, Updates) {
    EXPECT_EQ(Parse("update t set a = 1"), "(update t (set a '1'))");
    EXPECT_EQ(Parse("update t set a = a + 1, b = null, c = upper(c) where a = 1 and b = 2"),
              "(update t (set a (+ a '1')) (set b '') (set c (group (group (upper c)))) "
              "(where (and (= a '1') (= b '2'))))");
}

TEST_F(ParseModify, TakesNullAloneAsAValue) {
    EXPECT_EQ(Parse("update t set a = null + 1"), kUnfinished);
    EXPECT_EQ(Parse("update t set a = (null)"), "(update t (set a (group '')))");
}

TEST_F(ParseModify, SaysWhatUpdateWants) {
    EXPECT_EQ(Parse("update"), "Syntax Error: Expected identifier at end of query");
    EXPECT_EQ(Parse("update 't' set a = 1"), "Syntax Error: Expected identifier, found 't'");
    EXPECT_EQ(Parse("update t"), "Syntax Error: Expected SET at end of query");
    EXPECT_EQ(Parse("update t x set a = 1"), "Syntax Error: Expected SET, found 'x'");
    EXPECT_EQ(Parse("update t set"), "Syntax Error: Expected column identifier at end of query");
    EXPECT_EQ(Parse("update t set 1 = a"), "Syntax Error: Expected column identifier, found '1'");
    EXPECT_EQ(Parse("update t set a"), "Syntax Error: Expected = at end of query");
    EXPECT_EQ(Parse("update t set t.a = 1"), "Syntax Error: Expected =, found '.'");
    EXPECT_EQ(Parse("update t set a ="), "Syntax Error: '' unexpected");
    EXPECT_EQ(Parse("update t set a = 1,"),
              "Syntax Error: Expected column identifier at end of query");
    EXPECT_EQ(Parse("update t set a = 1, where b = 2"),
              "Syntax Error: Expected column identifier, found 'where'");
    EXPECT_EQ(Parse("update t set a = 1 from u"), kUnfinished);
}

TEST_F(ParseModify, MakesUpdateExpressionsWithTheTarget) {
    EXPECT_EQ(Parse("update t set a = 1 where b = (select c from u)"),
              "(update t (set a '1') (where (= b (value (select c as \"c\" (from u))))))");
    auto* const update = bench_.Last<SQLUpdateStatement>();
    EXPECT_EQ(update->target->loadIndexes, 1);
    EXPECT_EQ(update->references->Tables().Find("T"), update->target);
    const SQLExpression* const value = update->columns.First()->expression.get();
    EXPECT_EQ(value->query, nullptr);
    EXPECT_EQ(value->updateTarget, update->target);
    EXPECT_EQ(update->where->query, nullptr);
    EXPECT_EQ(update->where->updateTarget, update->target);
    const auto* const subquery =
        dynamic_cast<const SQLQuery*>(update->where->root->left->right->element);
    ASSERT_NE(subquery, nullptr);
    EXPECT_EQ(subquery->parentQuery, nullptr);
    EXPECT_EQ(subquery->updateTarget, update->target);
}

// The statement's own expressions have the target; an element's, like IN's, have not.
TEST_F(ParseModify, MakesAnInSubqueryOfUpdateWithoutTheTarget) {
    EXPECT_EQ(Parse("update t set a = 1 where b in (select c from u)"),
              "(update t (set a '1') (where (in b (select c as \"c\" (from u)))))");
    auto* const update = bench_.Last<SQLUpdateStatement>();
    const auto* const in = dynamic_cast<const SQLIn*>(update->where->root->left->element);
    ASSERT_NE(in, nullptr);
    EXPECT_EQ(in->subquery->updateTarget, nullptr);
    EXPECT_EQ(in->subquery->parentQuery, nullptr);
}

TEST_F(ParseModify, Deletes) {
    EXPECT_EQ(Parse("delete from t"), "(delete (targets) (select (from t)))");
    EXPECT_EQ(Parse("delete from t where a = 1"),
              "(delete (targets) (select (from t) (where (= a '1'))))");
    EXPECT_EQ(Parse("delete t.* from t"), "(delete (targets t) (select (from t)))");
    EXPECT_EQ(Parse("delete t from t"), "(delete (targets t) (select (from t)))");
    EXPECT_EQ(Parse("delete x, y.* from t x, u y where x.a = y.a"),
              "(delete (targets x y) (select (from t:x u:y) (where (= x.a y.a))))");
    EXPECT_EQ(Parse("delete x from t x left outer join u on x.a = u.a"),
              "(delete (targets x) (select (from t:x (outer x u (= x.a u.a)))))");
}

TEST_F(ParseModify, TakesDeleteTargetsWithoutCommas) {
    EXPECT_EQ(Parse("delete x y.* z from t"), "(delete (targets x y z) (select (from t)))");
    EXPECT_EQ(Parse("delete x, x from t"), "(delete (targets x x) (select (from t)))");
}

TEST_F(ParseModify, SaysWhatDeleteWants) {
    EXPECT_EQ(Parse("delete"), "Syntax Error: Expected FROM at end of query");
    EXPECT_EQ(Parse("delete 't' from t"), "Syntax Error: Expected FROM, found 't'");
    EXPECT_EQ(Parse("delete * from t"), "Syntax Error: Expected FROM, found '*'");
    EXPECT_EQ(Parse("delete t"), "Syntax Error: Expected FROM at end of query");
    EXPECT_EQ(Parse("delete t.a from t"), "Syntax Error: Expected *, found 'a'");
    EXPECT_EQ(Parse("delete t."), "Syntax Error: Expected * at end of query");
    EXPECT_EQ(Parse("delete t, from t"), "Syntax Error: Expected identifier, found 'from'");
    EXPECT_EQ(Parse("delete t,"), "Syntax Error: Expected identifier at end of query");
    EXPECT_EQ(Parse("delete from"), "Syntax Error: Expected identifier at end of query");
    EXPECT_EQ(Parse("delete from (select a from t)"),
              "Syntax Error: Expected identifier, found '('");
    EXPECT_EQ(Parse("delete from t order by a"), kUnfinished);
}

}  // namespace
}  // namespace ovrasql
