#pragma once

// Report: the findings as they are collected. A damaged file can break one rule in every record, so
// each file may have some hundreds of findings and no more.

#include <map>
#include <string>
#include <vector>

#include "tests/support/checker/checker.h"

namespace ovrasql::checker {

class Report {
  public:
    void Add(FindingKind kind, const std::string& file, const std::string& text) {
        Add(kind, file, 0, text, false);
    }
    void AddHarmless(FindingKind kind, const std::string& file, uint32_t record,
                     const std::string& text) {
        Add(kind, file, record, text, true);
    }
    void AddRecord(FindingKind kind, const std::string& file, uint32_t record,
                   const std::string& text) {
        Add(kind, file, record, text, false);
    }
    [[nodiscard]] std::vector<Finding> Take() { return std::move(findings_); }

  private:
    static constexpr int kMostFindings = 300;

    void Add(FindingKind kind, const std::string& file, uint32_t record, const std::string& text,
             bool harmless) {
        const int count = ++counts_[file];
        if (count > kMostFindings) {
            return;
        }
        std::string line = file;
        if (record != 0) {
            line += ", record " + std::to_string(record);
        }
        line += ": " + text;
        if (count == kMostFindings) {
            line += " (nothing more is told about this file)";
        }
        findings_.push_back({kind, file, record, line, harmless});
    }

    std::vector<Finding> findings_;
    std::map<std::string, int> counts_;
};

}  // namespace ovrasql::checker
