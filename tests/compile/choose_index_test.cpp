#include "compile/tree/sql_query.h"
#include "compile/tree/sql_reference_manager.h"
#include "compile/tree/sql_table_reference.h"
#include "tests/compile/compile_database.h"

// Which index a search condition chooses, with which key values and bounds. An index line is
// "Cursor_Index cursor, number of key values, 1 for a start bound, name"; a stop bound is one of
// the cursor comparisons.

namespace ovrasql {
namespace {

class ChooseIndex : public CompileTest {
  protected:
    void SetUp() override {
        Define("create table t (a numeric(5), b numeric(5), c numeric(5), s char(9), m memo)");
    }

    // The lines of the program that read by an index, stop a walk or sort, without their numbers.
    std::string Plan(std::string_view sql) {
        std::string plan;
        const std::string listing = Compile(sql);
        for (size_t start = 0; start < listing.size();) {
            const size_t end = listing.find('\n', start);
            std::string line = listing.substr(start, end - start);
            line.erase(0, line.find(' ') + 1);
            for (const char* wanted : {"Cursor_Index", "Cursor_Less", "Cursor_Greater", "Sort"}) {
                if (line.find(wanted) != std::string::npos) {
                    plan += (plan.empty() ? "" : "; ") + line;
                }
            }
            start = end == std::string::npos ? listing.size() : end + 1;
        }
        return plan;
    }
};

TEST_F(ChooseIndex, TakesTheIndexWithMoreEqualParts) {
    Define("create index ib on t (b)");
    Define("create index iab on t (a, b)");
    EXPECT_EQ(Plan("select c from t where a = 1 and b = 2"), "Cursor_Index 0 2 0 'iab'");
    EXPECT_EQ(Plan("select c from t where b = 2 and c = 3"), "Cursor_Index 0 1 0 'ib'");
}

// The second column of the key alone is of no use.
TEST_F(ChooseIndex, NeedsTheFirstColumnOfTheKey) {
    Define("create index iab on t (a, b)");
    EXPECT_EQ(Plan("select c from t where b = 2"), "");
}

// The key stops at the first column without a comparison.
TEST_F(ChooseIndex, StopsTheKeyAtAGap) {
    Define("create index iabc on t (a, b, c)");
    EXPECT_EQ(Plan("select b from t where a = 1 and c = 3"), "Cursor_Index 0 1 0 'iabc'");
}

// Earlier in the catalog, which is in the order of names.
TEST_F(ChooseIndex, KeepsTheEarlierOfEqualIndexes) {
    Define("create index two on t (a)");
    Define("create index one on t (a)");
    EXPECT_EQ(Plan("select c from t where a = 1"), "Cursor_Index 0 1 0 'one'");
}

TEST_F(ChooseIndex, SetsBothBoundsOfAClosedRange) {
    Define("create index ia on t (a)");
    EXPECT_EQ(Plan("select c from t where a > 1 and a < 5"),
              "Cursor_Index 0 0 1 'ia'; Cursor_LessThan 0 0 0");
    EXPECT_EQ(Plan("select c from t where a <= 5 and a >= 1"),
              "Cursor_Index 0 0 1 'ia'; Cursor_LessThanEqual 0 0 0");
}

// A second lower bound is only tested on the rows.
TEST_F(ChooseIndex, TakesTheFirstOfTwoBoundsOfOneSide) {
    Define("create index ia on t (a)");
    EXPECT_EQ(Plan("select c from t where a > 1 and a > 2"), "Cursor_Index 0 0 1 'ia'");
}

// A closed range counts for more than an open one.
TEST_F(ChooseIndex, PrefersAClosedRange) {
    Define("create index ia on t (a)");
    Define("create index ib on t (b)");
    EXPECT_EQ(Plan("select c from t where a > 1 and b > 1 and b < 5"),
              "Cursor_Index 0 0 1 'ib'; Cursor_LessThan 0 0 0");
}

// Only the first range column is bound.
TEST_F(ChooseIndex, LeavesThePartsBehindARangeUnused) {
    Define("create index iabc on t (a, b, c)");
    EXPECT_EQ(Plan("select s from t where a = 1 and b > 2 and c = 3"), "Cursor_Index 0 1 1 'iabc'");
}

// A descending walk starts at the upper bound and stops at the lower one.
TEST_F(ChooseIndex, SwapsTheBoundsOfADescendingIndex) {
    Define("create index ia on t (a desc)");
    EXPECT_EQ(Plan("select c from t where a > 1 and a < 5"),
              "Cursor_Index 0 0 1 'ia'; Cursor_GreaterThan 0 0 0");
}

// The side of the column is not looked at: `5 < a` stops the walk as `a < 5` would.
TEST_F(ChooseIndex, ReadsAComparisonFromTheLeftWhateverItsSides) {
    Define("create index ia on t (a)");
    EXPECT_EQ(Plan("select c from t where 5 < a"),
              "Cursor_Index 0 0 0 'ia'; Cursor_LessThan 0 0 0");
}

// The other side may be a column of the same table.
TEST_F(ChooseIndex, SeeksAColumnByItsNeighbour) {
    Define("create index ia on t (a)");
    EXPECT_EQ(Plan("select c from t where a = b"), "Cursor_Index 0 1 0 'ia'");
}

// Nothing looks at the operators above a comparison, so the scan seeks what the condition rejects.
TEST_F(ChooseIndex, SeeksTheValueUnderANot) {
    Define("create index ia on t (a)");
    EXPECT_EQ(Plan("select c from t where not (a = 1)"), "Cursor_Index 0 1 0 'ia'");
}

TEST_F(ChooseIndex, PassesOverOtherComparisons) {
    Define("create index ia on t (a)");
    EXPECT_EQ(Plan("select c from t where a <> 1"), "");
    EXPECT_EQ(Plan("select c from t where a between 1 and 2"), "");
    EXPECT_EQ(Plan("select c from t where a in (1, 2)"), "");
    EXPECT_EQ(Plan("select c from t where a is null"), "");
    EXPECT_EQ(Plan("select c from t where a + 1 = 2"), "");
    EXPECT_EQ(Plan("select c from t where (a) = 2"), "");
}

TEST_F(ChooseIndex, ScansForAnOr) {
    Define("create index ia on t (a)");
    EXPECT_EQ(Plan("select c from t where a = 1 or b = 2"), "");
    EXPECT_EQ(Plan("select c from t where a = 1 and (b = 2 or c = 3)"), "Cursor_Index 0 1 0 'ia'");
}

// Keys are folded to upper case, so the range of a text is its own only without regard to case.
TEST_F(ChooseIndex, BoundsTextOnlyWithoutRegardToCase) {
    Define("create index i on t (s)");
    EXPECT_EQ(Plan("select c from t where s > 'a'"), "");
    EXPECT_EQ(Plan("select c from t where s = 'a'"), "Cursor_Index 0 1 0 'i'");
    EXPECT_EQ(Plan("select c from t where upper(s) > 'A'"), "Cursor_Index 0 0 1 'i'");
    EXPECT_EQ(Plan("select c from t where upper(s) = 'A'"), "Cursor_Index 0 1 0 'i'");
    EXPECT_EQ(Plan("select c from t where lower(s) = 'a'"), "");
    TheSchema().SetCaseInsensitive(true);
    EXPECT_EQ(Plan("select c from t where s > 'a'"), "Cursor_Index 0 0 1 'i'");
}

TEST_F(ChooseIndex, TreatsAMemoLikeText) {
    Define("create index i on t (m)");
    EXPECT_EQ(Plan("select c from t where m < 'a'"), "");
    EXPECT_EQ(Plan("select c from t where m = 'a'"), "Cursor_Index 0 1 0 'i'");
}

TEST_F(ChooseIndex, PrefersTheDirectionOfOrderByOnATie) {
    Define("create index n1up on t (a)");
    Define("create index n2down on t (a desc)");
    EXPECT_EQ(Plan("select c from t where a > 1 order by a desc"),
              "Cursor_Index 0 0 0 'n2down'; Cursor_GreaterThan 0 0 0");
    EXPECT_EQ(Plan("select c from t where a > 1 order by a"), "Cursor_Index 0 0 1 'n1up'");
    EXPECT_EQ(Plan("select c from t where a > 1"), "Cursor_Index 0 0 1 'n1up'");
}

TEST_F(ChooseIndex, PrefersTheDirectionWhicheverIndexComesFirst) {
    Define("create index n1down on t (a desc)");
    Define("create index n2up on t (a)");
    EXPECT_EQ(Plan("select c from t where a > 1 order by a desc"),
              "Cursor_Index 0 0 0 'n1down'; Cursor_GreaterThan 0 0 0");
    EXPECT_EQ(Plan("select c from t where a > 1 order by a"), "Cursor_Index 0 0 1 'n2up'");
}

TEST_F(ChooseIndex, PrefersMoreEqualPartsToTheDirection) {
    Define("create index n1up on t (a, b)");
    Define("create index n2down on t (a desc)");
    EXPECT_EQ(Plan("select c from t where a = 1 and b = 2 order by a desc"),
              "Cursor_Index 0 2 0 'n1up'; Temporary_Sort 0 0 0 list");
}

// The best score starts at 0: an index that the condition does not use is taken for its direction.
TEST_F(ChooseIndex, TakesAnUnusedIndexForItsDirection) {
    Define("create index ia on t (a)");
    EXPECT_EQ(Plan("select c from t where b = 1 order by a"), "Cursor_Index 0 0 0 'ia'");
    EXPECT_EQ(Plan("select c from t where b = 1"), "");
}

// The right side of an outer join takes from its own ON, and the name of the index outlives the
// catalog's table.
TEST_F(ChooseIndex, KeepsTheNameOfTheIndexWithTheProgram) {
    Define("create index ia on t (a)");
    EXPECT_EQ(Plan("select c from t where a = 1"), "Cursor_Index 0 1 0 'ia'");
    ASSERT_TRUE(TheSchema().DropIndex("ia")) << TheSchema().Error().CText();
    EXPECT_NE(ProgramListing(Generator()).find("Cursor_Index 0 1 0 'ia'"), std::string::npos);
}

// A catalog that can't be read leaves the table without an index; the statement compiles.
TEST_F(ChooseIndex, GoesOnWithoutAnIndexWhenTheCatalogFails) {
    Define("create index ia on t (a)");
    EXPECT_EQ(Compile("select c from t")[0], '0');  // the table is open from here on
    TheHost().FailCall("ovFile_Lock", 1, FailureKind::kOutright, FailureSpan::kForEver);
    EXPECT_EQ(Plan("select c from t where a = 1"), "");
    TheHost().ClearFailures();
}

TEST_F(ChooseIndex, NotesWhetherTheIndexIsUnique) {
    Define("create unique index iu on t (a)");
    Define("create index ib on t (b)");
    const auto isUnique = [this](const char* sql) {
        EXPECT_EQ(Compile(sql)[0], '0');
        const auto* select = dynamic_cast<SQLSelectStatement*>(Generator().Statement());
        return select->query->references->Tables().ItemAt(0)->indexUnique;
    };
    EXPECT_EQ(isUnique("select c from t where a = 1"), 1);
    EXPECT_EQ(isUnique("select c from t where b = 1"), 0);
    EXPECT_EQ(isUnique("select c from t where c = 1"), 0);
}

}  // namespace
}  // namespace ovrasql
