// A process dies behind any change of any file, or in the middle of a write, while any statement of
// any script runs. Another opens the files as they were left, without locks: the rows of earlier
// statements are there and whole, the dead statement's own rows are each old or new, the library
// reads what the checker reads, and goes on; a pack then puts the indexes right.
//
// dying_statement.cpp names what is not promised, each with its reason.

#include <gtest/gtest.h>

#include <iostream>

#include "tests/crash/crash_scripts.h"
#include "tests/crash/dying_statement.h"

namespace ovrasql {
namespace {

const std::string kCatalogPath = "main.dbf";

int64_t killCount = 0;
int64_t cutCount = 0;

std::vector<checker::CheckedTable> Tables() {
    return checker::ReadTables(TakeFiles(), kCatalogPath);
}

// What the library reads of a table, against what the checker read. Booleans are T and F in the
// file.
void ExpectSameRows(TestDatabase& database, const checker::CheckedTable& table) {
    const std::vector<Row> rows = database.Rows("select * from " + table.name);
    ASSERT_EQ(rows.size(), table.rows.size()) << table.name << database.Error();
    for (size_t row = 0; row < rows.size(); ++row) {
        for (size_t column = 0; column < rows[row].size(); ++column) {
            const std::string& stored = table.rows[row][column];
            const std::string& read = rows[row][column];
            const bool isBoolean =
                (read == "1" && stored == "T") || (read == "0" && (stored == "F" || stored == " "));
            EXPECT_TRUE(stored == read || isBoolean) << table.name << ": " << stored << " " << read;
        }
    }
}

void ExpectReading(TestDatabase& database, const DyingStatement& dying, const KillPoint& point,
                   const std::vector<checker::CheckedTable>& tables) {
    for (const checker::CheckedTable& table : tables) {
        if (!dying.MayBeLost(point, table.name)) {
            ExpectSameRows(database, table);
        }
    }
}

// The table that no script touches is changed and found.
void ExpectGoingOn(TestDatabase& database, const DyingStatement& dying, const KillPoint& point) {
    if (dying.MayBeLost(point, "other")) {
        return;
    }
    EXPECT_EQ(database.Run("insert into other (x, m) values (4711, 'after')"), "");
    if (!dying.IndexesMayBeLost(point)) {
        EXPECT_EQ(database.RowsText("select m from other where x = 4711"), "after\n");
    }
}

void ExpectPacking(TestDatabase& database, const DyingStatement& dying, const KillPoint& point,
                   const std::vector<checker::CheckedTable>& tables) {
    if (!database.Pack()) {
        EXPECT_TRUE(dying.PackMayFail(point)) << database.Error();
    }
    EXPECT_EQ(dying.UnexpectedAfterPack(point, checker::CheckDatabase(TakeFiles(), kCatalogPath)),
              "");
    const std::vector<checker::CheckedTable> packed = Tables();
    ASSERT_EQ(packed.size(), tables.size());
    for (size_t index = 0; index < tables.size(); ++index) {
        EXPECT_EQ(packed[index].rows, tables[index].rows) << tables[index].name;
    }
}

// Another process finds the files and nothing else.
void Restart(const FileSet& files) {
    TheHost().Clear();
    TheHost().SetLogging(false);
    for (const auto& [path, bytes] : files) {
        TheHost().SetFile(path, bytes);
    }
}

void TryPoint(const DyingStatement& dying, const KillPoint& point, const FileSet& files) {
    SCOPED_TRACE(dying.Text(point));
    ++killCount;
    cutCount += point.isCut ? 1 : 0;
    EXPECT_EQ(dying.Unexpected(point, checker::CheckDatabase(files, kCatalogPath)), "");
    const std::vector<checker::CheckedTable> tables = checker::ReadTables(files, kCatalogPath);
    EXPECT_EQ(dying.WrongRows(point, tables), "");
    Restart(files);
    {
        TestDatabase database;
        ASSERT_TRUE(database.Open()) << database.Error();
        ExpectReading(database, dying, point, tables);
        ExpectPacking(database, dying, point, tables);
        ExpectGoingOn(database, dying, point);
    }
    EXPECT_TRUE(TheHost().Misuses().empty());
}

// A new database that is not whole does not open, or is empty; making it again is all it needs.
void TryCreation(const DyingStatement& dying, const KillPoint& point, const FileSet& files) {
    SCOPED_TRACE(dying.Text(point));
    ++killCount;
    Restart(files);
    TestDatabase database;
    ASSERT_TRUE(database.Create()) << database.Error();
    EXPECT_EQ(database.Run("create table made (a integer)"), "");
    for (const checker::Finding& finding : checker::CheckDatabase(TakeFiles(), kCatalogPath)) {
        EXPECT_EQ(finding.kind, checker::FindingKind::kUnlistedFile) << finding.text;
    }
}

class KilledScript : public testing::TestWithParam<StatementScript> {};

TEST_P(KilledScript, KeepsWhatWasThereAndGoesOn) {
    const RecordedChanges recorded = RecordChanges(GetParam());
    FileSet files = recorded.start;
    for (const RecordedStep& step : recorded.steps) {
        const FileSet before = files;
        for (const FileChange& change : step.changes) {
            Apply(change, &files);
        }
        const DyingStatement dying(step, before, files);
        FileSet reached = before;
        size_t applied = 0;
        for (const KillPoint& point : dying.Points()) {
            for (; applied < point.change; ++applied) {
                Apply(step.changes[applied], &reached);
            }
            FileSet killed = reached;
            Apply(step.changes[point.change], point.bytes, &killed);
            if (dying.Kind() == DyingKind::kCreateDatabase) {
                TryCreation(dying, point, killed);
            } else {
                TryPoint(dying, point, killed);
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(All, KilledScript, testing::ValuesIn(CrashScripts()),
                         [](const auto& script) { return script.param.name; });

class KillCount : public testing::Environment {
  public:
    void TearDown() override {
        std::cout << killCount << " kills, " << cutCount << " of them within a write, in "
                  << CrashScripts().size() << " scripts" << std::endl;
    }
};

const testing::Environment* const kKillCount = testing::AddGlobalTestEnvironment(new KillCount);

}  // namespace
}  // namespace ovrasql
