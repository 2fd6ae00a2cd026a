#include "tests/support/checker/catalog.h"

#include <set>

#include "tests/support/checker/bytes.h"

namespace ovrasql::checker {

namespace {

struct CatalogColumn {
    const char* name;
    char type;
    size_t width;
};

constexpr CatalogColumn kColumns[] = {{"TYPE", 'C', 1},      {"TABLE", 'C', 64},
                                      {"INDEX", 'C', 64},    {"FILE", 'C', 254},
                                      {"COLUMNS", 'C', 254}, {"INDEXFLAGS", 'N', 19}};

bool IsFlags(const std::string& text) {
    return text.size() == 1 && text[0] >= '0' && text[0] <= '7';
}

// Tells what is wrong with rows that were seen one by one.
class RowChecker {
  public:
    RowChecker(const DataFile& data, Report* report) : data_(data), report_(report) {}

    void CheckTable(const CatalogRow& row) {
        if (row.table.empty() || !row.index.empty() || !row.columns.empty() || !row.flags.empty()) {
            Add(row, "a table's row with the values of no table");
        }
        if (!tables_.insert(UpperCase(row.table)).second) {
            Add(row, "a second table " + Shown(row.table));
        }
    }

    void CheckIndex(const CatalogRow& row, const std::set<std::string>& tables) {
        if (row.index.empty() || row.columns.empty() || !IsFlags(row.flags)) {
            Add(row, "an index's row with the values of no index");
        }
        if (tables.count(UpperCase(row.table)) == 0) {
            Add(row, "an index of the table " + Shown(row.table) + ", which there is none");
        }
        if (!indexes_.insert(UpperCase(row.index)).second) {
            Add(row, "a second index " + Shown(row.index));
        }
    }

    void CheckFile(const CatalogRow& row, const Catalog& catalog) {
        if (row.path == catalog.folder) {
            Add(row, "no file");
        } else if (!files_.insert(row.path).second) {
            Add(row, "a second row for the file " + Shown(row.path));
        }
    }

    void Add(const CatalogRow& row, const std::string& text) {
        report_->AddRecord(FindingKind::kCatalog, data_.Path(), row.record, text);
    }

  private:
    const DataFile& data_;
    Report* report_;
    std::set<std::string> tables_;
    std::set<std::string> indexes_;
    std::set<std::string> files_;
};

}  // namespace

std::string WithExtension(const std::string& path, const std::string& extension) {
    const size_t point = path.rfind('.');
    const size_t slash = path.find_last_of("/\\");
    const bool hasOne = point != std::string::npos && (slash == std::string::npos || point > slash);
    return path.substr(0, hasOne ? point : std::string::npos) + extension;
}

Catalog NamedCatalog(const std::string& path) {
    Catalog catalog;
    const size_t slash = path.find_last_of("/\\");
    catalog.folder = slash == std::string::npos ? std::string() : path.substr(0, slash + 1);
    catalog.firstIndexPath = WithExtension(path, ".ovx");
    catalog.secondIndexPath = WithExtension(path, "i.ovx");
    return catalog;
}

bool HasCatalogColumns(const DataFile& data) {
    size_t index = 0;
    for (const CatalogColumn& expected : kColumns) {
        if (index >= data.Columns().size()) {
            return false;
        }
        const Column& column = data.Columns()[index++];
        if (column.name != expected.name || column.type != expected.type ||
            column.width != expected.width) {
            return false;
        }
    }
    return index == data.Columns().size();
}

void ReadRows(const DataFile& data, Catalog* catalog) {
    const std::vector<Column>& columns = data.Columns();
    for (uint32_t record = 1; record <= data.RecordCount(); ++record) {
        if (data.IsLive(record)) {
            catalog->rows.push_back(
                {record, data.Value(record, columns[0]), data.Value(record, columns[1]),
                 data.Value(record, columns[2]), catalog->folder + data.Value(record, columns[3]),
                 data.Value(record, columns[4]), data.Value(record, columns[5])});
        }
    }
}

void CheckRows(const DataFile& data, const Catalog& catalog, Report* report) {
    for (uint32_t record = 1; record <= data.RecordCount(); ++record) {
        const std::string type = data.Value(record, data.Columns()[0]);
        if (type != "T" && type != "I") {
            report->AddRecord(FindingKind::kCatalog, data.Path(), record,
                              "a row of neither a table nor an index");
        }
    }
    std::set<std::string> tables;
    for (const CatalogRow& row : catalog.rows) {
        if (row.type == "T") {
            tables.insert(UpperCase(row.table));
        }
    }
    RowChecker checker(data, report);
    for (const CatalogRow& row : catalog.rows) {
        if (row.type == "T") {
            checker.CheckTable(row);
        } else {
            checker.CheckIndex(row, tables);
        }
        checker.CheckFile(row, catalog);
    }
}

}  // namespace ovrasql::checker
