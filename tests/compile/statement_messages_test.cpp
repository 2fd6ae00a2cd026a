#include "tests/compile/compile_database.h"

// The messages of the statements that change data, of grouping and of ORDER BY.

namespace ovrasql {
namespace {

class StatementMessages : public CompileTest {
  protected:
    void SetUp() override {
        Define("create table t (a char(5), b numeric(3), c memo)");
        Define("create table u (x char(5))");
    }
};

TEST_F(StatementMessages, CountTheValuesOfAnInsert) {
    EXPECT_EQ(Compile("insert into t values (1)"), "! Not enough values");
    EXPECT_EQ(Compile("insert into t values (1, 2, 3, 4)"), "! Too many values");
    EXPECT_EQ(Compile("insert into t (a, b) select x from u"), "! Not enough values");
    EXPECT_EQ(Compile("insert into t (a) select x, x from u"), "! Too many values");
}

// Names are looked up in preparation, values are counted in generation.
TEST_F(StatementMessages, ReportTheNameBeforeTheCount) {
    EXPECT_EQ(Compile("insert into t (a, q) values (1)"),
              "! Field 'q' does not exist in table 't'");
    EXPECT_EQ(Compile("insert into nix values (1)"), "! Unknown table 'nix'");
}

// A bare star replaces the whole select list, also the empty values for columns left out.
TEST_F(StatementMessages, CountAStarWithoutTheColumnsLeftOut) {
    EXPECT_EQ(Compile("insert into t (a) select * from u"), "! Not enough values");
    EXPECT_EQ(Compile("insert into u (x) select * from t"), "! Too many values");
}

// The values of an INSERT can't name its target.
TEST_F(StatementMessages, KeepTheTargetOutOfTheValues) {
    EXPECT_EQ(Compile("insert into u values (x)"), "! Unknown field 'x'");
}

// Each is an entry of its own with its own slot; the later write wins.
TEST_F(StatementMessages, TakeAColumnNamedTwice) {
    EXPECT_EQ(Compile("insert into u (x, x) values (1, 2)"),
              "0 Cursor_Open 0 1 0 'u'\n"
              "1 Cursor_Column 0 0 0 'x'\n"
              "2 Cursor_Column 0 1 0 'x'\n"
              "3 Push_Literal 0 0 0 '1'\n"
              "4 Pop_Column 0 0 0\n"
              "5 Push_Literal 0 0 0 '2'\n"
              "6 Pop_Column 0 1 0\n"
              "7 Cursor_Insert 0 0 0\n");
}

TEST_F(StatementMessages, RefuseAnUnknownColumnInUpdate) {
    EXPECT_EQ(Compile("update t set q = 1"), "! Unknown field 'q'");
    EXPECT_EQ(Compile("update nix set q = 1"), "! Unknown table 'nix'");
}

TEST_F(StatementMessages, RefuseADeleteFromATableThatIsNotInFrom) {
    EXPECT_EQ(Compile("delete x from t"), "! Unspecified correlation 'x'");
    // A table with an alias goes by that.
    EXPECT_EQ(Compile("delete t from t y"), "! Unspecified correlation 't'");
}

constexpr const char* kNotGrouped =
    "! Non aggregate column in select list does not exist in the GROUP BY clause (or no GROUP BY "
    "clause)";

TEST_F(StatementMessages, RefuseAColumnThatIsNotGrouped) {
    EXPECT_EQ(Compile("select a, count(*) from t"), kNotGrouped);
    EXPECT_EQ(Compile("select a + 1, count(*) from t group by b"), kNotGrouped);
}

// Columns of one slot in two tables are two columns, and so are those of a table and of a derived
// one.
TEST_F(StatementMessages, TellColumnsOfSeveralTablesApartInGroupBy) {
    EXPECT_EQ(Compile("select t.a, count(*) from t, u group by u.x"), kNotGrouped);
    EXPECT_EQ(Compile("select t.a, count(*) from t, (select x from u) y group by y.x"),
              kNotGrouped);
    EXPECT_NE(Compile("select y.x, count(*) from t, (select x from u) y group by y.x"),
              kNotGrouped);
}

// Only a bare column groups.
TEST_F(StatementMessages, RefuseAGroupByExpression) {
    EXPECT_EQ(Compile("select upper(a), count(*) from t group by upper(a)"), kNotGrouped);
    EXPECT_EQ(Compile("select a, count(*) from t group by (a)"), kNotGrouped);
}

// What an element holds is not looked at.
TEST_F(StatementMessages, OverlookAColumnInsideSubstring) {
    EXPECT_EQ(Compile("select substring(a from 1), count(*) from t")[0], '0');
}

// Two references of one field are the same column.
TEST_F(StatementMessages, CompareGroupColumnsBySlot) {
    EXPECT_EQ(Compile("select a, count(*) from t group by t.a")[0], '0');
}

TEST_F(StatementMessages, CheckTheGroupsOfADerivedTableAndOfASubquery) {
    EXPECT_EQ(Compile("select * from (select a, count(*) from t) d"), kNotGrouped);
    EXPECT_EQ(Compile("select a from t where a in (select x + count(*) from u)"), kNotGrouped);
    EXPECT_EQ(Compile("select b from t union select x + count(*) from u"), kNotGrouped);
}

TEST_F(StatementMessages, HoldOrderByOfAUnionToResultColumns) {
    constexpr const char* kByName = "! ORDER BY must be by result column name";
    EXPECT_EQ(Compile("select a from t union select x from u order by b"), kByName);
    EXPECT_EQ(Compile("select a from t union select x from u order by t.a"), kByName);
    EXPECT_EQ(Compile("select a, count(*) from t group by a order by b"), kByName);
    EXPECT_EQ(Compile("select a from t union select x from u order by upper(b)"), kByName);
    // A number is a constant, not a position.
    EXPECT_EQ(Compile("select a from t union select x from u order by 1")[0], '0');
}

TEST_F(StatementMessages, RefuseTheRowNumberInOrderBy) {
    EXPECT_EQ(Compile("select recno as n, a from t order by n"),
              "! Invalid column type in ORDER BY");
}

// A block that is optimized only while code is made refuses its columns there. Whoever asked for
// the value passes the failure on.
TEST_F(StatementMessages, PassOnWhatADerivedTableRefuses) {
    const std::string value = "(select q from (select a as q, count(*) from t) d)";
    EXPECT_EQ(Compile("select b from t where b = " + value), kNotGrouped);
    EXPECT_EQ(Compile("select b from t where b in " + value), kNotGrouped);
    EXPECT_EQ(Compile("insert into u values (" + value + ")"), kNotGrouped);
    EXPECT_EQ(Compile("insert into u select q from (select a as q, count(*) from t) d"),
              kNotGrouped);
    EXPECT_EQ(Compile("update t set b = " + value), kNotGrouped);
    EXPECT_EQ(Compile("update t set b = 1 where b = " + value), kNotGrouped);
    EXPECT_EQ(Compile("delete from t where b = " + value), kNotGrouped);
}

// BETWEEN and SUBSTRING go on behind what is wrong inside them, but the program is not to be run.
TEST_F(StatementMessages, FailInTheEndForWhatStandsInsideBetweenOrSubstring) {
    const std::string value = "(select q from (select a as q, count(*) from t) d)";
    for (const std::string& wrong :
         {"b between 1 and " + value, "b between " + value + " and 1",
          "substring(" + value + " from 1) = 1", "substring(b from " + value + ") = 1",
          "substring(b from 1 for " + value + ") = 1"}) {
        EXPECT_EQ(Compile("select b from t where " + wrong), kNotGrouped) << wrong;
        EXPECT_NE(ProgramListing(Generator()).find("Output"), std::string::npos) << wrong;
    }
    EXPECT_EQ(
        Compile("select b from t where b in (select b from t where b between 1 and " + value + ")"),
        kNotGrouped);
}

TEST_F(StatementMessages, AreThoseOfTheStatementInHand) {
    EXPECT_EQ(Compile("select b from t where b between 1 and "
                      "(select q from (select a as q, count(*) from t) d)"),
              kNotGrouped);
    EXPECT_EQ(CompileAgain("select b from t where b between 1 and 2")[0], '0');
}

}  // namespace
}  // namespace ovrasql
