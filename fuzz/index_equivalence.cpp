// Indexes change how rows are found, never which. The input makes the choices of a writer of
// queries (tests/support/query_writer.h says for which queries that is promised): bit 0 of the
// first byte is the case setting, and each byte behind it one choice. A query runs with indexes,
// behind some changes of the rows or none, and again once they are dropped.

#include <algorithm>
#include <string>
#include <vector>

#include "fuzz/support/finding.h"
#include "fuzz/support/input_bytes.h"
#include "fuzz/support/template_files.h"
#include "tests/support/query_writer.h"
#include "tests/support/test_database.h"

namespace {

using namespace ovrasql;
using fuzz::Finding;
using fuzz::Require;

constexpr int kRowsOfT = 12;
constexpr int kRowsOfU = 5;
constexpr int kQueries = 1;
constexpr uint32_t kMostChanges = 2;
constexpr int64_t kServiceCalls = 30000;

class ByteChance : public Chance {
  public:
    explicit ByteChance(fuzz::InputBytes* input) : Chance(0), input_(input) {}

  protected:
    // Behind the end the answer is always 1, which ends whatever goes on while a choice of two is
    // 0.
    uint32_t Draw() override { return input_->IsEmpty() ? 1 : input_->Byte(); }

  private:
    fuzz::InputBytes* input_;
};

// The tables are the same in each run.
fuzz::FileSet MakeTables() {
    fuzz::StartHost({}, INT64_MAX);
    {
        TestDatabase database;
        Require(database.Create(fuzz::kTemplatePath), "the tables can't be made");
        Chance chance(1);
        for (const std::string& statement : TableWriter(chance).Tables(kRowsOfT, kRowsOfU)) {
            Require(database.Query(statement), "a statement fails that must work");
        }
    }
    return fuzz::HostFiles();
}

class Comparison {
  public:
    explicit Comparison(fuzz::InputBytes* input)
        : ignoresCase_(input->Byte() % 2 == 1), chance_(input) {}

    void Run() {
        Require(database_.Open(fuzz::kTemplatePath), "the tables can't be opened");
        if (ignoresCase_) {
            Require(database_.Option("caseinsensitive"), "an option is refused");
        }
        QueryWriter writer(chance_);
        for (int i = 0; i < kQueries; ++i) {
            queries_.push_back(writer.Write());
        }
        const std::vector<std::string> indexes = TableWriter(chance_).Indexes();
        RunAll(indexes);
        RunAll(TableWriter(chance_).Changes(static_cast<int>(chance_.Below(kMostChanges + 1))));
        const std::vector<std::string> indexed = Answers();
        for (const std::string& sql : indexes) {
            RunAll({"drop index " + TableWriter::NameOf(sql)});
        }
        Compare(Answers(), indexed);
    }

  private:
    void RunAll(const std::vector<std::string>& statements) {
        for (const std::string& sql : statements) {
            if (!database_.Query(sql) && !TheHost().FailureHappened()) {
                Finding(sql + ": " + database_.Error());
            }
            definitions_ += sql + "\n";
        }
    }

    // The sequence of the values that rows are ordered by, and the rows in an order of their own.
    std::string Answer(const Query& query) {
        std::vector<Row> rows = database_.Rows(query.sql, query.parameters);
        std::string answer;
        for (const Row& row : rows) {
            for (int column = 0; column < query.ordered; ++column) {
                const std::string& value = row[static_cast<size_t>(column)];
                answer += (ignoresCase_ ? Folded(value) : value) + ",";
            }
        }
        std::sort(rows.begin(), rows.end());
        for (const Row& row : rows) {
            answer += "\n";
            for (const std::string& value : row) {
                answer += value + "|";
            }
        }
        return answer;
    }
    std::vector<std::string> Answers() {
        std::vector<std::string> answers;
        for (const Query& query : queries_) {
            answers.push_back(Answer(query));
        }
        return answers;
    }

    void Compare(const std::vector<std::string>& plain, const std::vector<std::string>& indexed) {
        for (size_t i = 0; i < queries_.size(); ++i) {
            if (plain[i] != indexed[i] && !TheHost().FailureHappened()) {
                Finding("an index changes the rows of " + queries_[i].sql + "\n" + definitions_ +
                        "--- without\n" + plain[i] + "\n--- with\n" + indexed[i]);
            }
        }
    }

    bool ignoresCase_;
    ByteChance chance_;
    TestDatabase database_;
    std::vector<Query> queries_;
    std::string definitions_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    static const fuzz::FileSet tables = MakeTables();
    fuzz::StartHost(tables, kServiceCalls);
    fuzz::InputBytes input(bytes, size);
    { Comparison(&input).Run(); }
    fuzz::RequireNothingLeft();
    return 0;
}
