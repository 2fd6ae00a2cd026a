#pragma once

// DyingStatement: a recorded step of a script, seen as one that dies at a place among its changes.
// It tells what may be found then, and what rows must be there. Whatever is allowed has its reason
// beside it, in dying_statement.cpp; all else is promised.

#include <map>
#include <set>
#include <string>
#include <vector>

#include "tests/crash/recorded_changes.h"
#include "tests/support/checker/checker.h"
#include "tests/support/checker/row_order.h"

namespace ovrasql {

// The database of all scripts.
inline const std::string kCatalogPath = "main.dbf";

enum class DyingKind {
    kRows,  // INSERT, UPDATE, DELETE
    kCreateTable,
    kDropTable,
    kCreateIndex,
    kDropIndex,
    kRebuild,  // ALTER TABLE, pack
    kCreateDatabase,
    kOther,  // what changes no file of the database
};

// The change that was the last, and how many of its bytes reached the file.
struct KillPoint {
    size_t change = 0;
    size_t bytes = 0;
    bool isCut = false;  // fewer than all
    // The cut falls into the count of records or the next free block, which is then neither the old
    // number nor the new one.
    bool tearsCount = false;
};

class DyingStatement {
  public:
    // `before` are the files as the statement found them, `after` as it leaves them when it lives.
    DyingStatement(const RecordedStep& step, const FileSet& before, const FileSet& after);

    [[nodiscard]] DyingKind Kind() const { return kind_; }
    // All points: behind each change; with each write cut in half and by one byte; and with one
    // over a header cut behind each byte that makes a difference.
    [[nodiscard]] const std::vector<KillPoint>& Points() const { return points_; }
    [[nodiscard]] std::string Text(const KillPoint& point) const;

    // What is wrong with the findings right behind the kill, and behind a pack; empty when all of
    // them are allowed.
    [[nodiscard]] std::string Unexpected(const KillPoint& point,
                                         const std::vector<checker::Finding>& findings) const;
    [[nodiscard]] std::string UnexpectedAfterPack(
        const KillPoint& point, const std::vector<checker::Finding>& findings) const;
    // What is wrong with the rows; `now` is read from the files as the kill left them.
    [[nodiscard]] std::string WrongRows(const KillPoint& point,
                                        const std::vector<checker::CheckedTable>& now) const;
    // Whether it is known in which order it meets its rows, and there are several.
    [[nodiscard]] bool HasKnownOrder() const { return met_.size() > 1; }
    // Whether a table may be out of reach for the library, and a pack may fail with it.
    [[nodiscard]] bool MayBeLost(const KillPoint& point, const std::string& table) const;
    // Whether the library may not find an index by its name, so that a query that needs it fails.
    [[nodiscard]] bool IndexesMayBeLost(const KillPoint& point) const;
    [[nodiscard]] bool PackMayFail(const KillPoint& point) const;
    // Whether the record of a table was overwritten in part.
    [[nodiscard]] bool IsTorn(const KillPoint& point, const std::string& table) const;

  private:
    using Tables = std::vector<checker::CheckedTable>;

    void NoteNames(const FileSet& files);
    void NoteRecords(const FileSet& before);
    void NoteTrees(const FileSet& before);
    void NoteSwaps();
    void NoteOrder();
    void NotePoints(const FileSet& before);
    [[nodiscard]] std::string DataOf(const std::string& path) const;
    [[nodiscard]] bool IsCountTorn(const KillPoint& point, const std::string& data) const;
    [[nodiscard]] std::string FileOf(const std::string& table) const;
    [[nodiscard]] const FileChange& Last(const KillPoint& point) const;
    // Whether all that the statement writes is written, and it has only to say so.
    [[nodiscard]] bool IsBehindAll(const KillPoint& point) const;
    [[nodiscard]] bool IsTreeOpen(const KillPoint& point, const std::string& path) const;
    [[nodiscard]] bool IsPageTorn(const KillPoint& point, const std::string& path) const;
    [[nodiscard]] bool IsSwapping(const KillPoint& point, const std::string& table) const;
    [[nodiscard]] uint32_t TornRecord(const KillPoint& point, const std::string& path) const;
    [[nodiscard]] bool Allows(const KillPoint& point, const checker::Finding& finding) const;
    [[nodiscard]] bool AllowsKey(const KillPoint& point, const checker::Finding& finding) const;
    [[nodiscard]] std::string WrongResult(const Tables& now) const;
    [[nodiscard]] std::string WrongRecords(const KillPoint& point,
                                           const checker::CheckedTable& now) const;
    [[nodiscard]] std::string WrongOrder(const Tables& now) const;
    [[nodiscard]] std::string WrongList(const KillPoint& point,
                                        const checker::CheckedTable& now) const;

    const RecordedStep& step_;
    DyingKind kind_;
    Tables tablesBefore_;
    Tables tablesAfter_;
    std::map<std::string, std::string> fileOfTable_;        // name in capitals -> .dbf
    std::map<std::string, std::string> dataOfIndex_;        // .ovx -> .dbf
    std::map<std::string, std::set<uint32_t>> ownRecords_;  // .dbf -> those that it writes
    std::set<std::string> made_;                            // files that it makes
    // Those that it changes, in their order; empty if that is unknown.
    std::vector<checker::MetRecord> met_;
    std::vector<KillPoint> points_;
    // Behind each change: the indexes between two pages of one change, the .dbf whose files are
    // being exchanged, and the records that are counted.
    std::vector<std::set<std::string>> openTrees_;
    std::vector<std::string> swapping_;
    std::vector<uint32_t> tornRecords_;
};

}  // namespace ovrasql
