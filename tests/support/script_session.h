#pragma once

// ScriptSession: runs the steps of statement_scripts.h over the in-memory host, through the public
// function table alone. Each step gives a result, a message and what it read.
//
// TheHost().Reset() comes before a session is made, never while it lives.

#include <map>
#include <memory>
#include <ostream>
#include <string>

#include "tests/support/statement_scripts.h"
#include "tests/support/test_database.h"

namespace ovrasql {

using FileSet = std::map<std::string, Bytes>;  // every file of the host, by path

FileSet TakeFiles();
void RestoreFiles(const FileSet& files);  // resets the host

struct StepResult {
    bool ok = false;
    std::string error;  // database_error, or view_error, when it failed
    std::string rows;   // of a step that reads: columns joined by "|", a newline behind each row
};

class ScriptSession {
  public:
    [[nodiscard]] StepResult Run(const ScriptStep& step);
    [[nodiscard]] TestDatabase& Database() { return *database_; }
    [[nodiscard]] bool HasDatabase() const { return database_ != nullptr; }
    void Close() { database_.reset(); }

  private:
    StepResult Begin(const ScriptStep& step);
    StepResult Read(const ScriptStep& step);

    std::unique_ptr<TestDatabase> database_;
};

// How a test of the script is called when it fails.
inline void PrintTo(const StatementScript& script, std::ostream* out) { *out << script.name; }

// The files that a script's setup leaves, with one table more: "other", with columns x and m, an
// index on x and a row, which no script touches. None where the setup is empty. Resets the host.
FileSet SetupFiles(const StatementScript& script);

// Opens the database unless the script's first tested step does.
[[nodiscard]] bool Prepare(ScriptSession& session, const StatementScript& script);

}  // namespace ovrasql
