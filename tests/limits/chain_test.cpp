#include <gtest/gtest.h>

#include <ctime>
#include <functional>
#include <string>

#include "tests/limits/small_stack.h"
#include "tests/support/test_database.h"

// Statements that are long instead of deep: 100,000 terms side by side need no stack to speak of,
// and no time that grows faster than they do. What is too long for the machine's value stack, for a
// table or for the host's open files ends in its message.

namespace ovrasql {
namespace {

constexpr int32_t kTerms = 100000;
constexpr size_t kAHandfulOfFrames = 16 * 1024;
// A host runs out of open files long before 100,000 tables.
constexpr int64_t kOpenFiles = 1000;

// Of the processor: more than any chain takes, and less than what grows with the square.
#if defined(__SANITIZE_ADDRESS__) || !defined(NDEBUG)
constexpr double kMostSeconds = 20;
#else
constexpr double kMostSeconds = 5;
#endif

struct Chain {
    const char* head;
    const char* term;  // "#" stands for the number of the term
    const char* tail;
    const char* result;
    int32_t count = kTerms;
};

constexpr const char* kOverflow = "error: Stack overflow";
constexpr const char* kTooComplex = "error: Statement is too complex";
constexpr const char* kNoFiles =
    "error: Unable to create cursor for table 't': Error opening 't.dbf': Injected failure";

// Table t has one row: a is 1, b is 2, s is 'x'; and an index on a.
const Chain kConditions[] = {
    {"select a from t where a = 1", " or a = 2", "", "1\n"},
    {"select a from t where a = 2", " or a = 2", " or a = 1", "1\n"},
    {"select a from t where a = 1", " and b = 2", "", "1\n"},
    {"select a from t where a = 1", " and a > 0", "", "1\n"},
    {"select a from t where a = 1", " or a = 2 and b = 2", "", "1\n"},
    {"select a from t where (a = 1)", " or (a = 2 and b = 2)", "", "1\n"},
    {"select a from t where a = 1", " and a between 0 and 1", "", "1\n"},
    {"select a from t where a = 1", " or s like 'y%'", "", "1\n"},
    {"select a from t where a = 1", " or a is null", "", "1\n"},
    {"select a from t where a = 1", " or not (a = 1)", "", "1\n"},
    {"select a from t where a", " = 1", "", "1\n"},
    {"select a from t where a in (1", ", 2", ")", "1\n"},
    {"select a from t where a in (0", ", #", ")", "1\n"},
    {"select a from t where a not in (3", ", 2", ")", "1\n"},
    {"select a from t where a = 1", " or a in (3)", "", "1\n"},
    {"select t.a from t, t u where t.a = 1", " and u.b = 2 and t.b = 2", "", "1\n"},
    {"select a from t where a = 2", " or exists (select a from t where a = 3)", "", kNoFiles,
     kTerms / 10},
    {"select a from t where a = 1", " or a = ?", "",
     "error: Input parameter count mismatch: Found 0 expected 100000"},
};

const Chain kValues[] = {
    {"select 0", " + 1", " from t", "100000\n"},
    {"select 1", " * 1", " from t", "1\n"},
    {"select 1", " + (a)", " from t", "100001\n"},
    {"select 1", " + upper(a)", " from t", "100001\n"},
    {"select 1", " + ifnull(a, 0)", " from t", "100001\n"},
    {"select 1", " + count(*)", " from t", "100001\n"},
    {"select 1", " + sum(a)", " from t", "100001\n"},
    {"select a", " - b * a", " from t", kOverflow},           // it leans to the right
    {"select 1", " -", " from t", "error: Stack underflow"},  // without a second operand
};

const Chain kLists[] = {
    {"select 1", ", 1", " from t", kOverflow},
    {"select a", ", a", " from t", kOverflow},
    {"select a", ", a as x#", " from t", kOverflow},
    {"select a", ", c#", " from t", "error: Unknown field 'c0'"},
    {"select t.*", ", t.*", " from t", kOverflow},
    {"select count(*)", ", count(*)", " from t", kOverflow},
    {"select a from t order by a", ", a", "", "1\n"},
    {"select a from t order by a", ", a + 1", "", "1\n"},
    {"select a from t group by a", ", a", "", "1\n"},  // never looked at
    {"select count(*) from t group by a", ", a", "", "1\n", 2045},
    {"select count(*) from t group by a", ", a", "", kOverflow, 2046},
    {"select count(*) from t group by a", ", a", "", kOverflow},
    {"select a from t", " union select a from t", "", kNoFiles},
    {"select a from t", " union all select a from t", "", kNoFiles},
    {"select 1 from t", ", t x#", "", kNoFiles},
    // The condition can't move to any table but the last.
    {"select 1 from t", ", t x#", " where x99999.a = 1", kNoFiles},
    {"select 1 from t", ", t", "", "error: Non unique table 't'"},
    {"select 1 from t", ", (select a from t) x#", "", kNoFiles, kTerms / 10},
    {"select 1 from t", " left outer join t x# on t.a = 1", "", kNoFiles, kTerms / 10},
    {"create table w (a char", ", a# char", ")",
     "error: Error creating table datafile: too many fields (maximum 2046)"},
    {"create table v (a char", ", a char", ")",
     "error: A field named 'a' already exists in table 'v'"},
    {"insert into t (a", ", a", ") values (1)", "error: Not enough values"},
    {"insert into t (a", ", a#", ") values (1)", "error: Field 'a0' does not exist in table 't'"},
    {"insert into t values (1", ", 1", ")", "error: Too many values"},
    {"update t set a = 1", ", b = 2", "", ""},
    {"update t set a = 1", ", b# = 2", "", "error: Unknown field 'b0'"},
    {"create index w on t (a", ", a", ")",
     "error: Error creating schema index: column list too long (maximum 254)"},
    {"create index w on t (a", ", a#", ")", "error: Unknown column 'a0'"},
};

// What no rule takes is refused at its beginning, however much of it comes.
const Chain kNonsense[] = {
    {"select a from t where a = 1", ")", "", "error: Syntax Error: SQL command not properly ended"},
    {"select a from t where a = 1", ";", "", "error: Syntax Error: Expected operator, found ';'"},
    {"select 1", ",", " from t", "error: Syntax Error: ',' unexpected"},
    {"select a", ".a", " from t", "error: Syntax Error: Expected FROM, found '.'"},
    {"select 1", "*", " from t", "error: Syntax Error: Expected FROM, found '*'"},
    {"select a from t where a", " is null", "", "error: Syntax Error: 'is' unexpected"},
    {"alter table t add a", " char, a", " char",
     "error: Syntax Error: SQL command not properly ended"},
};

std::string Text(const Chain& chain) {
    const std::string term = chain.term;
    const size_t place = term.find('#');
    std::string text = chain.head;
    if (place == std::string::npos) {
        text += Repeat(term, chain.count);
    } else {
        for (int32_t number = 0; number < chain.count; ++number) {
            text += term.substr(0, place) + std::to_string(number) + term.substr(place + 1);
        }
    }
    return text + chain.tail;
}

double Seconds() {
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

class ChainTest : public ::testing::Test {
  protected:
    void SetUp() override {
        TheHost().Reset();
        TheHost().SetLogging(false);
        TestDatabase database;
        ASSERT_TRUE(database.Create());
        for (const char* sql : {"create table t (a integer, b integer, s char(5))",
                                "create index ta on t (a)", "insert into t values (1, 2, 'x')"}) {
            ASSERT_EQ(database.Run(sql), "");
        }
    }

    template <size_t count>
    static void ExpectResults(const Chain (&chains)[count]) {
        for (const Chain& chain : chains) {
            const std::string name = std::string(chain.head) + chain.term + " ..." + chain.tail;
            const std::string sql = Text(chain);
            std::string result;
            TheHost().ClearFailures();
            TheHost().FailCall("ovFile_Open", kOpenFiles, FailureKind::kOutright,
                               FailureSpan::kForEver);
            const double start = Seconds();
            const size_t used = OnStack(kMebibyte, [&] {
                TestDatabase database;
                EXPECT_TRUE(database.Open());
                result = database.RowsText(sql);
            });
            EXPECT_LT(Seconds() - start, kMostSeconds) << name;
            EXPECT_LT(used, kAHandfulOfFrames * kSlowness) << name;
            EXPECT_EQ(result, chain.result) << name;
        }
    }
};

TEST_F(ChainTest, OfConditions) { ExpectResults(kConditions); }

TEST_F(ChainTest, OfValues) { ExpectResults(kValues); }

TEST_F(ChainTest, OfListItems) { ExpectResults(kLists); }

TEST_F(ChainTest, OfWhatIsNoSql) { ExpectResults(kNonsense); }

// A hundred thousand result columns, and an order by each of them.
TEST_F(ChainTest, OfNamesToOrderBy) {
    std::string sql = "select a";
    std::string order = " from t order by a";
    for (int32_t number = 0; number < kTerms; ++number) {
        const std::string name = ", x" + std::to_string(number);
        sql += ", a as" + name.substr(1);
        order += name;
    }
    TestDatabase database;
    ASSERT_TRUE(database.Open());
    const double start = Seconds();
    EXPECT_EQ(database.RowsText(sql + order), kOverflow);
    EXPECT_LT(Seconds() - start, kMostSeconds);
}

// A few letters stand for all columns of a table here, so what they take is bounded: with more
// values than a row can have there is no row, and far beyond that no statement.
TEST_F(ChainTest, OfStarsOverAWideTable) {
    TestDatabase database;
    ASSERT_TRUE(database.Open());
    std::string columns;
    for (int32_t number = 0; number < 2046; ++number) {
        columns += (number == 0 ? "c" : ", c") + std::to_string(number) + " char";
    }
    ASSERT_EQ(database.Run("create table w (" + columns + ")"), "");
    const auto stars = [](int32_t count) {
        return "select w.*" + Repeat(", w.*", count - 1) + " from w";
    };
    EXPECT_EQ(database.RowsText(stars(40)), "");
    EXPECT_EQ(database.RowsText(stars(400)), kTooComplex);
    ASSERT_EQ(database.Run("insert into w (c0) values ('x')"), "");
    EXPECT_EQ(database.RowsText(stars(1)), "x" + Repeat("|", 2045) + "\n");
    EXPECT_EQ(database.RowsText(stars(2)), kOverflow);
    EXPECT_EQ(database.RowsText(stars(40)), kOverflow);
    EXPECT_EQ(database.RowsText(stars(400)), kTooComplex);
    EXPECT_EQ(database.RowsText("select * from w, w w1, w w2"), kOverflow);
}

// A hundred thousand parameters, each its own.
TEST_F(ChainTest, OfParameters) {
    TestDatabase database;
    ASSERT_TRUE(database.Open());
    Texts values(kTerms + 1, "7");
    values.back() = "1";
    EXPECT_EQ(
        database.RowsText("select a from t where a in (?" + Repeat(", ?", kTerms) + ")", values),
        "1\n");
}

}  // namespace
}  // namespace ovrasql
