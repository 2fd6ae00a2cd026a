#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "tests/limits/small_stack.h"
#include "tests/support/test_database.h"

// Texts of 64 MiB: as a literal, a parameter, a name, a value on its way through functions, a memo,
// a key. On a small stack, since nobody may copy them there.

namespace ovrasql {
namespace {

#if defined(__SANITIZE_ADDRESS__)
constexpr size_t kLength = 8 * kMebibyte;
#else
constexpr size_t kLength = 64 * kMebibyte;
#endif

class LongText : public ::testing::Test {
  protected:
    void SetUp() override {
        TheHost().Reset();
        TheHost().SetLogging(false);
        database_ = std::make_unique<TestDatabase>();
        ASSERT_TRUE(database_->Create());
        ASSERT_TRUE(database_->Option("statement_cache_size", "0"));
        for (const char* sql :
             {"create table t (a integer, s char(20), m memo)", "create index ts on t (s)",
              "insert into t (a, s) values (1, 'x')"}) {
            ASSERT_EQ(database_->Run(sql), "");
        }
        text_.assign(kLength, 'x');
    }

    std::string Rows(const std::string& sql, const Texts& parameters = {}) {
        std::string rows;
        OnStack(kSmallStack, [&] { rows = database_->RowsText(sql, parameters); });
        return rows;
    }

    const std::string length_ = std::to_string(kLength) + "\n";
    std::unique_ptr<TestDatabase> database_;
    std::string text_;
};

TEST_F(LongText, AsALiteral) {
    EXPECT_EQ(Rows("select length('" + text_ + "') from t"), length_);
    EXPECT_EQ(Rows("select a from t where '" + text_ + "' = 'x'"), "");
}

TEST_F(LongText, AsAParameter) {
    EXPECT_EQ(Rows("select length(?) from t", {text_}), length_);
    EXPECT_EQ(Rows("select length(upper(?)) from t", {text_}), length_);
    EXPECT_EQ(Rows("select substring(? from " + std::to_string(kLength) + ") from t", {text_}),
              "x\n");
    EXPECT_EQ(Rows("select a from t where ? like '%y'", {text_}), "");
    EXPECT_EQ(Rows("select a from t where ? like 'x%x'", {text_}), "1\n");
    EXPECT_EQ(Rows("select length(ifnull('', ?)) from t", {text_}), length_);
}

TEST_F(LongText, AsAResult) {
    TestView view(*database_, "select ? as x from t", {text_});
    ASSERT_TRUE(view.Ok());
    EXPECT_TRUE(view.Text("x") == text_);
}

TEST_F(LongText, ThroughGroupsAndSorts) {
    EXPECT_EQ(Rows("select distinct length(?) from t order by a", {text_}), length_);
    EXPECT_EQ(Rows("select length(m) from (select ? as m from t union select 'x' from t) d order "
                   "by length(m)",
                   {text_}),
              "1\n" + length_);
    EXPECT_EQ(Rows("select count(distinct ?) from t", {text_}), "1\n");
}

TEST_F(LongText, AsAName) {
    EXPECT_EQ(Rows("select " + text_ + " from t"),
              ("error: Unknown field '" + text_).substr(0, 7 + 1023));
    EXPECT_EQ(Rows("select a from " + text_),
              ("error: Unknown table '" + text_).substr(0, 7 + 1023));
    EXPECT_EQ(Rows("create table " + text_ + " (a char)"),
              ("error: Table name '" + text_).substr(0, 7 + 1023));
    EXPECT_EQ(Rows("select a as " + text_ + " from t"), "1\n");
    EXPECT_EQ(Rows(text_), "error: Syntax Error: Empty SQL Statement");
}

TEST_F(LongText, AsANumber) {
    const std::string digits(kLength, '9');
    EXPECT_EQ(Rows("select a from t where a = " + digits), "");
    EXPECT_EQ(Rows("select a from t where a = ?", {digits}), "");
    EXPECT_EQ(Rows("insert into t (a) values (" + digits + ")"), "error: Data type mismatch");
}

TEST_F(LongText, AsBlanks) {
    const std::string blanks(kLength, ' ');
    EXPECT_EQ(Rows("select a" + blanks + "from t"), "1\n");
    EXPECT_EQ(Rows(blanks), "error: Syntax Error: Empty SQL Statement");
}

TEST_F(LongText, AsAMemo) {
    EXPECT_EQ(Rows("update t set m = ?", {text_}), "");
    EXPECT_EQ(Rows("select length(m) from t"), length_);
    TestView view(*database_, "select m from t");
    ASSERT_TRUE(view.Ok());
    EXPECT_TRUE(view.Text("m") == text_);
}

TEST_F(LongText, AsAKey) {
    EXPECT_EQ(Rows("select a from t where s = ?", {text_}), "");
    EXPECT_EQ(Rows("insert into t (a, s) values (2, ?)", {text_}), "");
    EXPECT_EQ(Rows("select a, s from t where s = 'xxxxxxxxxxxxxxxxxxxx'"),
              "2|xxxxxxxxxxxxxxxxxxxx\n");
    EXPECT_EQ(Rows("select a from t where s in (?, 'x')", {text_}), "1\n");
}

}  // namespace
}  // namespace ovrasql
