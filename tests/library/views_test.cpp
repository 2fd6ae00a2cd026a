// Views and queries through the function table.

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>

#include "tests/support/test_database.h"

namespace ovrasql {
namespace {

class ViewsTest : public ::testing::Test {
  protected:
    void SetUp() override {
        TheHost().Reset();
        database_ = std::make_unique<TestDatabase>();
        ASSERT_TRUE(database_->Create());
        ASSERT_EQ(database_->Run("create table t (a integer, b char(10), c char(5))"), "");
        ASSERT_EQ(database_->Run("insert into t (a, b, c) values (1, 'one', 'x')"), "");
        ASSERT_EQ(database_->Run("insert into t (a, b, c) values (2, 'two', '')"), "");
        ASSERT_EQ(database_->Run("insert into t (a, b, c) values (3, 'three', '7')"), "");
    }
    void TearDown() override {
        database_ = nullptr;
        EXPECT_EQ(TheHost().Misuses(), std::vector<std::string>());
        EXPECT_EQ(TheHost().OpenFileCount(), 0);
    }

    static const ovra_library_table& Table() { return Library(); }
    TestDatabase& Database() { return *database_; }

    // What an entry answers to a reading, and what it writes.
    template <class Number>
    using Reading = std::pair<int32_t, Number>;
    static Reading<int32_t> IntegerOf(const TestView& view, const char* column) {
        int32_t value = 77;
        const int32_t good = Table().variable_value_integer(view.Variable(column), &value);
        return {good, value};
    }
    static Reading<double> DoubleOf(const TestView& view, const char* column) {
        double value = 77;
        const int32_t good = Table().variable_value_double(view.Variable(column), &value);
        return {good, value};
    }

    std::unique_ptr<TestDatabase> database_;
};

TEST_F(ViewsTest, AViewIsOnItsFirstRowWhenItOpens) {
    TestView view(Database(), "select a, b from t");
    ASSERT_TRUE(view.Ok()) << Database().Error();
    EXPECT_FALSE(view.AtEnd());
    EXPECT_EQ(view.Values(), (Row{"1", "one"}));
}

TEST_F(ViewsTest, SkipGoesForwardByTheNumberOfRows) {
    TestView view(Database(), "select a from t");
    EXPECT_TRUE(view.Skip(2));
    EXPECT_EQ(view.Values(), Row{"3"});
}

TEST_F(ViewsTest, SkipOfZeroRowsLeavesEverythingAsItWas) {
    TestView view(Database(), "select a from t");
    EXPECT_TRUE(view.Skip(1));
    EXPECT_TRUE(view.Skip(0));
    EXPECT_EQ(view.Values(), Row{"2"});
    EXPECT_FALSE(view.AtEnd());
}

TEST_F(ViewsTest, ANegativeSkipIsRefusedAndLeavesThePosition) {
    TestView view(Database(), "select a from t");
    EXPECT_TRUE(view.Skip(1));
    EXPECT_FALSE(view.Skip(-1));
    EXPECT_EQ(Database().Error(), "OvraSQL Cursors are forward-only");
    EXPECT_EQ(view.Values(), Row{"2"});
    EXPECT_FALSE(view.AtEnd());
    EXPECT_TRUE(view.Skip(1));
    EXPECT_EQ(view.Values(), Row{"3"});
}

TEST_F(ViewsTest, TheEndIsToldByEofAloneAndStays) {
    TestView view(Database(), "select a from t");
    EXPECT_TRUE(view.Skip(3));
    EXPECT_TRUE(view.AtEnd());
    EXPECT_TRUE(view.Skip(1));
    EXPECT_TRUE(view.Skip(5));
    EXPECT_TRUE(view.AtEnd());
}

TEST_F(ViewsTest, TheLargestSkipEndsAtOnce) {
    TestView view(Database(), "select a from t");
    EXPECT_TRUE(view.Skip(2147483647));
    EXPECT_TRUE(view.AtEnd());
}

TEST_F(ViewsTest, NoMatchingRowsOpenAtTheEnd) {
    TestView view(Database(), "select a from t where a = 99");
    EXPECT_TRUE(view.Ok());
    EXPECT_TRUE(view.Exists());
    EXPECT_TRUE(view.AtEnd());
}

TEST_F(ViewsTest, TheStructureNumbersTheColumnsFrom1AndCallsEachOneText) {
    TestView view(Database(), "select a, b, c as tail from t");
    ASSERT_TRUE(view.Ok()) << Database().Error();
    void* structure = TheHost().MakeVariable("old");
    EXPECT_EQ(Table().view_reveal_structure(view.Handle(), &structure), 1);
    const HostVariable* columns = MemoryHost::Variable(structure);
    EXPECT_EQ(columns->text, "");
    ASSERT_EQ(columns->elements.size(), 3U) << "the hidden eof is not listed";
    const std::string names[] = {"a", "b", "tail"};
    for (int32_t number = 1; number <= 3; ++number) {
        const HostVariable* column = columns->Element(number);
        ASSERT_NE(column, nullptr) << number;
        ASSERT_EQ(column->members.size(), 4U);
        EXPECT_EQ(column->members[0].first, "FIELD_NAME");
        EXPECT_EQ(column->members[1].first, "FIELD_TYPE");
        EXPECT_EQ(column->members[2].first, "FIELD_LEN");
        EXPECT_EQ(column->members[3].first, "FIELD_DEC");
        EXPECT_EQ(column->members[0].second->text, names[number - 1]);
        EXPECT_EQ(column->members[1].second->text, "C");
        EXPECT_EQ(column->members[2].second->text, "-1");
        EXPECT_EQ(column->members[3].second->text, "0");
    }
}

TEST_F(ViewsTest, TheStructureReplacesWhatTheVariableHeld) {
    TestView view(Database(), "select a from t");
    void* structure = TheHost().MakeVariable();
    MemoryHost::Variable(structure)->elements.emplace_back(9, std::make_unique<HostVariable>());
    EXPECT_EQ(Table().view_reveal_structure(view.Handle(), &structure), 1);
    EXPECT_EQ(MemoryHost::Variable(structure)->Element(9), nullptr);
}

TEST_F(ViewsTest, AHostThatMakesNoElementsOrMembersIsNoHarm) {
    TestView view(Database(), "select a, b from t");
    void* structure = TheHost().MakeVariable();
    TheHost().FailCall("ovVariable_Array_Element", 1);
    EXPECT_EQ(Table().view_reveal_structure(view.Handle(), &structure), 1);
    EXPECT_EQ(MemoryHost::Variable(structure)->Element(1), nullptr);
    EXPECT_EQ(MemoryHost::Variable(structure)->Element(2)->Member("FIELD_NAME")->text, "b");
    TheHost().ClearFailures();
    TheHost().FailCall("ovVariable_Struct_Member", 2);
    EXPECT_EQ(Table().view_reveal_structure(view.Handle(), &structure), 1);
    EXPECT_EQ(MemoryHost::Variable(structure)->Element(1)->members.size(), 3U);
}

// --- Values ---

TEST_F(ViewsTest, AnIntegerIsGoodOrIsWrittenAllTheSame) {
    TestView view(Database(), "select a, b from t");
    EXPECT_EQ(IntegerOf(view, "a"), (Reading<int32_t>{1, 1}));
    EXPECT_EQ(IntegerOf(view, "b"), (Reading<int32_t>{0, 0}));
}

TEST_F(ViewsTest, ADoubleIsGoodOrIsWrittenAllTheSame) {
    TestView view(Database(), "select a, b from t");
    EXPECT_EQ(DoubleOf(view, "a"), (Reading<double>{1, 1.0}));
    EXPECT_EQ(DoubleOf(view, "b"), (Reading<double>{0, 0.0}));
}

// The cell keeps the number that a reading has made of it, and the number is a good one.
TEST_F(ViewsTest, AValueThatIsNoNumberIsOneWhenItIsReadAgain) {
    TestView view(Database(), "select a, b from t");
    EXPECT_EQ(IntegerOf(view, "b"), (Reading<int32_t>{0, 0}));
    EXPECT_EQ(IntegerOf(view, "b"), (Reading<int32_t>{1, 0}));
    EXPECT_EQ(view.Text("b"), "one");
    ASSERT_TRUE(view.Skip());
    EXPECT_EQ(DoubleOf(view, "b"), (Reading<double>{0, 0.0})) << "the next row's value is another";
    EXPECT_EQ(DoubleOf(view, "b"), (Reading<double>{1, 0.0}));
}

TEST_F(ViewsTest, AComputedNumberThatIsNotWholeIsAnIntegerUntilItsTextIsRead) {
    TestView view(Database(), "select a * 1.5 as half from t");
    EXPECT_EQ(IntegerOf(view, "half"), (Reading<int32_t>{1, 1})) << "cut";
    ASSERT_TRUE(view.Skip(2));
    EXPECT_EQ(view.Text("half"), "4.5");
    EXPECT_EQ(IntegerOf(view, "half"), (Reading<int32_t>{0, 0}));
}

TEST_F(ViewsTest, AnAggregateOverNoRowsIsZeroIfItIsReadAsANumberFirst) {
    TestView view(Database(), "select max(a) as most from t where a = 99");
    EXPECT_EQ(IntegerOf(view, "most"), (Reading<int32_t>{1, 0}));
    EXPECT_EQ(view.Text("most"), "0");
    TestView text(Database(), "select max(a) as most from t where a = 99");
    EXPECT_EQ(text.Text("most"), "");
    EXPECT_EQ(IntegerOf(text, "most"), (Reading<int32_t>{0, 0}));
}

TEST_F(ViewsTest, ATextIsNotTheHostsToFreeAndEndsWithANul) {
    TestView view(Database(), "select b, 'literal text', a + 1 as total from t");
    ASSERT_TRUE(view.Ok()) << Database().Error();
    for (const char* name : {"b", "total"}) {
        const char* text = nullptr;
        int32_t length = -1;
        int32_t owned = 9;
        EXPECT_EQ(Table().variable_value_string(view.Variable(name), &text, &length, &owned), 1);
        EXPECT_EQ(owned, 0);
        ASSERT_GE(length, 0);
        EXPECT_EQ(text[length], '\0');
    }
    const auto& literal = MemoryHost::View(view.Handle())->variables[1];
    const char* text = nullptr;
    int32_t length = -1;
    int32_t owned = 9;
    EXPECT_EQ(Table().variable_value_string(literal.get(), &text, &length, &owned), 1);
    EXPECT_STREQ(text, "literal text");
    EXPECT_EQ(length, 12);
}

TEST_F(ViewsTest, AnEmptyValueIsTheEmptyText) {
    TestView view(Database(), "select c from t where a = 2");
    ASSERT_TRUE(view.Ok());
    EXPECT_EQ(view.Text("c"), "");
}

TEST_F(ViewsTest, OutputsThatAreNotAskedForMayBeNull) {
    TestView view(Database(), "select a, b from t");
    EXPECT_EQ(Table().variable_value_integer(view.Variable("a"), nullptr), 1);
    EXPECT_EQ(Table().variable_value_double(view.Variable("b"), nullptr), 0);
    EXPECT_EQ(Table().variable_value_string(view.Variable("b"), nullptr, nullptr, nullptr), 1);
}

TEST_F(ViewsTest, TheHostIsToldOfEachChange) {
    TestView view(Database(), "select a from t");
    const int32_t before = view.Variable("a")->dirtyCount;
    EXPECT_GE(before, 1);
    EXPECT_TRUE(view.Skip());
    EXPECT_GT(view.Variable("a")->dirtyCount, before);
}

// The cell is whole before the host is told.
TEST_F(ViewsTest, TheHostMayReadAVariableWhileItIsTold) {
    std::string seen;
    TheHost().SetDirtyHandler([&seen](void* variable) {
        const char* text = nullptr;
        int32_t length = 0;
        int32_t owned = 0;
        EXPECT_EQ(Table().variable_value_string(variable, &text, &length, &owned), 1);
        seen += static_cast<HostDatabaseVariable*>(variable)->name + "=" +
                std::string(text, static_cast<size_t>(length)) + " ";
    });
    TestView view(Database(), "select b from t where a > 1");
    EXPECT_TRUE(view.Skip(2));
    EXPECT_NE(seen.find("b=two "), std::string::npos) << seen;
    EXPECT_NE(seen.find("b=three "), std::string::npos) << seen;
    EXPECT_NE(seen.find("eof=1 "), std::string::npos) << seen;
    TheHost().SetDirtyHandler(nullptr);
}

TEST_F(ViewsTest, VariablesAreMadeAnewOnEachRunOfACachedStatement) {
    for (int run = 0; run < 2; ++run) {
        TheHost().ClearLog();
        TestView view(Database(), "select a, b from t");
        ASSERT_TRUE(view.Ok());
        EXPECT_EQ(TheHost().LogText({"ovDatabaseView_AddVariable"}),
                  "ovDatabaseView_AddVariable a\n"
                  "ovDatabaseView_AddVariable b\n"
                  "ovDatabaseView_AddVariable eof\n");
    }
}

TEST_F(ViewsTest, AHostThatMakesNoVariableIsNoHarm) {
    TheHost().FailCall("ovDatabaseView_AddVariable", 1);
    TestView view(Database(), "select a, b from t");
    EXPECT_TRUE(view.Ok());
    EXPECT_EQ(view.Text("b"), "one");
    EXPECT_TRUE(view.Skip());
    EXPECT_EQ(view.Text("b"), "two");
}

// --- Opening and closing ---

TEST_F(ViewsTest, ATextThatDoesNotCompileMakesNoView) {
    TestView view(Database(), "select nothing from nowhere");
    EXPECT_FALSE(view.Ok());
    EXPECT_FALSE(view.Exists());
    EXPECT_EQ(Database().Error(), "Unknown table 'nowhere'");
    EXPECT_EQ(TheHost().CallCount("ovDatabase_AddView"), 0);
}

TEST_F(ViewsTest, AWrongParameterCountLeavesTheViewAndSaysBothCounts) {
    TestView view(Database(), "select a from t where a = ?", {"1", "2"});
    EXPECT_FALSE(view.Ok());
    ASSERT_TRUE(view.Exists());
    EXPECT_EQ(Database().Error(), "Input parameter count mismatch: Found 2 expected 1");
    EXPECT_STREQ(Table().view_error(view.Handle()), Database().Error().c_str());
    // It has failed, and says so again at each step.
    EXPECT_FALSE(view.Skip());
    EXPECT_EQ(Database().Error(), "Input parameter count mismatch: Found 2 expected 1");
    EXPECT_EQ(Table().view_close(view.Handle()), 1);
}

TEST_F(ViewsTest, TooFewParametersAreRefusedBeforeTheListIsRead) {
    TheHost().ClearLog();
    EXPECT_EQ(Database().Run("insert into t (a) values (?)"),
              "Input parameter count mismatch: Found 0 expected 1");
    EXPECT_EQ(TheHost().CallCount("ovVariableList_First"), 0);
}

TEST_F(ViewsTest, ParametersArriveInTheOrderOfTheList) {
    EXPECT_EQ(Database().RowsText("select ?, ? from t where a = ?", {"x", "y", "2"}), "x|y\n");
}

TEST_F(ViewsTest, AStatementWithoutParametersStillAsksForTheFirst) {
    TheHost().ClearLog();
    EXPECT_EQ(
        Table().database_query(Database().Handle(), "insert into t (a) values (4)", 28, nullptr, 0),
        1);
    EXPECT_EQ(TheHost().CallCount("ovVariableList_First"), 1);
}

TEST_F(ViewsTest, ANullViewOfTheHostFailsAndGivesTheStatementBack) {
    TheHost().FailCall("ovDatabase_AddView", 1);
    TestView view(Database(), "select a from t");
    EXPECT_FALSE(view.Ok());
    EXPECT_FALSE(view.Exists());
    EXPECT_EQ(Database().Error(), "Unable to create view");
    EXPECT_EQ(Database().RowsText("select a from t where a = 1"), "1\n");
}

TEST_F(ViewsTest, AVariableThatIsNoneHasNoValue) {
    int32_t integer = 7;
    EXPECT_EQ(Table().variable_value_integer(nullptr, &integer), 0);
    EXPECT_EQ(integer, 0);
    double number = 7;
    EXPECT_EQ(Table().variable_value_double(nullptr, &number), 0);
    EXPECT_EQ(number, 0);
    const char* text = nullptr;
    int32_t length = 7;
    int32_t owned = 7;
    EXPECT_EQ(Table().variable_value_string(nullptr, &text, &length, &owned), 1);
    EXPECT_STREQ(text, "");
    EXPECT_EQ(length, 0);
    EXPECT_EQ(owned, 0);
}

TEST_F(ViewsTest, AStructureWithoutAVariableIsNoHarm) {
    TestView view(Database(), "select a from t");
    void* none = nullptr;
    EXPECT_EQ(Table().view_reveal_structure(view.Handle(), nullptr), 1);
    EXPECT_EQ(Table().view_reveal_structure(view.Handle(), &none), 1);
    EXPECT_EQ(view.Values(), Row{"1"});
}

TEST_F(ViewsTest, TwoViewsOnOneTextWalkByThemselves) {
    TestView first(Database(), "select a from t");
    TestView second(Database(), "select a from t");
    EXPECT_TRUE(first.Skip(2));
    EXPECT_EQ(first.Values(), Row{"3"});
    EXPECT_EQ(second.Values(), Row{"1"});
}

TEST_F(ViewsTest, CloseAnswers1EvenTwice) {
    TestView view(Database(), "select a from t");
    EXPECT_EQ(Table().view_close(view.Handle()), 1);
    EXPECT_EQ(Table().view_close(view.Handle()), 1);
    EXPECT_EQ(Table().view_skip(view.Handle(), 1), 0);
    void* structure = TheHost().MakeVariable("old");
    EXPECT_EQ(Table().view_reveal_structure(view.Handle(), &structure), 1);
    EXPECT_EQ(MemoryHost::Variable(structure)->elements.size(), 0U);
}

// The next view, of whatever database, gets what the closed one has left.
TEST_F(ViewsTest, AClosedViewsHandleLeavesTheViewsThatCameLaterAlone) {
    TestView closed(Database(), "select a from t");
    EXPECT_EQ(Table().view_close(closed.Handle()), 1);
    TestDatabase other;
    ASSERT_TRUE(other.Create("other.dbf"));
    ASSERT_EQ(other.Run("create table u (d char(10))"), "");
    ASSERT_EQ(other.Run("insert into u (d) values ('first')"), "");
    ASSERT_EQ(other.Run("insert into u (d) values ('second')"), "");
    TestView later(other, "select upper(d) as e from u");
    EXPECT_EQ(Table().view_close(closed.Handle()), 1);
    EXPECT_EQ(Table().view_skip(closed.Handle(), 1), 0);
    void* structure = TheHost().MakeVariable("old");
    EXPECT_EQ(Table().view_reveal_structure(closed.Handle(), &structure), 1);
    EXPECT_EQ(MemoryHost::Variable(structure)->elements.size(), 0U);
    EXPECT_EQ(later.Text("e"), "FIRST");
    EXPECT_TRUE(later.Skip());
    EXPECT_EQ(later.Text("e"), "SECOND");
}

TEST_F(ViewsTest, AClosedViewsFilesAreClosed) {
    TestView view(Database(), "select a from t");
    const int32_t open = TheHost().OpenFileCount();
    view.Close();
    EXPECT_LT(TheHost().OpenFileCount(), open);
}

// A host is to close its views first. One that forgets must not bring the process down.
TEST_F(ViewsTest, AViewOutlivesItsFreedDatabase) {
    void* handle = TheHost().MakeDatabase();
    ASSERT_EQ(Table().database_open(handle, "main.dbf", 8), 1);
    ASSERT_EQ(Table().database_open_view(handle, "v", 1, "select a from t", 15, nullptr, 0), 1);
    HostView* view = TheHost().FindView(handle, "v");
    Table().database_free(handle);
    EXPECT_EQ(Table().view_skip(view, 1), 0);
    EXPECT_STREQ(Table().view_error(view), "Unknown OvraSQL error");
    EXPECT_EQ(Table().database_query(handle, "drop table t", 12, nullptr, 0), 0);
    const char* text = nullptr;
    int32_t length = 0;
    int32_t owned = 0;
    EXPECT_EQ(Table().variable_value_string(view->Variable("a"), &text, &length, &owned), 1);
    EXPECT_STREQ(text, "1");
    EXPECT_EQ(Table().view_close(view), 1);
    EXPECT_EQ(Table().view_skip(view, 1), 0);
}

TEST_F(ViewsTest, TwoViewsOutliveTheirFreedDatabase) {
    void* handle = TheHost().MakeDatabase();
    ASSERT_EQ(Table().database_open(handle, "main.dbf", 8), 1);
    ASSERT_EQ(Table().database_open_view(handle, "v", 1, "select a from t", 15, nullptr, 0), 1);
    ASSERT_EQ(Table().database_open_view(handle, "w", 1, "select b from t", 15, nullptr, 0), 1);
    HostView* first = TheHost().FindView(handle, "v");
    HostView* second = TheHost().FindView(handle, "w");
    Table().database_free(handle);
    EXPECT_EQ(Table().view_close(first), 1);
    EXPECT_EQ(Table().view_skip(second, 1), 0);
    const char* text = nullptr;
    int32_t length = 0;
    int32_t owned = 0;
    EXPECT_EQ(Table().variable_value_string(second->Variable("b"), &text, &length, &owned), 1);
    EXPECT_STREQ(text, "one");
    EXPECT_EQ(Table().view_close(second), 1);
}

TEST_F(ViewsTest, AReopenedHandleDoesNotTakeTheFormerDatabasesViewsAlong) {
    TestView view(Database(), "select a from t");
    ASSERT_TRUE(Database().Open());
    EXPECT_FALSE(view.Skip());
    EXPECT_EQ(Database().RowsText("select a from t where a = 3"), "3\n");
    view.Close();
    EXPECT_EQ(Database().RowsText("select a from t where a = 3"), "3\n");
}

// --- Queries ---

TEST_F(ViewsTest, ASelectIsNoQuery) {
    TheHost().ClearLog();
    EXPECT_EQ(Database().Run("select a from t"), "SELECT is not valid in this context");
    EXPECT_EQ(TheHost().LogText({"ovDatabaseView_AddVariable"}), "");
}

// A cached statement that has run in a view must not write to that view, which is gone.
TEST_F(ViewsTest, ASelectFromTheCacheIsNoQueryEither) {
    const std::string sql = "select a from t";
    EXPECT_EQ(Database().RowsText(sql), "1\n2\n3\n");
    EXPECT_EQ(Database().Run(sql), "SELECT is not valid in this context");
    EXPECT_EQ(Database().RowsText(sql), "1\n2\n3\n") << "and it serves views again";
}

TEST_F(ViewsTest, ChangingStatementsRunInAViewToo) {
    TestView view(Database(), "insert into t (a) values (9)");
    EXPECT_TRUE(view.Ok()) << Database().Error();
    view.Close();
    EXPECT_EQ(Database().RowsText("select a from t where a = 9"), "9\n");
}

TEST_F(ViewsTest, AFailedQueryGivesItsStatementBack) {
    EXPECT_EQ(Database().Run("insert into t (a) values (?)"),
              "Input parameter count mismatch: Found 0 expected 1");
    EXPECT_EQ(Database().Run("insert into t (a) values (?)", {"8"}), "");
    EXPECT_EQ(Database().RowsText("select a from t where a = 8"), "8\n");
}

TEST_F(ViewsTest, ARunTimeFailureIsReportedByEachStep) {
    TestView view(Database(), "select a from t where a = (select a from t)");
    EXPECT_FALSE(view.Ok());
    ASSERT_TRUE(view.Exists());
    const std::string message = Database().Error();
    EXPECT_NE(message, "");
    EXPECT_FALSE(Database().Query("drop table nothing"));
    EXPECT_NE(Database().Error(), message);
    EXPECT_FALSE(view.Skip());
    EXPECT_EQ(Database().Error(), message);
}

// --- The trace file ---

TEST_F(ViewsTest, AQueryIsTracedWithItsTextAndItsError) {
    ASSERT_TRUE(Database().Option("log", "trace.txt"));
    EXPECT_FALSE(Database().Query("drop table 100%s"));
    const std::string trace = TheHost().FileText("trace.txt");
    EXPECT_EQ(trace.find("*** OvQUERY\ndrop table 100%s\n"), 0U) << trace;
    const std::string error = "*** Error: " + Database().Error() + "\n";
    ASSERT_GE(trace.size(), error.size());
    EXPECT_EQ(trace.substr(trace.size() - error.size()), error);
}

TEST_F(ViewsTest, AViewIsTracedWithItsText) {
    ASSERT_TRUE(Database().Option("log", "trace.txt"));
    TestView view(Database(), "select a from t");
    const std::string trace = TheHost().FileText("trace.txt");
    EXPECT_EQ(trace.find("*** OvOPENVIEW\nselect a from t\n"), 0U) << trace;
}

TEST_F(ViewsTest, ALongStatementIsTracedWhole) {
    ASSERT_TRUE(Database().Option("log", "trace.txt"));
    const std::string sql = "insert into t (b) values ('" + std::string(5000, 'x') + "')";
    EXPECT_TRUE(Database().Query(sql));
    EXPECT_EQ(TheHost().FileText("trace.txt").find("*** OvQUERY\n" + sql + "\n"), 0U);
}

TEST_F(ViewsTest, AForwardOnlyFailureIsTraced) {
    ASSERT_TRUE(Database().Option("log", "trace.txt"));
    TestView view(Database(), "select a from t");
    TheHost().SetFile("trace.txt", "");
    EXPECT_FALSE(view.Skip(-3));
    EXPECT_EQ(TheHost().FileText("trace.txt"), "*** Error: OvraSQL Cursors are forward-only\n");
}

TEST_F(ViewsTest, WithoutALogNothingIsWritten) {
    TheHost().ClearLog();
    EXPECT_FALSE(Database().Query("drop table nothing"));
    EXPECT_EQ(TheHost().CallCount("ovFile_Write"), 0);
}

}  // namespace
}  // namespace ovrasql
