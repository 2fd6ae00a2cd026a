#include "tests/faults/damage_report.h"

#include <algorithm>
#include <array>

#include "tests/support/checker/row_order.h"

namespace ovrasql {

namespace {

using checker::ChangedRecords;
using checker::CheckedTable;
using checker::Finding;
using checker::FindingKind;
using checker::FindTable;
using checker::MetRecord;
using checker::NumberedRows;
using checker::RecordState;
using CheckedRow = std::vector<std::string>;
using Tables = std::vector<CheckedTable>;

// The scripts' memo columns are called by these names.
bool IsMemo(const std::string& column) { return column == "M" || column == "NOTE"; }

std::string Joined(const CheckedTable& table, const CheckedRow& row, bool withMemos) {
    std::string text;
    for (size_t i = 0; i < row.size(); ++i) {
        text += withMemos || !IsMemo(table.columns[i]) ? row[i] + "|" : "|";
    }
    return text;
}

bool IsRebuild(const ScriptStep& step) {
    return KindOf(step) == StepKind::kPack || step.text.compare(0, 5, "alter") == 0;
}

bool IsRowChange(const ScriptStep& step) {
    const std::string verb = step.text.substr(0, 7);
    return verb == "insert " || verb == "update " || verb == "delete ";
}

// Comparing one table that keeps its record numbers.
class RecordComparison {
  public:
    RecordComparison(const CheckedTable* before, const CheckedTable* after,
                     const CheckedTable& found, HarmsFound* harms)
        : found_(found), before_(ByNumber(before)), after_(ByNumber(after)), harms_(harms) {
        for (const auto& [number, row] : after_) {
            if (before_.count(number) == 0) {
                added_.push_back(Joined(found, row, true));
                addedWithoutMemos_.push_back(Joined(found, row, false));
            }
        }
    }

    void Run() {
        const NumberedRows rows = ByNumber(&found_);
        for (const auto& [number, row] : rows) {
            Check(number, row);
        }
        for (const auto& [number, row] : before_) {
            if (after_.count(number) != 0 && rows.count(number) == 0) {
                Add(Harm::kRowLost, number, "is gone");
            }
        }
    }

  private:
    void Check(uint32_t number, const CheckedRow& row) {
        const bool wasThere = before_.count(number) != 0;
        const bool stays = after_.count(number) != 0;
        if ((wasThere && before_[number] == row) || (stays && after_[number] == row)) {
            return;
        }
        const std::string text = Joined(found_, row, true);
        const std::string bare = Joined(found_, row, false);
        if (wasThere) {
            const bool bareIsRight = bare == Joined(found_, before_[number], false) ||
                                     (stays && bare == Joined(found_, after_[number], false));
            Add(bareIsRight ? Harm::kMemoText : Harm::kRowChanged, number, "is now " + text);
            return;
        }
        if (std::count(added_.begin(), added_.end(), text) == 0) {
            const bool bareIsRight =
                std::count(addedWithoutMemos_.begin(), addedWithoutMemos_.end(), bare) != 0;
            Add(bareIsRight ? Harm::kMemoText : Harm::kNewRow, number, "was added as " + text);
        }
    }

    void Add(Harm harm, uint32_t number, const std::string& text) {
        harms_->push_back({harm, found_.name + " record " + std::to_string(number) + " " + text});
    }

    const CheckedTable& found_;
    NumberedRows before_;
    NumberedRows after_;
    std::vector<std::string> added_;
    std::vector<std::string> addedWithoutMemos_;
    HarmsFound* harms_;
};

// A rebuilt table: its rows as they were, or as they would be, in any order.
void CompareRebuilt(const CheckedTable& before, const CheckedTable& after,
                    const CheckedTable& found, HarmsFound* harms) {
    const CheckedTable& right = found.columns == after.columns ? after : before;
    const std::vector<std::string> rows = SortedRows(found, true);
    if (rows == SortedRows(right, true)) {
        return;
    }
    const std::vector<std::string> bare = SortedRows(found, false);
    const std::vector<std::string> rightBare = SortedRows(right, false);
    if (bare == rightBare) {
        harms->push_back({Harm::kMemoText, found.name + " was rebuilt with other memo texts"});
    } else if (std::includes(rightBare.begin(), rightBare.end(), bare.begin(), bare.end())) {
        harms->push_back({Harm::kRowLost, found.name + " was rebuilt without all its rows"});
    } else {
        harms->push_back({Harm::kRowChanged, found.name + " was rebuilt with other rows"});
    }
}

void CompareTables(const RecordedStep& step, bool rebuilt, const Tables& found, HarmsFound* harms) {
    for (const CheckedTable& table : found) {
        const CheckedTable* before = FindTable(step.tablesBefore, table.name);
        const CheckedTable* after = FindTable(step.tablesAfter, table.name);
        if (before == nullptr && after == nullptr) {
            harms->push_back({Harm::kCatalog, "a table " + table.name + " is listed"});
        } else if (rebuilt && before != nullptr && after != nullptr) {
            CompareRebuilt(*before, *after, table, harms);
        } else {
            RecordComparison(before, after, table, harms).Run();
        }
    }
    for (const CheckedTable& table : step.tablesBefore) {
        if (FindTable(step.tablesAfter, table.name) != nullptr &&
            FindTable(found, table.name) == nullptr) {
            harms->push_back({Harm::kTableLost, table.name + " can't be read"});
        }
    }
}

// The records that the step adds, changes or deletes, of all tables together.
std::set<uint32_t> TouchedRecords(const RecordedStep& step) {
    std::set<uint32_t> touched;
    for (const Tables* tables : {&step.tablesBefore, &step.tablesAfter}) {
        for (const CheckedTable& table : *tables) {
            touched.merge(ChangedRecords(ByNumber(FindTable(step.tablesBefore, table.name)),
                                         ByNumber(FindTable(step.tablesAfter, table.name))));
        }
    }
    return touched;
}

// What has become of a record. One whose memo text alone is missing has been written.
RecordState StateOf(const NumberedRows& before, const NumberedRows& after,
                    const CheckedTable& found, const NumberedRows& rows, uint32_t record) {
    const auto isAs = [&](const NumberedRows& others, bool withMemos) {
        const auto row = rows.find(record);
        const auto other = others.find(record);
        if (row == rows.end() || other == others.end()) {
            return row == rows.end() && other == others.end();
        }
        return Joined(found, row->second, withMemos) == Joined(found, other->second, withMemos);
    };
    if (isAs(after, true)) {
        return RecordState::kNew;
    }
    if (isAs(before, true)) {
        return RecordState::kOld;
    }
    return isAs(after, false) ? RecordState::kNew : RecordState::kNeither;
}

// The statement has changed the rows that it met first, and no others.
void CheckOrder(const RecordedStep& step, const Tables& found, HarmsFound* harms) {
    std::map<std::string, std::array<NumberedRows, 3>> rowsOf;
    std::map<std::string, const CheckedTable*> tableOf;
    for (const CheckedTable& table : found) {
        tableOf[table.path] = &table;
        rowsOf[table.path] = {ByNumber(FindTable(step.tablesBefore, table.name)),
                              ByNumber(FindTable(step.tablesAfter, table.name)), ByNumber(&table)};
    }
    const std::string text = OutOfOrder(step.met, [&](const MetRecord& met) {
        if (tableOf.count(met.path) == 0) {
            return RecordState::kNeither;
        }
        const auto& [before, after, now] = rowsOf[met.path];
        return StateOf(before, after, *tableOf[met.path], now, met.record);
    });
    if (!text.empty()) {
        harms->push_back({Harm::kOrder, text});
    }
}

Harm HarmOf(const Finding& finding) {
    if (IsCatalog(finding.file) && finding.kind != FindingKind::kCatalog) {
        return Harm::kCatalogIndex;
    }
    switch (finding.kind) {
        case FindingKind::kDataFile:
            return Harm::kDataFile;
        case FindingKind::kMemo:
            return Harm::kMemoFile;
        case FindingKind::kIndexStructure:
            return Harm::kIndexFile;
        case FindingKind::kMissingKey:
        case FindingKind::kStaleKey:
            return Harm::kKeys;
        case FindingKind::kCatalog:
            return Harm::kCatalog;
        case FindingKind::kUnlistedFile:
            break;
    }
    return Harm::kFileLeft;
}

bool IsOwnKey(const Finding& finding, const std::set<uint32_t>& touched) {
    return (finding.kind == FindingKind::kMissingKey || finding.kind == FindingKind::kStaleKey) &&
           !IsCatalog(finding.file) && touched.count(finding.record) != 0;
}

void TakeFindings(const RecordedStep& step, bool ok, const std::vector<Finding>& findings,
                  HarmsFound* harms) {
    const std::set<uint32_t> touched = TouchedRecords(step);
    for (const Finding& finding : findings) {
        const bool expected = finding.harmless || (!ok && IsOwnKey(finding, touched));
        if (expected && finding.kind != FindingKind::kUnlistedFile) {
            continue;
        }
        const bool foreign =
            finding.kind != FindingKind::kUnlistedFile && step.written.count(finding.file) == 0;
        harms->push_back({foreign ? Harm::kUntouchedFile : HarmOf(finding), finding.text});
    }
}

}  // namespace

const char* NameOf(Harm harm) {
    constexpr const char* kNames[] = {
        "rows read",   "not refused",    "not whole",     "memo text",       "row lost",
        "row changed", "new row",        "order",         "table lost",      "data file",
        "memo file",   "index file",     "keys",          "catalog",         "catalog index",
        "file left",   "untouched file", "does not open", "other statement", "does not pack",
        "left by pack"};
    return kNames[static_cast<size_t>(harm)];
}

std::vector<std::string> SortedRows(const checker::CheckedTable& table, bool withMemos) {
    std::vector<std::string> rows;
    for (const CheckedRow& row : table.rows) {
        rows.push_back(Joined(table, row, withMemos));
    }
    std::sort(rows.begin(), rows.end());
    return rows;
}

HarmsFound Compare(const RecordedStep& step, const ScriptStep& text, bool ok,
                   const FileSet& files) {
    HarmsFound harms;
    if (files == step.after || (!ok && files == step.before)) {
        return harms;
    }
    const Tables tables =
        files.count("main.dbf") == 0 ? Tables() : checker::ReadTables(files, "main.dbf");
    CompareTables(step, IsRebuild(text), tables, &harms);
    TakeFindings(step, ok, checker::CheckDatabase(files, "main.dbf"), &harms);
    if (IsRowChange(text)) {
        CheckOrder(step, tables, &harms);
    }
    if (ok && harms.empty() && tables.size() == step.tablesAfter.size()) {
        for (const CheckedTable& table : step.tablesAfter) {
            const CheckedTable* found = FindTable(tables, table.name);
            if (found == nullptr || found->recordNumbers != table.recordNumbers ||
                SortedRows(*found, true) != SortedRows(table, true)) {
                harms.push_back({Harm::kNotWhole, table.name + " has other records"});
            }
        }
    } else if (ok && harms.empty()) {
        harms.push_back({Harm::kNotWhole, "there are other tables"});
    }
    return harms;
}

}  // namespace ovrasql
