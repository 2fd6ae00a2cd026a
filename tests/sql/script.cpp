#include "tests/sql/script.h"

#include <gtest/gtest.h>

#include <fstream>
#include <memory>
#include <set>
#include <sstream>

#include "tests/support/test_database.h"

namespace ovrasql {
namespace {

constexpr const char* kTraceFile = "trace.log";
constexpr const char* kSchemaFile = "main.dbf";

Texts SplitText(const std::string& text, char separator) {
    Texts parts{""};
    for (const char c : text) {
        if (c == separator) {
            parts.emplace_back();
        } else {
            parts.back() += c;
        }
    }
    return parts;
}

std::string JoinLines(const Texts& lines) {
    std::string text;
    for (const std::string& line : lines) {
        text += "    " + line + "\n";
    }
    return text.empty() ? "    (nothing)\n" : text;
}

std::string RowLine(const Row& row) {
    std::string line;
    for (const std::string& value : row) {
        line += (&value == &row.front() ? "" : "|") + (value.empty() ? "NULL" : value);
    }
    return line;
}

bool HasPrefix(const std::string& text, const std::string& prefix) {
    return text.compare(0, prefix.size(), prefix) == 0;
}

// What one line of the dump says about the way through the tables, "" for most.
std::string PlanLine(const std::string& dumped) {
    if (HasPrefix(dumped, "Unable to use index") || HasPrefix(dumped, "No index found")) {
        return dumped;
    }
    std::istringstream words(dumped);
    std::string number, name, address, text;
    int operand1 = 0, operand2 = 0, operand3 = 0;
    if (!(words >> number >> name >> operand1 >> operand2 >> operand3 >> address)) {
        return "";
    }
    words >> text;
    if (name == "SQL_Cursor_Index") {
        return "index " + text + " parts " + std::to_string(operand2) +
               (operand3 != 0 ? " range" : "");
    }
    if (name == "SQL_Temporary_Sort") {
        return "sort";
    }
    for (const auto& [opcode, sign] :
         {std::pair{"SQL_Cursor_LessThan", "<"}, std::pair{"SQL_Cursor_GreaterThan", ">"},
          std::pair{"SQL_Cursor_LessThanEqual", "<="},
          std::pair{"SQL_Cursor_GreaterThanEqual", ">="}}) {
        if (name == opcode) {
            return std::string("stop ") + sign;
        }
    }
    return "";
}

// One running test.
class Session {
  public:
    Session() {
        TheHost().Reset();
        database_ = std::make_unique<TestDatabase>();
        EXPECT_TRUE(database_->Create(kSchemaFile));
    }

    void Step(const ScriptStep& step, const std::string& file) {
        const Texts found = Result(step);
        Texts expected = step.expected;
        if (!expected.empty() && expected.back() == "error:") {
            expected.back() += " ";  // an empty message; editors cut the blank
        }
        if (step.command != "insert" && found != expected) {
            ADD_FAILURE_AT(file.c_str(), step.line)
                << step.command << " " << step.argument << "\n  expected\n"
                << JoinLines(expected) << "  found\n"
                << JoinLines(found);
        }
    }

    void Finish() {
        database_.reset();
        EXPECT_EQ(TheHost().Misuses(), Texts());
        EXPECT_EQ(TheHost().OpenFileCount(), 0) << "files left open";
        EXPECT_EQ(TheHost().AllocatedCount(), 0) << "host blocks not freed";
    }

  private:
    Texts Result(const ScriptStep& step) {
        const Texts parameters = std::move(parameters_);
        parameters_.clear();
        if (step.command == "run") {
            return Outcome(database_->Query(step.argument, parameters));
        }
        if (step.command == "query") {
            return Query(step.argument, parameters);
        }
        if (step.command == "with") {
            parameters_ = SplitText(step.argument, '|');
            return {};
        }
        if (step.command == "columns") {
            TestView view(*database_, step.argument, parameters);
            return view.Ok() ? view.Columns() : Outcome(false);
        }
        if (step.command == "plan") {
            return Plan(step.argument, parameters);
        }
        if (step.command == "insert") {
            return Insert(step);
        }
        if (step.command == "option") {
            const size_t blank = step.argument.find(' ');
            return Outcome(database_->Option(
                step.argument.substr(0, blank),
                blank == std::string::npos ? "" : step.argument.substr(blank + 1)));
        }
        return HostResult(step);
    }

    Texts HostResult(const ScriptStep& step) {
        if (step.command == "pack") {
            return Outcome(database_->Pack());
        }
        if (step.command == "reopen" || step.command == "open") {
            return Reopen(step.argument.empty() ? kSchemaFile : step.argument);
        }
        if (step.command == "files") {
            Texts paths = TheHost().FilePaths();
            std::erase(paths, kTraceFile);
            return paths;
        }
        if (step.command == "save") {
            saved_ = TheHost().FileBytes(step.argument);
            return {};
        }
        if (step.command == "restore") {
            database_->Free();
            TheHost().SetFile(step.argument, saved_);
            return Reopen(kSchemaFile);
        }
        return {"cannot be read: " + step.argument};
    }

    Texts Outcome(bool success) {
        return success ? Texts() : Texts{"error: " + database_->Error()};
    }

    Texts Reopen(const std::string& path) {
        database_ = std::make_unique<TestDatabase>();
        return Outcome(database_->Open(path));
    }

    Texts Query(const std::string& sql, const Texts& parameters) {
        Texts lines;
        TestView view(*database_, sql, parameters);
        bool ok = view.Ok();
        while (ok && !view.AtEnd()) {
            lines.push_back(RowLine(view.Values()));
            ok = view.Skip();
        }
        if (!ok) {
            lines.push_back("error: " + database_->Error());
        }
        return lines;
    }

    Texts Insert(const ScriptStep& step) {
        for (const std::string& row : step.expected) {
            std::string values;
            for (const std::string& value : SplitText(row, '|')) {
                values += (values.empty() ? "" : ", ") + value;
            }
            const std::string sql = "insert into " + step.argument + " values (" + values + ")";
            EXPECT_EQ(database_->Run(sql), "") << sql;
        }
        return {};
    }

    Texts Plan(const std::string& sql, const Texts& parameters) {
        // The trace is appended to.
        const size_t before = TheHost().FileText(kTraceFile).size();
        EXPECT_TRUE(database_->Option("log", kTraceFile));
        const bool ok = TestView(*database_, sql, parameters).Ok();
        std::istringstream trace(TheHost().FileText(kTraceFile).substr(before));
        Texts lines;
        for (std::string dumped; std::getline(trace, dumped);) {
            const std::string line = PlanLine(dumped);
            if (!line.empty()) {
                lines.push_back(line);
            }
        }
        if (!ok) {
            lines.push_back("error: " + database_->Error());
        }
        return lines;
    }

    std::unique_ptr<TestDatabase> database_;
    Texts parameters_;
    Bytes saved_;
};

// Scripts are read before main begins, possibly before the constants of this file are made.
bool IsCommand(const std::string& word) {
    static const std::set<std::string> commands = {"run",  "insert", "with",   "query", "columns",
                                                   "plan", "files",  "option", "pack",  "reopen",
                                                   "open", "save",   "restore"};
    return commands.count(word) != 0;
}

}  // namespace

std::vector<ScriptTest> ReadScript(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::vector<ScriptTest> tests;
    ScriptTest common;
    int number = 0;
    for (std::string line; std::getline(file, line);) {
        const int first = ++number;
        for (std::string more; !line.empty() && line.back() == '\\' && std::getline(file, more);) {
            ++number;
            line.back() = ' ';
            line += more.substr(std::min(more.find_first_not_of(' '), more.size()));
        }
        if (line.empty() || line.front() == '#') {
            continue;
        }
        std::vector<ScriptStep>& steps = tests.empty() ? common.steps : tests.back().steps;
        if (HasPrefix(line, "  ")) {
            if (!steps.empty()) {
                steps.back().expected.push_back(line.substr(2));
            }
            continue;
        }
        const size_t end = line.find(' ');
        const std::string word = line.substr(0, end);
        const size_t begin = line.find_first_not_of(' ', std::min(end, line.size()));
        const std::string rest = begin == std::string::npos ? "" : line.substr(begin);
        if (word == "test") {
            tests.push_back({rest, path, first, common.steps});
        } else if (IsCommand(word)) {
            steps.push_back({first, word, rest, {}});
        } else {
            steps.push_back({first, "", line, {}});
        }
    }
    return tests;
}

void RunScript(const ScriptTest& test) {
    Session session;
    for (const ScriptStep& step : test.steps) {
        session.Step(step, test.file);
    }
    session.Finish();
}

}  // namespace ovrasql
