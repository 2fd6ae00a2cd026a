#pragma once

// IndexFile: an .ovx file as docs/formats-ovx.md tells it. Reading one walks the whole tree, each
// page once, and leaves the entries in their order.

#include <string>
#include <vector>

#include "tests/support/checker/report.h"

namespace ovrasql::checker {

struct IndexEntry {
    std::string key;
    uint32_t record = 0;
    uint32_t page = 0;
};

inline constexpr uint32_t kUniqueFlag = 1;
inline constexpr uint32_t kDescendingFlag = 2;
inline constexpr uint32_t kTextFlag = 4;
inline constexpr size_t kLongestKey = 99;

// The order of two whole keys under the flags of an index: below 0, 0, above 0.
int CompareKeys(const std::string& first, const std::string& second, uint32_t flags);

class IndexFile {
  public:
    IndexFile(const std::string& path, const FileBytes& bytes, Report* report);

    [[nodiscard]] const std::string& Path() const { return path_; }
    [[nodiscard]] uint32_t Flags() const { return flags_; }
    [[nodiscard]] const std::string& Expression() const { return expression_; }
    [[nodiscard]] const std::vector<IndexEntry>& Entries() const { return entries_; }

  private:
    [[nodiscard]] bool CheckHeader(Report* report);
    void CheckSize(Report* report) const;
    void WalkPage(uint32_t page, uint32_t depth, Report* report);
    [[nodiscard]] bool Reach(uint32_t page, uint32_t depth, Report* report);
    void CheckChildren(uint32_t page, uint32_t count, uint32_t depth, Report* report);
    void TakeEntry(uint32_t page, uint32_t entry, Report* report);
    void CheckUnreached(Report* report) const;
    void CheckOrder(Report* report) const;
    [[nodiscard]] size_t EntryOffset(uint32_t page, uint32_t entry) const;
    void Add(const std::string& text, Report* report) const;

    std::string path_;
    const FileBytes& bytes_;
    uint32_t pageCount_ = 0;
    uint32_t root_ = 0;
    uint32_t flags_ = 0;
    uint32_t leafDepth_ = 0;  // of the first leaf; 0 before it
    std::string expression_;
    std::vector<bool> reached_;
    std::vector<IndexEntry> entries_;
};

}  // namespace ovrasql::checker
