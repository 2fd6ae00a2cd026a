// Values as a host reads them from a view's variables, and what a damaged moment does to them.

#include <gtest/gtest.h>

#include <memory>
#include <sstream>
#include <string>

#include "tests/support/test_database.h"

namespace ovrasql {
namespace {

class RowValuesTest : public ::testing::Test {
  protected:
    void SetUp() override {
        TheHost().Reset();
        database_ = std::make_unique<TestDatabase>();
        ASSERT_TRUE(database_->Create());
        Run("create table t (a integer, s char(5), m memo)");
        Run("insert into t values (1, 'x', 'the memo')");
        Run("create table none (a integer)");
    }

    void Run(const std::string& sql) { ASSERT_EQ(database_->Run(sql), "") << sql; }

    // "good 12" or "bad 0".
    static std::string Integer(const TestView& view, const std::string& column) {
        int32_t value = -99;
        const bool good = Library().variable_value_integer(view.Variable(column), &value) == 1;
        return (good ? "good " : "bad ") + std::to_string(value);
    }
    static std::string Double(const TestView& view, const std::string& column) {
        double value = -99;
        const bool good = Library().variable_value_double(view.Variable(column), &value) == 1;
        std::ostringstream text;  // with a point in every locale
        text << (good ? "good " : "bad ") << std::fixed << value;
        return text.str();
    }

    std::unique_ptr<TestDatabase> database_;
};

TEST_F(RowValuesTest, AnIntegerIsReadStrictlyFromATextAndCutFromADouble) {
    const TestView view(*database_,
                        "select '12.5' as w, 25 / 2 as d, '12' as i, ' 12' as b, '+1' as p, "
                        "'-' as m, s, '' as e, '-7' as n from t");
    EXPECT_EQ(Integer(view, "w"), "bad 0");
    EXPECT_EQ(Integer(view, "d"), "good 12");
    EXPECT_EQ(Integer(view, "i"), "good 12");
    EXPECT_EQ(Integer(view, "b"), "bad 0");
    EXPECT_EQ(Integer(view, "p"), "bad 0");
    EXPECT_EQ(Integer(view, "m"), "good 0");
    EXPECT_EQ(Integer(view, "s"), "bad 0");
    EXPECT_EQ(Integer(view, "e"), "bad 0");
    EXPECT_EQ(Integer(view, "n"), "good -7");
}

TEST_F(RowValuesTest, IntegersWrapAndDoublesBeyondThemAreTheLeastOne) {
    const TestView view(*database_,
                        "select 4294967298 as w, 4294967298 + 0 as d, '1e300' + 0 as h, "
                        "'nan' + 0 as n, 0 - 5 / 2 as c from t");
    EXPECT_EQ(Integer(view, "w"), "good 2");
    EXPECT_EQ(Integer(view, "d"), "good -2147483648");
    EXPECT_EQ(Integer(view, "h"), "good -2147483648");
    EXPECT_EQ(Integer(view, "n"), "good -2147483648");
    EXPECT_EQ(Integer(view, "c"), "good -2");
}

TEST_F(RowValuesTest, DoublesOfTexts) {
    const TestView view(*database_,
                        "select '12.5' as w, ' 1' as b, '1 ' as t, '' as e, s, '0x10' as x from t");
    EXPECT_EQ(Double(view, "w"), "good 12.500000");
    EXPECT_EQ(Double(view, "b"), "good 1.000000");
    EXPECT_EQ(Double(view, "t"), "bad 0.000000");
    EXPECT_EQ(Double(view, "e"), "good 0.000000") << "NULL is 0";
    EXPECT_EQ(Double(view, "s"), "bad 0.000000");
    EXPECT_EQ(Double(view, "x"), "good 16.000000");
}

TEST_F(RowValuesTest, ReadingAnEmptyCellAsANumberFillsIt) {
    const TestView untouched(*database_, "select sum(a) as v from none");
    EXPECT_EQ(untouched.Text("v"), "");
    const TestView asInteger(*database_, "select sum(a) as v from none");
    EXPECT_EQ(Integer(asInteger, "v"), "good 0");
    EXPECT_EQ(asInteger.Text("v"), "0");
    const TestView asDouble(*database_, "select sum(a) as v from none");
    EXPECT_EQ(Double(asDouble, "v"), "good 0.000000");
    EXPECT_EQ(asDouble.Text("v"), "0");
}

TEST_F(RowValuesTest, TextsStayReadableBehindTheLastRow) {
    // What the text lived in may be gone by then; the host still holds the variable.
    for (const char* sql :
         {"select m as v from t", "select s as v from t", "select upper(m) as v from t",
          "select m as v from t order by a + 1", "select distinct m as v from t",
          "select max(m) as v from t", "select (select x.m from t x) as v from t",
          "select v from (select m as v from t) d",
          "select n.m as v from t left outer join t n on 1",
          "select m as v from t union select m from t"}) {
        TestView view(*database_, sql);
        ASSERT_TRUE(view.Ok()) << sql;
        const std::string text = view.Text("v");
        EXPECT_TRUE(view.Skip(5)) << sql;
        EXPECT_TRUE(view.AtEnd()) << sql;
        EXPECT_TRUE(view.Text("v") == text || view.Text("v").empty())
            << sql << ": " << view.Text("v");
    }
}

TEST_F(RowValuesTest, AViewReadsRowsAddedWhileItIsOpen) {
    TestView view(*database_, "select a from t");
    Run("insert into t values (2, 'y', null)");
    ASSERT_TRUE(view.Skip());
    EXPECT_FALSE(view.AtEnd());
    EXPECT_EQ(view.Text("a"), "2");
}

TEST_F(RowValuesTest, AViewSkipsRowsDeletedWhileItIsOpen) {
    Run("insert into t values (2, 'y', null)");
    Run("insert into t values (3, 'z', null)");
    TestView view(*database_, "select a from t");
    Run("delete from t where a = 2");
    ASSERT_TRUE(view.Skip());
    EXPECT_EQ(view.Text("a"), "3");
}

TEST_F(RowValuesTest, AWalkEndsWhenItsEntryIsRekeyed) {
    Run("create index ia on t (a)");
    Run("insert into t values (2, 'y', null)");
    Run("insert into t values (3, 'z', null)");
    TestView view(*database_, "select a from t order by a");
    ASSERT_EQ(view.Text("a"), "1");
    Run("delete from t where a = 1");
    EXPECT_TRUE(view.Skip());
    EXPECT_TRUE(view.AtEnd()) << "the entry under the walk is gone";
}

TEST_F(RowValuesTest, AWalkGoesOnWhenOtherEntriesChange) {
    Run("create index ia on t (a)");
    Run("insert into t values (2, 'y', null)");
    Run("insert into t values (4, 'z', null)");
    TestView view(*database_, "select a from t order by a");
    Run("insert into t values (3, 'n', null)");
    Run("delete from t where a = 2");
    ASSERT_TRUE(view.Skip());
    EXPECT_EQ(view.Text("a"), "3");
    ASSERT_TRUE(view.Skip());
    EXPECT_EQ(view.Text("a"), "4");
}

TEST_F(RowValuesTest, AParameterMayHoldNulBytes) {
    const std::string text("a\0b", 3);
    EXPECT_EQ(database_->RowsText("select length(?) from t", {text}), "3\n");
    EXPECT_EQ(database_->RowsText("select a from t where ? = ?", {text, "a"}), "");
}

TEST_F(RowValuesTest, NoReadFailureIsWithoutAMessage) {
    // An index that can't be listed while the order is planned is one of these.
    Run("create index ia on t (a)");
    Run("create index ib on t (s, a)");
    database_->Free();
    int failures = 0;
    for (int number = 1; number < 400; ++number) {
        TestDatabase database;
        ASSERT_TRUE(database.Open());
        TheHost().FailCall("ovFile_Read", number);
        const std::string rows = database.RowsText("select a from t order by s, a");
        EXPECT_NE(rows, "error: ") << "read " << number;
        failures += rows.compare(0, 6, "error:") == 0 ? 1 : 0;
        const bool happened = TheHost().FailureHappened();
        TheHost().ClearFailures();
        if (!happened) {
            EXPECT_EQ(rows, "1\n");
            break;
        }
    }
    EXPECT_GT(failures, 0);
}

}  // namespace
}  // namespace ovrasql
