// On some systems nobody can read or write past the lock of another. The library reads records and
// memo texts without a lock, so there it may be stopped at any read. It says so, or ends as if
// nothing were there, as for any failed read; it breaks nothing, and goes on when the lock is gone.

#include <gtest/gtest.h>

#include <algorithm>
#include <iostream>

#include "ovrasql/services.h"
#include "tests/crash/crash_scripts.h"
#include "tests/crash/recorded_changes.h"
#include "tests/support/checker/checker.h"

namespace ovrasql {
namespace {

constexpr int32_t kHolder = 7;
constexpr int32_t kReader = 8;

// The rows of the table that no script touches.
std::vector<Row> OtherRows(const FileSet& files) {
    for (const checker::CheckedTable& table : checker::ReadTables(files, "main.dbf")) {
        if (table.name == "other") {
            return table.rows;
        }
    }
    return {};
}

struct HeldRange {
    std::string path;
    int64_t offset = 0;
    int64_t length = 0;
};

// The ranges that the library locks, and the whole file.
std::vector<HeldRange> RangesOf(const FileSet& files) {
    std::vector<HeldRange> ranges;
    for (const auto& [path, bytes] : files) {
        const int64_t size = static_cast<int64_t>(bytes.size());
        const std::string kind = path.substr(path.size() - 4);
        ranges.push_back({path, 0, size});
        if (kind == ".ovx") {
            ranges.push_back({path, 0, 427});
            ranges.push_back({path, 1024, 1024});
        } else if (kind == ".dbt") {
            ranges.push_back({path, 0, 512});  // nobody locks the texts
        } else {
            const int64_t header = bytes[8] + 256 * bytes[9];
            ranges.push_back({path, 0, header});
            ranges.push_back({path, header, size - header});
        }
    }
    return ranges;
}

int runs = 0;
int refusals = 0;

class HeldLocks : public testing::TestWithParam<StatementScript> {
  protected:
    static void RunBesideLock(const StatementScript& script, const FileSet& files,
                              const HeldRange& range) {
        SCOPED_TRACE(range.path + " at " + std::to_string(range.offset) + " length " +
                     std::to_string(range.length));
        RestoreFiles(files);
        TheHost().SetLogging(false);
        TheHost().SetMandatoryLocks(true);
        TheHost().SetCurrentProcess(kHolder);
        void* holder = ovFile_Open(TheHost().Program(), OVRA_LOCATION_DATABASE, range.path.data(),
                                   static_cast<int32_t>(range.path.size()), OVRA_OPEN_EXISTING);
        ASSERT_EQ(ovFile_Lock(holder, OVRA_LOCK_EXCLUSIVE, range.offset, range.length), 0);
        ++runs;
        {
            ScriptSession session;
            if (Prepare(session, script)) {
                for (const ScriptStep& step : script.tested) {
                    const StepResult result = session.Run(step);
                    refusals += result.ok ? 0 : 1;
                    EXPECT_TRUE(result.ok || !result.error.empty()) << step.text;
                }
            }
        }
        EXPECT_EQ(TheHost().Locks().size(), 1U) << "the holder's own";
        TheHost().KillProcess(kHolder);
        EXPECT_EQ(TheHost().OpenFileCount(), 0);
        EXPECT_TRUE(TheHost().Misuses().empty());
    }

    static void ExpectGoingOn(const FileSet& files) {
        EXPECT_EQ(OtherRows(TakeFiles()), OtherRows(files));
        TestDatabase database;
        ASSERT_TRUE(database.Open()) << database.Error();
        EXPECT_EQ(database.Run("insert into other (x, m) values (4711, 'after')"), "");
        EXPECT_EQ(database.RowsText("select m from other where x = 4711"), "after\n");
    }
};

bool MakesTheDatabase(const StatementScript& script) {
    for (const ScriptStep& step : script.tested) {
        if (step.text == "create") {
            return true;
        }
    }
    return script.setup.empty();
}

TEST_P(HeldLocks, StopStatementsAndBreakNothing) {
    if (MakesTheDatabase(GetParam())) {
        return;
    }
    const FileSet files = SetupFiles(GetParam());
    for (const HeldRange& range : RangesOf(files)) {
        RunBesideLock(GetParam(), files, range);
        ExpectGoingOn(files);
    }
}

// What a reader asks behind each change of a writer.
struct Reading {
    const char* sql;
    const char* table;
    std::vector<std::string> columns;
    bool isScan;  // in the order of the records, so that a broken off one gives the first rows
};

const Reading kReadings[] = {
    {"select a, b from t", "t", {"A", "B"}, true},
    {"select a from u where a > 1", "u", {"A"}, false},
    {"select n from k where name > 'k'", "k", {"N"}, false},
    {"select x from other", "other", {"X"}, true},
};

struct ReadingCounts {
    int readings = 0;
    int rows = 0;
    int messages = 0;
    int brokenOff = 0;  // scans with fewer rows than there are, and no message
};

ReadingCounts readingCounts;

// The rows that a reading gives of a table when nobody is in the way.
std::vector<Row> RowsFor(const Reading& reading, const FileSet& files) {
    std::vector<Row> rows;
    for (const checker::CheckedTable& table : checker::ReadTables(files, "main.dbf")) {
        for (size_t record = 0; table.name == reading.table && record < table.rows.size();
             ++record) {
            Row row;
            for (size_t column = 0; column < table.columns.size(); ++column) {
                if (std::count(reading.columns.begin(), reading.columns.end(),
                               table.columns[column]) != 0) {
                    row.push_back(table.rows[record][column]);
                }
            }
            rows.push_back(row);
        }
    }
    return rows;
}

// It gets rows that are there now, or a message.
void ExpectReading(TestDatabase& database, const Reading& reading, const FileSet& files) {
    SCOPED_TRACE(reading.sql);
    std::vector<Row> rows;
    TestView view(database, reading.sql);
    bool ok = view.Ok();
    while (ok && !view.AtEnd()) {
        rows.push_back(view.Values());
        ok = view.Skip();
    }
    const std::vector<Row> there = RowsFor(reading, files);
    ++readingCounts.readings;
    readingCounts.rows += static_cast<int>(rows.size());
    readingCounts.messages += ok ? 0 : 1;
    readingCounts.brokenOff += ok && reading.isScan && rows.size() < there.size() ? 1 : 0;
    EXPECT_TRUE(ok || !database.Error().empty()) << "a failure without a message";
    if (reading.isScan) {
        EXPECT_TRUE(rows.size() <= there.size() &&
                    std::equal(rows.begin(), rows.end(), there.begin()));
    }
    for (const Row& row : rows) {
        EXPECT_NE(std::count(there.begin(), there.end(), row), 0) << row.front();
    }
}

// Another process reads everything behind each change, while the first holds its locks. It gets
// rows or a message; the first notices nothing of it.
TEST_P(HeldLocks, OfAWriterAreToldToReaders) {
    const RecordedChanges alone = RecordChanges(GetParam());
    if (MakesTheDatabase(GetParam())) {
        return;
    }
    FileSet expected = alone.start;
    for (const RecordedStep& step : alone.steps) {
        for (const FileChange& change : step.changes) {
            Apply(change, &expected);
        }
    }
    RestoreFiles(alone.start);
    TheHost().SetLogging(false);
    TheHost().SetMandatoryLocks(true);
    {
        TestDatabase reader(kReader);
        ASSERT_TRUE(reader.Open());
        ScriptSession session;
        ASSERT_TRUE(Prepare(session, GetParam()));
        TheHost().SetChangeHandler([&](const FileChange& change) {
            SCOPED_TRACE(Describe(change));
            for (const Reading& reading : kReadings) {
                ExpectReading(reader, reading, TakeFiles());
            }
            TheHost().SetCurrentProcess(0);
        });
        for (const ScriptStep& step : GetParam().tested) {
            EXPECT_EQ(session.Run(step).ok, !step.fails) << step.text;
        }
        TheHost().SetChangeHandler(nullptr);
    }
    for (const auto& [path, bytes] : expected) {
        EXPECT_TRUE(TheHost().FileBytes(path) == bytes) << path;
    }
    EXPECT_TRUE(TheHost().Misuses().empty());
    EXPECT_TRUE(TheHost().Locks().empty());
}

INSTANTIATE_TEST_SUITE_P(All, HeldLocks, testing::ValuesIn(StatementScripts()),
                         [](const auto& script) { return script.param.name; });

class HeldLockCount : public testing::Environment {
  public:
    void TearDown() override {
        std::cout << runs << " runs against a lock, " << refusals << " statements refused; "
                  << readingCounts.readings << " readings behind a change, " << readingCounts.rows
                  << " rows, " << readingCounts.messages << " messages, " << readingCounts.brokenOff
                  << " scans broken off" << std::endl;
        const testing::UnitTest& tests = *testing::UnitTest::GetInstance();
        if (tests.test_to_run_count() == tests.total_test_count()) {
            EXPECT_GT(refusals, 1400);
            EXPECT_GT(readingCounts.readings, 5000);
            EXPECT_GT(readingCounts.rows, 9000);
            EXPECT_GT(readingCounts.messages, 1500);
            EXPECT_LE(readingCounts.brokenOff, 25);
        }
    }
};

const testing::Environment* const kHeldLockCount =
    testing::AddGlobalTestEnvironment(new HeldLockCount);

}  // namespace
}  // namespace ovrasql
