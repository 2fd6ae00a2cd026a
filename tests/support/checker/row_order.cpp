#include "tests/support/checker/row_order.h"

namespace ovrasql::checker {

std::string OutOfOrder(const std::vector<MetRecord>& met,
                       const std::function<RecordState(const MetRecord&)>& state) {
    const MetRecord* first = nullptr;  // that is not new
    for (const MetRecord& record : met) {
        const RecordState now = state(record);
        if (first != nullptr && now != RecordState::kOld) {
            return record.path + ", record " + std::to_string(record.record) +
                   " was changed before " + first->path + ", record " +
                   std::to_string(first->record);
        }
        first = first == nullptr && now != RecordState::kNew ? &record : first;
    }
    return "";
}

NumberedRows ByNumber(const CheckedTable* table) {
    NumberedRows rows;
    for (size_t index = 0; table != nullptr && index < table->rows.size(); ++index) {
        rows[table->recordNumbers[index]] = table->rows[index];
    }
    return rows;
}

std::set<uint32_t> ChangedRecords(const NumberedRows& before, const NumberedRows& after) {
    std::set<uint32_t> changed;
    for (const auto& [rows, others] : {std::pair(&before, &after), std::pair(&after, &before)}) {
        for (const auto& [record, row] : *rows) {
            const auto other = others->find(record);
            if (other == others->end() || other->second != row) {
                changed.insert(record);
            }
        }
    }
    return changed;
}

const CheckedTable* FindTable(const std::vector<CheckedTable>& tables, const std::string& name) {
    for (const CheckedTable& table : tables) {
        if (table.name == name) {
            return &table;
        }
    }
    return nullptr;
}

uint32_t RecordAt(const FileBytes& dataFile, int64_t offset) {
    constexpr size_t kHeaderSize = 32;
    if (dataFile.size() < kHeaderSize) {
        return 0;
    }
    const int64_t header = dataFile[8] | dataFile[9] << 8;
    const int64_t length = dataFile[10] | dataFile[11] << 8;
    return offset < header || length == 0 ? 0
                                          : static_cast<uint32_t>((offset - header) / length + 1);
}

}  // namespace ovrasql::checker
