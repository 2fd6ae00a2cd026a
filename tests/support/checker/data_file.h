#pragma once

// DataFile: a .dbf file as docs/formats-dbf.md tells it. Reading one looks at its header, its
// columns and its length; a file whose records can't be told apart has none.
//
// The bytes are borrowed and must outlive the object. Record numbers begin at 1.

#include <string>
#include <vector>

#include "tests/support/checker/report.h"

namespace ovrasql::checker {

struct Column {
    std::string name;
    char type = 0;
    size_t width = 0;
    uint32_t decimals = 0;
    size_t offset = 0;  // from the start of a record
};

class DataFile {
  public:
    DataFile(const std::string& path, const FileBytes& bytes, Report* report);

    [[nodiscard]] const std::string& Path() const { return path_; }
    [[nodiscard]] bool HasMemos() const { return version_ == 0x83 || hasMemoColumn_; }
    [[nodiscard]] const std::vector<Column>& Columns() const { return columns_; }
    // Null when there is none; upper and lower case are one.
    [[nodiscard]] const Column* FindColumn(const std::string& name) const;
    // The counted records that the file has in whole.
    [[nodiscard]] uint32_t RecordCount() const { return recordCount_; }
    [[nodiscard]] bool IsLive(uint32_t record) const;
    // The cell as it stands, and as reading gives it; of a memo the block number.
    [[nodiscard]] std::string Cell(uint32_t record, const Column& column) const;
    [[nodiscard]] std::string Value(uint32_t record, const Column& column) const;

    // Looks at the flag of each record and at the cells of the live ones.
    void CheckRecords(Report* report) const;

  private:
    void CheckHeader(Report* report) const;
    void ReadColumns(Report* report);
    void CheckDescriptor(const Column& column, size_t at, Report* report) const;
    void CheckLength(Report* report);
    [[nodiscard]] std::string CellFault(uint32_t record, const Column& column) const;
    [[nodiscard]] size_t RecordOffset(uint32_t record) const;

    std::string path_;
    const FileBytes& bytes_;
    uint32_t version_;
    size_t headerLength_;
    size_t recordLength_;
    uint32_t recordCount_ = 0;
    bool hasMemoColumn_ = false;
    bool columnsHold_ = true;
    std::vector<Column> columns_;
};

}  // namespace ovrasql::checker
