#include "compile/tree/sql_column_reference.h"
#include "tests/compile/compile_database.h"

// Names: which table they find, how far they look, and every message on the way. A name stands in a
// message as the statement wrote it.

namespace ovrasql {
namespace {

class ResolveNames : public CompileTest {
  protected:
    void SetUp() override {
        Define("create table t1 (a char(5), p numeric(3))");
        Define("create table t2 (a char(5), id numeric(3))");
    }

    // The lines of the program that open cursors and bind columns.
    std::string Opened(std::string_view sql) {
        std::string opened;
        const std::string listing = Compile(sql);
        for (size_t start = 0; start < listing.size();) {
            const size_t end = listing.find('\n', start);
            const std::string line = listing.substr(start, end - start);
            if (line.find("Cursor_Open") != std::string::npos ||
                line.find("Cursor_Column") != std::string::npos || line[0] == '!') {
                opened += line + "\n";
            }
            start = end == std::string::npos ? listing.size() : end + 1;
        }
        return opened;
    }
};

TEST_F(ResolveNames, RefusesANameThatTwoTablesHave) {
    EXPECT_EQ(Compile("select a from t1, t2"), "! Column 'a' ambiguously defined");
}

TEST_F(ResolveNames, TakesAQualifiedNameFromItsTable) {
    EXPECT_EQ(Opened("select t1.a, T2.A from t1, t2"),
              "0 Cursor_Open 0 0 0 't1'\n"
              "1 Cursor_Column 0 0 0 'a'\n"
              "2 Cursor_Open 1 0 0 't2'\n"
              "3 Cursor_Column 1 0 0 'A'\n");
}

TEST_F(ResolveNames, RefusesATableNamedTwice) {
    EXPECT_EQ(Compile("select a from t1, t1"), "! Non unique table 't1'");
    // The other spelling is another place in the text, but no alias was written.
    EXPECT_EQ(Compile("select a from t1, T1"), "! Non unique table 'T1'");
}

TEST_F(ResolveNames, RefusesAnAliasUsedTwice) {
    EXPECT_EQ(Compile("select a from t1 x, t2 x"), "! Non unique alias 'x'");
}

// The same word in the alias's place is an alias.
TEST_F(ResolveNames, CallsAnAliasThatRepeatsTheNameAnAlias) {
    EXPECT_EQ(Compile("select p from t1 t1, t1 t1"), "! Non unique alias 't1'");
}

// The second of a pair decides how the message calls it.
TEST_F(ResolveNames, SeesATableBehindTheAliasOfAnother) {
    EXPECT_EQ(Compile("select p from t1 t2, t2"), "! Non unique table 't2'");
}

TEST_F(ResolveNames, RefusesTwoDerivedTablesWithoutAnAlias) {
    EXPECT_EQ(Compile("select p from (select p from t1), (select id from t2)"),
              "! Non unique table ''");
}

TEST_F(ResolveNames, ReportsAQualifiedNameWhole) {
    EXPECT_EQ(Compile("select x.q from t1 x"), "! Unknown field 'x.q'");
    EXPECT_EQ(Compile("select y.q from t1"), "! Unknown field 'y.q'");
}

TEST_F(ResolveNames, ReportsAnUnqualifiedNameAlone) {
    EXPECT_EQ(Compile("select q from t1"), "! Unknown field 'q'");
}

// The name of the table is hidden by its alias.
TEST_F(ResolveNames, KnowsATableByItsAliasOnly) {
    EXPECT_EQ(Compile("select t1.a from t1 x"), "! Unknown field 't1.a'");
}

TEST_F(ResolveNames, ReportsATableThatIsNotThereInTheWordsOfTheSchema) {
    EXPECT_EQ(Compile("select a from nix"), "! Unknown table 'nix'");
}

// The first table of the pair is bound before the second is refused, so its message comes first.
TEST_F(ResolveNames, BindsEachTableAsItComesUp) {
    EXPECT_EQ(Compile("select a from nix x, t1 x"), "! Unknown table 'nix'");
}

TEST_F(ResolveNames, LetsAQualifiedNameReachTheOuterBlock) {
    EXPECT_EQ(Opened("select p from t1 where exists (select id from t2 where a = t1.a)"),
              "0 Cursor_Open 0 0 0 't1'\n"
              "1 Cursor_Column 0 0 0 'p'\n"
              "2 Cursor_Column 0 1 0 'a'\n"
              "3 Cursor_Open 1 0 0 't2'\n"
              "4 Cursor_Column 1 0 0 'id'\n"
              "5 Cursor_Column 1 1 0 'a'\n");
}

TEST_F(ResolveNames, KeepsAnUnqualifiedNameInItsBlock) {
    EXPECT_EQ(Compile("select p from t1 where exists (select id from t2 where p = 1)"),
              "! Unknown field 'p'");
}

// The innermost scope that has the table decides, also when it lacks the column.
TEST_F(ResolveNames, StopsAtTheFirstScopeWithTheTable) {
    EXPECT_EQ(Compile("select x.p from t1 x where exists (select x.p from t2 x)"),
              "! Unknown field 'x.p'");
}

TEST_F(ResolveNames, ShutsADerivedTableOffFromTheQueryAroundIt) {
    EXPECT_EQ(Compile("select d.a from t1, (select a from t2 where t1.p = 1) d"),
              "! Unknown field 't1.p'");
}

// One reference, one column slot, two spellings in the result.
TEST_F(ResolveNames, SharesOneSlotForOneNameInAnyCase) {
    EXPECT_EQ(Compile("select p, P from t1"),
              "0 Cursor_Open 0 0 0 't1'\n"
              "1 Cursor_Column 0 0 0 'p'\n"
              "2 Result 0 1 0 'p'\n"
              "3 Result 1 1 0 'P'\n"
              "4 Result 2 0 0 'eof'\n"
              "5 Push_Integer 0 0 0\n"
              "6 Pop_Result 2 0 0\n"
              "7 Cursor_First 0 14 0\n"
              "8 Push_Column 0 0 0\n"
              "9 Push_Column 0 0 0\n"
              "10 Pop_Result 1 0 0\n"
              "11 Pop_Result 0 0 0\n"
              "12 Output 0 0 0\n"
              "13 Cursor_Next 0 8 0\n"
              "14 NOOP 0 0 0\n"
              "15 Push_Integer 1 0 0\n"
              "16 Pop_Result 2 0 0\n");
}

// `p` and `t1.p` are two references of one field.
TEST_F(ResolveNames, SharesOneSlotForAQualifiedAndABareName) {
    EXPECT_EQ(Opened("select p, t1.p from t1"),
              "0 Cursor_Open 0 0 0 't1'\n"
              "1 Cursor_Column 0 0 0 'p'\n");
}

// The sort term means the result column, whose name the table does not have.
TEST_F(ResolveNames, ClaimsNoSlotForAResultColumnInOrderBy) {
    EXPECT_EQ(Opened("select p + 1 as q from t1 order by q"),
              "0 Cursor_Open 0 0 0 't1'\n"
              "1 Cursor_Column 0 0 0 'p'\n");
}

TEST_F(ResolveNames, ExpandsAStarInItsPlace) {
    EXPECT_EQ(Opened("select t2.*, p, t1.* from t1, t2"),
              "0 Cursor_Open 0 0 0 't1'\n"
              "1 Cursor_Column 0 0 0 'p'\n"
              "2 Cursor_Column 0 1 0 'A'\n"
              "3 Cursor_Open 1 0 0 't2'\n"
              "4 Cursor_Column 1 0 0 'A'\n"
              "5 Cursor_Column 1 1 0 'ID'\n");
}

TEST_F(ResolveNames, RefusesAStarOverATableThatIsNotThere) {
    EXPECT_EQ(Compile("select q.* from t1"), "! Unspecified correlation 'q'");
}

// The column of the table without a name is not mixed up with the other table's.
TEST_F(ResolveNames, ExpandsAStarOverADerivedTableWithoutAName) {
    EXPECT_EQ(Compile("select * from (select a from t1), t2 where id = 1").substr(0, 2), "0 ");
}

// A name used twice in a derived table means the last one: cell 1, not cell 0.
TEST_F(ResolveNames, FindsTheLastOfEqualNamesInADerivedTable) {
    const std::string listing = Compile("select q from (select a as q, p as q from t1) d");
    EXPECT_NE(listing.find("Push_Temporary 0 1 0"), std::string::npos) << listing;
    EXPECT_EQ(listing.find("Push_Temporary 0 0 0"), std::string::npos) << listing;
}

TEST_F(ResolveNames, RefusesANameThatADerivedTableHasToo) {
    EXPECT_EQ(Compile("select a from t1, (select a from t2) d"),
              "! Column 'a' ambiguously defined");
    EXPECT_EQ(Compile("select a from (select a from t2) d, t1"),
              "! Column 'a' ambiguously defined");
}

// The star of a branch is expanded before the pass over the scopes has bound its table.
TEST_F(ResolveNames, BindsABranchOfAUnionInADerivedTable) {
    EXPECT_EQ(Opened("select * from (select * from t1 union select * from t2) x"),
              "0 Cursor_Open 0 0 0 't1'\n"
              "1 Cursor_Column 0 0 0 'A'\n"
              "2 Cursor_Column 0 1 0 'P'\n"
              "3 Cursor_Open 1 0 0 't2'\n"
              "4 Cursor_Column 1 0 0 'A'\n"
              "5 Cursor_Column 1 1 0 'ID'\n");
}

TEST_F(ResolveNames, CountsTheColumnsOfEveryBranch) {
    EXPECT_EQ(Compile("select a from t1 union select a, id from t2"),
              "! UNIONed queries have a different number of result columns");
}

TEST_F(ResolveNames, AllowsASubqueryOneColumn) {
    EXPECT_EQ(Compile("select a from t1 where a in (select a, id from t2)"),
              "! Sub-query returns more than one column");
    EXPECT_EQ(Compile("select a from t1 where exists (select * from t2)"),
              "! Sub-query returns more than one column");
}

// The table of references keeps what is equal in one place: all three parts count, the name first.
TEST(ColumnReferenceKeys, AreOrderedByNameTableAndQualification) {
    const auto compare = [](const SQLColumnReference& first, const SQLColumnReference& second) {
        const int32_t order = CompareKeys(ItemKey(first), ItemKey(second));
        EXPECT_EQ(order<0, CompareKeys(ItemKey(second), ItemKey(first))> 0);
        return order;
    };
    EXPECT_EQ(compare(SQLColumnReference("a", "t"), SQLColumnReference("A", "T")), 0);
    EXPECT_LT(compare(SQLColumnReference("a", "t"), SQLColumnReference("b", "t")), 0);
    EXPECT_LT(compare(SQLColumnReference("a", "u"), SQLColumnReference("b", "t")), 0);
    EXPECT_LT(compare(SQLColumnReference("b", "t"), SQLColumnReference("aa", "t")), 0);
    EXPECT_LT(compare(SQLColumnReference("a", "t"), SQLColumnReference("a", "u")), 0);
    EXPECT_LT(compare(SQLColumnReference("a"), SQLColumnReference("a", "")), 0);
    EXPECT_EQ(compare(SQLColumnReference("a"), SQLColumnReference("A")), 0);
}

}  // namespace
}  // namespace ovrasql
