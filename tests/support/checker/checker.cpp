#include "tests/support/checker/checker.h"

#include <fstream>
#include <memory>
#include <set>

#include "tests/support/checker/bytes.h"
#include "tests/support/checker/catalog.h"
#include "tests/support/checker/data_file.h"
#include "tests/support/checker/index_against_table.h"
#include "tests/support/checker/index_file.h"
#include "tests/support/checker/memo_file.h"

namespace ovrasql::checker {

namespace {

// A table with its memo file, as far as both could be read.
struct OpenedTable {
    std::unique_ptr<DataFile> data;
    std::unique_ptr<MemoFile> memos;
};

// One run over a database. Each file is read once at most, whatever the catalog says, so the work
// is bounded by the size of all files.
class DatabaseCheck {
  public:
    DatabaseCheck(const FileMap& files, const std::string& catalogPath)
        : files_(files), catalogPath_(catalogPath), catalog_(NamedCatalog(catalogPath)) {}

    std::vector<Finding> Check() {
        if (OpenCatalog()) {
            CheckRows(*schema_, catalog_, &report_);
            CheckCatalogIndex(catalog_.firstIndexPath, {0, 1, 2}, kUniqueFlag);
            CheckCatalogIndex(catalog_.secondIndexPath, {2}, 0);
            CheckTables();
            CheckUnlisted();
        }
        return report_.Take();
    }

    std::vector<CheckedTable> Read() {
        std::vector<CheckedTable> tables;
        if (!OpenCatalog()) {
            return tables;
        }
        for (const CatalogRow& row : catalog_.rows) {
            if (row.type == "T") {
                OpenedTable table = OpenTable(row);
                if (table.data != nullptr) {
                    tables.push_back(RowsOf(row.table, &table));
                }
            }
        }
        return tables;
    }

  private:
    // The bytes of a file that has not been read before; null, and told, when there are none.
    const FileBytes* Take(const std::string& path, FindingKind kind, const std::string& what) {
        const auto found = files_.find(path);
        if (found == files_.end()) {
            report_.Add(kind, path, what + " is missing");
            return nullptr;
        }
        if (!taken_.insert(path).second) {
            report_.Add(kind, path, what + " is another file of the database as well");
            return nullptr;
        }
        return &found->second;
    }

    bool OpenCatalog() {
        const FileBytes* bytes = Take(catalogPath_, FindingKind::kCatalog, "the catalog");
        if (bytes == nullptr) {
            return false;
        }
        schema_ = std::make_unique<DataFile>(catalogPath_, *bytes, &report_);
        if (!HasCatalogColumns(*schema_)) {
            report_.Add(FindingKind::kCatalog, catalogPath_, "without the columns of a catalog");
            return false;
        }
        schema_->CheckRecords(&report_);
        ReadRows(*schema_, &catalog_);
        return true;
    }

    void CheckCatalogIndex(const std::string& path, const std::vector<size_t>& numbers,
                           uint32_t flags) {
        const FileBytes* bytes = Take(path, FindingKind::kCatalog, "an index of the catalog");
        if (bytes == nullptr) {
            return;
        }
        std::vector<const Column*> columns;
        for (const size_t number : numbers) {
            columns.push_back(&schema_->Columns()[number]);
        }
        const IndexFile index(path, *bytes, &report_);
        CheckIndexHeader(index, columns, flags, &report_);
        CheckKeys({*schema_, nullptr, KeyedRecords::kAll}, columns, index, &report_);
    }

    OpenedTable OpenTable(const CatalogRow& row) {
        OpenedTable table;
        const FileBytes* bytes =
            Take(row.path, FindingKind::kCatalog, "the data file of " + Shown(row.table));
        if (bytes == nullptr) {
            return table;
        }
        table.data = std::make_unique<DataFile>(row.path, *bytes, &report_);
        if (table.data->HasMemos()) {
            const FileBytes* memoBytes = Take(WithExtension(row.path, ".dbt"), FindingKind::kMemo,
                                              "the memo file of " + Shown(row.table));
            if (memoBytes != nullptr) {
                table.memos = std::make_unique<MemoFile>(WithExtension(row.path, ".dbt"),
                                                         *memoBytes, &report_);
            }
        }
        return table;
    }

    void CheckTables() {
        for (const CatalogRow& row : catalog_.rows) {
            if (row.type != "T") {
                continue;
            }
            OpenedTable table = OpenTable(row);
            if (table.data == nullptr) {
                continue;
            }
            table.data->CheckRecords(&report_);
            ClaimMemos(&table);
            CheckIndexes(row.table, table);
        }
    }

    void ClaimMemos(OpenedTable* table) {
        if (table->memos == nullptr) {
            return;
        }
        for (const Column& column : table->data->Columns()) {
            for (uint32_t record = 1; record <= table->data->RecordCount(); ++record) {
                if (column.type == 'M' && table->data->IsLive(record)) {
                    table->memos->Claim(table->data->Value(record, column), record, &report_);
                }
            }
        }
    }

    void CheckIndexes(const std::string& tableName, const OpenedTable& table) {
        for (const CatalogRow& row : catalog_.rows) {
            if (row.type != "I" || UpperCase(row.table) != UpperCase(tableName)) {
                continue;
            }
            const std::vector<const Column*> columns = ColumnsOf(row, *table.data);
            const FileBytes* bytes =
                Take(row.path, FindingKind::kCatalog, "the file of the index " + Shown(row.index));
            if (bytes == nullptr) {
                continue;
            }
            const IndexFile index(row.path, *bytes, &report_);
            CheckIndexHeader(index, columns, FlagsOf(row, columns), &report_);
            CheckKeys({*table.data, table.memos.get(), KeyedRecords::kLive}, columns, index,
                      &report_);
        }
    }

    std::vector<const Column*> ColumnsOf(const CatalogRow& row, const DataFile& data) {
        std::vector<const Column*> columns;
        size_t start = 0;
        while (start < row.columns.size()) {
            const size_t end = std::min(row.columns.find(':', start), row.columns.size());
            const std::string name = row.columns.substr(start, end - start);
            columns.push_back(data.FindColumn(name));
            if (columns.back() == nullptr) {
                report_.AddRecord(FindingKind::kCatalog, catalogPath_, row.record,
                                  "the column " + Shown(name) + " of the index " +
                                      Shown(row.index) + " is none of " + Shown(row.table));
            }
            start = end + 1;
        }
        return columns;
    }

    // The flags of the row. That for text must be right for the columns.
    uint32_t FlagsOf(const CatalogRow& row, const std::vector<const Column*>& columns) {
        const uint32_t flags = row.flags.empty() ? 0 : static_cast<uint32_t>(row.flags[0] - '0');
        bool hasText = false;
        for (const Column* column : columns) {
            hasText =
                hasText || (column != nullptr && (column->type == 'C' || column->type == 'M'));
        }
        if (hasText != ((flags & kTextFlag) != 0)) {
            report_.AddRecord(FindingKind::kCatalog, catalogPath_, row.record,
                              "flags " + row.flags + " of the index " + Shown(row.index) +
                                  " do not fit its columns");
        }
        return flags;
    }

    // Trace files are nobody's.
    void CheckUnlisted() {
        for (const auto& [path, bytes] : files_) {
            const bool isTrace = path.size() > 4 && path.compare(path.size() - 4, 4, ".log") == 0;
            if (taken_.count(path) == 0 && !isTrace && path.rfind(catalog_.folder, 0) == 0) {
                report_.Add(FindingKind::kUnlistedFile, path,
                            "no row of the catalog names this file");
            }
        }
    }

    static CheckedTable RowsOf(const std::string& name, OpenedTable* table) {
        CheckedTable rows;
        rows.name = name;
        rows.path = table->data->Path();
        for (const Column& column : table->data->Columns()) {
            rows.columns.push_back(column.name);
        }
        for (uint32_t record = 1; record <= table->data->RecordCount(); ++record) {
            if (!table->data->IsLive(record)) {
                continue;
            }
            std::vector<std::string> row;
            for (const Column& column : table->data->Columns()) {
                const std::string value = table->data->Value(record, column);
                const bool isText = column.type == 'M' && table->memos != nullptr;
                row.push_back(isText ? table->memos->Text(value) : value);
            }
            rows.rows.push_back(std::move(row));
            rows.recordNumbers.push_back(record);
        }
        return rows;
    }

    const FileMap& files_;
    const std::string& catalogPath_;
    Catalog catalog_;
    Report report_;
    std::set<std::string> taken_;
    std::unique_ptr<DataFile> schema_;
};

}  // namespace

std::vector<Finding> CheckDatabase(const FileMap& files, const std::string& catalogPath) {
    return DatabaseCheck(files, catalogPath).Check();
}

std::vector<CheckedTable> ReadTables(const FileMap& files, const std::string& catalogPath) {
    return DatabaseCheck(files, catalogPath).Read();
}

FileMap ReadFolder(const std::filesystem::path& folder) {
    constexpr uintmax_t kMostBytes = uintmax_t{1} << 30;
    FileMap files;
    uintmax_t total = 0;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
        if (!entry.is_regular_file() || total + entry.file_size() > kMostBytes) {
            continue;
        }
        FileBytes bytes(static_cast<size_t>(entry.file_size()));
        std::ifstream stream(entry.path(), std::ios::binary);
        stream.read(reinterpret_cast<char*>(bytes.data()),
                    static_cast<std::streamsize>(bytes.size()));
        bytes.resize(static_cast<size_t>(stream.gcount()));
        total += bytes.size();
        files[entry.path().lexically_relative(folder).generic_string()] = std::move(bytes);
    }
    return files;
}

std::string Describe(const std::vector<Finding>& findings) {
    std::string text;
    for (const Finding& finding : findings) {
        text += finding.text + "\n";
    }
    return text;
}

}  // namespace ovrasql::checker
