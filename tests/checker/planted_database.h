#pragma once

// A healthy database and the tools to plant damages into it. Offsets are those of
// docs/formats-dbf.md and docs/formats-ovx.md.
//
//   people (NAME char(12), AGE numeric(5), OK boolean, TALL numeric(2,2), NOTE memo)
//     61 records, some of them deleted; indexes by_name, by_age (UNIQUE), by_old (descending),
//     by_all (OK, NAME, AGE), by_note
//   plain (WORD char(3)), without memos and indexes, 3 records

#include <string>

#include "tests/support/checker/checker.h"

namespace ovrasql {

using checker::FileBytes;
using checker::FileMap;

// Made once.
const FileMap& HealthyFiles();

class Planter {
  public:
    explicit Planter(FileMap* files) : files_(*files) {}

    FileBytes& File(const std::string& path) { return files_.at(path); }
    FileMap& Files() { return files_; }
    void Set8(const std::string& path, size_t offset, uint32_t value);
    void Set16(const std::string& path, size_t offset, uint32_t value);
    void Set32(const std::string& path, size_t offset, uint32_t value);
    void SetText(const std::string& path, size_t offset, const std::string& text);
    [[nodiscard]] uint32_t Get32(const std::string& path, size_t offset) const;
    [[nodiscard]] std::string GetText(const std::string& path, size_t offset, size_t length) const;
    void Cut(const std::string& path, size_t bytes);  // off the end
    void Resize(const std::string& path, size_t size);
    void Append(const std::string& path, const std::string& bytes);
    void Remove(const std::string& path) { files_.erase(path); }

    // --- Data files
    [[nodiscard]] size_t Record(const std::string& path, uint32_t number) const;
    // A cell by the number of its column, from 0.
    [[nodiscard]] size_t Cell(const std::string& path, uint32_t record, size_t column) const;
    static size_t Descriptor(size_t column) { return 32 + 32 * column; }

    // --- Index files
    [[nodiscard]] uint32_t Root(const std::string& path) const { return Get32(path, 13); }
    static size_t Page(uint32_t page) { return size_t{page} * 1024; }
    static size_t Entry(uint32_t page, uint32_t entry) { return Page(page) + 4 + 108 * entry; }
    static size_t RecordOf(uint32_t page, uint32_t entry) { return Entry(page, entry) + 4; }
    static size_t KeyOf(uint32_t page, uint32_t entry) { return Entry(page, entry) + 8; }
    [[nodiscard]] uint32_t Count(const std::string& path, uint32_t page) const;
    [[nodiscard]] uint32_t Child(const std::string& path, uint32_t page, uint32_t entry) const;
    [[nodiscard]] uint32_t FirstLeaf(const std::string& path) const;
    [[nodiscard]] uint32_t LastLeaf(const std::string& path) const;
    // Of the only entry with this key.
    [[nodiscard]] size_t PlaceOfKey(const std::string& path, const std::string& key) const;

    // --- The catalog: the record of a table's row or of an index's row
    [[nodiscard]] uint32_t RowOf(const std::string& name) const;

  private:
    FileMap& files_;
};

}  // namespace ovrasql
