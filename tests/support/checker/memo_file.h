#pragma once

// MemoFile: a .dbt file as docs/formats-dbf.md tells it. Texts are fetched by their block; the file
// remembers which blocks a text of a live record has taken, so that no two records share one.
//
// A damaged file may make every record point to one endless text, so all that is fetched is bounded
// by a few times the file's size.

#include <map>
#include <string>
#include <vector>

#include "tests/support/checker/report.h"

namespace ovrasql::checker {

class MemoFile {
  public:
    MemoFile(const std::string& path, const FileBytes& bytes, Report* report);

    [[nodiscard]] const std::string& Path() const { return path_; }
    // The text that begins at a block, as reading gives it, or its first bytes. A cell of blanks is
    // no text.
    [[nodiscard]] std::string Text(const std::string& cell, size_t atMost = SIZE_MAX);
    // Notes the blocks of a live record's text as taken, and tells what is wrong with it.
    void Claim(const std::string& cell, uint32_t record, Report* report);

  private:
    struct Extent {
        size_t begin = 0;
        size_t end = 0;
        bool isEnded = false;  // by its end mark, not by the end of the file
    };
    [[nodiscard]] Extent Find(uint64_t block, size_t atMost);
    void CheckHeader(Report* report) const;

    std::string path_;
    const FileBytes& bytes_;
    uint32_t nextFree_;
    size_t budget_;
    std::vector<uint32_t> owners_;  // the record that has a block; 0 for none
};

// The number in a memo cell; 0 when there is none, and a number past every file when it is too
// long.
uint64_t BlockNumber(const std::string& cell);

}  // namespace ovrasql::checker
