#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "tests/support/test_database.h"

// An index changes how rows are found, never which. Queries put together at random run without
// indexes and with random ones over the same rows, then again after random changes of the rows with
// the indexes in place and once these are dropped. The rows must be the same, and ORDER BY must
// show its values in the same sequence. A failure shows seed and query, so that it can be run
// alone.
//
// Left out is where the dialect answers otherwise through an index:
//  - NOT over a comparison that an index serves, which seeks what it rejects;
//  - a range with its column on the right (5 < a), which bounds the wrong way;
//  - a column against another of its own row (t.a = t.b), sought by the row before;
//  - negative numbers, which keys pad behind their sign, and characters below the ":" that joins
//    the parts of a key;
//  - a range in ON of an outer join, whose stop bound shows the row beyond it;
//  - texts where rows are told apart without regard to case: which spelling stays depends on which
//    row came first;
//  - bounds for upper(column) in small letters, which are folded along an index only.

namespace ovrasql {
namespace {

constexpr uint32_t kSeeds = 14;
constexpr int kQueries = 75;  // of each seed; every one runs four times

std::string Folded(std::string text) {
    for (char& letter : text) {
        letter = letter >= 'a' && letter <= 'z' ? static_cast<char>(letter - 'a' + 'A') : letter;
    }
    return text;
}

class Chance {
  public:
    explicit Chance(uint32_t seed) : random_(seed) {}
    uint32_t Below(uint32_t bound) { return static_cast<uint32_t>(random_() % bound); }
    bool OneIn(uint32_t bound) { return Below(bound) == 0; }
    std::string Pick(const std::vector<std::string>& choices) {
        return choices[Below(static_cast<uint32_t>(choices.size()))];
    }
    std::string Number(uint32_t bound) { return std::to_string(Below(bound)); }

  private:
    std::mt19937 random_;
};

struct Query {
    std::string sql;
    Texts parameters;
    int ordered = 0;  // how many of the leading columns the rows are ordered by
};

// Writes queries over t (id, a, b, d, s, m, ok, n) and u (x, y, z); n and z never have an index.
class QueryWriter {
  public:
    explicit QueryWriter(Chance& chance) : chance_(chance) {}

    Query Write() {
        query_ = Query();
        switch (chance_.Below(9)) {
            case 0:
                query_.sql = Grouped();
                break;
            case 1:
                query_.sql = "select distinct t.a, t.b from t" + WhereOfT();
                break;
            case 2:
                query_.sql = "select t.a, t.b from t" + WhereOfT();
                query_.sql += chance_.Pick({" union ", " union all "});
                query_.sql += "select x, z from u where " + ConditionOnU(2);
                break;
            case 3:
                query_.sql = Joined();
                break;
            case 4:
                query_.sql = OuterJoined();
                break;
            case 5:
                query_.sql = WithSubquery();
                break;
            case 6:
            case 7:
                query_.sql = Ordered();
                break;
            default:
                query_.sql = "select t.id, a, b, d, s, m, ok, n from t" + WhereOfT();
        }
        return query_;
    }

  private:
    // --- one comparison ------------------------------------------------------------------------

    std::string Value(const std::string& text) {
        // Which of several parameters gets which value is all the same here.
        if (chance_.OneIn(6)) {
            query_.parameters.push_back(text);
            return "?";
        }
        return chance_.OneIn(2) ? "'" + text + "'" : text;
    }
    std::string TextValue() { return "'" + Word() + "'"; }
    std::string Word() {
        std::string word;
        for (uint32_t letters = chance_.Below(3) + 1; letters > 0; --letters) {
            word += chance_.Pick({"a", "b", "A", "B", "c"});
        }
        return word;
    }
    std::string UpperWord() {
        std::string word = Word();
        return Folded(word);
    }
    std::string Comparison() { return chance_.Pick({" = ", " = ", " < ", " > ", " <= ", " >= "}); }

    std::string NumberTerm(const std::string& column, uint32_t bound) {
        switch (chance_.Below(12)) {
            case 0:
                return column + " between " + chance_.Number(bound) + " and " +
                       chance_.Number(bound);
            case 1:
                return column + " in (" + chance_.Number(bound) + ", " + chance_.Number(bound) +
                       ")";
            case 2:
                return column + " <> " + chance_.Number(bound);
            case 3:
                return column + " = " + chance_.Number(bound / 2) + " + 1";
            default:
                return column + Comparison() + Value(chance_.Number(bound));
        }
    }

    std::string TextTerm(const std::string& column) {
        switch (chance_.Below(6)) {
            case 0:
                return column + " like " + chance_.Pick({"'a%'", "'%b'", "'_'", "'A%'"});
            case 1:
                return "upper(" + column + ")" + Comparison() + "'" + UpperWord() + "'";
            case 2:
                return column + chance_.Pick({" = ''", " is null", " is not null"});
            default:
                return column + Comparison() + TextValue();
        }
    }

    std::string TermOnT() {
        switch (chance_.Below(9)) {
            case 0:
                return "t.id" + Comparison() + Value(chance_.Number(30));
            case 1:
            case 2:
                return NumberTerm("t.a", 8);
            case 3:
            case 4:
                return NumberTerm("t.b", 5);
            case 5:
                return "d" + Comparison() + Value(chance_.Number(9));
            case 6:
                return TextTerm("s");
            case 7:
                return chance_.OneIn(2) ? "m" + Comparison() + TextValue()
                                        : "ok = " + chance_.Number(2);
            default:
                return (chance_.OneIn(2) ? "not (n = " : "(n > ") + chance_.Number(4) + ")";
        }
    }

    std::string TermOnU() {
        switch (chance_.Below(4)) {
            case 0:
                return TextTerm("y");
            case 1:
                return "z <> " + chance_.Number(4);
            default:
                return NumberTerm("x", 8);
        }
    }

    // --- conditions ----------------------------------------------------------------------------

    std::string Condition(int depth, std::string (QueryWriter::*term)()) {
        std::string condition = Part(depth, term);
        while (chance_.OneIn(2)) {
            condition += chance_.Pick({" and ", " and ", " and ", " or "}) + Part(depth, term);
        }
        return condition;
    }
    std::string Part(int depth, std::string (QueryWriter::*term)()) {
        if (depth > 0 && chance_.OneIn(4)) {
            return "(" + Condition(depth - 1, term) + ")";
        }
        return (this->*term)();
    }
    std::string ConditionOnT(int depth) { return Condition(depth, &QueryWriter::TermOnT); }
    std::string ConditionOnU(int depth) { return Condition(depth, &QueryWriter::TermOnU); }
    std::string WhereOfT() { return chance_.OneIn(10) ? "" : " where " + ConditionOnT(2); }

    // --- whole queries -------------------------------------------------------------------------

    std::string Grouped() {
        return chance_.OneIn(2)
                   ? "select count(*), sum(b), min(a), max(b), count(distinct a) from t" +
                         WhereOfT()
                   : "select a, b, count(*), max(n) from t" + WhereOfT() + " group by a, b";
    }

    // A range must have the column of the later table on its left.
    std::string Link() {
        return chance_.Pick({"t.a = u.x", "u.x = t.a", "u.x > t.a", "u.x <= t.b", "u.y = t.s",
                             "u.x = t.b + 1", "upper(u.y) = upper(t.s)"});
    }
    std::string LinkedTerm() {
        switch (chance_.Below(3)) {
            case 0:
                return Link();
            case 1:
                return TermOnT();
            default:
                return TermOnU();
        }
    }
    std::string Joined() {
        return "select t.id, t.a, u.x, y from t, u where " + Link() + " and " +
               Condition(2, &QueryWriter::LinkedTerm);
    }
    std::string OuterJoined() {
        std::string on = chance_.Pick({"t.a = u.x", "u.x = t.b", "u.y = t.s"});
        while (chance_.OneIn(2)) {
            on += chance_.Pick({" and ", " or "}) +
                  chance_.Pick({"x = 3", "z <> 1", "y = 'a'", "t.a = 2"});
        }
        return "select t.id, x, y from t left outer join u on " + on + " where " +
               Condition(1, &QueryWriter::LinkedTerm);
    }
    std::string WithSubquery() {
        switch (chance_.Below(3)) {
            case 0:
                return "select id, (select count(*) from u where u.x = t.a and " + ConditionOnU(1) +
                       ") from t" + WhereOfT();
            case 1:
                return "select id from t where a in (select x from u where " + ConditionOnU(1) +
                       ") and " + ConditionOnT(1);
            default:
                return "select id from t where b = (select max(z) from u where x >= t.a) and " +
                       ConditionOnT(1);
        }
    }
    std::string Ordered() {
        const std::string direction = chance_.Pick({"", " desc"});
        switch (chance_.Below(5)) {
            case 0:
                query_.ordered = 1;
                return "select a, id, s from t" + WhereOfT() + " order by a" + direction;
            case 1:
                query_.ordered = 2;
                return "select b, a, id from t" + WhereOfT() + " order by b" + direction + ", a" +
                       direction;
            case 2:
                query_.ordered = 1;
                return "select upper(s), id from t" + WhereOfT() + " order by upper(s)" + direction;
            case 3:
                query_.ordered = 1;
                return "select s, id from t" + WhereOfT() + " order by s" + direction;
            default:
                query_.ordered = 1;
                return "select x, id from u, t where t.a = x and " + ConditionOnU(1) +
                       " order by x" + direction;
        }
    }

    Chance& chance_;
    Query query_;
};

class IndexEquivalence : public ::testing::TestWithParam<uint32_t> {
  protected:
    IndexEquivalence() : chance_(GetParam()) {
        TheHost().Reset();
        database_ = std::make_unique<TestDatabase>();
    }

    static bool IgnoresCase() { return GetParam() % 2 == 1; }

    void Run(const std::string& sql) { ASSERT_EQ(database_->Run(sql), "") << sql; }

    std::string Word() {
        std::string word;
        for (uint32_t letters = chance_.Below(4); letters > 0; --letters) {
            word += chance_.Pick({"a", "b", "A", "B", "c"});
        }
        return word;
    }

    void FillTables() {
        Run("create table t (id integer, a integer, b numeric(3), d numeric(3,2), s char(6), "
            "m memo, ok boolean, n integer)");
        Run("create table u (x integer, y char(6), z integer)");
        for (int row = 0; row < 30; ++row) {
            InsertIntoT(row);
        }
        for (int row = 0; row < 12; ++row) {
            Run("insert into u values (" + chance_.Number(8) + ", '" + Word() + "', " +
                chance_.Number(4) + ")");
        }
    }
    void InsertIntoT(int id) {
        Run("insert into t values (" + std::to_string(id) + ", " + chance_.Number(8) + ", " +
            chance_.Number(5) + ", '" + chance_.Number(9) + chance_.Pick({"", ".5", ".25"}) +
            "', '" + Word() + "', '" + Word() + "', " + chance_.Number(2) + ", " +
            chance_.Number(4) + ")");
    }

    void CreateIndexes() {
        const std::vector<std::string> columns = {"a", "b", "d", "s", "m", "ok", "id"};
        const uint32_t count = chance_.Below(4) + 2;
        for (uint32_t index = 0; index < count; ++index) {
            const std::string direction = chance_.Pick({"", "", " desc"});
            std::vector<std::string> rest = columns;
            std::string key;
            for (uint32_t parts = chance_.Below(3) + 1; parts > 0; --parts) {
                const auto at = rest.begin() + chance_.Below(static_cast<uint32_t>(rest.size()));
                key += (key.empty() ? "" : ", ") + *at + direction;
                rest.erase(at);
            }
            Create("create index t" + std::to_string(index) + " on t (" + key + ")");
        }
        if (chance_.OneIn(2)) {
            Create("create unique index t9 on t (id" + chance_.Pick({"", " desc", ", b"}) + ")");
        }
        Create("create index u0 on u (" +
               chance_.Pick({"x", "x desc", "y", "x, y", "y desc, x desc", "x, z"}) + ")");
        if (chance_.OneIn(2)) {
            Create("create index u1 on u (" + chance_.Pick({"x", "y", "x desc, z desc"}) + ")");
        }
    }
    void Create(const std::string& sql) {
        Run(sql);
        definitions_ += sql + "\n";
        indexes_.push_back(sql.substr(sql.find("index ") + 6, 2));
    }
    void DropIndexes() {
        for (const std::string& name : indexes_) {
            Run("drop index " + name);
        }
    }

    void ChangeRows() {
        for (int change = 0; change < 12; ++change) {
            switch (chance_.Below(3)) {
                case 0:
                    Run("delete from t where a = " + chance_.Number(8) +
                        " and b = " + chance_.Number(5));
                    break;
                case 1:
                    Run("update t set a = " + chance_.Number(8) + ", s = '" + Word() + "', m = '" +
                        Word() + "' where b " + chance_.Pick({"= ", "> "}) + chance_.Number(5) +
                        " and n = " + chance_.Number(4));
                    break;
                default:
                    InsertIntoT(100 + change);
            }
        }
    }

    // The rows in an order of their own, and the sequence of the values that they are ordered by.
    std::string Answer(const Query& query) {
        std::vector<Row> rows = database_->Rows(query.sql, query.parameters);
        EXPECT_EQ(database_->Error(), "") << query.sql;
        std::string answer;
        for (const Row& row : rows) {
            for (int column = 0; column < query.ordered; ++column) {
                const std::string& value = row[static_cast<size_t>(column)];
                answer += (IgnoresCase() ? Folded(value) : value) + ",";
            }
        }
        std::sort(rows.begin(), rows.end());
        for (const Row& row : rows) {
            answer += "\n";
            for (const std::string& value : row) {
                answer += value + "|";
            }
        }
        rowCount_ += rows.size();
        return answer;
    }
    std::vector<std::string> Answers(const std::vector<Query>& queries) {
        std::vector<std::string> answers;
        for (const Query& query : queries) {
            answers.push_back(Answer(query));
        }
        return answers;
    }
    void ExpectEqual(const std::vector<Query>& queries, const std::vector<std::string>& plain,
                     const std::vector<std::string>& indexed) {
        for (size_t i = 0; i < queries.size(); ++i) {
            EXPECT_EQ(plain[i], indexed[i]) << queries[i].sql << "\n"
                                            << definitions_ << "seed " << GetParam();
        }
    }

    Chance chance_;
    std::unique_ptr<TestDatabase> database_;
    std::string definitions_;
    std::vector<std::string> indexes_;
    size_t rowCount_ = 0;
};

TEST_P(IndexEquivalence, FindsTheSameRows) {
    ASSERT_TRUE(database_->Create());
    if (IgnoresCase()) {
        ASSERT_TRUE(database_->Option("caseinsensitive"));
    }
    FillTables();
    QueryWriter writer(chance_);
    std::vector<Query> queries;
    for (int i = 0; i < kQueries; ++i) {
        queries.push_back(writer.Write());
    }
    const std::vector<std::string> plain = Answers(queries);
    CreateIndexes();
    ExpectEqual(queries, plain, Answers(queries));
    ChangeRows();
    const std::vector<std::string> indexed = Answers(queries);
    DropIndexes();
    ExpectEqual(queries, Answers(queries), indexed);
    EXPECT_GT(rowCount_, queries.size()) << "too few rows to tell anything";
}

INSTANTIATE_TEST_SUITE_P(Seeds, IndexEquivalence, ::testing::Range(1U, kSeeds + 1));

}  // namespace
}  // namespace ovrasql
