#pragma once

// SharedDatabaseTest: a database in a folder of its own, and what tests with processes ask of it.

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "tests/support/checker/checker.h"
#include "tests/support/child_processes.h"
#include "tests/support/host_connection.h"
#include "tests/support/temporary_folder.h"

namespace ovratest {

using Rows = HostConnection::Rows;

class SharedDatabase {
  public:
    // Made with these statements. No connection stays open: the processes are still to be forked.
    void Create(const std::vector<std::string>& statements) {
        HostConnection connection(Path(), HostConnection::Start::kCreate);
        for (const std::string& statement : statements) {
            ASSERT_TRUE(connection.Run(statement)) << statement << "\n" << connection.Error();
        }
    }

    std::string Path() const { return folder_.File("shared.dbf"); }
    const TemporaryFolder& Folder() const { return folder_; }

    // What the checker finds wrong.
    std::vector<ovrasql::checker::Finding> Findings() const {
        auto findings = ovrasql::checker::CheckDatabase(
            ovrasql::checker::ReadFolder(folder_.Path()), "shared.dbf");
        findings.erase(std::remove_if(findings.begin(), findings.end(),
                                      [](const auto& finding) { return finding.harmless; }),
                       findings.end());
        return findings;
    }

    // The same as a text; empty when all is sound.
    std::string Faults() const { return ovrasql::checker::Describe(Findings()); }

  private:
    TemporaryFolder folder_;
};

// The text that a row carries, made from what identifies it, so that a torn row cannot pass.
inline std::string RowText(int process, int number) {
    return std::string(static_cast<std::size_t>(20 + (process * 7 + number) % 30),
                       static_cast<char>('a' + (process + number) % 26)) +
           std::to_string(process * 100000 + number);
}

// The values of column 0, as numbers, in ascending order.
inline std::vector<int> Numbers(const Rows& rows) {
    std::vector<int> numbers;
    for (const auto& row : rows) {
        numbers.push_back(std::stoi(row[0]));
    }
    std::sort(numbers.begin(), numbers.end());
    return numbers;
}

// `count` numbers from `first` on.
inline std::vector<int> Range(int first, int count) {
    std::vector<int> numbers;
    for (int i = 0; i < count; ++i) {
        numbers.push_back(first + i);
    }
    return numbers;
}

}  // namespace ovratest
