#include "tests/faults/recorded_script.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>

namespace ovrasql {

namespace {

constexpr const char* kCounted[] = {
    "ovFile_Open",   "ovFile_MakeTemporary", "ovFile_MakeDirectory", "ovFile_RemoveDirectory",
    "ovFile_Delete", "ovFile_Rename",        "ovFile_Read",          "ovFile_Write",
    "ovFile_Seek",   "ovFile_Lock",          "ovFile_Release"};
constexpr const char* kByNameOnly[] = {"ovFile_Exists",
                                       "ovFile_IsDirectory",
                                       "ovDatabase_AddView",
                                       "ovDatabaseView_AddVariable",
                                       "ovVariable_Array_Element",
                                       "ovVariable_Struct_Member"};

template <size_t kCount>
bool IsAmong(const std::string& name, const char* const (&names)[kCount]) {
    return std::find(std::begin(names), std::end(names), name) != std::end(names);
}

bool Changes(const HostCall& call) {
    return call.name == "ovFile_Write" || call.name == "ovFile_Delete" ||
           call.name == "ovFile_Rename" || call.name == "ovFile_MakeTemporary" ||
           (call.name == "ovFile_Open" && (call.flags & 8) != 0);
}

// Numbers the calls of one step and notes the files that they change.
class CallCounter {
  public:
    void Take(const std::vector<HostCall>& log, size_t step, RecordedScript* recorded) {
        for (const HostCall& call : log) {
            const bool counted = IsAmong(call.name, kCounted);
            if (counted || IsAmong(call.name, kByNameOnly)) {
                number_ += counted ? 1 : 0;
                recorded->calls.push_back(
                    {call, step, counted ? number_ : 0, ++ofService_[call.name]});
            }
            if (Changes(call)) {
                recorded->steps[step].written.insert(call.path);
                recorded->steps[step].written.insert(call.newPath);
                NoteRecord(call, &recorded->steps[step]);
            }
        }
    }

  private:
    static void NoteRecord(const HostCall& call, RecordedStep* step) {
        const auto file = step->before.find(call.path);
        if (call.name != "ovFile_Write" || PartOf(call.path) != FilePart::kData ||
            file == step->before.end()) {
            return;
        }
        const checker::MetRecord met = {call.path, checker::RecordAt(file->second, call.offset)};
        if (met.record != 0 &&
            std::find(step->met.begin(), step->met.end(), met) == step->met.end()) {
            step->met.push_back(met);
        }
    }

    int64_t number_ = 0;
    std::map<std::string, int64_t> ofService_;
};

std::vector<checker::CheckedTable> TablesOf(const FileSet& files) {
    return files.count("main.dbf") == 0 ? std::vector<checker::CheckedTable>()
                                        : checker::ReadTables(files, "main.dbf");
}

}  // namespace

FileSet DatabaseFiles(FileSet files) {
    std::erase_if(files, [](const auto& file) { return PartOf(file.first) == FilePart::kTrace; });
    return files;
}

FilePart PartOf(const std::string& path) {
    if (path == "main.dbf") {
        return FilePart::kCatalogData;
    }
    if (path == "main.ovx" || path == "maini.ovx") {
        return FilePart::kCatalogIndex;
    }
    if (path.find("temporary") != std::string::npos) {
        return FilePart::kTemporary;
    }
    const size_t point = path.rfind('.');
    const std::string extension = point == std::string::npos ? "" : path.substr(point);
    if (extension == ".dbf") {
        return FilePart::kData;
    }
    if (extension == ".dbt") {
        return FilePart::kMemo;
    }
    if (extension == ".ovx") {
        return FilePart::kIndex;
    }
    return extension == ".log" ? FilePart::kTrace : FilePart::kNoFile;
}

bool IsCatalog(const std::string& path) {
    return PartOf(path) == FilePart::kCatalogData || PartOf(path) == FilePart::kCatalogIndex;
}

RecordedScript Record(const StatementScript& script) {
    RecordedScript recorded;
    recorded.script = &script;
    recorded.setup = SetupFiles(script);
    RestoreFiles(recorded.setup);
    ScriptSession session;
    EXPECT_TRUE(Prepare(session, script));
    CallCounter counter;
    for (const ScriptStep& step : script.tested) {
        RecordedStep taken;
        taken.before = DatabaseFiles(TakeFiles());
        taken.tablesBefore = TablesOf(taken.before);
        TheHost().ClearLog();
        taken.result = session.Run(step);
        const std::vector<HostCall> log = TheHost().Calls();
        taken.after = DatabaseFiles(TakeFiles());
        taken.tablesAfter = TablesOf(taken.after);
        recorded.steps.push_back(std::move(taken));
        counter.Take(log, recorded.steps.size() - 1, &recorded);
    }
    return recorded;
}

}  // namespace ovrasql
