// Real processes on real files: what they agree on is in the files' headers and locks alone.

#include <map>
#include <optional>

#include "tests/processes/shared_database.h"

namespace ovratest {
namespace {

using Statuses = std::vector<int>;

class SqlProcessesTest : public testing::TestWithParam<int> {
  protected:
    int Processes() const { return GetParam(); }
    Statuses AllGood() const { return Statuses(static_cast<std::size_t>(Processes()), 0); }

    // The same work for the whole, however many processes share it.
    int Share(int whole) const { return whole / Processes(); }

    SharedDatabase database_;
};

int InsertRows(const std::string& path, int process, int count) {
    HostConnection connection(path);
    if (!connection.IsGood()) {
        return 1;
    }
    for (int number = 0; number < count; ++number) {
        const std::string text = RowText(process, number);
        if (!connection.Run(
                "insert into t values (?, ?, ?, ?)",
                {std::to_string(process), std::to_string(number), text, text + "\n" + text})) {
            std::fprintf(stderr, "%s\n", connection.Error().c_str());
            return 2;
        }
    }
    return 0;
}

TEST_P(SqlProcessesTest, InsertingIntoOneTableLosesNoRow) {
    const int rows = Share(800);
    database_.Create({"create table t (process integer, number integer, word char(60), story memo)",
                      "create unique index place on t (process, number)",
                      "create index words on t (word)"});
    EXPECT_EQ(
        RunProcesses(Processes(),
                     [&](int process) { return InsertRows(database_.Path(), process, rows); }),
        AllGood());

    HostConnection check(database_.Path());
    std::map<int, int> rowsOf;
    for (const auto& row : check.Select("select process, number, word, story from t")) {
        const int process = std::stoi(row[0]);
        EXPECT_EQ(std::stoi(row[1]), rowsOf[process]++) << "each process appends in its own order";
        const std::string text = RowText(process, std::stoi(row[1]));
        EXPECT_EQ(row[2], text);
        EXPECT_EQ(row[3], text + "\n" + text);
    }
    EXPECT_EQ(rowsOf.size(), static_cast<std::size_t>(Processes()));
    for (int process = 0; process < Processes(); ++process) {
        EXPECT_EQ(rowsOf[process], rows) << "process " << process;
        for (int number = 0; number < rows; ++number) {
            const std::string text = RowText(process, number);
            EXPECT_EQ(check.Select("select word from t where process = ? and number = ?",
                                   {std::to_string(process), std::to_string(number)}),
                      (Rows{{text}}));
            EXPECT_EQ(check.Select("select process, number from t where word = ?", {text}),
                      (Rows{{std::to_string(process), std::to_string(number)}}));
        }
    }
    EXPECT_EQ(database_.Faults(), "");
}

// UPDATE locks the record and reads it again before it computes the new value, so that the sum is
// exact, also where a condition has found the record through an index.
TEST_P(SqlProcessesTest, UpdatingOneValueCountsEveryUpdate) {
    const int rounds = Share(320);
    database_.Create({"create table counter (name char(8), total integer)",
                      "create unique index byname on counter (name)",
                      "insert into counter values ('first', 0)",
                      "insert into counter values ('second', 0)"});
    EXPECT_EQ(RunProcesses(Processes(),
                           [&](int) {
                               HostConnection connection(database_.Path());
                               for (int round = 0; round < rounds; ++round) {
                                   if (!connection.Run("update counter set total = total + 1 "
                                                       "where name = 'second'") ||
                                       !connection.Run("update counter set total = total + 1")) {
                                       return 1;
                                   }
                               }
                               return 0;
                           }),
              AllGood());
    HostConnection check(database_.Path());
    const int updates = rounds * Processes();
    EXPECT_EQ(check.Select("select name, total from counter"),
              (Rows{{"first", std::to_string(updates)}, {"second", std::to_string(2 * updates)}}));
    EXPECT_EQ(database_.Faults(), "");
}

INSTANTIATE_TEST_SUITE_P(UpToSixteen, SqlProcessesTest, testing::Values(2, 4, 8, 16));

TEST(SqlReadersTest, ReaderSeesOnlyWholeRowsWhileAnotherProcessAppends) {
    SharedDatabase database;
    database.Create(
        {"create table t (process integer, number integer, word char(60), story memo)"});
    const std::string path = database.Path();
    const auto statuses = RunProcesses(2, [&path](int process) {
        if (process == 0) {
            return InsertRows(path, 0, 400);
        }
        HostConnection connection(path);
        std::size_t seen = 0;
        while (seen < 400) {
            const auto rows = connection.Select("select number, word from t");
            if (rows.size() < seen) {
                return 2;
            }
            seen = rows.size();
            for (const auto& row : rows) {
                if (row[1] != RowText(0, std::stoi(row[0]))) {
                    return 3;
                }
            }
        }
        return 0;
    });
    EXPECT_EQ(statuses, (Statuses{0, 0}));
}

// Byte-range locks of one process that belong to the process, and not to the handle, would let the
// two run into each other, and the closing of one would drop the locks of the other.
TEST(TwoDatabasesInOneProcessTest, WriteToTheSameFilesLikeTwoProcesses) {
    SharedDatabase database;
    database.Create({"create table t (process integer, number integer, word char(60), story memo)",
                     "create unique index numbers on t (number)"});
    HostConnection first(database.Path());
    auto second = std::make_optional<HostConnection>(database.Path());
    for (int number = 0; number < 60; number += 2) {
        const std::string one = std::to_string(number);
        const std::string other = std::to_string(number + 1);
        ASSERT_TRUE(first.Run("insert into t values (1, ?, 'first', 'memo one')", {one}));
        ASSERT_TRUE(second->Run("insert into t values (2, ?, 'second', 'memo two')", {other}));
        ASSERT_TRUE(second->Run("update t set word = 'changed' where number = ?", {one}));
        if (number % 20 == 0) {
            second.emplace(database.Path());
        }
    }
    EXPECT_FALSE(second->Run("insert into t values (2, 0, '', '')")) << "the key is taken";
    EXPECT_EQ(Numbers(first.Select("select number from t")), Range(0, 60));
    EXPECT_EQ(first.Select("select story from t where word = 'changed'").size(), 30U);
    EXPECT_EQ(database.Faults(), "");
}

}  // namespace
}  // namespace ovratest
