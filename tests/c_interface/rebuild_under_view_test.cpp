// A view that is left open while its own database packs or alters what it reads.

#include <gtest/gtest.h>

#include <string>

#include "ovrasql/ovrasql.h"
#include "tests/c_interface/c_interface_database.h"

namespace {

constexpr char kIndexIsGone[] =
    "error: An index that the statement uses is gone; open the database again";

// Row 3 asks no sub-query, so that the index is still unopened there.
constexpr char kOpensItsIndexBehindRow3[] =
    "select k from wanted where k = 3 or k in (select a from part where a = wanted.k)";

class RebuildUnderViewTest : public ovratest::CInterfaceTest {
  protected:
    // Records 1 and 2 of `part` are deleted, so that a rebuild moves the others.
    void SetUp() override {
        CInterfaceTest::SetUp();
        Run("create table part (a numeric(3), c char(5))");
        Run("create index parta on part (a)");
        for (const char* row : {"1", "2", "3", "4", "5", "6"}) {
            Run(("insert into part (a) values (" + std::string(row) + ")").c_str());
        }
        Run("delete from part where a < 3");
        Run("create table wanted (k numeric(3))");
        for (const char* row : {"3", "5", "6"}) {
            Run(("insert into wanted values (" + std::string(row) + ")").c_str());
        }
    }

    std::string Next(ovra_view* view) {
        const int32_t next = ovra_next(view);
        if (next < 0) {
            return std::string("error: ") + ovra_error(database_);
        }
        return next == 0 ? "end" : ovra_text(view, 0, nullptr);
    }

    // The first column of the rows that are left, and how they end.
    std::string Rest(ovra_view* view) {
        std::string rows;
        std::string next = Next(view);
        while (next != "end" && next.rfind("error", 0) != 0) {
            rows += next + " ";
            next = Next(view);
        }
        return rows + next;
    }

    void Pack() { ASSERT_EQ(ovra_pack(database_), 1) << ovra_error(database_); }
};

// The new index leads to records of the new file: 5 and 6 would be missing without a word.
TEST_F(RebuildUnderViewTest, RowsOfTheOldFileAreNotSoughtInTheNewIndex) {
    ovra_view* view = Open(kOpensItsIndexBehindRow3);
    EXPECT_EQ(Next(view), "3");
    Pack();
    EXPECT_EQ(Rest(view), kIndexIsGone);
    ovra_close_view(view);
    view = Open(kOpensItsIndexBehindRow3);
    EXPECT_EQ(Rest(view), "3 5 6 end") << "a view that is opened after the pack has all";
    ovra_close_view(view);
}

// 5 and 6 would be rows here.
TEST_F(RebuildUnderViewTest, NoRowIsGivenForOneThatTheNewIndexLeadsPast) {
    Run("update wanted set k = 99 where k = 3");
    ovra_view* view = Open(
        "select k from wanted where k = 99 or k not in (select a from part where a = wanted.k)");
    EXPECT_EQ(Next(view), "99");
    Pack();
    EXPECT_EQ(Rest(view), kIndexIsGone);
    ovra_close_view(view);
}

TEST_F(RebuildUnderViewTest, AlterTableIsNoOtherThanPack) {
    ovra_view* view = Open(kOpensItsIndexBehindRow3);
    EXPECT_EQ(Next(view), "3");
    Run("alter table PART add more char(1)");
    EXPECT_EQ(Rest(view), kIndexIsGone);
    ovra_close_view(view);
}

TEST_F(RebuildUnderViewTest, AlterTableOfAnotherTableLeavesTheIndexToTheView) {
    ovra_view* view = Open(kOpensItsIndexBehindRow3);
    EXPECT_EQ(Next(view), "3");
    Run("alter table t add more char(1)");
    EXPECT_EQ(Rest(view), "5 6 end");
    ovra_close_view(view);
}

TEST_F(RebuildUnderViewTest, IndexThatTheViewHasOpenedIsReadOn) {
    ovra_view* view =
        Open("select k from wanted where k in (select a from part where a = wanted.k)");
    EXPECT_EQ(Next(view), "3");
    Pack();
    EXPECT_EQ(Rest(view), "5 6 end");
    ovra_close_view(view);
}

// The count of the old file is read again when those that the view knew of have ended, at the end
// of each walk.
TEST_F(RebuildUnderViewTest, RowsFromBeforeTheRebuildAreReadToTheLast) {
    for (const char* rebuild : {"pack", "alter table wanted add more char(1)"}) {
        ovra_view* view = Open("select k from wanted");
        ovra_view* walks = Open("select w.k from wanted w, wanted v where v.k = 3");
        EXPECT_EQ(Next(view), "3");
        EXPECT_EQ(Next(walks), "3");
        Run("insert into wanted (k) values (7)");
        if (std::string(rebuild) == "pack") {
            Pack();
        } else {
            Run(rebuild);
        }
        Run("insert into wanted (k) values (8)");
        EXPECT_EQ(Rest(view), "5 6 7 end") << rebuild;
        EXPECT_EQ(Rest(walks), "5 6 7 end") << rebuild;
        ovra_close_view(view);
        ovra_close_view(walks);
        Run("delete from wanted where k > 6");
    }
}

}  // namespace
