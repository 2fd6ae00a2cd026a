#pragma once

// The catalog as the prompt shows it: the tables and indexes that the schema table lists, and the
// columns of a table's data file. All of it is read from the .dbf files themselves, whose layout is
// public (docs/formats-dbf.md); the language has no statement for it.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ovrashell {

struct Column {
    std::string name;
    char letter = 'C';  // the field's type letter: C, N, D, L or M
    int32_t width = 0;
    int32_t decimals = 0;
};

// The head of a .dbf file, and its records as raw text.
class DbfFile {
  public:
    // Throws an Error for a file that cannot be read or is no .dbf file of version 0x03 or 0x83.
    explicit DbfFile(const std::string& path);

    const std::vector<Column>& Columns() const { return columns_; }
    uint32_t RecordCount() const { return recordCount_; }
    bool HasMemo() const;

    // Whether the file ends before the records that its header counts.
    bool IsCutShort() const;

    // The fields of every live record, in record order, without trailing blanks. For small files:
    // all of it is in memory. Throws an Error for records of no length.
    std::vector<std::vector<std::string>> LiveRecords() const;

  private:
    std::string path_;
    std::vector<Column> columns_;
    uint32_t recordCount_ = 0;
    uint32_t headerLength_ = 0;
    uint32_t recordLength_ = 0;
};

struct IndexEntry {
    std::string name;
    std::string columns;
    bool unique = false;
    bool descending = false;
};

struct TableEntry {
    std::string name;
    std::string file;  // with the database's folder in front
    std::vector<IndexEntry> indexes;
};

// Whether the file is a table's data file, and no database's schema table.
bool IsPlainTable(const std::string& path);

// The tables of the database at that path, in name order.
std::vector<TableEntry> ReadCatalog(const std::string& databasePath);

// The entry of that name, ignoring case; nothing when there is none.
std::optional<TableEntry> LookUpTable(const std::string& databasePath, std::string_view name);

// The same, where there must be one: throws otherwise.
TableEntry FindTable(const std::string& databasePath, std::string_view name);

// The path of the data file that a new table of that name would get.
std::string NewDataFile(const std::string& databasePath, std::string_view table);

// The column as it is written in CREATE TABLE.
std::string ColumnText(const Column& column);

bool EqualNoCase(std::string_view first, std::string_view second);
std::string Lowered(std::string_view text);

}  // namespace ovrashell
