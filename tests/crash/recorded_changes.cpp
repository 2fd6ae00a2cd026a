#include "tests/crash/recorded_changes.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace ovrasql {

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
    return recorded;
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
