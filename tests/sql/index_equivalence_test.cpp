#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "tests/support/query_writer.h"
#include "tests/support/test_database.h"

// An index changes how rows are found, never which. Queries put together at random (query_writer.h)
// run without indexes and with random ones over the same rows, then again after random changes of
// the rows with the indexes in place and once these are dropped. A failure shows seed and query, so
// that it can be run alone.

namespace ovrasql {
namespace {

constexpr uint32_t kSeeds = 14;
constexpr int kQueries = 75;  // of each seed; every one runs four times

class IndexEquivalence : public ::testing::TestWithParam<uint32_t> {
  protected:
    IndexEquivalence() : chance_(GetParam()) {
        TheHost().Reset();
        database_ = std::make_unique<TestDatabase>();
    }

    static bool IgnoresCase() { return GetParam() % 2 == 1; }

    void Run(const std::string& sql) { ASSERT_EQ(database_->Run(sql), "") << sql; }

    void RunAll(const std::vector<std::string>& statements) {
        for (const std::string& sql : statements) {
            Run(sql);
        }
    }

    void CreateIndexes() {
        for (const std::string& sql : tables_.Indexes()) {
            Run(sql);
            definitions_ += sql + "\n";
            indexes_.push_back(TableWriter::NameOf(sql));
        }
    }
    void DropIndexes() {
        for (const std::string& name : indexes_) {
            Run("drop index " + name);
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
    TableWriter tables_{chance_};
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
    RunAll(tables_.Tables());
    QueryWriter writer(chance_);
    std::vector<Query> queries;
    for (int i = 0; i < kQueries; ++i) {
        queries.push_back(writer.Write());
    }
    const std::vector<std::string> plain = Answers(queries);
    CreateIndexes();
    ExpectEqual(queries, plain, Answers(queries));
    RunAll(tables_.Changes(12));
    const std::vector<std::string> indexed = Answers(queries);
    DropIndexes();
    ExpectEqual(queries, Answers(queries), indexed);
    EXPECT_GT(rowCount_, queries.size()) << "too few rows to tell anything";
}

INSTANTIATE_TEST_SUITE_P(Seeds, IndexEquivalence, ::testing::Range(1U, kSeeds + 1));

}  // namespace
}  // namespace ovrasql
