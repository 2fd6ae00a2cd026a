#include "tests/support/script_session.h"

#include <gtest/gtest.h>

namespace ovrasql {

namespace {

StepResult Result(bool ok, const TestDatabase& database) {
    return {ok, ok ? std::string() : database.Error(), std::string()};
}

// What a host may ask of a view: the description of its columns, and each value in every type.
std::string Described(const TestView& view) {
    std::string text;
    for (const std::string& column : view.Columns()) {
        text += column + "|";
    }
    return text + "\n";
}

std::string InEveryType(const TestView& view) {
    std::string text;
    for (const auto& variable : MemoryHost::View(view.Handle())->variables) {
        int32_t integer = 0;
        double number = 0;
        const int32_t first = Library().variable_value_integer(variable.get(), &integer);
        const int32_t second = Library().variable_value_double(variable.get(), &number);
        text += variable->name + " " + std::to_string(first) + " " + std::to_string(integer) + " " +
                std::to_string(second) + " " + std::to_string(number) + "|";
    }
    return text + "\n";
}

std::string RowOf(const TestView& view) {
    std::string text;
    const Row row = view.Values();
    for (const std::string& value : row) {
        text += (&value == &row.front() ? "" : "|") + value;
    }
    return text + "\n";
}

}  // namespace

// A table that no script touches: whatever befalls the others, its rows stay.
std::vector<ScriptStep> OtherTable() {
    return {"create table other (x char(8), m memo)", "create index otherx on other (x)",
            "insert into other values ('kept', 'a text that stays')"};
}

FileSet TakeFiles() {
    FileSet files;
    for (const std::string& path : TheHost().FilePaths()) {
        files[path] = TheHost().FileBytes(path);
    }
    return files;
}

void RestoreFiles(const FileSet& files) {
    TheHost().Reset();
    for (const auto& [path, bytes] : files) {
        TheHost().SetFile(path, bytes);
    }
}

StepResult ScriptSession::Begin(const ScriptStep& step) {
    database_.reset();
    database_ = std::make_unique<TestDatabase>();
    const bool creates = KindOf(step) == StepKind::kCreate;
    return Result(creates ? database_->Create() : database_->Open(), *database_);
}

StepResult ScriptSession::Read(const ScriptStep& step) {
    const StepKind kind = KindOf(step);
    StepResult result;
    TestView view(*database_, SqlOf(step), step.parameters);
    result.ok = view.Ok();
    if (kind == StepKind::kWalk) {
        result.rows += result.ok ? RowOf(view) : "";
        result.ok = result.ok && view.Skip(WalkedRows(step));
        result.rows += result.ok ? RowOf(view) : "";
    }
    if (kind == StepKind::kReveal && view.Exists()) {
        result.rows += Described(view);
    }
    while (kind != StepKind::kWalk && result.ok && !view.AtEnd()) {
        result.rows += kind == StepKind::kReveal ? InEveryType(view) : RowOf(view);
        result.ok = view.Skip();
    }
    if (!result.ok) {
        result.error = database_->Error();
    }
    return result;
}

StepResult ScriptSession::Run(const ScriptStep& step) {
    switch (KindOf(step)) {
        case StepKind::kCreate:
        case StepKind::kOpen:
            return Begin(step);
        case StepKind::kPack:
            return Result(database_->Pack(), *database_);
        case StepKind::kOption:
            return Result(database_->Option(OptionOf(step).first, OptionOf(step).second),
                          *database_);
        case StepKind::kSelect:
        case StepKind::kWalk:
        case StepKind::kReveal:
            return Read(step);
        case StepKind::kStatement:
            break;
    }
    return Result(database_->Query(SqlOf(step), step.parameters), *database_);
}

FileSet SetupFiles(const StatementScript& script) {
    TheHost().Reset();
    TheHost().SetLogging(false);
    if (!script.setup.empty()) {
        ScriptSession session;
        EXPECT_TRUE(session.Run("create").ok);
        for (const ScriptStep& step : OtherTable()) {
            EXPECT_EQ(session.Run(step).error, "") << step.text;
        }
        for (const ScriptStep& step : script.setup) {
            EXPECT_EQ(session.Run(step).error, "") << step.text;
        }
    }
    return TakeFiles();
}

bool Prepare(ScriptSession& session, const StatementScript& script) {
    const StepKind first = KindOf(script.tested.front());
    return first == StepKind::kCreate || first == StepKind::kOpen ||
           session.Run(ScriptStep("open")).ok;
}

}  // namespace ovrasql
