#include "tests/compile/compile_database.h"

// ORDER BY: when an index gives the order, and when the rows are sorted.

namespace ovrasql {
namespace {

class OrderBy : public CompileTest {
  protected:
    void SetUp() override {
        Define("create table t (a numeric(5), b numeric(5), s char(9))");
        Define("create table u (x numeric(5))");
        ASSERT_TRUE(TheSchema().OpenTrace("trace.log"));
    }

    bool Sorts(std::string_view sql) {
        const std::string listing = Compile(sql);
        EXPECT_EQ(listing[0], '0') << listing;
        return listing.find("Temporary_Sort") != std::string::npos;
    }
    bool Has(std::string_view line) {
        return ProgramListing(Generator()).find(line) != std::string::npos;
    }
};

TEST_F(OrderBy, ReadsTheTableThroughTheIndex) {
    Define("create index ia on t (a)");
    EXPECT_FALSE(Sorts("select b from t order by a"));
    EXPECT_TRUE(Has("Cursor_Index 0 0 0 'ia'"));
    EXPECT_TRUE(Sorts("select b from t order by a desc"));
    EXPECT_TRUE(Sorts("select b from t order by b"));
    EXPECT_EQ(TheHost().FileText("trace.log"),
              "No index found appropriate for ORDER BY optimization\n"
              "No index found appropriate for ORDER BY optimization\n");
}

TEST_F(OrderBy, ReadsADescendingIndexForDescendingOrderOnly) {
    Define("create index ia on t (a desc)");
    EXPECT_FALSE(Sorts("select b from t order by a desc"));
    EXPECT_TRUE(Sorts("select b from t order by a"));
}

TEST_F(OrderBy, FitsTheLeadingColumnsOfTheKeyInTurn) {
    Define("create index iab on t (a, b)");
    EXPECT_FALSE(Sorts("select s from t order by a"));
    EXPECT_FALSE(Sorts("select s from t order by a, b"));
    EXPECT_TRUE(Sorts("select s from t order by b"));
    EXPECT_TRUE(Sorts("select s from t order by b, a"));
    EXPECT_TRUE(Sorts("select s from t order by a, b, s"));
}

TEST_F(OrderBy, SortsMixedDirections) {
    Define("create index iab on t (a, b)");
    EXPECT_TRUE(Sorts("select s from t order by a, b desc"));
    EXPECT_TRUE(Sorts("select s from t order by a desc, b"));
    // The temporary table was settled before any index was looked at.
    EXPECT_EQ(TheHost().FileText("trace.log"), "");
}

TEST_F(OrderBy, SortsExpressionsAndDistinct) {
    Define("create index ia on t (a)");
    EXPECT_TRUE(Sorts("select b from t order by a + 1"));
    EXPECT_TRUE(Sorts("select b from t order by (a)"));
    EXPECT_TRUE(Sorts("select b from t order by 1"));
    EXPECT_TRUE(Sorts("select distinct a from t order by a"));
    EXPECT_TRUE(Sorts("select a + 1 as n from t order by n"));
}

// A name of a result column means that column, and a plain one is as good as the column itself.
TEST_F(OrderBy, ReadsAResultColumnThatIsPlainThroughTheIndex) {
    Define("create index ia on t (a)");
    EXPECT_FALSE(Sorts("select a as n from t order by n"));
    // Required: the result column's name comes before the table's.
    EXPECT_TRUE(Sorts("select b as a from t order by a"));
    EXPECT_FALSE(Sorts("select b as a from t order by t.a"));
}

// Constants in front of the key leave the order of the rest.
TEST_F(OrderBy, StepsOverEqualConstants) {
    Define("create index iab on t (a, b)");
    EXPECT_FALSE(Sorts("select s from t where a = 1 order by b"));
    EXPECT_FALSE(Sorts("select s from t where a = ? order by b"));
    EXPECT_TRUE(Sorts("select s from t where a = b order by b"));
    EXPECT_EQ(TheHost().FileText("trace.log"),
              "Unable to use index 'iab' selected by search condition optimization for ORDER BY\n");
}

// The index of the search condition stays, though another one would save the sort.
TEST_F(OrderBy, KeepsTheIndexOfTheSearchCondition) {
    Define("create index ia on t (a)");
    Define("create index ib on t (b)");
    EXPECT_TRUE(Sorts("select s from t where a = 1 order by b"));
    EXPECT_TRUE(Has("Cursor_Index 0 1 0 'ia'"));
}

TEST_F(OrderBy, SortsByAColumnOfALaterTable) {
    Define("create index ia on t (a)");
    EXPECT_FALSE(Sorts("select s from t, u order by a"));
    EXPECT_TRUE(Sorts("select s from t, u order by x"));
    EXPECT_TRUE(Sorts("select s from t, u order by a, x"));
    EXPECT_TRUE(Sorts("select a from (select a from t) d order by a"));
}

// Text keys are folded: their order is that of the values only without regard to case.
TEST_F(OrderBy, ReadsTextThroughTheIndexWhenFolded) {
    Define("create index i on t (s)");
    EXPECT_TRUE(Sorts("select a from t order by s"));
    EXPECT_FALSE(Sorts("select a from t order by upper(s)"));
    EXPECT_TRUE(Sorts("select a from t order by lower(s)"));
    EXPECT_TRUE(Sorts("select a from t order by upper((s))"));
    TheSchema().SetCaseInsensitive(true);
    EXPECT_FALSE(Sorts("select a from t order by s"));
    EXPECT_FALSE(Sorts("select a from t order by upper(s)"));
    EXPECT_TRUE(Sorts("select a from t order by lower(s)"));
}

// Required: one text among its columns makes the whole key one of folded text, numbers included.
TEST_F(OrderBy, ReadsANumberBesideATextLikeAText) {
    Define("create index i on t (a, s)");
    EXPECT_TRUE(Sorts("select b from t order by a"));
    EXPECT_FALSE(Sorts("select b from t order by upper(a)"));
    EXPECT_TRUE(Sorts("select b from t order by upper(a), s"));
    EXPECT_FALSE(Sorts("select b from t order by upper(a), upper(s)"));
    EXPECT_TRUE(Sorts("select b from t where a = 1 order by s"));
    EXPECT_FALSE(Sorts("select b from t where a = 1 order by upper(s)"));
    TheSchema().SetCaseInsensitive(true);
    EXPECT_FALSE(Sorts("select b from t order by a"));
    EXPECT_FALSE(Sorts("select b from t order by a, s"));
    EXPECT_TRUE(Sorts("select b from t order by lower(a)"));
}

// The wrapper of a number does not matter to its key.
TEST_F(OrderBy, ReadsAWrappedNumberThroughTheIndex) {
    Define("create index ia on t (a)");
    EXPECT_FALSE(Sorts("select b from t order by lower(a)"));
}

TEST_F(OrderBy, ReportsACatalogThatCannotBeRead) {
    Define("create index ia on t (a)");
    EXPECT_EQ(Compile("select 1 from t")[0], '0');  // the table is open, its indexes not listed
    TheHost().FailCall("ovFile_Lock", 1, FailureKind::kOutright, FailureSpan::kForEver);
    const std::string message = Compile("select a from t order by b");
    TheHost().ClearFailures();
    EXPECT_EQ(message[0], '!');
    EXPECT_GT(message.size(), 2U) << "a message is wanted";
}

// Behind a BETWEEN the compilation goes on, to fail in the end.
TEST_F(OrderBy, ReportsACatalogThatCannotBeReadForABound) {
    Define("create index ia on t (a)");
    EXPECT_EQ(Compile("select 1 from t, u")[0], '0');
    TheHost().FailCall("ovFile_Lock", 1, FailureKind::kOutright, FailureSpan::kForEver);
    const std::string message = Compile(
        "select x from u where x between 1 and (select a from (select a from t order by b))");
    TheHost().ClearFailures();
    EXPECT_EQ(message[0], '!');
    EXPECT_GT(message.size(), 2U) << "a message is wanted";
}

}  // namespace
}  // namespace ovrasql
