#include "tests/crash/kill_trial.h"

#include <gtest/gtest.h>

namespace ovrasql {

namespace {

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

// The table that no script touches is changed and found. A script that makes the database has none.
void ExpectGoingOn(TestDatabase& database, const DyingStatement& dying, const KillPoint& point,
                   const std::vector<checker::CheckedTable>& tables) {
    if (checker::FindTable(tables, "other") == nullptr || dying.MayBeLost(point, "other")) {
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

void TryStatement(const DyingStatement& dying, const KillPoint& point, const FileSet& files) {
    EXPECT_EQ(dying.Unexpected(point, checker::CheckDatabase(files, kCatalogPath)), "");
    const std::vector<checker::CheckedTable> tables = checker::ReadTables(files, kCatalogPath);
    EXPECT_EQ(dying.WrongRows(point, tables), "");
    Restart(files);
    {
        TestDatabase database;
        ASSERT_TRUE(database.Open()) << database.Error();
        ExpectReading(database, dying, point, tables);
        ExpectPacking(database, dying, point, tables);
        ExpectGoingOn(database, dying, point, tables);
    }
    EXPECT_TRUE(TheHost().Misuses().empty());
}

// A new database that is not whole does not open, or is empty; making it again is all it needs.
void TryCreation(const FileSet& files) {
    Restart(files);
    TestDatabase database;
    ASSERT_TRUE(database.Create()) << database.Error();
    EXPECT_EQ(database.Run("create table made (a integer)"), "");
    for (const checker::Finding& finding : checker::CheckDatabase(TakeFiles(), kCatalogPath)) {
        EXPECT_EQ(finding.kind, checker::FindingKind::kUnlistedFile) << finding.text;
    }
}

}  // namespace

KillCounts& TheKillCounts() {
    static KillCounts counts;
    return counts;
}

void TryKill(const DyingStatement& dying, const KillPoint& point, const FileSet& files) {
    SCOPED_TRACE(dying.Text(point));
    ++TheKillCounts().kills;
    TheKillCounts().cuts += point.isCut ? 1 : 0;
    TheKillCounts().amongRows += dying.HasKnownOrder() ? 1 : 0;
    if (dying.Kind() == DyingKind::kCreateDatabase) {
        TryCreation(files);
    } else {
        TryStatement(dying, point, files);
    }
}

void TryKills(const RecordedStep& step, const FileSet& before, const FileSet& after, size_t every,
              size_t first) {
    const DyingStatement dying(step, before, after);
    const std::vector<KillPoint> points = dying.Points();
    FileSet reached = before;
    size_t applied = 0;
    for (size_t number = first; number < points.size(); number += every) {
        const KillPoint& point = points[number];
        for (; applied < point.change; ++applied) {
            Apply(step.changes[applied], &reached);
        }
        FileSet killed = reached;
        Apply(step.changes[point.change], point.bytes, &killed);
        TryKill(dying, point, killed);
    }
}

}  // namespace ovrasql
