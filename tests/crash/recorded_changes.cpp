#include "tests/crash/recorded_changes.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace ovrasql {

namespace {

// Runs the statement for the program that it traces. Without regard to case an index serves more
// conditions than otherwise.
bool WalksWithoutIndex(const FileSet& before, const ScriptStep& step) {
    constexpr const char* kTrace = "program.log";
    RestoreFiles(before);
    TheHost().SetLogging(false);
    {
        ScriptSession session;
        for (const char* first : {"open", "option caseinsensitive", "option log program.log"}) {
            EXPECT_TRUE(session.Run(ScriptStep(first)).ok) << first;
        }
        static_cast<void>(session.Run(step));
    }
    const std::string program = TheHost().FileText(kTrace);
    EXPECT_NE(program.find("SQL_Cursor_"), std::string::npos) << step.text;
    return program.find("SQL_Cursor_Index") == std::string::npos;
}

}  // namespace

RecordedChanges RecordChanges(const StatementScript& script) {
    RecordedChanges recorded;
    recorded.start = SetupFiles(script);
    RestoreFiles(recorded.start);
    std::vector<FileChange> changes;
    TheHost().SetChangeHandler([&](const FileChange& change) { changes.push_back(change); });
    ScriptSession session;
    EXPECT_TRUE(Prepare(session, script));
    for (const ScriptStep& step : script.tested) {
        const bool ok = session.Run(step).ok;
        EXPECT_EQ(ok, !step.fails) << step.text;
        recorded.steps.push_back({step, ok, std::move(changes)});
        changes.clear();
    }
    session.Close();
    TheHost().SetChangeHandler(nullptr);
    FileSet files = recorded.start;
    for (RecordedStep& step : recorded.steps) {
        step.meetsRowsInRecordOrder = MeetsRowsInRecordOrder(files, step.step);
        for (const FileChange& change : step.changes) {
            Apply(change, &files);
        }
    }
    return recorded;
}

bool MeetsRowsInRecordOrder(const FileSet& before, const ScriptStep& step) {
    const std::string verb = step.text.substr(0, 7);
    return verb == "insert " ||
           ((verb == "update " || verb == "delete ") && WalksWithoutIndex(before, step));
}

void Apply(const FileChange& change, size_t bytes, FileSet* files) {
    switch (change.kind) {
        case FileChangeKind::kCreate:
        case FileChangeKind::kTruncate:
            (*files)[change.path].clear();
            break;
        case FileChangeKind::kWrite: {
            Bytes& file = (*files)[change.path];
            const size_t offset = static_cast<size_t>(change.offset);
            file.resize(std::max(file.size(), bytes == 0 ? 0 : offset + bytes));
            std::copy_n(change.bytes.begin(), bytes,
                        file.begin() + static_cast<std::ptrdiff_t>(bytes == 0 ? 0 : offset));
            break;
        }
        case FileChangeKind::kRename: {
            Bytes moved = std::move((*files)[change.path]);
            files->erase(change.path);
            (*files)[change.newPath] = std::move(moved);
            break;
        }
        case FileChangeKind::kDelete:
            files->erase(change.path);
            break;
        case FileChangeKind::kMakeDirectory:
        case FileChangeKind::kRemoveDirectory:
            break;
    }
}

void Apply(const FileChange& change, FileSet* files) { Apply(change, change.bytes.size(), files); }

std::string Describe(const FileChange& change) {
    static const char* const kWords[] = {"create", "truncate",    "write",        "rename",
                                         "delete", "make folder", "remove folder"};
    std::string text = std::string(kWords[static_cast<int>(change.kind)]) + " " + change.path;
    if (change.kind == FileChangeKind::kWrite) {
        text += " at " + std::to_string(change.offset) + " length " +
                std::to_string(change.bytes.size());
    }
    return change.newPath.empty() ? text : text + " to " + change.newPath;
}

}  // namespace ovrasql
