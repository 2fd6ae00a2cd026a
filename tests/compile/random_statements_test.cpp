#include <random>

#include "tests/compile/compile_database.h"
#include "tests/support/program_places.h"

// Statements put together at random, good and bad: each compiles or fails with a message, and no
// program has a jump without a landing place or a slot that nothing opens. A seed is shown with a
// failure, so that it can be run alone.

namespace ovrasql {
namespace {

// Writes statements over the tables t and u.
class StatementWriter {
  public:
    explicit StatementWriter(uint32_t seed) : random_(seed) {}

    std::string Statement() {
        switch (Below(8)) {
            case 0:
                return "update t set a = " + Value(2) + (Below(2) == 0 ? "" : Where(3));
            case 1:
                return std::string("delete ") + Pick({"", "t ", "x ", "t, u "}) + "from t, u" +
                       Where(3);
            case 2:
                return std::string("insert into t ") + Pick({"", "(a) ", "(b, a) "}) +
                       (Below(2) == 0 ? "values (" + Value(2) + ", 1)" : Query(2));
            default:
                return Query(3) + (Below(2) == 0 ? "" : OrderBy());
        }
    }

  private:
    uint32_t Below(uint32_t bound) { return static_cast<uint32_t>(random_() % bound); }
    std::string Pick(std::initializer_list<const char*> choices) {
        return *(choices.begin() + Below(static_cast<uint32_t>(choices.size())));
    }
    std::string Column() {
        return Pick({"a", "b", "s", "x", "ok", "t.a", "u.x", "t.b", "u.a", "d.a", "q"});
    }

    std::string Value(int32_t depth) {
        const uint32_t kind = Below(depth <= 0 ? 4 : 14);
        switch (kind) {
            case 0:
                return Pick({"1", "'x'", "?", ":2", "null", "-3"});
            case 1:
            case 2:
            case 3:
                return Column();
            case 4:
            case 5:
                return Value(depth - 1) + Pick({" + ", " - ", " * ", " / "}) + Value(depth - 1);
            case 6:
                return "(" + Value(depth - 1) + ")";
            case 7:
                return Pick({"upper(", "lower(", "length("}) + Value(depth - 1) + ")";
            case 8:
                return "ifnull(" + Value(depth - 1) + ", " + Value(depth - 1) + ")";
            case 9:
                return "substring(" + Value(depth - 1) + " from 1" + Pick({")", " for 2)"});
            case 10:
                return Pick({"sum(", "count(", "count(distinct ", "max("}) + Value(depth - 1) + ")";
            case 11:
                return "count(*)";
            case 12:
                return "(" + Query(depth - 1) + ")";
            default:
                return "- " + Value(depth - 1);
        }
    }

    std::string Predicate(int32_t depth) {
        switch (Below(depth <= 0 ? 3 : 9)) {
            case 0:
            case 1:
            case 2:
                return Value(depth - 1) + Pick({" = ", " < ", " > ", " <= ", " <> ", " like "}) +
                       Pick({"1", "'x'", "a", "u.x"});
            case 3:
                return Value(depth - 1) + Pick({" between ", " not between "}) + Value(depth - 1) +
                       " and " + Value(depth - 1);
            case 4:
                return Value(depth - 1) + " in (1, 'y', ?)";
            case 5:
                return Value(depth - 1) + Pick({" in (", " not in ("}) + Query(depth - 1) + ")";
            case 6:
                return "exists (" + Query(depth - 1) + ")";
            case 7:
                return Value(depth - 1) + Pick({" is null", " is not null"});
            default:
                return Pick({"(", "not ("}) + Condition(depth - 1) + ")";
        }
    }

    std::string Condition(int32_t depth) {
        std::string condition = Predicate(depth);
        while (Below(3) == 0) {
            condition += Pick({" and ", " and ", " or "}) + Predicate(depth - 1);
        }
        return condition;
    }
    std::string Where(int32_t depth) { return " where " + Condition(depth); }

    std::string From(int32_t depth) {
        std::string from = Pick({"t", "u", "t, u", "t d", "t, t x"});
        if (Below(4) == 0) {
            from += " left outer join u y on " + Condition(depth - 1);
        }
        if (depth > 0 && Below(4) == 0) {
            from = (Below(2) == 0 ? from + ", " : "") + "(" + Query(depth - 1) + ")" +
                   Pick({"", " d", " as e"});
        }
        return " from " + from;
    }

    std::string Query(int32_t depth) {
        std::string query = Pick({"select ", "select ", "select distinct "});
        if (Below(4) == 0) {
            query += "*";
        } else {
            query += Below(8) == 0 ? "recno" : Value(depth - 1);
            while (Below(3) == 0) {
                query += Pick({", t.*", ", a as n"});
            }
        }
        query += From(depth);
        query += Below(2) == 0 ? "" : Where(depth);
        query += Below(5) == 0 ? " group by a" : "";
        if (depth > 0 && Below(6) == 0) {
            query += Pick({" union ", " union all "}) + Query(depth - 1);
        }
        return query;
    }

    std::string OrderBy() {
        return " order by " + Pick({"a", "n", "x desc", "upper(s)", "a, b", "t.a", "a + 1"}) +
               Pick({"", ", b desc"});
    }

    std::mt19937 random_;
};

class RandomStatements : public CompileTest {
  protected:
    void SetUp() override {
        Define("create table t (a numeric(5), b numeric(5), s char(9), ok bool)");
        Define("create table u (x numeric(5), a numeric(5))");
        Define("create index ta on t (a, b)");
        Define("create index tdown on t (a desc)");
        Define("create index ux on u (x)");
        Define("create index ts on t (s)");
    }
};

TEST_F(RandomStatements, CompileOrFailWithAMessage) {
    int32_t compiled = 0;
    int32_t refused = 0;
    for (uint32_t seed = 1; seed <= 6000; ++seed) {
        const std::string sql = StatementWriter(seed).Statement();
        const std::string result = Compile(sql);
        if (result[0] == '!') {
            ++refused;
            ASSERT_GT(result.size(), 2U) << seed << ": " << sql;
        } else if (Generator().Error().IsEmpty()) {
            ++compiled;
            ASSERT_EQ(MisplacedInstruction(Generator()), "") << seed << ": " << sql << "\n"
                                                             << result;
        }
    }
    // Both kinds were met often enough to mean something.
    EXPECT_GT(compiled, 500);
    EXPECT_GT(refused, 1000);
}

}  // namespace
}  // namespace ovrasql
