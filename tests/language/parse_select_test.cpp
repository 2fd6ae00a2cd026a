#include <gtest/gtest.h>

#include <string>

#include "compile/tree/sql_reference_manager.h"
#include "tests/language/tree_dump.h"

// SELECT: blocks, lists, FROM, UNION, ORDER BY.

namespace ovrasql {
namespace {

constexpr const char* kEmpty = "Syntax Error: Empty SQL Statement";

class ParseSelect : public ::testing::Test {
  protected:
    std::string Parse(const std::string& text) { return bench_.Parse(text); }
    // The name of the only item of a select list.
    std::string ItemName(const std::string& item) {
        const std::string tree = Parse("select " + item + " from t");
        return bench_.generator.Statement() == nullptr
                   ? tree
                   : DumpText(bench_.Query()->selected->First()->name);
    }

    ParserBench bench_;
};

TEST_F(ParseSelect, RefusesWhatStartsNoStatement) {
    for (const char* text : {"", "   ", "commit", "table t", "with x", ";", "'select'", "selects",
                             "(select a from t)"}) {
        EXPECT_EQ(Parse(text), kEmpty) << text;
    }
}

TEST_F(ParseSelect, MeasuresATerminatedText) {
    ASSERT_TRUE(bench_.parser.Parse("select a from t"));
    ASSERT_TRUE(bench_.parser.Parse(TextView("select a from t", -1)));
    ASSERT_TRUE(bench_.parser.Parse(TextView("select a from t where", 15)));
    ASSERT_FALSE(bench_.parser.Parse(TextView(nullptr, 0)));
}

TEST_F(ParseSelect, KeepsItsOwnCopyOfTheText) {
    std::string text = "select abc from tuv";
    ASSERT_TRUE(bench_.parser.Parse(TextView(text.data(), static_cast<int32_t>(text.size()))));
    text.assign(text.size(), 'x');
    EXPECT_EQ(DumpStatement(bench_.generator.Statement()), "(select abc as \"abc\" (from tuv))");
}

TEST_F(ParseSelect, TakesNoMarkBehindTheStatement) {
    EXPECT_EQ(Parse("select * from t;"), kUnfinished);
    EXPECT_EQ(Parse("select * from t )"), kUnfinished);
    EXPECT_EQ(Parse("select * from t select"), kUnfinished);
    EXPECT_EQ(Parse("select * from t -- all"), kUnfinished);
}

TEST_F(ParseSelect, ReadsStarAndItems) {
    EXPECT_EQ(Parse("select * from t"), "(select * (from t))");
    EXPECT_EQ(Parse("select a, b from t"), "(select a as \"a\" b as \"b\" (from t))");
    EXPECT_EQ(Parse("select t.* from t"), "(select t.* (from t))");
    EXPECT_EQ(Parse("select a, t . * , b from t"), "(select a as \"a\" t.* b as \"b\" (from t))");
    EXPECT_EQ(Parse("select t.a from t"), "(select t.a as \"a\" (from t))");
}

TEST_F(ParseSelect, TakesTheStarAlone) {
    EXPECT_EQ(Parse("select *, a from t"), "Syntax Error: Expected FROM, found ','");
    EXPECT_EQ(Parse("select a, * from t"), "Syntax Error: '*' unexpected");
}

TEST_F(ParseSelect, ReadsAllAndDistinct) {
    EXPECT_EQ(Parse("select all a from t"), "(select a as \"a\" (from t))");
    EXPECT_EQ(Parse("select distinct a from t"), "(select-distinct a as \"a\" (from t))");
    EXPECT_EQ(Parse("select distinct * from t"), "(select-distinct * (from t))");
}

TEST_F(ParseSelect, TakesDistinctBehindAllAndNotInFrontOfIt) {
    EXPECT_EQ(Parse("select all distinct a from t"), "(select-distinct a as \"a\" (from t))");
    EXPECT_EQ(Parse("select distinct all a from t"), "Syntax Error: 'all' unexpected");
    EXPECT_EQ(Parse("select all all a from t"), "Syntax Error: 'all' unexpected");
    EXPECT_EQ(Parse("select distinct distinct a from t"), "Syntax Error: 'distinct' unexpected");
}

TEST_F(ParseSelect, WantsAListAndFrom) {
    EXPECT_EQ(Parse("select"), "Syntax Error: '' unexpected");
    EXPECT_EQ(Parse("select from t"), "Syntax Error: 'from' unexpected");
    EXPECT_EQ(Parse("select a"), "Syntax Error: Expected FROM at end of query");
    EXPECT_EQ(Parse("select a where b"), "Syntax Error: Expected FROM, found 'where'");
    EXPECT_EQ(Parse("select * from"), "Syntax Error: Expected identifier at end of query");
    EXPECT_EQ(Parse("select * from 't'"), "Syntax Error: Expected identifier, found 't'");
    EXPECT_EQ(Parse("select * from t,"), "Syntax Error: Expected identifier at end of query");
    EXPECT_EQ(Parse("select a, from t"), "Syntax Error: 'from' unexpected");
}

TEST_F(ParseSelect, KnowsNoAliasWithoutAs) {
    EXPECT_EQ(Parse("select a b from t"), "Syntax Error: Expected operator, found 'b'");
    EXPECT_EQ(Parse("select recno b from t"), "Syntax Error: Expected FROM, found 'b'");
    EXPECT_EQ(Parse("select a as b from t"), "(select a as \"b\" (from t))");
    EXPECT_EQ(Parse("select a as 'b' from t"), "Syntax Error: Expected identifier, found 'b'");
    EXPECT_EQ(Parse("select a as from t"), "Syntax Error: Expected identifier, found 'from'");
    EXPECT_EQ(Parse("select a as"), "Syntax Error: Expected identifier at end of query");
}

TEST_F(ParseSelect, NamesColumnsAsTheyWereTyped) {
    EXPECT_EQ(ItemName("Abc"), "Abc");
    EXPECT_EQ(ItemName("t.Abc"), "Abc");
    EXPECT_EQ(ItemName("t . Abc"), "Abc");
    EXPECT_EQ(Parse("select a, A from t"), "(select a as \"a\" a as \"A\" (from t))");
    EXPECT_EQ(Parse("select t.a, T.A from t"), "(select t.a as \"a\" t.a as \"A\" (from t))");
}

TEST_F(ParseSelect, NamesOtherItemsByTheirSource) {
    EXPECT_EQ(ItemName("a  +  1"), "a  +  1");
    EXPECT_EQ(ItemName("(a)"), "(a)");
    EXPECT_EQ(ItemName("count( * )"), "count( * )");
    EXPECT_EQ(ItemName("upper(Name)"), "upper(Name)");
    EXPECT_EQ(ItemName("null"), "null");
    EXPECT_EQ(ItemName("12"), "12");
    EXPECT_EQ(ItemName("-12"), "-12");
    EXPECT_EQ(ItemName("-a"), "-a");
    EXPECT_EQ(ItemName("?"), "?");
    EXPECT_EQ(ItemName(":3"), "3");
}

TEST_F(ParseSelect, NamesStringsWithoutTheirQuotes) {
    EXPECT_EQ(ItemName("'text'"), "text");
    EXPECT_EQ(ItemName("'text' + a"), "text' + a");
    EXPECT_EQ(ItemName("a + 'text'"), "a + 'text");
    EXPECT_EQ(ItemName("''"), "");
}

TEST_F(ParseSelect, NamesItemsByTheWordBehindAs) {
    EXPECT_EQ(ItemName("a as Total"), "Total");
    EXPECT_EQ(ItemName("a + 1 as Total"), "Total");
    EXPECT_EQ(ItemName("recno as Row"), "Row");
}

TEST_F(ParseSelect, TakesRecnoAsAnItemOnly) {
    EXPECT_EQ(Parse("select recno, a from t"), "(select recno as \"recno\" a as \"a\" (from t))");
    EXPECT_EQ(Parse("select RecNo from t"), "(select recno as \"RecNo\" (from t))");
    EXPECT_EQ(Parse("select recno + 1 from t"), "Syntax Error: Expected FROM, found '+'");
    EXPECT_EQ(Parse("select a from t where recno = 1"), "Syntax Error: 'recno' unexpected");
    EXPECT_EQ(Parse("select a from t order by recno"), "Syntax Error: 'recno' unexpected");
}

TEST_F(ParseSelect, LooksAheadForTheStarOnly) {
    EXPECT_EQ(Parse("select a.b.c from t"), "Syntax Error: Expected FROM, found '.'");
    EXPECT_EQ(Parse("select a. from t"), "Syntax Error: Expected column name, found 'from'");
    EXPECT_EQ(Parse("select a."), "Syntax Error: Expected column name at end of query");
    EXPECT_EQ(Parse("select a"), "Syntax Error: Expected FROM at end of query");
    EXPECT_EQ(Parse("select t.* as x from t"), "Syntax Error: Expected FROM, found 'as'");
    EXPECT_EQ(Parse("select t.* + 1 from t"), "Syntax Error: Expected FROM, found '+'");
}

TEST_F(ParseSelect, ReadsTablesAndAliases) {
    EXPECT_EQ(Parse("select * from t, u"), "(select * (from t u))");
    EXPECT_EQ(Parse("select * from t x, u y"), "(select * (from t:x u:y))");
    EXPECT_EQ(Parse("select * from t t"), "(select * (from t:t))");
    EXPECT_EQ(Parse("select * from t as x"), kUnfinished);
    EXPECT_EQ(Parse("select * from t x y"), kUnfinished);
}

TEST_F(ParseSelect, ReadsOuterJoins) {
    EXPECT_EQ(Parse("select * from t left outer join u on t.a = u.a"),
              "(select * (from t (outer t u (= t.a u.a))))");
    EXPECT_EQ(Parse("select * from t x left outer join u y on x.a = y.a "
                    "left outer join v on y.b = v.b, w"),
              "(select * (from t:x (outer x u:y (= x.a y.a)) (outer y v (= y.b v.b)) w))");
}

TEST_F(ParseSelect, KnowsNoOtherJoin) {
    EXPECT_EQ(Parse("select * from t left join u on a = b"),
              "Syntax Error: Expected OUTER, found 'join'");
    EXPECT_EQ(Parse("select * from t left outer u"), "Syntax Error: Expected JOIN, found 'u'");
    EXPECT_EQ(Parse("select * from t left outer join"),
              "Syntax Error: Expected identifier at end of query");
    EXPECT_EQ(Parse("select * from t left outer join (select a from u) on a"),
              "Syntax Error: Expected identifier, found '('");
    EXPECT_EQ(Parse("select * from t left outer join u"),
              "Syntax Error: Expected ON at end of query");
    EXPECT_EQ(Parse("select * from t left outer join u where a"),
              "Syntax Error: Expected ON, found 'where'");
    for (const char* join : {"inner join", "right outer join", "full outer join", "join"}) {
        EXPECT_EQ(Parse(std::string("select * from t ") + join + " u on a = b"), kUnfinished)
            << join;
    }
}

TEST_F(ParseSelect, ReadsWhereAndGroupBy) {
    EXPECT_EQ(Parse("select a from t where a = 1 group by a, b + 1"),
              "(select a as \"a\" (from t) (where (= a '1')) (group-by a (+ b '1')))");
    EXPECT_EQ(Parse("select a from t group by a"), "(select a as \"a\" (from t) (group-by a))");
    EXPECT_EQ(Parse("select a from t group a"), "Syntax Error: Expected BY, found 'a'");
    EXPECT_EQ(Parse("select a from t group"), "Syntax Error: Expected BY at end of query");
    EXPECT_EQ(Parse("select a from t group by"), "Syntax Error: '' unexpected");
    EXPECT_EQ(Parse("select a from t group by a = 1"), kUnfinished);
    EXPECT_EQ(Parse("select a from t where"), "Syntax Error: '' unexpected");
}

TEST_F(ParseSelect, KnowsNoHaving) {
    EXPECT_EQ(Parse("select a from t having a = 1"), kUnfinished);
    EXPECT_EQ(Parse("select a from t group by a having a = 1"), kUnfinished);
}

TEST_F(ParseSelect, ReadsOrderBy) {
    EXPECT_EQ(Parse("select a from t order by a"), "(select a as \"a\" (from t) (order-by a asc))");
    EXPECT_EQ(Parse("select a from t order by a desc, b + 1 asc, 1"),
              "(select a as \"a\" (from t) (order-by a desc (+ b '1') asc '1' asc))");
    EXPECT_EQ(Parse("select a from t order a"), "Syntax Error: Expected BY, found 'a'");
    EXPECT_EQ(Parse("select a from t order by"), "Syntax Error: '' unexpected");
    EXPECT_EQ(Parse("select a from t order by a asc desc"), kUnfinished);
    EXPECT_EQ(Parse("select a from t order by a where b"), kUnfinished);
}

TEST_F(ParseSelect, ReadsUnions) {
    EXPECT_EQ(Parse("select a from t union select b from u"),
              "(select a as \"a\" (from t) (union (select b as \"b\" (from u))))");
    EXPECT_EQ(Parse("select a from t union all select b from u union select distinct c from v "
                    "where c = 1 group by c"),
              "(select a as \"a\" (from t) (union-all (select b as \"b\" (from u))) (union "
              "(select-distinct c as \"c\" (from v) (where (= c '1')) (group-by c))))");
}

TEST_F(ParseSelect, OrdersTheWholeUnion) {
    EXPECT_EQ(Parse("select a from t union select b from u order by a"),
              "(select a as \"a\" (from t) (union (select b as \"b\" (from u))) "
              "(order-by a asc))");
    EXPECT_EQ(Parse("select a from t order by a union select b from u"), kUnfinished);
}

TEST_F(ParseSelect, WantsSelectBehindUnion) {
    EXPECT_EQ(Parse("select a from t union b"), "Syntax Error: Expected SELECT, found 'b'");
    EXPECT_EQ(Parse("select a from t union all"), "Syntax Error: Expected SELECT at end of query");
    EXPECT_EQ(Parse("select a from t union distinct select a from u"),
              "Syntax Error: Expected SELECT, found 'distinct'");
    EXPECT_EQ(Parse("select a from t union (select a from u)"),
              "Syntax Error: Expected SELECT, found '('");
}

TEST_F(ParseSelect, ReadsDerivedTables) {
    const std::string inner = "(select b as \"b\" (from u))";
    EXPECT_EQ(Parse("select * from (select b from u) x"), "(select * (from (" + inner + " x)))");
    EXPECT_EQ(Parse("select * from (select b from u) as x"), "(select * (from (" + inner + " x)))");
    EXPECT_EQ(Parse("select * from (select b from u)"), "(select * (from (" + inner + " )))");
    EXPECT_EQ(Parse("select * from t, (select b from u) x, v"),
              "(select * (from t (" + inner + " x) v))");
    EXPECT_EQ(Parse("select * from (select b from u order by b desc) x"),
              "(select * (from ((select b as \"b\" (from u) (order-by b desc)) x)))");
}

TEST_F(ParseSelect, SaysWhatADerivedTableWants) {
    EXPECT_EQ(Parse("select * from (t)"), "Syntax Error: Expected SELECT, found 't'");
    EXPECT_EQ(Parse("select * from ("), "Syntax Error: Expected SELECT at end of query");
    EXPECT_EQ(Parse("select * from (select a from t"),
              "Syntax Error: Expected close parenthesis at end of query");
    EXPECT_EQ(Parse("select * from (select a from t;)"),
              "Syntax Error: Expected close parenthesis, found ';'");
    EXPECT_EQ(Parse("select * from (select a from t) as"),
              "Syntax Error: Expected identifier at end of query");
    EXPECT_EQ(Parse("select * from (select a from t) as select"),
              "Syntax Error: Expected identifier, found 'select'");
    EXPECT_EQ(Parse("select * from (select a from t) x left outer join u on a = b"), kUnfinished);
}

// The table list is the first block's, whichever branch the derived table is written in.
TEST_F(ParseSelect, GivesALaterBranchsDerivedTableToTheFirstBlock) {
    EXPECT_EQ(Parse("select a from t union select b from (select b from u) x, v"),
              "(select a as \"a\" (from t ((select b as \"b\" (from u)) x)) "
              "(union (select b as \"b\" (from v))))");
    // Inside a sub-query or a derived table the first block is the inner chain's.
    EXPECT_EQ(Parse("select a from t where a in (select b from u union select c from "
                    "(select c from v) x)"),
              "(select a as \"a\" (from t) (where (in a (select b as \"b\" (from u "
              "((select c as \"c\" (from v)) x)) (union (select c as \"c\" (from)))))))");
}

TEST_F(ParseSelect, ReplacesTheStatementOfAnEarlierParse) {
    EXPECT_EQ(Parse("select a from t"), "(select a as \"a\" (from t))");
    EXPECT_EQ(Parse("drop table t"), "(drop-table \"t\")");
    EXPECT_EQ(Parse("nonsense"), kEmpty);
    EXPECT_EQ(bench_.generator.Statement(), nullptr);
    EXPECT_EQ(Parse("select b from t"), "(select b as \"b\" (from t))");
    EXPECT_TRUE(bench_.parser.Error().IsEmpty());
}

TEST_F(ParseSelect, StoresMessagesFromOutside) {
    EXPECT_FALSE(bench_.parser.SetError("something"));
    EXPECT_EQ(DumpText(bench_.parser.Error()), "something");
    EXPECT_FALSE(bench_.parser.SetError(nullptr));
    EXPECT_TRUE(bench_.parser.Error().IsEmpty());
    EXPECT_FALSE(bench_.parser.ExpectedError("identifier"));
    EXPECT_EQ(DumpText(bench_.parser.Error()), "Syntax Error: Expected identifier at end of query");
}

// A failure right after tokens were pushed back must not leak them into the next text.
TEST_F(ParseSelect, StartsEachTextAfresh) {
    EXPECT_EQ(Parse("select a.b c from t"), "Syntax Error: Expected operator, found 'c'");
    EXPECT_EQ(Parse("select x from y"), "(select x as \"x\" (from y))");
}

}  // namespace
}  // namespace ovrasql
