// The rows that a dying statement may leave: each old or new, the new ones first.

#include <algorithm>

#include "tests/crash/dying_statement.h"

namespace ovrasql {

using checker::CheckedTable;
using checker::FindTable;
using checker::MetRecord;
using checker::RecordState;

std::string DyingStatement::WrongRows(const KillPoint& point,
                                      const std::vector<CheckedTable>& now) const {
    if (IsBehindAll(point)) {
        return WrongResult(now);
    }
    std::string text;
    for (const CheckedTable& table : tablesBefore_) {
        if (FindTable(now, table.name) == nullptr &&
            FindTable(tablesAfter_, table.name) != nullptr) {
            text += "the table " + table.name + " is missing\n";
        }
    }
    for (const CheckedTable& table : now) {
        const bool isKnown = FindTable(tablesBefore_, table.name) != nullptr ||
                             FindTable(tablesAfter_, table.name) != nullptr;
        text += isKnown ? "" : "nobody made the table " + table.name + "\n";
        text += kind_ == DyingKind::kRebuild ? WrongList(point, table) : WrongRecords(point, table);
    }
    return text + WrongOrder(now);
}

// The tables are those of the whole statement, with their rows.
std::string DyingStatement::WrongResult(const Tables& now) const {
    std::string text = now.size() == tablesAfter_.size() ? "" : "there are other tables\n";
    for (const CheckedTable& table : tablesAfter_) {
        const CheckedTable* found = FindTable(now, table.name);
        if (found == nullptr || ByNumber(found) != ByNumber(&table)) {
            text += table.name + " is not as the statement makes it\n";
        }
    }
    return text;
}

// Each record is as it was before, or as the statement makes it; no third way, none lost.
std::string DyingStatement::WrongRecords(const KillPoint& point, const CheckedTable& now) const {
    const auto before = ByNumber(FindTable(tablesBefore_, now.name));
    const auto after = ByNumber(FindTable(tablesAfter_, now.name));
    const auto rows = ByNumber(&now);
    const uint32_t torn = TornRecord(point, FileOf(now.name));
    std::string text;
    for (const auto& [record, row] : rows) {
        const auto old = before.find(record);
        const auto made = after.find(record);
        const bool isOld = old != before.end() && old->second == row;
        const bool isMade = made != after.end() && made->second == row;
        if (!isOld && !isMade && record != torn) {
            text += now.name + ", record " + std::to_string(record) + " is neither old nor new\n";
        }
    }
    for (const auto& [record, row] : before) {
        const bool isDeleted = after.count(record) == 0 && kind_ != DyingKind::kDropTable;
        const bool mayGo = isDeleted || IsCountTorn(point, FileOf(now.name));
        if (rows.count(record) == 0 && !mayGo) {
            text += now.name + ", record " + std::to_string(record) + " is lost\n";
        }
    }
    return text;
}

// The records that are new are the first ones; the others, but for a torn one, are all old.
std::string DyingStatement::WrongOrder(const Tables& now) const {
    if (met_.empty()) {
        return "";
    }
    const auto rowsOf = [&](const Tables& tables) {
        const auto found = std::find_if(tables.begin(), tables.end(), [&](const auto& table) {
            return table.path == met_.front().path;
        });
        return ByNumber(found == tables.end() ? nullptr : &*found);
    };
    const auto before = rowsOf(tablesBefore_);
    const auto after = rowsOf(tablesAfter_);
    const auto rows = rowsOf(now);
    const auto isAs = [&](const auto& other, uint32_t record) {
        const auto row = rows.find(record);
        const auto expected = other.find(record);
        return row == rows.end() || expected == other.end()
                   ? row == rows.end() && expected == other.end()
                   : row->second == expected->second;
    };
    const std::string text = OutOfOrder(met_, [&](const MetRecord& met) {
        return isAs(after, met.record)    ? RecordState::kNew
               : isAs(before, met.record) ? RecordState::kOld
                                          : RecordState::kNeither;
    });
    return text.empty() ? text : text + "\n";
}

// The whole table is the old one or the new one. While the files are exchanged the data file is new
// and the memo file old, so texts may be those of other rows.
std::string DyingStatement::WrongList(const KillPoint& point, const CheckedTable& now) const {
    const CheckedTable* before = FindTable(tablesBefore_, now.name);
    const CheckedTable* after = FindTable(tablesAfter_, now.name);
    const bool isOld = before != nullptr && before->rows == now.rows;
    const bool isNew = after != nullptr && after->rows == now.rows;
    if (isOld || isNew) {
        return "";
    }
    if (after != nullptr && IsSwapping(point, FileOf(now.name)) &&
        after->rows.size() == now.rows.size()) {
        return "";
    }
    return "the rows of " + now.name + " are neither the old nor the new ones\n";
}

}  // namespace ovrasql
