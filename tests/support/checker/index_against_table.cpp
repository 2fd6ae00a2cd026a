#include "tests/support/checker/index_against_table.h"

#include <algorithm>

#include "tests/support/checker/bytes.h"
#include "tests/support/checker/key_rule.h"

namespace ovrasql::checker {

namespace {

constexpr size_t kLongestExpression = 400;

KeyRule RuleOf(const IndexedTable& table, const std::vector<const Column*>& columns,
               uint32_t record) {
    KeyRule rule;
    for (const Column* column : columns) {
        const std::string value = table.data.Value(record, *column);
        if (column->type == 'N') {
            rule.AddNumber(value, column->width);
        } else if (column->type == 'M') {
            rule.AddMemo(table.memos == nullptr ? std::string()
                                                : table.memos->Text(value, kLongestKey + 1));
        } else {
            rule.AddOther(value);
        }
    }
    return rule;
}

bool HasKey(const IndexedTable& table, uint32_t record) {
    return table.keyed == KeyedRecords::kAll ? record >= 1 && record <= table.data.RecordCount()
                                             : table.data.IsLive(record);
}

}  // namespace

void CheckKeys(const IndexedTable& table, const std::vector<const Column*>& columns,
               const IndexFile& index, Report* report) {
    if (std::find(columns.begin(), columns.end(), nullptr) != columns.end()) {
        return;
    }
    std::vector<bool> found(size_t{table.data.RecordCount()} + 1);
    for (const IndexEntry& entry : index.Entries()) {
        const std::string key = "page " + std::to_string(entry.page) + ": key " + Shown(entry.key);
        if (!HasKey(table, entry.record)) {
            report->AddRecord(FindingKind::kStaleKey, index.Path(), entry.record,
                              key + " of a record that is deleted or missing");
        } else if (!RuleOf(table, columns, entry.record).Allows(entry.key)) {
            report->AddRecord(FindingKind::kStaleKey, index.Path(), entry.record,
                              key + ", and the record makes " +
                                  Shown(RuleOf(table, columns, entry.record).Usual()));
        } else if (found[entry.record]) {
            report->AddRecord(FindingKind::kStaleKey, index.Path(), entry.record,
                              key + " is there twice");
        } else {
            found[entry.record] = true;
        }
    }
    for (uint32_t record = 1; record <= table.data.RecordCount(); ++record) {
        if (HasKey(table, record) && !found[record]) {
            report->AddRecord(FindingKind::kMissingKey, index.Path(), record,
                              "no key " + Shown(RuleOf(table, columns, record).Usual()));
        }
    }
}

void CheckIndexHeader(const IndexFile& index, const std::vector<const Column*>& columns,
                      uint32_t flags, Report* report) {
    if (std::find(columns.begin(), columns.end(), nullptr) != columns.end()) {
        return;
    }
    std::string expression = "toupper( ";
    const char* before = "d.";
    for (const Column* column : columns) {
        expression += before + column->name;
        before = " $ ':' $ d.";
    }
    expression = (expression + " )").substr(0, kLongestExpression);
    if (index.Expression() != expression) {
        report->Add(FindingKind::kIndexStructure, index.Path(),
                    "key expression " + Shown(index.Expression()) + ", and its columns make " +
                        Shown(expression));
    }
    if (index.Flags() != flags) {
        report->Add(FindingKind::kIndexStructure, index.Path(),
                    "flags " + std::to_string(index.Flags()) + ", and the catalog has " +
                        std::to_string(flags));
    }
}

}  // namespace ovrasql::checker
