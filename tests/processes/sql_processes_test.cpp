// Real processes on real files: what they agree on is in the files' headers and locks alone.

#include <gtest/gtest.h>

#include <map>
#include <string>

#include "ovrasql/ovrasql.h"
#include "tests/support/child_processes.h"
#include "tests/support/temporary_folder.h"

namespace {

using Statuses = std::vector<int>;

// A database handle that is closed at the end, for one process.
class Connection {
  public:
    explicit Connection(const std::string& path, bool create = false) {
        good_ = (create ? ovra_create(path.c_str(), &database_)
                        : ovra_open(path.c_str(), &database_)) == 1;
    }
    ~Connection() { ovra_close(database_); }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    bool IsGood() const { return good_; }
    std::string Error() const { return ovra_error(database_); }

    bool Run(const std::string& statement, const std::vector<std::string>& values = {}) {
        const auto parameters = Parameters(values);
        return ovra_query(database_, statement.c_str(), -1, parameters.data(),
                          static_cast<int32_t>(parameters.size())) == 1;
    }

    std::vector<std::vector<std::string>> Rows(const std::string& statement) {
        std::vector<std::vector<std::string>> rows;
        ovra_view* view = ovra_open_view(database_, statement.c_str(), -1, nullptr, 0);
        while (view != nullptr && ovra_next(view) == 1) {
            std::vector<std::string> row;
            for (int32_t i = 0; i < ovra_column_count(view); ++i) {
                row.emplace_back(ovra_text(view, i, nullptr));
            }
            rows.push_back(row);
        }
        ovra_close_view(view);
        return rows;
    }

  private:
    static std::vector<ovra_parameter> Parameters(const std::vector<std::string>& values) {
        std::vector<ovra_parameter> parameters;
        for (const std::string& value : values) {
            parameters.push_back({value.c_str(), static_cast<int32_t>(value.size())});
        }
        return parameters;
    }

    ovra_database* database_ = nullptr;
    bool good_ = false;
};

// The text that a row carries, made from what identifies it, so that a torn row cannot pass.
std::string RowText(int process, int number) {
    return std::string(static_cast<std::size_t>(20 + (process * 7 + number) % 30),
                       static_cast<char>('a' + (process + number) % 26)) +
           std::to_string(process * 100000 + number);
}

class SqlProcessesTest : public testing::TestWithParam<int> {
  protected:
    SqlProcessesTest() : path_(folder_.File("shared.dbf")) {}

    ovratest::TemporaryFolder folder_;
    std::string path_;
};

TEST_P(SqlProcessesTest, InsertingIntoOneTableLosesNoRow) {
    constexpr int kRows = 250;
    {
        Connection setUp(path_, true);
        ASSERT_TRUE(
            setUp.Run("create table t (process integer, number integer, word char(60), "
                      "story memo)"))
            << setUp.Error();
    }
    const auto statuses = ovratest::RunProcesses(GetParam(), [this](int process) {
        Connection connection(path_);
        if (!connection.IsGood()) {
            return 1;
        }
        for (int number = 0; number < kRows; ++number) {
            const std::string text = RowText(process, number);
            if (!connection.Run(
                    "insert into t values (?, ?, ?, ?)",
                    {std::to_string(process), std::to_string(number), text, text + "\n" + text})) {
                return 2;
            }
        }
        return 0;
    });
    EXPECT_EQ(statuses, Statuses(static_cast<std::size_t>(GetParam()), 0));

    Connection check(path_);
    std::map<int, int> rowsOf;
    std::map<int, int> nextOf;
    for (const auto& row : check.Rows("select process, number, word, story from t")) {
        const int process = std::stoi(row[0]);
        const int number = std::stoi(row[1]);
        EXPECT_EQ(number, nextOf[process]++) << "each process appends in its own order";
        const std::string text = RowText(process, number);
        EXPECT_EQ(row[2], text);
        EXPECT_EQ(row[3], text + "\n" + text);
        ++rowsOf[process];
    }
    EXPECT_EQ(rowsOf.size(), static_cast<std::size_t>(GetParam()));
    for (const auto& [process, rows] : rowsOf) {
        EXPECT_EQ(rows, kRows) << "process " << process;
    }
}

TEST_P(SqlProcessesTest, UpdatingOneValueCountsEveryUpdate) {
    constexpr int kRounds = 60;
    {
        Connection setUp(path_, true);
        ASSERT_TRUE(setUp.Run("create table counter (total integer)"));
        ASSERT_TRUE(setUp.Run("insert into counter values (0)"));
    }
    const auto statuses = ovratest::RunProcesses(GetParam(), [this](int) {
        Connection connection(path_);
        for (int round = 0; round < kRounds; ++round) {
            if (!connection.Run("update counter set total = total + 1")) {
                return 1;
            }
        }
        return 0;
    });
    EXPECT_EQ(statuses, Statuses(static_cast<std::size_t>(GetParam()), 0));
    Connection check(path_);
    EXPECT_EQ(check.Rows("select total from counter"),
              (std::vector<std::vector<std::string>>{{std::to_string(GetParam() * kRounds)}}));
}

INSTANTIATE_TEST_SUITE_P(TwoAndEight, SqlProcessesTest, testing::Values(2, 8));

TEST(SqlReadersTest, ReaderSeesOnlyWholeRowsWhileAnotherProcessAppends) {
    ovratest::TemporaryFolder folder;
    const std::string path = folder.File("shared.dbf");
    {
        Connection setUp(path, true);
        ASSERT_TRUE(setUp.Run("create table t (process integer, number integer, word char(60))"));
    }
    const auto statuses = ovratest::RunProcesses(2, [&path](int process) {
        Connection connection(path);
        if (process == 0) {
            for (int number = 0; number < 400; ++number) {
                if (!connection.Run("insert into t values (?, ?, ?)",
                                    {"0", std::to_string(number), RowText(0, number)})) {
                    return 1;
                }
            }
            return 0;
        }
        std::size_t seen = 0;
        while (seen < 400) {
            const auto rows = connection.Rows("select number, word from t");
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

}  // namespace
