// What sub-queries cost: how often one is run, and how often its code stands in a program.

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>

#include "tests/support/test_database.h"

namespace ovrasql {
namespace {

class NestedStatements : public testing::Test {
  protected:
    void SetUp() override {
        TheHost().Reset();
        database_ = std::make_unique<TestDatabase>();
        ASSERT_TRUE(database_->Create());
        for (const char* sql :
             {"create table t (a integer)", "create table u (a integer)",
              "insert into t values (1)", "insert into t values (2)", "insert into t values (3)",
              "insert into u values (1)", "insert into u values (2)"}) {
            ASSERT_EQ(database_->Run(sql), "");
        }
    }

    // How often a record of u is read; they stand behind a header of 65 bytes.
    int32_t RecordsRead(const std::string& sql, const std::string& rows) {
        TheHost().ClearLog();
        EXPECT_EQ(database_->RowsText(sql), rows);
        const std::vector<HostCall>& calls = TheHost().Calls();
        return static_cast<int32_t>(
            std::count_if(calls.begin(), calls.end(), [](const HostCall& call) {
                return call.name == "ovFile_Read" && call.path == "u.dbf" && call.offset >= 65;
            }));
    }

    // How many walks over a table there are in the program of a query.
    int32_t Walks(const std::string& sql) {
        TheHost().SetFile("program.log", "");
        EXPECT_TRUE(database_->Option("log", "program.log"));
        EXPECT_EQ(database_->RowsText(sql), "1\n2\n3\n");
        const std::string program = TheHost().FileText("program.log");
        int32_t walks = 0;
        for (size_t place = program.find("SQL_Cursor_First"); place != std::string::npos;
             place = program.find("SQL_Cursor_First", place + 1)) {
            ++walks;
        }
        return walks;
    }

    std::unique_ptr<TestDatabase> database_;
};

TEST_F(NestedStatements, ASubQueryRunsAgainForEachRowAroundIt) {
    EXPECT_EQ(RecordsRead("select max(a) from u", "2\n"), 2);
    EXPECT_EQ(RecordsRead("select a from t where a <= (select max(a) from u)", "1\n2\n"), 3 * 2);
}

// Once to look for the first match, and once for those behind it.
TEST_F(NestedStatements, ASubQueryInsideOnStandsInTheProgramTwiceALevel) {
    const std::string join = "select t.a from t left outer join u on t.a = u.a and u.a = ";
    EXPECT_EQ(Walks(join + "1"), 2);
    const std::string second = "(select max(a) from u where a in (select a from t))";
    EXPECT_EQ(Walks(join + second), 2 + 2 * 2);
    const std::string inner =
        "(select max(p.a) from t p left outer join u q on p.a = q.a and q.a = ";
    EXPECT_EQ(Walks(join + inner + "1)"), 2 + 2 * 2);
    EXPECT_EQ(Walks(join + inner + inner + "1))"), 2 + 2 * (2 + 2 * 2));
    EXPECT_EQ(Walks(join + inner + inner + inner + "1)))"), 2 + 2 * (2 + 2 * (2 + 2 * 2)));
}

std::string Nested(const std::string& beginning, const std::string& innermost,
                   const std::string& end, int32_t levels) {
    std::string sql = innermost;
    for (int32_t level = 0; level < levels; ++level) {
        sql = beginning + sql + end;
    }
    return sql;
}

// What doubles a program with each level is stopped while it is small, also where the compilation
// goes on behind a failure inside, as it does for the bounds of BETWEEN.
TEST_F(NestedStatements, LevelsThatDoubleTheProgramAreBounded) {
    EXPECT_EQ(database_->Run("create index ta on t (a)"), "");
    struct Form {
        const char* beginning;
        const char* end;
    };
    for (const Form& form : {
             Form{"select max(t.a) from t left outer join u on t.a = u.a and u.a = (", ")"},
             Form{"select max(t.a) from t left outer join u on u.a between 0 and (", ")"},
             Form{"select distinct (", ") from u where a = 1"},
             Form{"select (", ") from u where a = 1 union select a from u where a = 1"},
             Form{"select max(t.a) from t where (1 in (", ")) = t.a"},  // a key, and a condition
         }) {
        const std::string innermost = "select a from u where a = 1";
        const std::string few = Nested(form.beginning, innermost, form.end, 4);
        EXPECT_EQ(database_->RowsText(few).find("error"), std::string::npos) << few;
        for (const int32_t levels : {24, 100}) {
            EXPECT_EQ(database_->RowsText(Nested(form.beginning, innermost, form.end, levels)),
                      "error: Statement is too complex")
                << form.beginning;
        }
    }
}

std::string Repeated(const std::string& first, const std::string& next, int32_t count) {
    std::string text = first;
    for (int32_t done = 1; done < count; ++done) {
        text += next;
    }
    return text;
}

// Each block of a UNION stores what its rows are sorted by, so blocks and terms multiply.
TEST_F(NestedStatements, AnOrderByOfManyTermsOverManyBlocksIsBounded) {
    const auto ordered = [](int32_t blocks, int32_t terms) {
        return Repeated("select a from u", " union select a from u", blocks) +
               Repeated(" order by a", ",a", terms);
    };
    EXPECT_EQ(database_->RowsText(ordered(500, 20)), "1\n2\n");
    EXPECT_EQ(database_->RowsText(ordered(2, 4000)), "1\n2\n");
    EXPECT_EQ(database_->RowsText(ordered(500, 4000)), "error: Statement is too complex");
}

// A star is one letter, whatever it stands for.
TEST_F(NestedStatements, AUnionOfManyBlocksOverAWideTableIsBounded) {
    std::string columns = "c0 char";
    for (int32_t number = 1; number < 2046; ++number) {
        columns += ", c" + std::to_string(number) + " char";
    }
    ASSERT_EQ(database_->Run("create table w (" + columns + ")"), "");
    const auto joined = [](const std::string& with, int32_t blocks) {
        return Repeated("select * from w", with + "select * from w", blocks);
    };
    for (const char* with : {" union all ", " union "}) {
        EXPECT_EQ(database_->RowsText(joined(with, 40)), "");
        EXPECT_EQ(database_->RowsText(joined(with, 400)), "error: Statement is too complex");
    }
}

}  // namespace
}  // namespace ovrasql
